#include "AggregationCategory.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "KvAssert.h"

namespace {

void FillBlanks(OBS* words, int count)
{
    if (count > 0) std::memset(words, ' ', static_cast<size_t>(count) * sizeof(OBS));
}

// Any byte other than a blank in [from, to) of a value.
bool HasNonBlank(const OBS& value, int from, int to)
{
    const char* bytes = value.str;
    for (int i = from; i < to; ++i)
        if (bytes[i] != ' ') return true;
    return false;
}

}  // namespace

AggregationCategory::AggregationCategory()
    : _catType(kDummy),
      _valType(0),
      _catValue(new OBS[1]),
      _bufferWords(1),
      _catEncoding(0),
      _varIndex(0),
      _useLabelForVar(false),
      _isLabelDefault(false),
      _empty(false)
{
    _catValue[0].num = 0.0;
}

AggregationCategory::AggregationCategory(CategoryType type) : AggregationCategory()
{
    _catType = type;
    _useLabelForVar = false;
}

AggregationCategory::AggregationCategory(CategoryType type, int valueType) : AggregationCategory(type)
{
    SetValueType(valueType);
    if (_valType > 0) FillBlanks(_catValue, _bufferWords);
}

AggregationCategory::AggregationCategory(const AggregationCategory& other)
    : _catType(other._catType),
      _valType(other._valType),
      _catValue(new OBS[other._bufferWords]),
      _bufferWords(other._bufferWords),
      _catEncoding(other._catEncoding),
      _varIndex(other._varIndex),
      _catLabel(other._catLabel),
      _useLabelForVar(other._useLabelForVar),
      _isLabelDefault(false),
      _empty(other._empty)
{
    std::memcpy(_catValue, other._catValue, static_cast<size_t>(_bufferWords) * sizeof(OBS));
}

AggregationCategory& AggregationCategory::operator=(const AggregationCategory& other)
{
    KV_ASSERT(other._catValue);
    if (this == &other) return *this;
    int words = ObsWords(other._valType);
    if (other._valType > _valType) Reserve(words);
    std::memcpy(_catValue, other._catValue, static_cast<size_t>(words) * sizeof(OBS));
    _catType = other._catType;
    _valType = other._valType;
    _catEncoding = other._catEncoding;
    _varIndex = other._varIndex;
    _catLabel = other._catLabel;
    _empty = other._empty;
    _useLabelForVar = other._useLabelForVar;
    return *this;
}

AggregationCategory::~AggregationCategory() { delete[] _catValue; }

void AggregationCategory::Reserve(int words)
{
    if (words <= _bufferWords) return;
    OBS* grown = new OBS[words];
    std::memcpy(grown, _catValue, static_cast<size_t>(_bufferWords) * sizeof(OBS));
    FillBlanks(grown + _bufferWords, words - _bufferWords);
    delete[] _catValue;
    _catValue = grown;
    _bufferWords = words;
}

bool AggregationCategory::operator==(const AggregationCategory& other) const
{
    if (_catType != other._catType) return false;
    switch (_catType) {
    case kDummy:
    case kTotal:
        return true;
    case kValue:
        return OBSCompareEqual(*_catValue, _valType, *other._catValue, other._valType);
    case kSubtotal:
    case kHSubtotal:
        return _catEncoding == other._catEncoding;
    case kVariable:
        return _varIndex == other._varIndex;
    case kPCompute:
        return _catLabel == other._catLabel;
    }
    return false;
}

int AggregationCategory::OBSCompare(const OBS& a, int aType, const OBS& b, int bType)
{
    int w = std::min(aType, bType);
    if (w == 0 && aType + bType > 0) return aType == 0 ? -1 : 1;
    int result = ObsLexCompare(a, b, w);
    if (result != 0) return result;
    if (aType > bType) return HasNonBlank(a, bType, aType) ? 1 : 0;
    if (bType > aType) return HasNonBlank(b, aType, bType) ? -1 : 0;
    return 0;
}

bool AggregationCategory::OBSCompareEqual(const OBS& a, int aType, const OBS& b, int bType)
{
    if (aType == 0 && bType == 0) return a.num == b.num;
    if (aType == 0 || bType == 0) return false;
    if (aType == bType) return std::memcmp(&a, &b, static_cast<size_t>(aType)) == 0;
    int aWords = ObsWords(aType);
    int bWords = ObsWords(bType);
    if (aWords == bWords) return std::memcmp(&a, &b, static_cast<size_t>(aWords) * sizeof(OBS)) == 0;
    const OBS* narrow = aWords < bWords ? &a : &b;
    const OBS* wide = aWords < bWords ? &b : &a;
    int narrowWords = std::min(aWords, bWords);
    int wideWords = std::max(aWords, bWords);
    std::vector<OBS> padded(static_cast<size_t>(wideWords));
    std::memcpy(padded.data(), narrow, static_cast<size_t>(narrowWords) * sizeof(OBS));
    for (int i = narrowWords; i < wideWords; ++i) padded[static_cast<size_t>(i)] = *Blanks();
    return std::memcmp(padded.data(), wide, static_cast<size_t>(wideWords) * sizeof(OBS)) == 0;
}

const OBS* AggregationCategory::Blanks()
{
    static const OBS blanks = [] {
        OBS word;
        std::memset(word.str, ' ', sizeof(word.str));
        return word;
    }();
    return &blanks;
}

void AggregationCategory::SetCatEncoding(double encoding)
{
    // NaN fails the comparison and takes the second branch, like any negative.
    _catEncoding = encoding >= 0 ? static_cast<int>(encoding + 0.5) : static_cast<int>(encoding - 0.5);
}

void AggregationCategory::SetCatLabel(const std::string& label, bool isDefault)
{
    _catLabel = label;
    _isLabelDefault = isDefault;
}

void AggregationCategory::SetValueType(int valueType)
{
    KV_ASSERT(valueType >= 0);
    if (valueType > _valType) Reserve(ObsWords(valueType));
    _valType = valueType;
}

void AggregationCategory::SetCatValue(const OBS& value, int valueType)
{
    KV_ASSERT(_catValue && valueType <= (int) _valType);
    if (_valType > 0) {
        FillBlanks(_catValue, _bufferWords);
        if (valueType > 0) std::memcpy(_catValue, &value, static_cast<size_t>(valueType));
    } else {
        _catValue[0].num = value.num + 0.0;  // -0.0 becomes +0.0
    }
}

void AggregationCategory::SetCatValue(const OBS& value)
{
    KV_ASSERT(_catValue);
    if (_valType > 0) {
        FillBlanks(_catValue + ObsWords(_valType) - 1, 1);
        std::memcpy(_catValue, &value, static_cast<size_t>(_valType));
    } else {
        _catValue[0].num = value.num + 0.0;
    }
}

void AggregationCategory::SetCatValue(const char* text)
{
    int length = static_cast<int>(std::strlen(text));
    if (length > _valType) {
        Reserve(ObsWords(length));
        _valType = length;
    }
    FillBlanks(_catValue + ObsWords(_valType) - 1, 1);
    VESKMBCopyToFixed_A(_catValue[0].str, _valType, text);
}

void AggregationCategory::SetCatValue(double value)
{
    KV_ASSERT(_valType == 0);
    _catValue[0].num = value + 0.0;
}
