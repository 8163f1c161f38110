#include "CellStatistics.h"

namespace TEC = TableEncryptionCodes;

namespace {

// Type t of a percentage family member (family base + 8t, t = 0 ... 6), or -1.
int FamilyType(int code, int familyBase)
{
    if (code < familyBase || code > familyBase + 8 * (CellStatistics::kNumPercentTypes - 1)) return -1;
    if ((code - familyBase) % 8 != 0) return -1;
    return (code - familyBase) / 8;
}

bool InFamily(int code, int familyBase) { return FamilyType(code, familyBase) >= 0; }

// First codes of the percentage families.
enum FamilyBase {
    kCountPctFam = 10,
    kUCountPctFam = 14,
    kValidNPctFam = 66,
    kUValidNPctFam = 70,
    kTotalNPctFam = 122,
    kUTotalNPctFam = 126,
    kSumPctFam = 233,
    kUSumPctFam = 237,
    kResponsesPctFam = 297,
    kUResponsesPctFam = 301,
    kResponsesCountPctFam = 353,
    kUResponsesCountPctFam = 357,
    kCountResponsesPctFam = 409,
    kUCountResponsesPctFam = 413
};

bool IsWeightedMapCode(int p)
{
    return p == TEC::kMedian || p == TEC::kGroupedMedian || p == TEC::kMode || p == TEC::kMedianCI ||
           p == TEC::kPtile || p == TEC::kGroupedPtile;
}

bool IsUnweightedMapCode(int p)
{
    return p == TEC::kUMedian || p == TEC::kUGroupedMedian || p == TEC::kUMode || p == TEC::kUMedianCI ||
           p == TEC::kUPtile || p == TEC::kUGroupedPtile;
}

}  // namespace

CellStatistics::CellStatistics(const std::vector<AggregationStatistic>& stats)
    : _statistics(stats),
      _updateStats(stats.size(), 0),
      _baseUpdateStats(stats.size(), 0),
      _confTypes(stats.size(), TEC::kConfNone),
      _valueIndex(stats.size(), -1),
      _baseIndex(stats.size(), -1),
      _baseCellStats(stats.size(), -1),
      _freqIndex(stats.size(), -1),
      _numStatistics(static_cast<int>(stats.size())),
      _numValues(0),
      _numFixedValues(0),
      _numFreqTables(0),
      _fixedStats{false, false, false, false},
      _fixedPos{-1, -1, -1, -1},
      _categorical(false),
      _keepUnweighted(false),
      _effectiveBase(false),
      _confLevel(95.0)
{
}

CellStatistics::~CellStatistics() = default;

void CellStatistics::SetCategoricalStatistics()
{
    _categorical = true;
    SetFixedStats();
    SetUpdateStats();
}

void CellStatistics::SetScaleStatistics(const std::vector<int>& scaleVars)
{
    _scaleVars = scaleVars;
    _scaleVars.resize(_statistics.size(), -1);
    SetFixedStats();
    SetUpdateStats();
}

int CellStatistics::GetSummaryVar(int i) const
{
    if (!_scaleVars.empty()) return _scaleVars[i];
    return _statistics[i].GetVarIndex();
}

