// The running accumulators of one cell of a cube, laid out as the cube's
// CellStatistics says, and the read-out of every request from them.
//
// Kinds of statistic, by the state they need:
// - distributive: counts, total N, valid N, responses, extremes, range counts
//   (sums kept in fixed slots);
// - algebraic: mean, sum, variance, standard deviation, standard error and the
//   mean's and sum's t limits, all from one weighted-moments state (sum of
//   weights, running mean, sum of squared deviations, sum of squared weights);
// - holistic: median, percentiles, modes and their intervals, from a
//   value-frequency map whose memory grows with the distinct values.
//
// Every kind also merges: Merge folds in a cell of the same layout that
// another part of the data built (counts and sums add, extremes take the
// larger or smaller, weighted moments combine pairwise, maps add value by
// value), at a cost that grows with the state, never with the cases behind
// it; Write and Read carry the state as bytes (TableState.h). A new kind of
// accumulator adds its update, its merge (MergeAccumulator) and, when it
// keeps more than doubles and maps, its bytes here.
//
// Memory: a cell is created for every occupied combination of categories,
// millions in a big table, and most cubes only count. A layout of at most
// kInlineSlots values and no maps keeps its values inside the object; any
// other layout holds its values and maps in one heap block. Updating a cell
// allocates nothing but a map node for a value the map has not seen.
#ifndef KVAGGR_CELLVALUES_H
#define KVAGGR_CELLVALUES_H

#include <vector>

#include "AggregationResult.h"
#include "CellStatistics.h"
#include "CubeStatistics.h"
#include "KvAggrCaseValueReader.h"
#include "TableState.h"

class CellValues {
public:
    // The three slots of the count block that opens every value array.
    static constexpr int kCountPos = 0;   // weighted count
    static constexpr int kUCountPos = 1;  // unweighted count
    static constexpr int kECountPos = 2;  // sum of squared weights (0 without an effective base)
    static constexpr int kInlineSlots = 3;

    // Categorical-variable cell.
    CellValues(CellStatistics& cellStats, KvAggrCaseValueReader* summaryReader, bool valid, bool missingOnly,
               double weight, bool effective);
    // Multiple-response-set cell; `responses` is the case's hit count in the cell.
    CellValues(CellStatistics& cellStats, double responses, bool valid, bool missingOnly, double weight,
               bool effective);
    // Scale cell; the readers are the table's, indexed by the layout's summary variables.
    CellValues(CellStatistics& cellStats, const std::vector<KvAggrCaseValueReader*>& readers, double weight,
               bool effective);
    // A copy of `other`, a cell of a layout of the same shape, over
    // `cellStats`: how a cell that only one part has enters the merged table.
    CellValues(CellStatistics& cellStats, const CellValues& other);
    // A cell with every accumulator at zero and empty maps, for Read.
    CellValues(CellStatistics& cellStats, bool effective);
    CellValues(const CellValues&) = delete;
    CellValues& operator=(const CellValues&) = delete;
    ~CellValues();

    void SetCVarValues(KvAggrCaseValueReader* summaryReader, bool valid, bool missingOnly, double weight);
    void UpdateCVarValues(KvAggrCaseValueReader* summaryReader, bool valid, bool missingOnly, double weight);
    void SetMRSetValues(double responses, bool valid, bool missingOnly, double weight);
    void UpdateMRSetValues(double responses, bool valid, bool missingOnly, double weight);
    void SetScaleValues(const std::vector<KvAggrCaseValueReader*>& readers, double weight);
    void UpdateScaleValues(const std::vector<KvAggrCaseValueReader*>& readers, double weight);

    // Folds in `other`, a cell of a layout of the same shape (the same cell
    // of another part's table), as if its cases had come after this cell's.
    void Merge(const CellValues& other);
    // The accumulators as bytes, and back into a cell made for Read; false
    // when the bytes run short or hold another layout.
    void Write(StateWriter& out) const;
    bool Read(StateReader& in);

    // The value of request i of the layout. `alternative` asks for the upper
    // mode of a mode, and for the statistic itself instead of a confidence
    // member of a mean, sum, median or percentile (percentages divide by it);
    // `effective` asks for the effective form of a count, total N or valid N.
    AggregationResult GetStatisticValue(int i, bool alternative, bool effective) const;

    // Value 1: standard error of a weighted mean; value 2: the sample size
    // behind it (the rounded sum of weights, or the effective size when
    // sumSqWeights is given).
    static AggregationResult ComputeSEWMean(double sumWeights, double sumSqDev, double sumSqWeights);

    int NumOfValues() const { return _cellStats.GetNumValues(); }
    const double* GetValues() const { return Values(); }
    int NumOfFreqTables() const { return _cellStats.GetNumFreqTables(); }
    const KvFreqTable& GetFreqTable(int m) const { return FreqTables()[m]; }
    CellStatistics& GetCellStats() const { return _cellStats; }
    bool IsEffective() const { return _effective; }
    bool IsWeighted() const { return _weighted; }

    // The confidence level (percent) of the limits the cell computes itself;
    // shared by every cell of the layout.
    void SetConfLevel(double level) { _cellStats.SetConfLevel(level); }
    double GetConfLevel() const { return _cellStats.GetConfLevel(); }

private:
    void Allocate();
    double* Values() { return _onHeap ? _store.heap : _store.inlineValues; }
    const double* Values() const { return _onHeap ? _store.heap : _store.inlineValues; }
    KvFreqTable* FreqTables() const;

    void ClearValues();
    void CountFixed(bool valid, bool missingOnly, double weight, double responses);
    void Accumulate(const CellStatistics::Accumulator& acc, bool valid, double x, double weight, bool first);
    void MergeAccumulator(const CellStatistics::Accumulator& acc, const double* other);
    void AccumulateAll(KvAggrCaseValueReader* reader, double weight, bool first);
    void AccumulateAll(const std::vector<KvAggrCaseValueReader*>& readers, double weight, bool first);

    double EffectiveOf(double sum, double sumSq, bool haveSq) const;
    AggregationResult MomentValue(int i, bool alternative) const;
    AggregationResult MapValue(int i, bool alternative) const;

    CellStatistics& _cellStats;
    union Store {
        double inlineValues[kInlineSlots];
        double* heap;  // NumOfValues doubles, then NumOfFreqTables maps
    } _store;
    bool _effective;
    bool _weighted;
    bool _onHeap;
};

#endif
