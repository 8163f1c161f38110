#include "CubeAggregator.h"

#include <cfloat>
#include <cstdio>
#include <string>

#include "BP_Character.h"
#include "KvAssert.h"
#include "TableMetadata.h"

using namespace TableEncryptionCodes;

namespace {
const int kInitialBuckets = 89;
}

CubeAggregator::CubeAggregator(TableMetadata& tableMetadata, CubeMetadata& cubeMetadata)
    : _tableMetadata(&tableMetadata), _pCaseWeight(tableMetadata.GetCaseWeight()),
      _weightedByVariable(tableMetadata.GetBaseWeightIndex() >= 0), _cubeMetadata(cubeMetadata),
      _cellKey(cubeMetadata.NumberOfDimensions()), _caseReaders(&tableMetadata.GetCaseReaders()),
      _cellStats(nullptr), _totalStats(nullptr), _statValues(nullptr), _statsDimension(nullptr), _ciLevel(95.0),
      _totalStatsDimIndex(-1), _listwise(tableMetadata.GetListwise()), _extraDimension(false), _cellTotalN(false),
      _totalTotalN(false), _cells(nullptr), _hasPercentages(false)
{
    int n = _cubeMetadata.NumberOfDimensions();
    _extraDimension = n > 1 && _cubeMetadata.GetDimPosition(n - 1) == kExtraDimension;
    for (CellStatistics*& s : _baseStats) s = nullptr;
}

CubeAggregator::~CubeAggregator()
{
    delete _cells;
    delete _cellStats;
    delete _totalStats;
    delete _statValues;
    for (KvAggrHashtablePair* t : _baseTables) delete t;
    for (CellStatistics* s : _baseStats) delete s;
}

// ---- statistics set-up ---------------------------------------------------------------

void CubeAggregator::SetCellStatistics(std::vector<AggregationStatistic> const& cellStats, TableDimension* dim)
{
    KV_ASSERT(!_cellStats && !_statsDimension && !cellStats.empty());
    _cells = new KvAggrHashtablePair(kInitialBuckets);
    _statsDimension = dim;
    if (dim)
        SetCategoricalStats(cellStats);
    else
        SetScaleStats(cellStats);
    SetPercentStats();
}

void CubeAggregator::SetTotalStatistics(std::vector<AggregationStatistic> const& cellStats, TableDimension* dim,
                                        std::vector<AggregationStatistic> const& totalStats)
{
    KV_ASSERT(!_cellStats && !_statsDimension && !cellStats.empty());
    _cells = new KvAggrHashtablePair(kInitialBuckets);
    _statsDimension = dim;
    KV_ASSERT(_statsDimension);
    SetCategoricalStats(cellStats);
    if (!totalStats.empty()) {
        bool plainOnly = true;  // no confidence members among the cell statistics
        for (const AggregationStatistic& s : cellStats)
            if (s.GetConfSubType() != kConfValue && s.GetConfSubType() != kConfNone) plainOnly = false;
        if (plainOnly) {
            SetTotalStats(totalStats);
        } else {
            std::vector<AggregationStatistic> distinct;
            for (const AggregationStatistic& t : totalStats) {
                bool same = false;
                for (const AggregationStatistic& s : cellStats)
                    if (t.IsSame(s, false)) same = true;
                if (!same) distinct.push_back(t);
            }
            SetTotalStats(distinct);
        }
    }
    SetPercentStats();
}

void CubeAggregator::SetCategoricalStats(std::vector<AggregationStatistic> const& stats)
{
    if (stats.empty()) return;
    _cellStats = new CellStatistics(stats);
    _cellStats->SetEffectiveBase(_weightedByVariable);
    _cellStats->SetMultiplicity(_tableMetadata->GetMultiplicity());
    _cellStats->SetCategoricalStatistics();
    if (_statsDimension) {
        _cubeReaders = _statsDimension->GetCaseValues();
        int iDim = 0;
        while (iDim < _cubeMetadata.NumberOfDimensions() && *_cubeMetadata.GetDimension(iDim) != *_statsDimension)
            ++iDim;
        KV_ASSERT(iDim < _cubeMetadata.NumberOfDimensions());
        _totalStatsDimIndex = iDim;
        if (_statsDimension->GetDimensionType() == TableDimension::kMCSet ||
            _statsDimension->GetDimensionType() == TableDimension::kMDSet)
            _statsDimension->SetComputingCounts();
    }
    _cellTotalN = _cellStats->IsTotalNComputed();
}