void CellStatistics::SetFixedStats()
{
    _fixedStats[kFixedCount] = true;
    if (_effectiveBase) _keepUnweighted = true;
    for (const AggregationStatistic& stat : _statistics) {
        const int p = stat.GetPrimaryStatistic();
        if (InFamily(p, kValidNPctFam) || p == TEC::kValidN || p == TEC::kEValidN) {
            if (_categorical) _fixedStats[kFixedValidN] = true;
        } else if (InFamily(p, kUValidNPctFam) || p == TEC::kUValidN) {
            if (_categorical) _fixedStats[kFixedValidN] = true;
            _keepUnweighted = true;
        } else if (InFamily(p, kTotalNPctFam) || p == TEC::kTotalN || p == TEC::kETotalN) {
            if (_categorical) _fixedStats[kFixedTotalN] = true;
        } else if (InFamily(p, kUTotalNPctFam) || p == TEC::kUTotalN) {
            if (_categorical) _fixedStats[kFixedTotalN] = true;
            _keepUnweighted = true;
        } else if (p == TEC::kMissingCount || p == TEC::kUMissingCount) {
            if (_categorical) {
                _fixedStats[kFixedTotalN] = true;
                _fixedStats[kFixedValidN] = true;
            }
            if (p == TEC::kUMissingCount) _keepUnweighted = true;
        } else if (p == TEC::kResponses || InFamily(p, kResponsesPctFam) || InFamily(p, kResponsesCountPctFam)) {
            _fixedStats[kFixedResponses] = true;
        } else if (p == TEC::kUResponses || InFamily(p, kUResponsesPctFam) || InFamily(p, kUResponsesCountPctFam)) {
            _fixedStats[kFixedResponses] = true;
            _keepUnweighted = true;
        }
    }
}

int CellStatistics::SetFrequencyTable(int i, bool weighted)
{
    const std::pair<int, bool> key(GetSummaryVar(i), weighted);
    for (std::size_t m = 0; m < _freqTables.size(); ++m) {
        if (_freqTables[m] == key) {
            _freqIndex[i] = static_cast<int>(m);
            return 0;  // an earlier request maintains this map
        }
    }
    _freqTables.push_back(key);
    _freqIndex[i] = static_cast<int>(_freqTables.size()) - 1;
    return weighted ? TEC::kMedian : TEC::kUMedian;
}

