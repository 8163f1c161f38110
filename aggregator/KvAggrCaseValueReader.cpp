#include "KvAggrCaseValueReader.h"

#include <cfloat>

#include "KvAssert.h"

KvAggrCaseValueReader::KvAggrCaseValueReader(VESK_InputCaseIterator& iterator, unsigned int varIndex,
                                             bool sysmisOnly)
    : _caseValue(new CaseValue(iterator, static_cast<int>(varIndex))), _sysmisOnly(sysmisOnly), _isValid(false)
{
}

KvAggrCaseValueReader::KvAggrCaseValueReader(KvAggrCaseValueReader const& other)
    : _caseValue(other._caseValue), _sysmisOnly(other._sysmisOnly), _isValid(other._isValid)
{
}

KvAggrCaseValueReader& KvAggrCaseValueReader::operator=(KvAggrCaseValueReader const& rhs)
{
    // The quoted expression is the historical text of this check: the source must have a case value.
    KV_ASSERT_TEXT(rhs._caseValue != nullptr, "&rhs._caseValue");
    if (this == &rhs) return *this;
    *_caseValue = *rhs._caseValue;
    _sysmisOnly = rhs._sysmisOnly;
    _isValid = rhs._isValid;
    return *this;
}

KvAggrCaseValueReader::~KvAggrCaseValueReader() { delete _caseValue; }

bool KvAggrCaseValueReader::IsSysmis() const
{
    static const double sysmis = -DBL_MAX;  // constant-initialised once
    return _caseValue->GetNumeric() == sysmis;
}