void CubeAggregator::SetTotalStats(std::vector<AggregationStatistic> const& totalStats)
{
    if (!_statsDimension || totalStats.empty()) return;
    _totalStats = new CellStatistics(totalStats);
    _totalStats->SetEffectiveBase(_weightedByVariable);
    _totalStats->SetMultiplicity(_tableMetadata->GetMultiplicity());
    _totalStats->SetCategoricalStatistics();
    _totalTotalN = _totalStats->IsTotalNComputed();
}

void CubeAggregator::SetScaleStats(std::vector<AggregationStatistic> const& stats)
{
    if (stats.empty()) return;
    std::vector<int> positions = _tableMetadata->GetCaseIndex(stats);
    _cellStats = new CellStatistics(stats);
    _cellStats->SetEffectiveBase(_weightedByVariable);
    _cellStats->SetMultiplicity(_tableMetadata->GetMultiplicity());
    _cellStats->SetScaleStatistics(positions);
    UpdateCubeIndex(positions);
    UpdateCubeCases();
}

void CubeAggregator::UpdateCubeIndex(const std::vector<int>& positions)
{
    // Each reader once, in the order the statistics first use it.
    for (int p : positions) {
        bool seen = false;
        for (int q : _cubeReaderPositions) seen = seen || q == p;
        if (!seen) _cubeReaderPositions.push_back(p);
    }
}

void CubeAggregator::UpdateCubeCases()
{
    _cubeReaders.clear();
    for (int p : _cubeReaderPositions) _cubeReaders.push_back((*_caseReaders)[static_cast<size_t>(p)]);
}

void CubeAggregator::SetPercentStats()
{
    _statValues = new StatValues(GetTotalStats());
    _statValues->SetConfLevel(_ciLevel);
    _statValues->SetEffective(_weightedByVariable);
    SetBaseStats();
    if (_hasPercentages) {
        SetBaseMetadata();
        SetBaseHashtables();
    }
}

void CubeAggregator::SetBaseStats()
{
    if (!_cellStats) return;
    int kept = 0;
    for (int t = 0; t < CellStatistics::kNumPercentTypes; ++t) {
        std::vector<AggregationStatistic> baseStats;
        std::vector<int> baseVars;
        _cellStats->GetBaseStats(baseStats, baseVars, t, kept);
        if (_totalStats) _totalStats->GetBaseStats(baseStats, baseVars, t, kept);
        if (baseStats.empty()) continue;
        _baseStats[t] = new CellStatistics(baseStats);
        _baseStats[t]->SetEffectiveBase(_weightedByVariable);
    _baseStats[t]->SetMultiplicity(_tableMetadata->GetMultiplicity());
        if (_statsDimension)
            _baseStats[t]->SetCategoricalStatistics();
        else
            _baseStats[t]->SetScaleStatistics(baseVars);
        _hasPercentages = true;
        ++kept;
    }
}

void CubeAggregator::SetBaseMetadata()
{
    _cubeMetadata.SetClabelOption(_tableMetadata->GetClabelOption());
    for (int t = 0; t < CellStatistics::kNumPercentTypes; ++t)
        if (_baseStats[t]) SetBaseDims(t);
}

void CubeAggregator::SetBaseDims(int percentType)
{
    std::vector<int> dims;
    _cubeMetadata.GetPercentBase(dims, percentType);
    _baseMetadata.push_back(_cubeMetadata.GetBaseMetadata(dims, percentType));
    _baseDims.push_back(std::move(dims));
}

void CubeAggregator::SetBaseHashtables()
{
    for (const CubeMetadata& m : _baseMetadata) {
        _baseKeys.emplace_back(m.NumberOfDimensions());
        _baseTables.push_back(new KvAggrHashtablePair(kInitialBuckets));
        int pos = -1;
        if (_statsDimension)
            for (int d = 0; d < m.NumberOfDimensions() && pos < 0; ++d)
                if (*m.GetDimension(d) == *_statsDimension) pos = d;
        _baseStatsDimIndex.push_back(pos);
    }
}

// ---- per case ---------------------------------------------------------------------

void CubeAggregator::AddNewCase()
{
    KV_ASSERT(_cellStats);
    if (!_statsDimension) {
        AddNewScaleCase();
        return;
    }
    switch (_statsDimension->GetDimensionType()) {
    case TableDimension::kCVariable:
        AddNewCVarCase();
        break;
    case TableDimension::kMCSet:
    case TableDimension::kMDSet:
        AddNewMRSetCase();
        break;
    default:
        KV_ASSERT_TEXT(_statsDimension->GetDimensionType() != 0, "0");
        break;
    }
}

