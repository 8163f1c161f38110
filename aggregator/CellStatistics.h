// The accumulator layout that every cell of a cube shares: for each statistic
// request, which accumulator kind feeds it (its update statistic), where in a
// cell's flat array of doubles that accumulator lives, which value-frequency
// map it reads, and, for a percentage, which request of which percentage-base
// layout holds its denominator.
//
// A cell's value array starts with a fixed block (count, then total N, valid
// N and responses when the requests need them); the per-request accumulators
// follow in request order. Planned once per cube; cells only read it.
#ifndef KVAGGR_CELLSTATISTICS_H
#define KVAGGR_CELLSTATISTICS_H

#include <utility>
#include <vector>

#include "AggregationStatistic.h"
#include "VESK_InputCaseIterator.h"

class CellStatistics {
public:
    // Percentage base type t of the percentage families (family base + 8t).
    typedef int PercentType;
    static constexpr int kNumPercentTypes = 7;

    // The four blocks of the fixed part of a cell's value array.
    enum FixedStat { kFixedCount = 0, kFixedTotalN = 1, kFixedValidN = 2, kFixedResponses = 3, kNumFixedStats = 4 };

    // One accumulator that needs work per case (the fixed blocks aside), in
    // the form the cells run it. kind is the accumulator kind with the
    // update-equivalent kinds folded together: 231 runs as a 4-slot 179, 232
    // as a 4-slot 183, 230 as 222.
    struct Accumulator {
        int kind;
        int request;     // index of the request that maintains it
        int slot;        // first slot in the value array, or the map index for 187/191
        int summaryVar;  // reader position in a scale layout; -1 in a categorical one
        bool fourSlots;  // 179/183: keep the sum of squared deviations too
        const AggregationStatistic* stat;  // the request (range limits)
    };

    explicit CellStatistics(const std::vector<AggregationStatistic>& stats);
    CellStatistics(const CellStatistics&) = delete;
    CellStatistics& operator=(const CellStatistics&) = delete;
    ~CellStatistics();

    // Whether the cube keeps an effective base (the weight comes from a
    // variable); set before the layout is planned.
    void SetEffectiveBase(bool effectiveBase) { _effectiveBase = effectiveBase; }
    // How many cases each case added stands for (the table's); one when unset.
    void SetMultiplicity(const CaseMultiplicity* multiplicity) { _multiplicity = multiplicity; }
    const CaseMultiplicity& GetMultiplicity() const { return *_multiplicity; }
    bool IsEffectiveBase() const { return _effectiveBase; }

    void SetCategoricalStatistics();
    void SetScaleStatistics(const std::vector<int>& scaleVars);
    void SetFixedStats();
    void SetUpdateStats();

    // Position of the first request that IsSame as `stat`; -1 if none.
    int GetIndex(const AggregationStatistic& stat, bool ignoreVarIndex) const;
    // Appends to `baseStats` (and their summary variables to `baseVars`) the
    // denominators of this layout's type-t percentages, recording for each of
    // them that base layout number k holds it.
    void GetBaseStats(std::vector<AggregationStatistic>& baseStats, std::vector<int>& baseVars, PercentType t,
                      int k);
    bool IsTotalNComputed() const;

    // ---- per-request arrays ----
    const std::vector<AggregationStatistic>& GetStatistics() const { return _statistics; }
    const AggregationStatistic& GetStatistic(int i) const { return _statistics[i]; }
    const std::vector<int>& GetUpdateStats() const { return _updateStats; }
    const std::vector<int>& GetBaseUpdateStats() const { return _baseUpdateStats; }
    const std::vector<int>& GetConfTypes() const { return _confTypes; }
    const std::vector<int>& GetValueIndex() const { return _valueIndex; }
    const std::vector<int>& GetBaseIndex() const { return _baseIndex; }
    const std::vector<int>& GetBaseCellStats() const { return _baseCellStats; }
    const std::vector<int>& GetFreqIndex() const { return _freqIndex; }
    const std::vector<int>& GetScaleVars() const { return _scaleVars; }
    const std::vector<Accumulator>& GetAccumulators() const { return _accumulators; }

    // ---- scalars ----
    int GetNumStatistics() const { return _numStatistics; }
    int GetNumValues() const { return _numValues; }
    int GetNumFixedValues() const { return _numFixedValues; }
    int GetNumFreqTables() const { return _numFreqTables; }
    bool IsFixedStat(FixedStat f) const { return _fixedStats[f]; }
    // First slot of a fixed block; -1 when the block is not kept.
    int GetFixedPos(FixedStat f) const { return _fixedPos[f]; }
    // Slots of the total-N, valid-N and responses blocks (1 or 3).
    int GetFixedBlockSize() const { return (_keepUnweighted || _effectiveBase) ? 3 : 1; }
    bool IsCategorical() const { return _categorical; }
    bool IsKeepUnweighted() const { return _keepUnweighted; }
    // Summary variable of request i: the reader position in a scale layout,
    // the request's own variable index otherwise.
    int GetSummaryVar(int i) const;

    // The cube's confidence level in percent (95 until set). Kept here, not in
    // each cell, because all cells of a layout share it.
    void SetConfLevel(double level) { _confLevel = level; }
    double GetConfLevel() const { return _confLevel; }

private:
    int SetFrequencyTable(int i, bool weighted);
    void UpdateBaseIndex(int i, std::vector<AggregationStatistic>& baseStats, std::vector<int>& baseVars, int k);
    void UpdateMRSetBaseIndex(int i, int baseCode, std::vector<AggregationStatistic>& baseStats,
                              std::vector<int>& baseVars, int k);

    std::vector<AggregationStatistic> _statistics;
    std::vector<int> _updateStats;
    std::vector<int> _baseUpdateStats;
    std::vector<int> _confTypes;
    std::vector<int> _valueIndex;
    std::vector<int> _baseIndex;
    std::vector<int> _baseCellStats;
    std::vector<int> _freqIndex;
    std::vector<int> _scaleVars;

    int _numStatistics;
    int _numValues;
    int _numFixedValues;
    int _numFreqTables;
    bool _fixedStats[kNumFixedStats];
    int _fixedPos[kNumFixedStats];
    bool _categorical;
    bool _keepUnweighted;
    bool _effectiveBase;
    const CaseMultiplicity* _multiplicity;

    // (summary variable, weighted) of each value-frequency map, by map index.
    std::vector<std::pair<int, bool>> _freqTables;
    std::vector<Accumulator> _accumulators;
    double _confLevel;
};

#endif
