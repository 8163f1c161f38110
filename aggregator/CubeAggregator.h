// The engine of one cube: its statistics set-up, the insertion of every
// accepted case into its cells and percentage-base cells, and the answers to
// the host's questions about cells.
#ifndef KVAGGR_CUBEAGGREGATOR_H
#define KVAGGR_CUBEAGGREGATOR_H

#include <map>
#include <memory>
#include <vector>

#include "AggregationCategory.h"
#include "AggregationStatistic.h"
#include "CellKey.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "CubeMetadata.h"
#include "HashtablePair.h"
#include "KvAggrCaseValueReader.h"
#include "StatValues.h"
#include "TableDimension.h"

class TableMetadata;

class CubeAggregator {
public:
    // Copies the cube metadata as it stands: every dimension must be known.
    CubeAggregator(TableMetadata& tableMetadata, CubeMetadata& cubeMetadata);
    CubeAggregator(const CubeAggregator&) = delete;
    CubeAggregator& operator=(const CubeAggregator&) = delete;
    ~CubeAggregator();

    // ---- statistics set-up (exactly once) ----
    // Categorical statistics of the categories of `dim`, or scale statistics
    // when `dim` is null.
    void SetCellStatistics(std::vector<AggregationStatistic> const& cellStats, TableDimension* dim);
    // Categorical statistics, with their own statistics for cells on the
    // total of the statistics dimension.
    void SetTotalStatistics(std::vector<AggregationStatistic> const& cellStats, TableDimension* dim,
                            std::vector<AggregationStatistic> const& totalStats);
    void SetCategoricalStats(std::vector<AggregationStatistic> const& stats);
    void SetTotalStats(std::vector<AggregationStatistic> const& totalStats);
    void SetScaleStats(std::vector<AggregationStatistic> const& stats);
    void SetPercentStats();
    void SetBaseStats();
    void SetBaseMetadata();
    void SetBaseDims(int percentType);
    void SetBaseHashtables();

    // ---- per case ----
    void AddNewCase();
    void CompleteCases();
    void ResetAggregator();

    bool IsCubeEmpty() const { return !_cells || _cells->size() == 0; }
    void SetCILevel(double level) { _ciLevel = level; }
    double GetCILevel() const { return _ciLevel; }
    CellStatistics* GetCellStats() const { return _cellStats; }
    CellStatistics* GetTotalStats() const { return _totalStats ? _totalStats : _cellStats; }
    int GetTotalStatsDimIndex() const { return _totalStatsDimIndex; }
    int GetKeyLength() const { return static_cast<int>(_cellKey.length()); }
    const CubeMetadata& GetMetadata() const { return _cubeMetadata; }
    TableDimension* GetStatsDimension() const { return _statsDimension; }
    const KvAggrHashtablePair* GetCells() const { return _cells; }
    bool HasPercentages() const { return _hasPercentages; }

    // ---- retrieval ----
    // Turns one category per dimension into the working key; the category at
    // iLookup is looked up by its value, the others give their encodings.
    bool SetCellKey(std::vector<const AggregationCategory*> const& categories, int iLookup);
    bool GetCellStatus(std::vector<const AggregationCategory*> const& categories, int iLookup);
    // The cube's read-out object pointed at the cell (and its base cells), or
    // null when the cell does not exist. Valid until the next call.
    StatValues* GetStatValues(std::vector<const AggregationCategory*> const& categories, int iLookup);
    // The base cell of percentage type `percentType` (0 to 6) that the cell
    // named by `categories` divides by, whether or not that cell exists; null
    // when no statistic keeps that base or it holds no case. Significance
    // tests read the whole base (weighted, unweighted, squared weights) here.
    const CellValues* GetBaseCell(std::vector<const AggregationCategory*> const& categories, int percentType);
    double GetCount(CellKey& cellKey, bool weighted, bool effective) const;
    const OBS* GetCountMeanVariance(int pos, CellKey& cellKey) const;
    const OBS* GetValuePtr(int pos, CellKey& cellKey) const;
    double GetSortValue(CellKey& cellKey) const;
    int GetNValuesInnerRow() const;
    int GetNValuesInnerColumn() const;

    // ---- mean-and-variance slots for pair-wise tests ----
    void SetPairwiseTest(bool weighted);
    int GetMeanVarIndex(int varIndex, bool weighted) const;

