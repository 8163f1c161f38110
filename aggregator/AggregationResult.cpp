#include "AggregationResult.h"

#include <cfloat>

namespace {
const double sysmis = -DBL_MAX;
}

AggregationResult::AggregationResult() : _values(new double[3]{sysmis, sysmis, sysmis}) {}

AggregationResult::AggregationResult(double value1) : _values(new double[3]{value1, sysmis, sysmis}) {}

AggregationResult::AggregationResult(AggregationResult const& other)
    : _values(new double[3]{other._values[0], other._values[1], other._values[2]})
{
}

AggregationResult::~AggregationResult() { delete[] _values; }

AggregationResult& AggregationResult::operator=(AggregationResult const& other)
{
    if (this != &other) {
        _values[0] = other._values[0];
        _values[1] = other._values[1];
        _values[2] = other._values[2];
    }
    return *this;
}

AggregationResult& AggregationResult::operator=(double value1)
{
    _values[0] = value1;
    return *this;
}

AggregationResult::operator double() const { return _values[0]; }

void AggregationResult::SetValue1(double value) { _values[0] = value; }
void AggregationResult::SetValue2(double value) { _values[1] = value; }
void AggregationResult::SetValue3(double value) { _values[2] = value; }
double AggregationResult::GetValue1() const { return _values[0]; }
double AggregationResult::GetValue2() const { return _values[1]; }
double AggregationResult::GetValue3() const { return _values[2]; }

double AggregationResult::SystemMissing() { return sysmis; }
