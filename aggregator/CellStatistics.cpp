#include "CellStatistics.h"

#include "StatisticCatalogue.h"

namespace TEC = TableEncryptionCodes;

namespace {

const CaseMultiplicity kOneCase;

// The accumulator kind of a primary code; 0 for codes without one (unknown
// codes, holes of the group table).
int AccumulatorOf(int primary)
{
    const StatisticCatalogue::Entry* e = StatisticCatalogue::Find(primary);
    return e ? e->accumulator : 0;
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
      _multiplicity(&kOneCase),
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
        const int a = AccumulatorOf(p);
        switch (a) {
        case TEC::kValidN:
        case TEC::kUValidN:
        case TEC::kEValidN:
            if (_categorical) {
                _fixedStats[kFixedValidN] = true;
                // A missing count is total N less valid N.
                if (p == TEC::kMissingCount || p == TEC::kUMissingCount) _fixedStats[kFixedTotalN] = true;
            }
            break;
        case TEC::kTotalN:
        case TEC::kUTotalN:
        case TEC::kETotalN:
            if (_categorical) _fixedStats[kFixedTotalN] = true;
            break;
        case TEC::kResponses:
        case TEC::kUResponses:
            _fixedStats[kFixedResponses] = true;
            break;
        default:
            break;
        }
        if (a == TEC::kUValidN || a == TEC::kUTotalN || a == TEC::kUResponses) _keepUnweighted = true;
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
        const int a = AccumulatorOf(p);
        int u = a;
        int first = -1;
        int taken = 0;
        int accKind = 0;  // per-case work beyond the fixed blocks
        bool fourSlots = false;

        switch (a) {
        case TEC::kCount:
        case TEC::kECount:
            first = 0;
            break;
        case TEC::kUCount:
            first = 1;
            break;
        case TEC::kValidN:
        case TEC::kEValidN:
        case TEC::kUValidN:
            if (_categorical) {
                first = _fixedPos[kFixedValidN] + (a == TEC::kUValidN ? 1 : 0);
            } else {
                first = s;
                taken = 2;
                accKind = (a == TEC::kUValidN) ? TEC::kUValidN : TEC::kValidN;
            }
            break;
        case TEC::kTotalN:
        case TEC::kETotalN:
        case TEC::kUTotalN:
            // In a scale layout every case counts towards total N, so the
            // slot is recorded but the count is read instead.
            first = _categorical ? _fixedPos[kFixedTotalN] + (a == TEC::kUTotalN ? 1 : 0) : s;
            break;
        case TEC::kMaximum:
        case TEC::kMinimum:
            first = s;
            taken = 1;
            accKind = a;
            break;
        case TEC::kRange:
        case TEC::kCountLT:
        case TEC::kUCountLT:
            first = s;
            taken = 2;
            accKind = a;
            break;
        case TEC::kMean:
        case TEC::kUMean:
            first = s;
            fourSlots = (conf != TEC::kConfValue);
            taken = fourSlots ? 4 : 2;
            accKind = a;
            break;
        case TEC::kVariance:
        case TEC::kUVariance:
            first = s;
            taken = 4;
            fourSlots = true;
            accKind = (a == TEC::kVariance) ? TEC::kMean : TEC::kUMean;
            break;
        case TEC::kMedian:
        case TEC::kUMedian:
            u = SetFrequencyTable(i, a == TEC::kMedian);
            first = s;
            accKind = u;
            break;
        case TEC::kResponses:
        case TEC::kUResponses:
            first = _fixedPos[kFixedResponses] + (a == TEC::kUResponses ? 1 : 0);
            break;
        default:
            u = 0;
            break;
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
        const StatisticCatalogue::Entry* e = StatisticCatalogue::Find(_statistics[i].GetPrimaryStatistic());
        if (e == nullptr || e->baseType != t || e->member != TEC::kConfValue) continue;
        // Counts, valid N, total N and sums divide by the same statistic of
        // the base cell; responses percentages by the set's responses or count.
        if (e->denominator == 0) UpdateBaseIndex(i, baseStats, baseVars, k);
        else UpdateMRSetBaseIndex(i, e->denominator, baseStats, baseVars, k);
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
