#include "VESK_Variable.h"

#include <cfloat>
#include <cstring>
#include <stdexcept>

VESK_Variable::VESK_Variable(std::string name, int type)
    : _name(std::move(name)), _type(type), _valueLabels(type)
{
    if (_name.empty()) throw std::invalid_argument("variable name is empty");
    if (type < 0 || type > kMaxStringWidth)
        throw std::invalid_argument("variable " + _name + ": width " + std::to_string(type) +
                                    " is outside 1 to 32767");
    if (type > 0) {
        _format.type = 'A';
        _format.width = type;
        _format.decimals = 0;
    }
}

int VESK_Variable::IsMissing(const OBS* value) const
{
    if (_type == 0) {
        double x = value->num;
        if (x == -DBL_MAX) return 1;
        for (double m : _missingNum)
            if (x == m) return 1;
        if (_hasRange && x >= _rangeLow && x <= _rangeHigh) return 1;
        return 0;
    }
    for (const std::string& m : _missingStr)
        if (std::memcmp(value->str, m.data(), static_cast<size_t>(_type)) == 0) return 1;
    return 0;
}

void VESK_Variable::SetMissingValues(const std::vector<double>& values)
{
    if (_type != 0) throw std::invalid_argument("variable " + _name + ": numeric missing values for a string variable");
    size_t limit = _hasRange ? 1 : 3;
    if (values.size() > limit)
        throw std::invalid_argument("variable " + _name + ": at most " + std::to_string(limit) +
                                    " discrete missing values" + (_hasRange ? " beside a range" : ""));
    _missingNum = values;
}

void VESK_Variable::SetMissingRange(double low, double high)
{
    if (_type != 0) throw std::invalid_argument("variable " + _name + ": a string variable takes no missing range");
    if (!(low <= high)) throw std::invalid_argument("variable " + _name + ": missing range low is above high");
    if (_missingNum.size() > 1)
        throw std::invalid_argument("variable " + _name + ": a missing range allows at most one discrete value");
    _hasRange = true;
    _rangeLow = low;
    _rangeHigh = high;
}

void VESK_Variable::SetMissingStrings(const std::vector<std::string>& values)
{
    if (_type == 0) throw std::invalid_argument("variable " + _name + ": string missing values for a numeric variable");
    if (values.size() > 3) throw std::invalid_argument("variable " + _name + ": at most 3 discrete missing values");
    std::vector<std::string> padded;
    for (const std::string& v : values) {
        size_t size = v.size();
        while (size > static_cast<size_t>(_type) && v[size - 1] == ' ') --size;  // padding only
        if (size > static_cast<size_t>(_type))
            throw std::invalid_argument("variable " + _name + ": missing value \"" + v + "\" is wider than " +
                                        std::to_string(_type));
        padded.push_back(v.substr(0, size) + std::string(static_cast<size_t>(_type) - size, ' '));
    }
    _missingStr = std::move(padded);
}

void VESK_Variable::ClearMissing()
{
    _missingNum.clear();
    _missingStr.clear();
    _hasRange = false;
}
