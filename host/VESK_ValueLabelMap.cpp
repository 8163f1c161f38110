#include "VESK_ValueLabelMap.h"

#include <cstring>
#include <stdexcept>

void VESK_ValueLabels::SetValueType(int valueType)
{
    _valueType = valueType;
    _values.clear();
    _labels.clear();
}

void VESK_ValueLabels::Add(double value, const std::string& label)
{
    if (_valueType != 0) throw std::invalid_argument("numeric value label for a string variable");
    OBS v;
    v.num = value + 0.0;  // -0.0 and 0.0 are one value
    Insert(&v, label);
}

void VESK_ValueLabels::Add(const std::string& value, const std::string& label)
{
    if (_valueType == 0) throw std::invalid_argument("string value label for a numeric variable");
    size_t size = value.size();
    while (size > static_cast<size_t>(_valueType) && value[size - 1] == ' ') --size;  // padding only
    if (size > static_cast<size_t>(_valueType))
        throw std::invalid_argument("value \"" + value + "\" is wider than " + std::to_string(_valueType));
    std::vector<OBS> words(static_cast<size_t>(ObsWords(_valueType)));
    std::memset(words.data(), ' ', words.size() * sizeof(OBS));
    std::memcpy(words.data(), value.data(), size);
    Insert(words.data(), label);
}

int VESK_ValueLabels::Find(const OBS* value) const
{
    // Binary search over the ascending values.
    int lo = 0, hi = Size() - 1;
    while (lo <= hi) {
        int mid = (lo + hi) / 2;
        int c = ObsLexCompare(*ValueAt(mid), *value, _valueType);
        if (c == 0) return mid;
        if (c < 0) lo = mid + 1; else hi = mid - 1;
    }
    return -1;
}

void VESK_ValueLabels::Insert(const OBS* value, const std::string& label)
{
    int words = ObsWords(_valueType);
    int i = 0;
    while (i < Size() && ObsLexCompare(*ValueAt(i), *value, _valueType) < 0) ++i;
    if (i < Size() && ObsLexCompare(*ValueAt(i), *value, _valueType) == 0) {
        _labels[i] = label;
        return;
    }
    _values.insert(_values.begin() + static_cast<long>(i) * words, value, value + words);
    _labels.insert(_labels.begin() + i, label);
}

bool VESK_ValueLabelMap::GetNextPair(const OBS*& value, const char*& label)
{
    if (_next >= _labels->Size()) return false;
    value = _labels->ValueAt(_next);
    label = _labels->LabelAt(_next).c_str();
    ++_next;
    return true;
}

const char* VESK_ValueLabelMap::GetLabel(const OBS* value) const
{
    int i = _labels->Find(value);
    return i < 0 ? nullptr : _labels->LabelAt(i).c_str();
}
