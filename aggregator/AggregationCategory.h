// One category of a table dimension as the engine counts and prints it, and
// the value comparisons the whole category model relies on.
#ifndef KVAGGR_AGGREGATIONCATEGORY_H
#define KVAGGR_AGGREGATIONCATEGORY_H

#include <string>
#include <vector>

#include "OBS.h"
#include "TableEncryptionCodes.h"
#include "VESK_Variable.h"

class AggregationCategory {
public:
    enum CategoryType {
        kDummy = 0,      // placeholder ("None valid", or not yet typed)
        kValue = 1,      // one value of the variable
        kSubtotal = 2,   // a shown subtotal
        kHSubtotal = 3,  // a hidden subtotal
        kTotal = 4,      // the dimension's total
        kVariable = 5,   // a member variable of a multiple-dichotomy set
        kPCompute = 6    // a computed category
    };

    // Width in bytes of one OBS word.
    static constexpr int OBSSize = 8;

    AggregationCategory();
    explicit AggregationCategory(CategoryType type);
    AggregationCategory(CategoryType type, int valueType);
    // The copy is a counting category: it leaves out the computed-category
    // fields and the label-default flag, which belong to the presentation of
    // the original.
    AggregationCategory(const AggregationCategory& other);
    AggregationCategory& operator=(const AggregationCategory& other);
    ~AggregationCategory();

    bool operator==(const AggregationCategory& other) const;
    bool operator!=(const AggregationCategory& other) const { return !(*this == other); }

    // Orders two values: any number before any string, numbers numerically,
    // strings by the host's byte order with trailing blanks insignificant.
    // Negative, 0 or positive.
    static int OBSCompare(const OBS& a, int aType, const OBS& b, int bType);
    // Equality of two values stored blank-padded to whole words.
    static bool OBSCompareEqual(const OBS& a, int aType, const OBS& b, int bType);
    // One OBS word of eight blanks.
    static const OBS* Blanks();

    void SetCatType(CategoryType type) { _catType = type; }
    void SetCatEncoding(int encoding) { _catEncoding = encoding; }
    // Rounds half away from zero.
    void SetCatEncoding(double encoding);
    void SetVarIndex(int varIndex) { _varIndex = varIndex; }
    void SetUseLabelForVar() { _useLabelForVar = true; }
    void SetEmpty(bool empty) { _empty = empty; }
    void SetCatLabel(const std::string& label, bool isDefault);
    void SetPCateName(const std::string& name) { _pcateName = name; }
    void SetPCFormat(const std::vector<TableEncryptionCodes::StatisticCodes>& formats) { _pcFormat = formats; }
    void SetPCDisplayFormat(const std::vector<TableEncryptionCodes::DisplayFormat>& formats)
    {
        _pcDisplayFormat = formats;
    }
    void SetPCDecimal(const std::vector<const VESK_Format*>& decimals) { _pcDecimal = decimals; }
    void SetValueType(int valueType);
    void SetCatValue(const OBS& value);
    void SetCatValue(const OBS& value, int valueType);
    void SetCatValue(const char* text);
    void SetCatValue(double value);

    CategoryType GetCatType() const { return _catType; }
    int GetValueType() const { return _valType; }
    // The value, blank-padded to ObsWords(GetValueType()) words for a string.
    const OBS& GetCatValue() const { return *_catValue; }
    int GetCatEncoding() const { return _catEncoding; }
    int GetVarIndex() const { return _varIndex; }
    const std::string& GetCatLabel() const { return _catLabel; }
    const std::string& GetPCateName() const { return _pcateName; }
    const std::vector<TableEncryptionCodes::StatisticCodes>& GetPCFormat() const { return _pcFormat; }
    const std::vector<TableEncryptionCodes::DisplayFormat>& GetPCDisplayFormat() const { return _pcDisplayFormat; }
    const std::vector<const VESK_Format*>& GetPCDecimal() const { return _pcDecimal; }
    bool GetUseLabelForVar() const { return _useLabelForVar; }
    bool GetIsLabelDefault() const { return _isLabelDefault; }
    bool IsEmpty() const { return _empty; }

private:
    // Makes the buffer hold at least `words` words; the contents are kept.
    void Reserve(int words);

    CategoryType _catType;
    int _valType;
    OBS* _catValue;      // owned, _bufferWords words
    int _bufferWords;    // capacity of _catValue; never shrinks
    int _catEncoding;
    int _varIndex;
    std::string _catLabel;
    std::string _pcateName;
    std::vector<TableEncryptionCodes::StatisticCodes> _pcFormat;
    std::vector<TableEncryptionCodes::DisplayFormat> _pcDisplayFormat;
    std::vector<const VESK_Format*> _pcDecimal;
    bool _useLabelForVar;
    bool _isLabelDefault;
    bool _empty;
};

#endif
