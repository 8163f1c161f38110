// Identical cases summed before the engine sees them. In a table of counts a
// case costs the engine a lookup and an update of every cell and percentage
// base it enters (some twenty in a two-way table with totals), yet survey
// data hold few distinct combinations of the values a request reads. The
// combiner collects a batch of cases by those values, then hands the engine
// each combination once as the current case, standing for its cases
// (CaseMultiplicity: their weights, numbers and squared weights summed).
//
// The tables are those of one case at a time: counts exactly, weighted sums
// to rounding (they are added in another order). The engine meets each value
// in the same order, combination by combination in the order they first came,
// so its categories are numbered alike. Only for tables of counts
// (AggregationTable::CountsOnly); for any other, and once a batch shows that
// the cases hardly repeat, it passes every case through as it comes.
#ifndef KVTABLES_CASECOMBINER_H
#define KVTABLES_CASECOMBINER_H

#include <cstdint>
#include <vector>

#include "VESK_InputCaseIterator.h"

namespace kvtables {

class CaseCombiner : public ProcDSIterator {
public:
    // `cases`: the data as the engine reads them; `used`: the variables the
    // engine reads besides the weight (at `weightIndex`, -1 without one).
    CaseCombiner(VESK_InputCaseIterator& cases, const std::vector<int>& used, int weightIndex);

    // From now on every case goes to the engine as it comes.
    void PassThrough() { _passThrough = true; }
    bool IsPassingThrough() const { return _passThrough; }
    // The current case of `cases`, of `weight`, joins its combination. False
    // when the batch is full: Replay it before the next Add.
    bool Add(double weight);
    // Makes each combination of the batch the current case in turn, in the
    // order they first came, and calls `add` for it; then empties the batch.
    // A batch that hardly combined anything turns the combiner to passing
    // cases through.
    template <typename F> void Replay(F add)
    {
        for (size_t c = 0; c < _combos.size(); ++c) {
            Select(c);
            add();
        }
        Clear();
    }

    const OBS* GetValue(int varIndex) const override
    {
        if (_passThrough) return _cases.GetValue(varIndex);
        if (varIndex == _weightIndex) return &_weightWord;
        const int at = _offsets[static_cast<size_t>(varIndex)];
        return at >= 0 ? &_rows[_current * _words + static_cast<size_t>(at)] : _cases.GetValue(varIndex);
    }
    VESK_DataSource& GetDataSource() const override { return _cases.GetDataSource(); }
    // The engine reads; the builder moves the data it combines.
    bool Next() override;
    bool Rewind() override;
    double Weight() const override;
    const CaseMultiplicity& Multiplicity() const override;

private:
    struct Combo {
        double weight = 0.0, cases = 0.0, squares = 0.0;
    };
    struct Used {
        int variable;
        int words;
        bool numeric;
    };
    void Select(size_t combo);
    void Clear();

    VESK_InputCaseIterator& _cases;
    const ProcDSIterator* _weighted;  // `cases` as a procedure iterator, when it is one
    std::vector<Used> _used;
    std::vector<int> _offsets;  // by variable: its first word in a row, -1 when not used
    size_t _words = 0;          // per row
    int _weightIndex;
    bool _passThrough = false;

    // The batch: each combination's values (a row of _words) and sums, and an
    // open-addressing table of their indices by hash (-1 empty).
    std::vector<OBS> _rows;
    std::vector<Combo> _combos;
    std::vector<std::uint64_t> _hashes;
    std::vector<int> _slots;
    std::vector<OBS> _key;
    long long _batchCases = 0;

    size_t _current = 0;
    OBS _weightWord;
    CaseMultiplicity _multiplicity;
};

}  // namespace kvtables

#endif