CellStatistics* CubeAggregator::ChooseLayout(bool firstKey, bool hasTotal, bool& create) const
{
    if (_totalStats) {
        int element = _cellKey[_totalStatsDimIndex];
        // The first key marks a total only with the total itself; every later
        // key of the same case also with a subtotal. The difference is kept
        // on purpose: a first key carries a subtotal only through its own
        // category, never through the statistics dimension's total.
        bool marksTotal = firstKey ? element == kTotalCategory : element < kMinCategory;
        if (marksTotal) {
            create = !hasTotal || _totalTotalN;
            return _totalStats;
        }
    }
    create = !hasTotal || _cellTotalN;
    return _cellStats;
}

void CubeAggregator::AddNewCVarCase()
{
    bool noCategory, allValid, hasTotal;
    if (!_cubeMetadata.MakeCVarCellKey(_cellKey, noCategory, allValid, hasTotal)) {
        if (_hasPercentages && !noCategory) UpdateAllCVarPcts(false, true);
        return;
    }
    const double weight = *_pCaseWeight;
    KvAggrCaseValueReader* reader = FirstCubeReader();
    bool first = true;
    do {
        _cellKey.UpdateHashCode();
        if (KvAggrPairNode* node = _cells->get(&_cellKey)) {
            node->pair.values->UpdateCVarValues(reader, allValid, hasTotal, weight);
        } else {
            bool create;
            CellStatistics* layout = ChooseLayout(first, hasTotal, create);
            if (create) InsertNewCell(*layout, allValid, hasTotal);
        }
        first = false;
    } while (_cubeMetadata.NewCellKey(_cellKey));
    if (_hasPercentages) UpdateAllCVarPcts(allValid, hasTotal);
}

void CubeAggregator::AddNewMRSetCase()
{
    bool noCategory, allValid, hasTotal;
    if (!_cubeMetadata.MakeCVarCellKey(_cellKey, noCategory, allValid, hasTotal)) {
        if (_hasPercentages && !noCategory) UpdateAllMRSetPcts(0.0, false, true);
        return;
    }
    const double weight = *_pCaseWeight;
    bool first = true;
    do {
        _cellKey.UpdateHashCode();
        double count = _statsDimension->GetCellCount(_cubeMetadata.GetCurrentCell(_totalStatsDimIndex));
        if (KvAggrPairNode* node = _cells->get(&_cellKey)) {
            node->pair.values->UpdateMRSetValues(count, allValid, hasTotal, weight);
        } else {
            bool create;
            CellStatistics* layout = ChooseLayout(first, hasTotal, create);
            if (create) InsertNewCell(*layout, count, allValid, hasTotal);
        }
        first = false;
    } while (_cubeMetadata.NewCellKey(_cellKey));
    if (_hasPercentages)
        UpdateAllMRSetPcts(static_cast<double>(_statsDimension->GetCaseResponseCount()), allValid, hasTotal);
}

void CubeAggregator::AddNewScaleCase()
{
    if (_listwise)
        for (const KvAggrCaseValueReader* r : _cubeReaders)
            if (!r->IsValid()) return;
    if (!_cubeMetadata.MakeScaleCellKey(_cellKey)) return;
    const double weight = *_pCaseWeight;
    do {
        _cellKey.UpdateHashCode();
        if (KvAggrPairNode* node = _cells->get(&_cellKey))
            node->pair.values->UpdateScaleValues(*_caseReaders, weight);
        else
            InsertNewCell(*_cellStats);
    } while (_cubeMetadata.NewCellKey(_cellKey));
    if (_hasPercentages) UpdateAllScalePcts();
}

void CubeAggregator::InsertNewCell(CellStatistics& layout, bool allValid, bool hasTotal)
{
    auto* values = new CellValues(layout, FirstCubeReader(), allValid, hasTotal, *_pCaseWeight, _weightedByVariable);
    _cells->put(new CellKey(_cellKey), values);
}

void CubeAggregator::InsertNewCell(CellStatistics& layout, double count, bool allValid, bool hasTotal)
{
    auto* values = new CellValues(layout, count, allValid, hasTotal, *_pCaseWeight, _weightedByVariable);
    _cells->put(new CellKey(_cellKey), values);
}

void CubeAggregator::InsertNewCell(CellStatistics& layout)
{
    auto* values = new CellValues(layout, *_caseReaders, *_pCaseWeight, _weightedByVariable);
    _cells->put(new CellKey(_cellKey), values);
}

