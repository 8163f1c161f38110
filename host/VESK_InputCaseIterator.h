// The host's case iterators. The library reads the current case's values
// through them; the host advances them.
#ifndef KVHOST_VESK_INPUTCASEITERATOR_H
#define KVHOST_VESK_INPUTCASEITERATOR_H

#include "OBS.h"
#include "VESK_DataSource.h"

class VESK_InputCaseIterator {
public:
    virtual ~VESK_InputCaseIterator() = default;

    // The current case's value of a variable: the first of its ObsWords(type)
    // contiguous words. Valid until the iterator moves.
    virtual const OBS* GetValue(int varIndex) const = 0;
    // Pointer to the current numeric value of a variable.
    const double* GetNumericValue(int varIndex) const { return &GetValue(varIndex)->num; }
    virtual VESK_DataSource& GetDataSource() const = 0;

    // Moves to the next case; false when there is none (then no case is current).
    virtual bool Next() = 0;
    // Goes back to before the first case, for another pass; false when the
    // source cannot be read again.
    virtual bool Rewind() = 0;
};

// The host's procedure iterator: a case iterator that also knows the case
// weight. With no weight variable every case weighs 1.0; otherwise the weight
// is the variable's current value as it stands (missing, zero or negative
// weights are the caller's to judge).
// How many cases the current case stands for: one, or several identical
// ones summed by the host (their weights add, as Weight gives them; their
// squared weights add as `squaredWeights`). The reference stays valid, and
// its contents follow the current case, as long as the iterator lives.
struct CaseMultiplicity {
    double cases = 1.0;
    double squaredWeights = 0.0;  // when not `single`
    bool single = true;           // one case: its squared weight is Weight() squared
};

class ProcDSIterator : public VESK_InputCaseIterator {
public:
    explicit ProcDSIterator(int weightIndex = -1) : _weightIndex(weightIndex) {}
    virtual double Weight() const { return _weightIndex < 0 ? 1.0 : GetValue(_weightIndex)->num; }
    virtual const CaseMultiplicity& Multiplicity() const
    {
        static const CaseMultiplicity one;
        return one;
    }
    int GetWeightIndex() const { return _weightIndex; }
    void SetWeightIndex(int weightIndex) { _weightIndex = weightIndex; }

private:
    int _weightIndex;
};

#endif
