// The handle through which one variable's value of the current case is read.
#ifndef KVAGGR_KVAGGRCASEVALUEREADER_H
#define KVAGGR_KVAGGRCASEVALUEREADER_H

#include "CaseValue.h"
#include "VESK_InputCaseIterator.h"

class KvAggrCaseValueReader {
public:
    KvAggrCaseValueReader(VESK_InputCaseIterator& iterator, unsigned int varIndex, bool sysmisOnly);
    // Shares the source's case value: a copy and its source must not both be
    // destroyed (the copy exists only to be handed around by value).
    KvAggrCaseValueReader(KvAggrCaseValueReader const& other);
    // Copies the contents of the source's case value into this reader's own.
    KvAggrCaseValueReader& operator=(KvAggrCaseValueReader const& rhs);
    ~KvAggrCaseValueReader();

    CaseValue* GetCaseValue() const { return _caseValue; }
    bool GetSysmisOnly() const { return _sysmisOnly; }
    bool IsValid() const { return _isValid; }
    void SetValid(bool valid) { _isValid = valid; }

    // The current value equals the system-missing value exactly.
    bool IsSysmis() const;

    // Convenience accessors of the current case's value.
    const OBS* GetValue() const { return _caseValue->GetValue(); }
    double GetNumeric() const { return _caseValue->GetNumeric(); }
    bool IsString() const { return _caseValue->IsString(); }
    bool IsMissing() const { return _caseValue->IsMissing(); }
    int GetVarIndex() const { return _caseValue->GetVarIndex(); }

private:
    CaseValue* _caseValue;  // owned
    bool _sysmisOnly;
    bool _isValid;
};

#endif