void CubeAggregator::CompleteCases()
{
    if (!_statValues) return;
    for (int i = 0; i < static_cast<int>(_cellKey.length()); ++i) _cellKey[i] = kTotalCategory;
    _cellKey.UpdateHashCode();
    KvAggrPairNode* node = _cells ? _cells->get(&_cellKey) : nullptr;
    _statValues->SetTotalValues(node ? node->pair.values : nullptr);
}

void CubeAggregator::ResetAggregator()
{
    if (_cells) _cells->clearDeep();
    if (_hasPercentages)
        for (KvAggrHashtablePair* t : _baseTables) t->clearDeep();
    // The grand total cell is gone; CompleteCases names the next one.
    if (_statValues) _statValues->SetTotalValues(nullptr);
}

// ---- percentage bases -------------------------------------------------------------

void CubeAggregator::UpdateAllCVarPcts(bool allValid, bool hasTotal)
{
    int j = 0;
    for (int t = 0; t < CellStatistics::kNumPercentTypes; ++t) {
        if (!_baseStats[t]) continue;
        UpdateCVarPctBase(_baseKeys[static_cast<size_t>(j)], _baseMetadata[static_cast<size_t>(j)],
                          _baseTables[static_cast<size_t>(j)], t, allValid, hasTotal);
        ++j;
    }
}

void CubeAggregator::UpdateAllMRSetPcts(double count, bool allValid, bool hasTotal)
{
    int j = 0;
    for (int t = 0; t < CellStatistics::kNumPercentTypes; ++t) {
        if (!_baseStats[t]) continue;
        size_t jj = static_cast<size_t>(j);
        UpdateMRSetPctBase(_baseKeys[jj], _baseMetadata[jj], _baseTables[jj], t, _baseStatsDimIndex[jj], count,
                           allValid, hasTotal);
        ++j;
    }
}

void CubeAggregator::UpdateAllScalePcts()
{
    int j = 0;
    for (int t = 0; t < CellStatistics::kNumPercentTypes; ++t) {
        if (!_baseStats[t]) continue;
        size_t jj = static_cast<size_t>(j);
        UpdateScalePctBase(_baseKeys[jj], _baseMetadata[jj], _baseTables[jj], t);
        ++j;
    }
}

void CubeAggregator::UpdateCVarPctBase(CellKey& key, const CubeMetadata& metadata, KvAggrHashtablePair* table,
                                       int percentType, bool allValid, bool hasTotal)
{
    if (!metadata.MakeCVarPctKey(key)) return;
    const double weight = *_pCaseWeight;
    KvAggrCaseValueReader* reader = FirstCubeReader();
    do {
        key.UpdateHashCode();
        if (KvAggrPairNode* node = table->get(&key)) {
            node->pair.values->UpdateCVarValues(reader, allValid, hasTotal, weight);
        } else {
            // Base cells are created whatever hasTotal and the total-N setting say.
            table->put(new CellKey(key), new CellValues(*_baseStats[percentType], reader, allValid, hasTotal, weight,
                                                        _weightedByVariable));
        }
    } while (metadata.NewCellKey(key));
}

void CubeAggregator::UpdateMRSetPctBase(CellKey& key, const CubeMetadata& metadata, KvAggrHashtablePair* table,
                                        int percentType, int iStatsDim, double count, bool allValid, bool hasTotal)
{
    if (!metadata.MakeCVarPctKey(key)) return;
    const double weight = *_pCaseWeight;
    do {
        key.UpdateHashCode();
        double c = iStatsDim >= 0 ? _statsDimension->GetCellCount(metadata.GetCurrentCell(iStatsDim)) : count;
        if (KvAggrPairNode* node = table->get(&key)) {
            node->pair.values->UpdateMRSetValues(c, allValid, hasTotal, weight);
        } else {
            table->put(new CellKey(key), new CellValues(*_baseStats[percentType], c, allValid, hasTotal, weight,
                                                        _weightedByVariable));
        }
    } while (metadata.NewCellKey(key));
}

void CubeAggregator::UpdateScalePctBase(CellKey& key, const CubeMetadata& metadata, KvAggrHashtablePair* table,
                                        int percentType)
{
    if (!metadata.MakeScaleCellKey(key)) return;
    const double weight = *_pCaseWeight;
    do {
        key.UpdateHashCode();
        if (KvAggrPairNode* node = table->get(&key))
            node->pair.values->UpdateScaleValues(*_caseReaders, weight);
        else
            table->put(new CellKey(key),
                       new CellValues(*_baseStats[percentType], *_caseReaders, weight, _weightedByVariable));
    } while (metadata.NewCellKey(key));
}

