// One variable of the current case, read live through the iterator.
#ifndef KVHOST_CASEVALUE_H
#define KVHOST_CASEVALUE_H

#include "OBS.h"
#include "VESK_InputCaseIterator.h"

class CaseValue {
public:
    CaseValue(VESK_InputCaseIterator& iterator, int varIndex);
    CaseValue(const CaseValue&) = default;
    // Assignment of contents: afterwards this reads what `other` reads.
    CaseValue& operator=(const CaseValue&) = default;

    const OBS* GetValue() const { return _iterator->GetValue(_varIndex); }
    double GetNumeric() const { return _iterator->GetValue(_varIndex)->num; }
    // The variable's missing-value definition applied to the current value.
    bool IsMissing() const { return _variable->IsMissing(GetValue()) != 0; }
    bool IsString() const { return _width > 0; }
    int GetWidth() const { return _width; }
    int GetVarIndex() const { return _varIndex; }
    const VESK_Variable* GetVariable() const { return _variable; }
    VESK_InputCaseIterator* GetIterator() const { return _iterator; }

private:
    VESK_InputCaseIterator* _iterator;
    const VESK_Variable* _variable;
    int _varIndex;
    int _width;
};

#endif
