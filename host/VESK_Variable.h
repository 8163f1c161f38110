// A variable of the host's data dictionary: name, label, type (0 numeric, or
// the string width 1 ... 32767), print format, value labels and user-missing
// values. System-missing is always missing for a numeric variable.
#ifndef KVHOST_VESK_VARIABLE_H
#define KVHOST_VESK_VARIABLE_H

#include <string>
#include <vector>

#include "OBS.h"
#include "VESK_ValueLabelMap.h"

// A print format: type letter ('F' numeric, 'A' string, ...), width, decimals.
struct VESK_Format {
    char type = 'F';
    int width = 8;
    int decimals = 2;
};

class VESK_Variable {
public:
    static constexpr int kMaxStringWidth = 32767;

    // Throws std::invalid_argument for an empty name or a width outside 0 ... 32767.
    VESK_Variable(std::string name, int type);

    const char* GetName() const { return _name.c_str(); }
    const char* GetLabel() const { return _label.c_str(); }
    void SetLabel(std::string label) { _label = std::move(label); }
    int GetType() const { return _type; }
    bool IsString() const { return _type > 0; }
    int GetWords() const { return ObsWords(_type); }
    const VESK_Format& GetFormat() const { return _format; }
    void SetFormat(const VESK_Format& format) { _format = format; }

    const VESK_ValueLabels& GetValueLabels() const { return _valueLabels; }
    VESK_ValueLabels& GetValueLabels() { return _valueLabels; }

    // Non-zero when `value` (this variable's width, blank-padded) is missing:
    // system-missing, one of the discrete missing values, or inside the range.
    int IsMissing(const OBS* value) const;

    // User-missing definitions. Numeric: up to three discrete values, or a
    // range (low <= high) plus at most one discrete value. Strings: up to three
    // discrete values only. Each setter replaces the previous definition of its
    // kind and throws std::invalid_argument when the rules above are broken.
    void SetMissingValues(const std::vector<double>& values);
    void SetMissingRange(double low, double high);
    void SetMissingStrings(const std::vector<std::string>& values);
    void ClearMissing();
    const std::vector<double>& GetMissingValues() const { return _missingNum; }
    const std::vector<std::string>& GetMissingStrings() const { return _missingStr; }
    bool HasMissingRange() const { return _hasRange; }
    double GetMissingLow() const { return _rangeLow; }
    double GetMissingHigh() const { return _rangeHigh; }

private:
    std::string _name;
    std::string _label;
    int _type;
    VESK_Format _format;
    VESK_ValueLabels _valueLabels;
    std::vector<double> _missingNum;
    std::vector<std::string> _missingStr;  // blank-padded to the variable's width
    bool _hasRange = false;
    double _rangeLow = 0.0;
    double _rangeHigh = 0.0;
};

#endif
