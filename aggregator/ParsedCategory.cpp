#include "ParsedCategory.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "AggregationCategory.h"
#include "BP_Character.h"
#include "KvAssert.h"

namespace {

// Whether a parsed item of this type carries a value (and so a value buffer).
bool CarriesValue(ParsedCategory::ParsedCatType type)
{
    return type == ParsedCategory::kValue || type == ParsedCategory::kRange || type == ParsedCategory::kLoRange ||
           type == ParsedCategory::kHiRange;
}

// Equality of two item values: numbers as doubles, strings over their common
// bytes with only blanks beyond the shorter; a number never equals a string.
bool ValuesEqual(const OBS* a, int aType, const OBS* b, int bType)
{
    if (!a || !b) return a == b;
    if (aType == 0 && bType == 0) return a->num == b->num;
    if (aType < 1 || bType < 1) return false;
    int common = aType < bType ? aType : bType;
    if (std::memcmp(a, b, static_cast<size_t>(common)) != 0) return false;
    const OBS* longer = aType > bType ? a : b;
    int longerType = aType > bType ? aType : bType;
    for (int i = common; i < longerType; ++i)
        if (longer->str[i] != ' ') return false;
    return true;
}

std::string ValueText(const OBS* value, int valueType)
{
    return value ? std::string(value->str, static_cast<size_t>(valueType)) : std::string();
}

// Formats into `buffer`, replacing what it held.
void Format(std::string& buffer, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Format(std::string& buffer, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    buffer.assign(static_cast<size_t>(length > 0 ? length : 0) + 1, '\0');
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    buffer.resize(static_cast<size_t>(length > 0 ? length : 0));
    va_end(args);
}

}  // namespace

ParsedCategory::ParsedCategory(ParsedCatType type)
    : _catType(type),
      _valType(-1),
      _valueWords(0),
      _subtotalEncoding(0),
      _varIndex(-1),
      _isLabelDefault(true),
      _pcomputeFlag(false)
{
}

ParsedCategory::ParsedCategory(const OBS& value, int valueType) : ParsedCategory(value, valueType, kValue) {}

ParsedCategory::ParsedCategory(const OBS& value, int valueType, ParsedCatType type) : ParsedCategory(type)
{
    _valType = valueType;
    AllocateValue(valueType);
    CopyValue(_catValue.get(), _valueWords, value, valueType);
}

ParsedCategory::ParsedCategory(const OBS& low, const OBS& high, int valueType) : ParsedCategory(kRange)
{
    _valType = valueType;
    AllocateRangeTop(valueType);
    CopyValue(_rangeTopValue.get(), _valueWords, high, valueType);
    AllocateValue(valueType);
    CopyValue(_catValue.get(), _valueWords, low, valueType);
}

ParsedCategory::ParsedCategory(const std::string& label, bool isLabelDefault, int encoding, bool shown)
    : ParsedCategory(shown ? kSubtotal : kHSubtotal)
{
    _subtotalLabel = label;
    _isLabelDefault = isLabelDefault;
    _subtotalEncoding = encoding;
}

ParsedCategory::ParsedCategory(const std::string& name, const std::vector<std::string>& labelParts, bool flag,
                               const std::vector<TableEncryptionCodes::StatisticCodes>& formats,
                               const std::vector<TableEncryptionCodes::DisplayFormat>& displayFormats,
                               const std::vector<const VESK_Format*>& decimals, ParsedCatType type, int varIndex)
    : ParsedCategory(type)
{
    _pcomputeName = name;
    _pcomputeLabelParts = labelParts;
    _pcomputeFlag = flag;
    _pcomputeFormats = formats;
    _pcomputeDisplayFormats = displayFormats;
    _pcomputeDecimals = decimals;
    _varIndex = varIndex;
}

ParsedCategory::ParsedCategory(const ParsedCategory& other)
    : _catType(other._catType),
      _valType(other._valType),
      _valueWords(other._valueWords),
      _subtotalEncoding(other._subtotalEncoding),
      _varIndex(other._varIndex),
      _subtotalLabel(other._subtotalLabel),
      _pcomputeLabelParts(other._pcomputeLabelParts),
      _pcomputeName(other._pcomputeName),
      _pcomputeFormats(other._pcomputeFormats),
      _pcomputeDisplayFormats(other._pcomputeDisplayFormats),
      _pcomputeDecimals(other._pcomputeDecimals),
      _isLabelDefault(other._isLabelDefault),
      _pcomputeFlag(other._pcomputeFlag),
      _categories(other._categories)
{
    size_t bytes = static_cast<size_t>(_valueWords) * sizeof(OBS);
    if (other._catValue) {
        _catValue.reset(new OBS[_valueWords]);
        std::memcpy(_catValue.get(), other._catValue.get(), bytes);
    }
    if (other._rangeTopValue) {
        _rangeTopValue.reset(new OBS[_valueWords]);
        std::memcpy(_rangeTopValue.get(), other._rangeTopValue.get(), bytes);
    }
}

ParsedCategory& ParsedCategory::operator=(const ParsedCategory& other)
{
    if (this != &other) {
        ParsedCategory copy(other);
        _catType = copy._catType;
        _valType = copy._valType;
        _catValue = std::move(copy._catValue);
        _rangeTopValue = std::move(copy._rangeTopValue);
        _valueWords = copy._valueWords;
        _subtotalEncoding = copy._subtotalEncoding;
        _varIndex = copy._varIndex;
        _subtotalLabel = std::move(copy._subtotalLabel);
        _pcomputeLabelParts = std::move(copy._pcomputeLabelParts);
        _pcomputeName = std::move(copy._pcomputeName);
        _pcomputeFormats = std::move(copy._pcomputeFormats);
        _pcomputeDisplayFormats = std::move(copy._pcomputeDisplayFormats);
        _pcomputeDecimals = std::move(copy._pcomputeDecimals);
        _isLabelDefault = copy._isLabelDefault;
        _pcomputeFlag = copy._pcomputeFlag;
        _categories = std::move(copy._categories);
    }
    return *this;
}

ParsedCategory::~ParsedCategory() = default;

void ParsedCategory::AllocateValue(int valueType)
{
    int words = ObsWords(valueType);
    if (_catValue && words <= _valueWords) return;
    std::unique_ptr<OBS[]> grown(new OBS[words]);
    std::memset(grown.get(), ' ', static_cast<size_t>(words) * sizeof(OBS));
    if (valueType <= 0) grown[0].num = 0.0;
    if (_catValue) std::memcpy(grown.get(), _catValue.get(), static_cast<size_t>(_valueWords) * sizeof(OBS));
    _catValue = std::move(grown);
    if (_rangeTopValue && words > _valueWords) {
        std::unique_ptr<OBS[]> top(new OBS[words]);
        std::memset(top.get(), ' ', static_cast<size_t>(words) * sizeof(OBS));
        std::memcpy(top.get(), _rangeTopValue.get(), static_cast<size_t>(_valueWords) * sizeof(OBS));
        _rangeTopValue = std::move(top);
    }
    if (words > _valueWords) _valueWords = words;
}

void ParsedCategory::AllocateRangeTop(int valueType)
{
    int words = ObsWords(valueType);
    if (words < _valueWords) words = _valueWords;
    if (_rangeTopValue && words <= _valueWords) return;
    std::unique_ptr<OBS[]> top(new OBS[words]);
    std::memset(top.get(), ' ', static_cast<size_t>(words) * sizeof(OBS));
    if (valueType <= 0) top[0].num = 0.0;
    _rangeTopValue = std::move(top);
    if (_catValue && words > _valueWords) {
        std::unique_ptr<OBS[]> low(new OBS[words]);
        std::memset(low.get(), ' ', static_cast<size_t>(words) * sizeof(OBS));
        std::memcpy(low.get(), _catValue.get(), static_cast<size_t>(_valueWords) * sizeof(OBS));
        _catValue = std::move(low);
    }
    _valueWords = words;
}

void ParsedCategory::CopyValue(OBS* dest, int destWords, const OBS& value, int valueType)
{
    if (valueType <= 0) {
        dest[0].num = value.num;
        return;
    }
    std::memset(dest, ' ', static_cast<size_t>(destWords) * sizeof(OBS));
    std::memcpy(dest, &value, static_cast<size_t>(valueType));
}

void ParsedCategory::SetValueType(int valueType)
{
    _valType = valueType;
    if (valueType < 0 || !CarriesValue(_catType)) return;
    AllocateValue(valueType);
    if (_catType == kRange) AllocateRangeTop(valueType);
}

void ParsedCategory::SetSubtotalLabel(const std::string& label, bool isDefault)
{
    _subtotalLabel = label;
    _isLabelDefault = isDefault;
}

void ParsedCategory::SetCatValue(const OBS& value, int valueType)
{
    KV_ASSERT(_catValue && valueType <= _valType);
    CopyValue(_catValue.get(), _valueWords, value, valueType);
}

void ParsedCategory::SetCatValue(const OBS& value) { SetCatValue(value, _valType); }

void ParsedCategory::SetCatValue(const char* text)
{
    int length = static_cast<int>(std::strlen(text));
    if (length > _valType) _valType = length;
    AllocateValue(_valType);
    std::memset(_catValue.get(), ' ', static_cast<size_t>(_valueWords) * sizeof(OBS));
    VESKMBCopyToFixed_A(_catValue[0].str, _valType, text);
}

void ParsedCategory::SetCatValue(double value)
{
    KV_ASSERT(_valType == 0);
    AllocateValue(0);
    _catValue[0].num = value;
}

void ParsedCategory::SetRangeTopValue(const OBS& value)
{
    KV_ASSERT(_rangeTopValue);
    CopyValue(_rangeTopValue.get(), _valueWords, value, _valType);
}

void ParsedCategory::SetRangeTopValue(const OBS& value, int valueType)
{
    KV_ASSERT(_rangeTopValue && valueType <= _valType);
    CopyValue(_rangeTopValue.get(), _valueWords, value, valueType);
}

bool ParsedCategory::Contains(const OBS& value, int valueType, bool isMissing) const
{
    switch (_catType) {
    case kValue:
        return AggregationCategory::OBSCompare(value, valueType, _catValue[0], _valType) == 0;
    case kRange:
        return AggregationCategory::OBSCompare(_catValue[0], _valType, value, valueType) <= 0 &&
               AggregationCategory::OBSCompare(value, valueType, _rangeTopValue[0], _valType) <= 0;
    case kLoRange:
        return AggregationCategory::OBSCompare(value, valueType, _catValue[0], _valType) <= 0;
    case kHiRange:
        return AggregationCategory::OBSCompare(value, valueType, _catValue[0], _valType) >= 0;
    case kLoHiRange:
        return true;
    case kMissing:
        return isMissing;
    case kOtherNM:
        return !isMissing;
    case kSubtotal:
    case kHSubtotal:
    case kVariable:
    case kPCompute:
        return false;
    }
    return false;
}

bool ParsedCategory::Contains(const OBS& value, bool isMissing) const
{
    switch (_catType) {
    case kValue:
        if (_valType == 0) return value.num == _catValue[0].num;
        return std::memcmp(&value, _catValue.get(), static_cast<size_t>(_valType)) == 0;
    case kRange:
        return ObsLexCompare(_catValue[0], value, _valType) <= 0 && ObsLexCompare(value, _rangeTopValue[0], _valType) <= 0;
    case kLoRange:
        return ObsLexCompare(value, _catValue[0], _valType) <= 0;
    case kHiRange:
        return ObsLexCompare(value, _catValue[0], _valType) >= 0;
    default:
        // The value-free types answer the same whatever the value's width.
        return Contains(value, _valType, isMissing);
    }
}

int ParsedCategory::AddCategory(AggregationCategory* category)
{
    _categories.push_back(category);
    if (_valType == -1) _valType = category->GetValueType();
    size_t i = _categories.size() - 1;
    while (i > 0 &&
           AggregationCategory::OBSCompare(_categories[i - 1]->GetCatValue(), _categories[i - 1]->GetValueType(),
                                           category->GetCatValue(), category->GetValueType()) > 0) {
        _categories[i] = _categories[i - 1];
        --i;
    }
    _categories[i] = category;
    return static_cast<int>(_categories.size());
}

bool ParsedCategory::operator==(const ParsedCategory& other) const
{
    if (_catType != other._catType) return false;
    switch (_catType) {
    case kValue:
    case kLoRange:
    case kHiRange:
        return ValuesEqual(_catValue.get(), _valType, other._catValue.get(), other._valType);
    case kRange:
        return ValuesEqual(_catValue.get(), _valType, other._catValue.get(), other._valType) &&
               ValuesEqual(_rangeTopValue.get(), _valType, other._rangeTopValue.get(), other._valType);
    case kLoHiRange:
    case kMissing:
    case kOtherNM:
        return true;
    case kSubtotal:
    case kHSubtotal:
        return _subtotalEncoding == other._subtotalEncoding && _subtotalLabel == other._subtotalLabel &&
               _isLabelDefault == other._isLabelDefault;
    case kVariable:
        return _varIndex == other._varIndex;
    case kPCompute:
        return _pcomputeName == other._pcomputeName;
    }
    return false;
}

void ParsedCategory::Display(int number) const
{
    const long kind = 1;
    std::string buffer;
    Format(buffer, "\nParsed Category %d: ", number);
    BP_ToFront(kind, BP_Character(buffer));

    bool numeric = _valType == 0;
    std::string low = numeric ? std::string() : ValueText(_catValue.get(), _valType);
    std::string high = numeric ? std::string() : ValueText(_rangeTopValue.get(), _valType);
    double lowNum = _catValue ? _catValue[0].num : 0.0;
    double highNum = _rangeTopValue ? _rangeTopValue[0].num : 0.0;
    switch (_catType) {
    case kValue:
        if (numeric) Format(buffer, "Type: kValue, value: %g, ", lowNum);
        else Format(buffer, "Type: kValue, value: %s, ", low.c_str());
        break;
    case kRange:
        if (numeric) Format(buffer, "Type: kRange, range: [ %g, %g ], ", lowNum, highNum);
        else Format(buffer, "Type: kRange, range: [ %s, %s ], ", low.c_str(), high.c_str());
        break;
    case kLoRange:
        if (numeric) Format(buffer, "Type: kLoRange, range: [ LO, %g ], ", lowNum);
        else Format(buffer, "Type: kLoRange, range: [ LO, %s ], ", low.c_str());
        break;
    case kHiRange:
        if (numeric) Format(buffer, "Type: kHiRange, range: [ %g, HI ], ", lowNum);
        else Format(buffer, "Type: kHiRange, range: [ %s, HI ], ", low.c_str());
        break;
    case kLoHiRange:
        Format(buffer, "Type: kLoHiRange, ");
        break;
    case kMissing:
        Format(buffer, "Type: kMissing, ");
        break;
    case kOtherNM:
        Format(buffer, "Type: kOtherNM, ");
        break;
    case kSubtotal:
        Format(buffer, "Type: kSubtotal, label = %s, default=%d, ", _subtotalLabel.c_str(), _isLabelDefault);
        break;
    case kHSubtotal:
        Format(buffer, "Type: kHSubtotal, label = %s, default=%d, ", _subtotalLabel.c_str(), _isLabelDefault);
        break;
    case kVariable:
        Format(buffer, "Type: kVariable, variable index = %d, ", _varIndex);
        break;
    case kPCompute:
        // Nothing is formatted: the buffer still holds the header, which is
        // written again. Readers of this output expect the repetition.
        break;
    }
    BP_ToFront(kind, BP_Character(buffer));

    Format(buffer, "Subtotal encoding = %d\n", _subtotalEncoding);
    BP_ToFront(kind, BP_Character(buffer));
}