void CubeAggregator::SetPercentValues()
{
    _statValues->ClearBaseValues();
    for (size_t j = 0; j < _baseTables.size(); ++j) {
        CellKey& baseKey = _baseKeys[j];
        const std::vector<int>& dims = _baseDims[j];
        for (size_t m = 0; m < dims.size(); ++m) baseKey[static_cast<int>(m)] = _cellKey[dims[m]];
        baseKey.UpdateHashCode();
        KvAggrPairNode* Pt = _baseTables[j]->get(&baseKey);
        // A cell exists only if a case made it, and that case entered every base.
        KV_ASSERT(Pt);
        _statValues->AddBaseValues(Pt->pair.values);
    }
}

// ---- retrieval --------------------------------------------------------------------

bool CubeAggregator::SetCellKey(std::vector<const AggregationCategory*> const& categories, int iLookup)
{
    KV_ASSERT(_cellKey.length() == categories.size() || _extraDimension);
    bool found = true;
    for (int i = 0; i < static_cast<int>(categories.size()); ++i) {
        const AggregationCategory* category = categories[static_cast<size_t>(i)];
        TableDimension* tableDim = _cubeMetadata.GetDimension(i);
        int element = kNoCategory;
        if (i == iLookup) {
            switch (category->GetCatType()) {
            case AggregationCategory::kSubtotal:
            case AggregationCategory::kHSubtotal:
            case AggregationCategory::kTotal:
                element = category->GetCatEncoding();
                break;
            case AggregationCategory::kValue:
                element = tableDim->GetCategoryEncoding(&category->GetCatValue(), category->GetValueType());
                break;
            case AggregationCategory::kVariable: {
                OBS varIndex;
                varIndex.num = static_cast<double>(category->GetVarIndex());
                element = tableDim->GetCategoryEncoding(&varIndex);
                break;
            }
            default:  // kDummy, kPCompute: no cell of their own
                found = false;
                break;
            }
            if (element == kNoCategory) found = false;
        } else {
            element = category->GetCatEncoding();
            if (tableDim->GetDimensionType() == TableDimension::kCVariable)
                KV_ASSERT((tableDim->VariableIndex())[0] == categories[i]->GetVarIndex());
        }
        _cellKey[i] = element;
    }
    if (_extraDimension && categories.size() < _cellKey.length())
        _cellKey[static_cast<int>(categories.size())] = kTotalCategory;
    return found;
}

bool CubeAggregator::GetCellStatus(std::vector<const AggregationCategory*> const& categories, int iLookup)
{
    if (!SetCellKey(categories, iLookup) || !_cells) return false;
    _cellKey.UpdateHashCode();
    return _cells->containsKey(&_cellKey);
}

StatValues* CubeAggregator::GetStatValues(std::vector<const AggregationCategory*> const& categories, int iLookup)
{
    if (!_statValues) return nullptr;
    _statValues->SetConfLevel(_ciLevel);
    if (!SetCellKey(categories, iLookup)) return nullptr;
    _cellKey.UpdateHashCode();
    KvAggrPairNode* node = _cells->get(&_cellKey);
    if (!node) return nullptr;
    _statValues->SetStatValues(node->pair.values);
    if (_hasPercentages) SetPercentValues();
    return _statValues;
}

const CellValues* CubeAggregator::GetBaseCell(std::vector<const AggregationCategory*> const& categories,
                                              int percentType)
{
    KV_ASSERT(percentType >= 0 && percentType < CellStatistics::kNumPercentTypes);
    if (!_baseStats[percentType] || !SetCellKey(categories, -1)) return nullptr;
    // Kept bases are numbered compactly in type order.
    size_t j = 0;
    for (int t = 0; t < percentType; ++t) j += _baseStats[t] != nullptr;
    CellKey& baseKey = _baseKeys[j];
    const std::vector<int>& dims = _baseDims[j];
    for (size_t m = 0; m < dims.size(); ++m) baseKey[static_cast<int>(m)] = _cellKey[dims[m]];
    baseKey.UpdateHashCode();
    KvAggrPairNode* node = _baseTables[j]->get(&baseKey);
    return node ? node->pair.values : nullptr;
}

void CubeAggregator::CheckRetrievalKey(const CellKey& cellKey) const
{
    KV_ASSERT(_cellKey.length() == cellKey.length());
}

KvAggrPairNode* CubeAggregator::FindCell(CellKey& cellKey) const
{
    cellKey.UpdateHashCode();
    return _cells ? _cells->get(&cellKey) : nullptr;
}

