// The read-out of one cell: the cube aggregator points it at the cell, at the
// cell's base cells (one per percentage-base layout) and at the reference
// total cell, then asks for requests by index. It adds what a single cell
// cannot know: percentages against a base cell, and the Jeffreys limits and
// standard errors of counts and percentages.
#ifndef KVAGGR_STATVALUES_H
#define KVAGGR_STATVALUES_H

#include <vector>

#include "AggregationResult.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "TableEncryptionCodes.h"

class StatValues {
public:
    static const double _missing;

    explicit StatValues(CellStatistics* cellStats);
    StatValues(const StatValues&) = delete;
    StatValues& operator=(const StatValues&) = delete;
    ~StatValues();

    // The cell to read; also hands it the confidence level.
    void SetStatValues(CellValues* cellValues);
    AggregationResult GetStatValue(int i) const;
    // One member of the confidence group of a count (percent false, scaled to
    // a count) or a percentage (percent true): x of n, with the effective base
    // nEff or _missing.
    double ComputeCountExtStat(TableEncryptionCodes::StatisticConf conf, double x, double n, double nEff,
                               bool percent) const;
    // Value slots of the current cell (0 before SetStatValues).
    int NumOfValues() const;

    // Base cells, in the order of the percentage-base layout numbers.
    void ClearBaseValues() { _baseValues.clear(); }
    void AddBaseValues(CellValues* baseValues) { _baseValues.push_back(baseValues); }
    const std::vector<CellValues*>& GetBaseValues() const { return _baseValues; }
    // The reference cell whose count is the n of a count's interval.
    void SetTotalValues(CellValues* totalValues) { _totalValues = totalValues; }
    CellValues* GetTotalValues() const { return _totalValues; }
    void SetConfLevel(double level) { _confLevel = level; }
    double GetConfLevel() const { return _confLevel; }
    void SetEffective(bool effective) { _effective = effective; }
    bool IsEffective() const { return _effective; }
    CellValues* GetCellValues() const { return _cellValues; }
    CellStatistics* GetCellStats() const { return _cellStats; }

private:
    AggregationResult GetPercentValue(int i, int baseType) const;

    CellStatistics* _cellLayout;
    CellStatistics* _cellStats;
    CellValues* _cellValues;
    CellValues* _totalValues;
    std::vector<CellValues*> _baseValues;
    double _confLevel;
    bool _effective;
};

#endif