void CellStatistics::SetUpdateStats()
{
    // The fixed block: count, then total N, valid N, responses.
    const int blockSize = GetFixedBlockSize();
    _fixedPos[kFixedCount] = 0;
    int pos = 3;
    for (int f = kFixedTotalN; f < kNumFixedStats; ++f) {
        if (_fixedStats[f]) {
            _fixedPos[f] = pos;
            pos += blockSize;
        } else {
            _fixedPos[f] = -1;
        }
    }
    _numFixedValues = pos;

    int s = _numFixedValues;
    _freqTables.clear();
    _accumulators.clear();
    for (int i = 0; i < _numStatistics; ++i) {
        const AggregationStatistic& stat = _statistics[i];
        const int p = stat.GetPrimaryStatistic();
        const int conf = stat.GetConfSubType();
        int u = 0;
        int first = -1;
        int taken = 0;
        int accKind = 0;      // per-case work beyond the fixed blocks
        bool fourSlots = false;

        if (p == TEC::kNoStatistic) {
            // nothing
        } else if (p == TEC::kCount || InFamily(p, kCountPctFam) || InFamily(p, kCountResponsesPctFam)) {
            u = TEC::kCount;
            first = 0;
        } else if (p == TEC::kUCount || InFamily(p, kUCountPctFam) || InFamily(p, kUCountResponsesPctFam)) {
            u = TEC::kUCount;
            first = 1;
        } else if (p == TEC::kECount) {
            u = TEC::kECount;
            first = 0;
        } else if (InFamily(p, kValidNPctFam) || p == TEC::kMissingCount || p == TEC::kValidN ||
                   p == TEC::kEValidN) {
            u = (p == TEC::kEValidN) ? TEC::kEValidN : TEC::kValidN;
            if (_categorical) {
                first = _fixedPos[kFixedValidN];
            } else {
                first = s;
                taken = 2;
                accKind = TEC::kValidN;
            }
        } else if (InFamily(p, kUValidNPctFam) || p == TEC::kUMissingCount || p == TEC::kUValidN) {
            u = TEC::kUValidN;
            if (_categorical) {
                first = _fixedPos[kFixedValidN] + 1;
            } else {
                first = s;
                taken = 2;
                accKind = TEC::kUValidN;
            }
        } else if (InFamily(p, kTotalNPctFam) || p == TEC::kTotalN || p == TEC::kETotalN) {
            // In a scale layout every case counts towards total N, so the
            // slot is recorded but the count is read instead.
            u = (p == TEC::kETotalN) ? TEC::kETotalN : TEC::kTotalN;
            first = _categorical ? _fixedPos[kFixedTotalN] : s;
        } else if (InFamily(p, kUTotalNPctFam) || p == TEC::kUTotalN) {
            u = TEC::kUTotalN;
            first = _categorical ? _fixedPos[kFixedTotalN] + 1 : s;
        } else if (p == TEC::kMaximum || p == TEC::kMinimum) {
            u = p;
            first = s;
            taken = 1;
            accKind = p;
        } else if (p == TEC::kRange) {
            u = p;
            first = s;
            taken = 2;
            accKind = p;
        } else if (p == TEC::kMean || p == TEC::kSum || InFamily(p, kSumPctFam)) {
            u = TEC::kMean;
            first = s;
            fourSlots = (conf != TEC::kConfValue);
            taken = fourSlots ? 4 : 2;
            accKind = u;
        } else if (p == TEC::kUMean || p == TEC::kUSum || InFamily(p, kUSumPctFam)) {
            u = TEC::kUMean;
            first = s;
            fourSlots = (conf != TEC::kConfValue);
            taken = fourSlots ? 4 : 2;
            accKind = u;
        } else if (p == TEC::kVariance || p == TEC::kStdDev || p == TEC::kSumSqDeviation || p == TEC::kMeanSE) {
            u = TEC::kVariance;
            first = s;
            taken = 4;
            fourSlots = true;
            accKind = TEC::kMean;
        } else if (p == TEC::kUVariance || p == TEC::kUStdDev || p == TEC::kUMeanSE) {
            u = TEC::kUVariance;
            first = s;
            taken = 4;
            fourSlots = true;
            accKind = TEC::kUMean;
        } else if (IsWeightedMapCode(p)) {
            u = SetFrequencyTable(i, true);
            first = s;
            accKind = u;
        } else if (IsUnweightedMapCode(p)) {
            u = SetFrequencyTable(i, false);
            first = s;
            accKind = u;
        } else if (p == TEC::kResponses || InFamily(p, kResponsesPctFam) || InFamily(p, kResponsesCountPctFam)) {
            u = TEC::kResponses;
            first = _fixedPos[kFixedResponses];
        } else if (p == TEC::kUResponses || InFamily(p, kUResponsesPctFam) ||
                   InFamily(p, kUResponsesCountPctFam)) {
            u = TEC::kUResponses;
            first = _fixedPos[kFixedResponses] + 1;
        } else if (p >= TEC::kPctLT && p <= TEC::kUCountGTLT) {
            u = ((p - TEC::kPctLT) % 2 == 0) ? TEC::kCountLT : TEC::kUCountLT;
            first = s;
            taken = 2;
            accKind = u;
        }

        _baseUpdateStats[i] = u;
        _confTypes[i] = conf;
        int sub = 0;
        if (conf == TEC::kConfLower || conf == TEC::kConfUpper || conf == TEC::kConfStdError) sub = conf;
        _updateStats[i] = (u == 0) ? 0 : u + sub;
        _valueIndex[i] = first;

        if (accKind != 0) {
            Accumulator acc;
            acc.kind = accKind;
            acc.request = i;
            acc.slot = (accKind == TEC::kMedian || accKind == TEC::kUMedian) ? _freqIndex[i] : first;
            acc.summaryVar = _scaleVars.empty() ? -1 : _scaleVars[i];
            acc.fourSlots = fourSlots;
            acc.stat = &_statistics[i];
            _accumulators.push_back(acc);
        }
        s += taken;
    }
    _numFreqTables = static_cast<int>(_freqTables.size());
    _numValues = s;
}