double CubeAggregator::GetCount(CellKey& cellKey, bool weighted, bool effective) const
{
    CheckRetrievalKey(cellKey);
    for (int i = 0; i < static_cast<int>(cellKey.length()); ++i) {
        int cellI = cellKey[i];
        KV_ASSERT(cellI >= TableEncryptionCodes::kMinCategory || cellI == TableEncryptionCodes::kNoCategory || ( cellI >= TableEncryptionCodes::kLowerSubtotal && cellI <= TableEncryptionCodes::kMaxSubtotal ) || cellI == TableEncryptionCodes::kTotalCategory);
    }
    KvAggrPairNode* node = FindCell(cellKey);
    if (!node) return 0.0;
    const double* v = node->pair.values->GetValues();
    if (!weighted) return v[CellValues::kUCountPos];
    if (effective && _weightedByVariable) return v[CellValues::kECountPos];
    return v[CellValues::kCountPos];
}

const OBS* CubeAggregator::GetCountMeanVariance(int pos, CellKey& cellKey) const
{
    CheckRetrievalKey(cellKey);
    for (int i = 0; i < static_cast<int>(cellKey.length()); ++i)
        KV_ASSERT(cellKey[i] >= TableEncryptionCodes::kMinCategory || cellKey[i] == TableEncryptionCodes::kNoCategory || ( cellKey[i] >= TableEncryptionCodes::kLowerSubtotal && cellKey[i] <= TableEncryptionCodes::kMaxSubtotal ) || cellKey[i] == TableEncryptionCodes::kTotalCategory);
    KvAggrPairNode* node = FindCell(cellKey);
    if (!node) return nullptr;
    return reinterpret_cast<const OBS*>(node->pair.values->GetValues() + pos);
}

const OBS* CubeAggregator::GetValuePtr(int pos, CellKey& cellKey) const
{
    return GetCountMeanVariance(pos, cellKey);
}

double CubeAggregator::GetSortValue(CellKey& cellKey) const
{
    CheckRetrievalKey(cellKey);
    KvAggrPairNode* node = FindCell(cellKey);
    if (!node) return -DBL_MAX;
    return node->pair.values->GetStatisticValue(0, false, false).GetValue1();
}

int CubeAggregator::GetNValuesInnerRow() const
{
    TableDimension* dim = _cubeMetadata.GetInnerRow();
    return dim ? dim->GetNumberOfValues() : 0;
}

int CubeAggregator::GetNValuesInnerColumn() const
{
    TableDimension* dim = _cubeMetadata.GetInnerColumn();
    return dim ? dim->GetNumberOfValues() : 0;
}

// ---- pair-wise tests --------------------------------------------------------------

void CubeAggregator::SetPairwiseTest(bool weighted)
{
    KV_ASSERT(_cellStats);
    if (!_meanVarIndex) _meanVarIndex = std::make_unique<std::map<int, int>>();
    if (weighted && !_uMeanVarIndex) _uMeanVarIndex = std::make_unique<std::map<int, int>>();
    auto inSet = [](int code, std::initializer_list<int> set) {
        for (int c : set)
            if (c == code) return true;
        return false;
    };
    const std::vector<AggregationStatistic>& stats = _cellStats->GetStatistics();
    const std::vector<int>& valueIndex = _cellStats->GetValueIndex();
    for (const KvAggrCaseValueReader* reader : _cubeReaders) {
        int v = reader->GetVarIndex();
        int first = -1, second = -1;
        for (size_t i = 0; i < stats.size(); ++i) {
            if (stats[i].GetVarIndex() != v) continue;
            int code = stats[i].GetSummaryStatistic();
            if (weighted) {
                if (first < 0 && inSet(code, {kMeanSE, kStdDev, kVariance, kSumSqDeviation})) first = static_cast<int>(i);
                if (second < 0 && inSet(code, {kUMean, kUMeanSE, kUStdDev, kUValidN, kUVariance}))
                    second = static_cast<int>(i);
            } else if (first < 0 && inSet(code, {kMeanSE, kUMeanSE, kStdDev, kUStdDev, kVariance, kUVariance,
                                                  kSumSqDeviation})) {
                first = static_cast<int>(i);
            }
        }
        // An insertion never replaces: the first reader of a variable wins.
        if (first >= 0) _meanVarIndex->emplace(v, valueIndex[static_cast<size_t>(first)]);
        if (second >= 0 && _uMeanVarIndex) _uMeanVarIndex->emplace(v, valueIndex[static_cast<size_t>(second)]);
    }
}