    // ---- partial tables (AggregationTable::Merge) ----
    // By dimension of this table: the cell index here of each cell index of
    // the same dimension in another part's table (MergeCategories).
    typedef TableDimension::CellIndexMaps CellIndexMaps;
    // Folds in the cells and percentage-base cells of `other`, the same cube
    // of another part's table. Costs the other's cells, not its cases.
    void Merge(const CubeAggregator& other, const CellIndexMaps& maps);
    // Whether every layout of the cube keeps only the fixed counting blocks.
    bool CountsOnly() const;
    void WriteCells(StateWriter& out) const;
    // Merges cells that WriteCells wrote; false when the bytes are damaged.
    bool ReadCells(StateReader& in, const CellIndexMaps& maps);
    // `hash` extended by what fixes the bytes of the cells: key lengths and layouts.
    std::uint64_t Shape(std::uint64_t hash) const;

    // ---- debug output ----
    void PrintCubeDataDbg(const char* title) const;

private:
    // Which layout a new cell takes, and whether it is created at all.
    CellStatistics* ChooseLayout(bool firstKey, bool hasTotal, bool& create) const;
    void AddNewCVarCase();
    void AddNewMRSetCase();
    void AddNewScaleCase();
    void InsertNewCell(CellStatistics& layout, bool allValid, bool hasTotal);
    void InsertNewCell(CellStatistics& layout, double count, bool allValid, bool hasTotal);
    void InsertNewCell(CellStatistics& layout);
    void UpdateCubeIndex(const std::vector<int>& positions);
    void UpdateCubeCases();
    KvAggrCaseValueReader* FirstCubeReader() const { return _cubeReaders.empty() ? nullptr : _cubeReaders[0]; }

    void UpdateAllCVarPcts(bool allValid, bool hasTotal);
    void UpdateAllMRSetPcts(double count, bool allValid, bool hasTotal);
    void UpdateAllScalePcts();
    void UpdateCVarPctBase(CellKey& key, const CubeMetadata& metadata, KvAggrHashtablePair* table, int percentType,
                           bool allValid, bool hasTotal);
    void UpdateMRSetPctBase(CellKey& key, const CubeMetadata& metadata, KvAggrHashtablePair* table,
                            int percentType, int iStatsDim, double count, bool allValid, bool hasTotal);
    void UpdateScalePctBase(CellKey& key, const CubeMetadata& metadata, KvAggrHashtablePair* table,
                            int percentType);
    void SetPercentValues();
    // The layout of the cells of kept percentage base j.
    CellStatistics* BaseLayout(size_t j) const;
    // The maps of a key's positions, by the dimension at each position.
    static std::vector<const std::vector<int>*> PositionMaps(const CubeMetadata& metadata, const CellIndexMaps& maps);
    // Turns a key of another part into this table's cell indices; false when
    // an entry is no cell index the part could have made.
    static bool MapKey(CellKey& key, const std::vector<const std::vector<int>*>& positionMaps);
    bool ReadTable(StateReader& in, KvAggrHashtablePair& table, const CubeMetadata& metadata, CellStatistics* base,
                   const CellIndexMaps& maps);
    // `base` as for ReadTable; the other's cells name their layouts in `other`.
    void MergeTable(KvAggrHashtablePair& mine, const KvAggrHashtablePair& theirs, const CubeMetadata& metadata,
                    CellStatistics* base, const CubeAggregator& other, const CellIndexMaps& maps);
    void CheckRetrievalKey(const CellKey& cellKey) const;
    KvAggrPairNode* FindCell(CellKey& cellKey) const;

    TableMetadata* _tableMetadata;  // not owned
    const double* _pCaseWeight;
    bool _weightedByVariable;
    CubeMetadata _cubeMetadata;
    CellKey _cellKey;
    std::vector<KvAggrCaseValueReader*>* _caseReaders;  // the table metadata's
    std::vector<KvAggrCaseValueReader*> _cubeReaders;
    std::vector<int> _cubeReaderPositions;
    CellStatistics* _cellStats;
    CellStatistics* _totalStats;
    StatValues* _statValues;
    TableDimension* _statsDimension;
    double _ciLevel;
    int _totalStatsDimIndex;
    bool _listwise;
    bool _extraDimension;
    bool _cellTotalN;
    bool _totalTotalN;
    KvAggrHashtablePair* _cells;

    // ---- percentage bases: the j-th kept type owns entry j of each vector ----
    CellStatistics* _baseStats[CellStatistics::kNumPercentTypes];
    bool _hasPercentages;
    std::vector<std::vector<int>> _baseDims;
    std::vector<CubeMetadata> _baseMetadata;
    std::vector<CellKey> _baseKeys;
    std::vector<KvAggrHashtablePair*> _baseTables;
    std::vector<int> _baseStatsDimIndex;  // position of the statistics dimension in each base, or -1

    std::unique_ptr<std::map<int, int>> _meanVarIndex;
    std::unique_ptr<std::map<int, int>> _uMeanVarIndex;
};

#endif