int CellStatistics::GetIndex(const AggregationStatistic& stat, bool ignoreVarIndex) const
{
    for (int i = 0; i < _numStatistics; ++i) {
        if (_statistics[i].IsSame(stat, ignoreVarIndex)) return i;
    }
    return -1;
}

void CellStatistics::UpdateBaseIndex(int i, std::vector<AggregationStatistic>& baseStats, std::vector<int>& baseVars,
                                     int k)
{
    int found = -1;
    for (std::size_t j = 0; j < baseStats.size(); ++j) {
        if (baseStats[j].IsSame(_statistics[i], false)) {
            found = static_cast<int>(j);
            break;
        }
    }
    if (found < 0) {
        baseStats.push_back(_statistics[i]);
        baseVars.push_back(GetSummaryVar(i));
        found = static_cast<int>(baseStats.size()) - 1;
    }
    _baseIndex[i] = found;
    _baseCellStats[i] = k;
}

void CellStatistics::UpdateMRSetBaseIndex(int i, int baseCode, std::vector<AggregationStatistic>& baseStats,
                                          std::vector<int>& baseVars, int k)
{
    // The base of a responses percentage is the set's responses (or count),
    // whichever set the request names: one base request serves them all.
    int found = -1;
    for (std::size_t j = 0; j < baseStats.size(); ++j) {
        if (baseStats[j].GetSummaryStatistic() == baseCode) {
            found = static_cast<int>(j);
            break;
        }
    }
    if (found < 0) {
        baseStats.emplace_back(_statistics[i].GetVarIndex(), static_cast<TEC::StatisticCodes>(baseCode));
        baseVars.push_back(GetSummaryVar(i));
        found = static_cast<int>(baseStats.size()) - 1;
    }
    _baseIndex[i] = found;
    _baseCellStats[i] = k;
}

void CellStatistics::GetBaseStats(std::vector<AggregationStatistic>& baseStats, std::vector<int>& baseVars,
                                  PercentType t, int k)
{
    if (t < 0 || t >= kNumPercentTypes) return;
    for (int i = 0; i < _numStatistics; ++i) {
        const int p = _statistics[i].GetPrimaryStatistic();
        if (FamilyType(p, kCountPctFam) == t || FamilyType(p, kUCountPctFam) == t ||
            FamilyType(p, kValidNPctFam) == t || FamilyType(p, kUValidNPctFam) == t ||
            FamilyType(p, kTotalNPctFam) == t || FamilyType(p, kUTotalNPctFam) == t ||
            FamilyType(p, kSumPctFam) == t || FamilyType(p, kUSumPctFam) == t) {
            UpdateBaseIndex(i, baseStats, baseVars, k);
        } else if (FamilyType(p, kResponsesPctFam) == t || FamilyType(p, kCountResponsesPctFam) == t) {
            UpdateMRSetBaseIndex(i, TEC::kResponses, baseStats, baseVars, k);
        } else if (FamilyType(p, kUResponsesPctFam) == t || FamilyType(p, kUCountResponsesPctFam) == t) {
            UpdateMRSetBaseIndex(i, TEC::kUResponses, baseStats, baseVars, k);
        } else if (FamilyType(p, kResponsesCountPctFam) == t) {
            UpdateMRSetBaseIndex(i, TEC::kCount, baseStats, baseVars, k);
        } else if (FamilyType(p, kUResponsesCountPctFam) == t) {
            UpdateMRSetBaseIndex(i, TEC::kUCount, baseStats, baseVars, k);
        }
    }
}

bool CellStatistics::IsTotalNComputed() const
{
    for (int i = 0; i < _numStatistics; ++i) {
        if (_baseUpdateStats[i] == TEC::kTotalN || _baseUpdateStats[i] == TEC::kUTotalN) return true;
        const int p = _statistics[i].GetPrimaryStatistic();
        if (_categorical && (p == TEC::kMissingCount || p == TEC::kUMissingCount)) return true;
    }
    return false;
}
