// Value labels of one variable, and the host's cursor over them.
#ifndef KVHOST_VESK_VALUELABELMAP_H
#define KVHOST_VESK_VALUELABELMAP_H

#include <string>
#include <vector>

#include "OBS.h"

// The storage: (value, label) pairs of one variable, kept in ascending value
// order (numbers numerically, strings by ObsLexCompare over the padded width).
class VESK_ValueLabels {
public:
    explicit VESK_ValueLabels(int valueType = 0) : _valueType(valueType) {}
    int GetValueType() const { return _valueType; }
    void SetValueType(int valueType);  // drops every label
    // Adds or replaces the label of a value (a string value is blank-padded;
    // trailing blanks beyond the width are padding, anything else beyond it
    // throws std::invalid_argument).
    void Add(double value, const std::string& label);
    void Add(const std::string& value, const std::string& label);
    int Size() const { return static_cast<int>(_labels.size()); }
    const OBS* ValueAt(int i) const { return &_values[static_cast<size_t>(i) * ObsWords(_valueType)]; }
    const std::string& LabelAt(int i) const { return _labels[i]; }
    // Index of a value given at the labels' width, or -1.
    int Find(const OBS* value) const;

private:
    void Insert(const OBS* value, const std::string& label);
    int _valueType;
    std::vector<OBS> _values;  // ObsWords(_valueType) words per label
    std::vector<std::string> _labels;
};

// A cursor over a variable's labels: Reset, then GetNextPair until false.
class VESK_ValueLabelMap {
public:
    explicit VESK_ValueLabelMap(const VESK_ValueLabels& labels) : _labels(&labels) {}
    void Reset() { _next = 0; }
    // The next (value, label) pair in ascending value order; false at the end.
    bool GetNextPair(const OBS*& value, const char*& label);
    // The label of a value (given at least as wide as the variable), or null.
    const char* GetLabel(const OBS* value) const;
    int Size() const { return _labels->Size(); }

private:
    const VESK_ValueLabels* _labels;
    int _next = 0;
};

#endif