int CubeAggregator::GetMeanVarIndex(int varIndex, bool weighted) const
{
    // The unweighted map answers whenever the caller passes false and the map
    // exists, with no fall-back to the weighted one.
    if (!weighted && _uMeanVarIndex) {
        auto it = _uMeanVarIndex->find(varIndex);
        return it == _uMeanVarIndex->end() ? -1 : it->second;
    }
    if (!_meanVarIndex) return -1;
    auto it = _meanVarIndex->find(varIndex);
    return it == _meanVarIndex->end() ? -1 : it->second;
}

bool CubeAggregator::CountsOnly() const
{
    if (!_statsDimension) return false;
    std::vector<const CellStatistics*> layouts{_cellStats, _totalStats};
    layouts.insert(layouts.end(), std::begin(_baseStats), std::end(_baseStats));
    for (const CellStatistics* layout : layouts)
        if (layout && (!layout->GetAccumulators().empty() || layout->GetNumFreqTables() > 0)) return false;
    return true;
}

// ---- partial tables ---------------------------------------------------------------

CellStatistics* CubeAggregator::BaseLayout(size_t j) const
{
    for (CellStatistics* layout : _baseStats)
        if (layout && j-- == 0) return layout;
    KV_ASSERT(!"a kept base has a layout");
    return nullptr;
}

std::vector<const std::vector<int>*> CubeAggregator::PositionMaps(const CubeMetadata& metadata,
                                                                   const CellIndexMaps& maps)
{
    std::vector<const std::vector<int>*> byPosition;
    for (int i = 0; i < metadata.NumberOfDimensions(); ++i) {
        auto it = maps.find(metadata.GetDimension(i));
        byPosition.push_back(it == maps.end() ? nullptr : &it->second);
    }
    return byPosition;
}

bool CubeAggregator::MapKey(CellKey& key, const std::vector<const std::vector<int>*>& positionMaps)
{
    for (int i = 0; i < static_cast<int>(key.length()); ++i) {
        const int e = key[i];
        const std::vector<int>* map = positionMaps[static_cast<size_t>(i)];
        if (e >= kMinCategory) {
            if (!map || e >= static_cast<int>(map->size()) || (*map)[static_cast<size_t>(e)] < kMinCategory)
                return false;
            key[i] = (*map)[static_cast<size_t>(e)];
        } else if (!(e == kNoCategory || e == kUnlistedCategory || e == kTotalCategory ||
                     (e >= kLowerSubtotal && e <= kMaxSubtotal))) {
            return false;
        }
    }
    key.UpdateHashCode();
    return true;
}

void CubeAggregator::MergeTable(KvAggrHashtablePair& mine, const KvAggrHashtablePair& theirs,
                                const CubeMetadata& metadata, CellStatistics* base, const CubeAggregator& other,
                                const CellIndexMaps& maps)
{
    const std::vector<const std::vector<int>*> positionMaps = PositionMaps(metadata, maps);
    CellKey key(metadata.NumberOfDimensions());
    for (const CellPair& pair : theirs) {
        key = *pair.key;
        const bool known = MapKey(key, positionMaps);
        KV_ASSERT(known);  // the other part's keys hold only cell indices it handed out
        if (KvAggrPairNode* node = mine.get(&key)) {
            node->pair.values->Merge(*pair.values);
            continue;
        }
        CellStatistics* layout = base;
        if (!layout) layout = &pair.values->GetCellStats() == other._totalStats ? _totalStats : _cellStats;
        mine.put(new CellKey(key), new CellValues(*layout, *pair.values));
    }
}

void CubeAggregator::Merge(const CubeAggregator& other, const CellIndexMaps& maps)
{
    // Both cubes come from the same calls: the same keys, layouts and bases.
    KV_ASSERT(_cellKey.length() == other._cellKey.length() && !_cells == !other._cells &&
              !_totalStats == !other._totalStats && _baseTables.size() == other._baseTables.size());
    if (_cells) MergeTable(*_cells, *other._cells, _cubeMetadata, nullptr, other, maps);
    for (size_t j = 0; j < _baseTables.size(); ++j)
        MergeTable(*_baseTables[j], *other._baseTables[j], _baseMetadata[j], BaseLayout(j), other, maps);
}

void CubeAggregator::WriteCells(StateWriter& out) const
{
    auto writeTable = [&out](const KvAggrHashtablePair* table, bool tagged, const CellStatistics* totalStats) {
        out.PutU32(table ? static_cast<std::uint32_t>(table->size()) : 0u);
        if (!table) return;
        for (const CellPair& pair : *table) {
            if (tagged) out.PutU8(&pair.values->GetCellStats() == totalStats ? 1 : 0);
            out.PutRaw(pair.key->entries(), sizeof(int) * pair.key->length());
            pair.values->Write(out);
        }
    };
    writeTable(_cells, true, _totalStats);
    for (const KvAggrHashtablePair* table : _baseTables) writeTable(table, false, nullptr);
}

