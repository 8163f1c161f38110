// One item of a variable's category list as the host parsed it from the
// table command, and the categories that the item has collected.
#ifndef KVAGGR_PARSEDCATEGORY_H
#define KVAGGR_PARSEDCATEGORY_H

#include <memory>
#include <string>
#include <vector>

#include "OBS.h"
#include "TableEncryptionCodes.h"
#include "VESK_Variable.h"

class AggregationCategory;

class ParsedCategory {
public:
    enum ParsedCatType {
        kValue = 0,
        kRange = 1,      // [low, high], both ends inclusive
        kLoRange = 2,    // LO THRU bound
        kHiRange = 3,    // bound THRU HI
        kLoHiRange = 4,  // every value
        kMissing = 5,
        kOtherNM = 6,    // every other non-missing value
        kSubtotal = 7,
        kHSubtotal = 8,
        kVariable = 9,
        kPCompute = 10
    };

    // An item without a value.
    explicit ParsedCategory(ParsedCatType type);
    // A kValue item.
    ParsedCategory(const OBS& value, int valueType);
    ParsedCategory(const OBS& value, int valueType, ParsedCatType type);
    // A kRange item.
    ParsedCategory(const OBS& low, const OBS& high, int valueType);
    // A subtotal: kSubtotal when shown, kHSubtotal otherwise.
    ParsedCategory(const std::string& label, bool isLabelDefault, int encoding, bool shown);
    // A computed category.
    ParsedCategory(const std::string& name, const std::vector<std::string>& labelParts, bool flag,
                   const std::vector<TableEncryptionCodes::StatisticCodes>& formats,
                   const std::vector<TableEncryptionCodes::DisplayFormat>& displayFormats,
                   const std::vector<const VESK_Format*>& decimals, ParsedCatType type, int varIndex);
    ParsedCategory(const ParsedCategory& other);
    ParsedCategory& operator=(const ParsedCategory& other);
    ~ParsedCategory();

    bool operator==(const ParsedCategory& other) const;
    bool operator!=(const ParsedCategory& other) const { return !(*this == other); }

    void SetCatType(ParsedCatType type) { _catType = type; }
    // Also sizes the value buffers of an item that carries a value.
    void SetValueType(int valueType);
    void SetSubtotalEncoding(int encoding) { _subtotalEncoding = encoding; }
    void SetVarIndex(int varIndex) { _varIndex = varIndex; }
    void SetSubtotalLabel(const std::string& label, bool isDefault);
    void SetCatValue(const OBS& value);
    void SetCatValue(const OBS& value, int valueType);
    void SetCatValue(const char* text);
    void SetCatValue(double value);
    void SetRangeTopValue(const OBS& value);
    void SetRangeTopValue(const OBS& value, int valueType);

    // Whether the item holds a value of the given type (any number before
    // any string, trailing blanks insignificant).
    bool Contains(const OBS& value, int valueType, bool isMissing) const;
    // The same for a value of the item's own type.
    bool Contains(const OBS& value, bool isMissing) const;

    // Keeps the item's categories in ascending value order; equal values keep
    // their arrival order. Returns the number held.
    int AddCategory(AggregationCategory* category);
    void ClearCategories() { _categories.clear(); }
    bool HasCategories() const { return !_categories.empty(); }
    const std::vector<AggregationCategory*>& GetCategories() const { return _categories; }

    // Debug output through the host's output channel.
    void Display(int number) const;

    ParsedCatType GetCatType() const { return _catType; }
    int GetValueType() const { return _valType; }
    // Null for an item without a value.
    const OBS* GetCatValue() const { return _catValue.get(); }
    const OBS* GetRangeTopValue() const { return _rangeTopValue.get(); }
    int GetSubtotalEncoding() const { return _subtotalEncoding; }
    int GetVarIndex() const { return _varIndex; }
    const std::string& GetSubtotalLabel() const { return _subtotalLabel; }
    const std::vector<std::string>& GetPComputeLabelParts() const { return _pcomputeLabelParts; }
    const std::string& GetPComputeName() const { return _pcomputeName; }
    const std::vector<TableEncryptionCodes::StatisticCodes>& GetPComputeFormats() const { return _pcomputeFormats; }
    const std::vector<TableEncryptionCodes::DisplayFormat>& GetPComputeDisplayFormats() const
    {
        return _pcomputeDisplayFormats;
    }
    const std::vector<const VESK_Format*>& GetPComputeDecimals() const { return _pcomputeDecimals; }
    bool GetIsLabelDefault() const { return _isLabelDefault; }
    bool GetPComputeFlag() const { return _pcomputeFlag; }

private:
    void AllocateValue(int valueType);
    void AllocateRangeTop(int valueType);
    static void CopyValue(OBS* dest, int destWords, const OBS& value, int valueType);

    ParsedCatType _catType;
    int _valType;
    std::unique_ptr<OBS[]> _catValue;       // _valueWords words, or null
    std::unique_ptr<OBS[]> _rangeTopValue;  // _valueWords words, or null
    int _valueWords;
    int _subtotalEncoding;
    int _varIndex;
    std::string _subtotalLabel;
    std::vector<std::string> _pcomputeLabelParts;
    std::string _pcomputeName;
    std::vector<TableEncryptionCodes::StatisticCodes> _pcomputeFormats;
    std::vector<TableEncryptionCodes::DisplayFormat> _pcomputeDisplayFormats;
    std::vector<const VESK_Format*> _pcomputeDecimals;
    bool _isLabelDefault;
    bool _pcomputeFlag;
    std::vector<AggregationCategory*> _categories;  // not owned
};

#endif