// `base` is the layout of a percentage-base table; null for the cells, whose
// layout each cell names.
bool CubeAggregator::ReadTable(StateReader& in, KvAggrHashtablePair& table, const CubeMetadata& metadata,
                               CellStatistics* base, const CellIndexMaps& maps)
{
    const std::vector<const std::vector<int>*> positionMaps = PositionMaps(metadata, maps);
    CellKey key(metadata.NumberOfDimensions());
    const size_t keyBytes = sizeof(int) * key.length();
    std::uint32_t n = 0;
    // A cell takes at least its tag, its key and two counts.
    if (!in.GetCount(n, (base ? 0 : 1) + keyBytes + 8)) return false;
    for (std::uint32_t c = 0; c < n; ++c) {
        CellStatistics* layout = base;
        if (!base) {
            std::uint8_t tag = 2;
            in.GetU8(tag);
            if (tag > 1 || (tag == 1 && !_totalStats)) return false;
            layout = tag == 1 ? _totalStats : _cellStats;
        }
        std::vector<int> entries(key.length());
        if (!in.GetRaw(entries.data(), keyBytes)) return false;
        for (int i = 0; i < static_cast<int>(key.length()); ++i) key[i] = entries[static_cast<size_t>(i)];
        if (!MapKey(key, positionMaps)) return false;
        auto values = std::make_unique<CellValues>(*layout, _weightedByVariable);
        if (!values->Read(in)) return false;
        if (KvAggrPairNode* node = table.get(&key)) node->pair.values->Merge(*values);
        else table.put(new CellKey(key), values.release());
    }
    return true;
}

bool CubeAggregator::ReadCells(StateReader& in, const CellIndexMaps& maps)
{
    if (_cells) {
        if (!ReadTable(in, *_cells, _cubeMetadata, nullptr, maps)) return false;
    } else {
        std::uint32_t none = 1;
        if (!in.GetU32(none) || none != 0) return false;
    }
    for (size_t j = 0; j < _baseTables.size(); ++j)
        if (!ReadTable(in, *_baseTables[j], _baseMetadata[j], BaseLayout(j), maps)) return false;
    return true;
}

std::uint64_t CubeAggregator::Shape(std::uint64_t hash) const
{
    hash = TableState::Mix(hash, static_cast<std::int64_t>(_cellKey.length()));
    hash = TableState::Mix(hash, static_cast<std::int64_t>(_baseTables.size()));
    for (const CubeMetadata& m : _baseMetadata) hash = TableState::Mix(hash, m.NumberOfDimensions());
    for (const CellStatistics* layout : {_cellStats, _totalStats}) {
        hash = TableState::Mix(hash, layout ? layout->GetNumValues() : -1);
        if (!layout) continue;
        hash = TableState::Mix(hash, layout->GetNumFreqTables());
        for (const AggregationStatistic& s : layout->GetStatistics())
            hash = TableState::Mix(hash, s.GetSummaryStatistic());
    }
    for (size_t j = 0; j < _baseTables.size(); ++j) hash = TableState::Mix(hash, BaseLayout(j)->GetNumValues());
    return hash;
}

// ---- debug output -----------------------------------------------------------------

void CubeAggregator::PrintCubeDataDbg(const char* title) const
{
    char buf[64];
    std::string heading;
    if (title) {
        heading = std::string("Cube debug output:") + title + "\n";
    } else {
        heading = "Categorical variable indices:";
        for (int d = 0; d < _cubeMetadata.NumberOfDimensions(); ++d) {
            std::vector<int> indices = _cubeMetadata.GetDimension(d)->VariableIndex();
            std::snprintf(buf, sizeof buf, "\t %d", indices.empty() ? -1 : indices[0]);
            heading += buf;
        }
        heading += "\n";
    }
    BP_ToFront(3, BP_Character(heading));
    if (_cells && _cells->size() > 0) {
        _cells->display();
        std::snprintf(buf, sizeof buf, " Number of cells in the Hashtable: %d", _cells->size());
        BP_ToFront(1, BP_Character(buf));
    }
    for (const KvAggrHashtablePair* t : _baseTables) {
        BP_ToFront(2, BP_Character(" Percentage base "));
        t->display();
        std::snprintf(buf, sizeof buf, " Number of cells in the percentage base Hashtable: %d", t->size());
        BP_ToFront(1, BP_Character(buf));
    }
}
