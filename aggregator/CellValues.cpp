#include "CellValues.h"

#include <cmath>
#include <new>

#include "KvAssert.h"
#include "KvaDistFun.h"
#include "StatisticCatalogue.h"

namespace TEC = TableEncryptionCodes;

namespace {

constexpr double kSysmis = CubeStatistics::sysmis;
constexpr double kMaxDouble = CubeStatistics::MAX_DOUBLE;

const StatisticCatalogue::Entry& EntryOf(int p)
{
    static const StatisticCatalogue::Entry none{};
    const StatisticCatalogue::Entry* e = StatisticCatalogue::Find(p);
    return e ? *e : none;
}

// A sum (or sum percentage) reads the mean's accumulator and scales it by the
// sum of weights.
bool IsSumCode(int p)
{
    const int a = EntryOf(p).accumulator;
    return (a == TEC::kMean || a == TEC::kUMean) && p != TEC::kMean && p != TEC::kUMean;
}

bool IsConfMember(int conf)
{
    return conf == TEC::kConfLower || conf == TEC::kConfUpper || conf == TEC::kConfStdError;
}

// A summary value read through a reader: only a valid numeric value counts.
bool ReadValue(const KvAggrCaseValueReader* reader, double& x)
{
    if (reader == nullptr || !reader->IsValid() || reader->IsString()) return false;
    x = reader->GetNumeric();
    return true;
}

}  // namespace

CellValues::CellValues(CellStatistics& cellStats, KvAggrCaseValueReader* summaryReader, bool valid,
                       bool missingOnly, double weight, bool effective)
    : _cellStats(cellStats), _effective(effective), _weighted(effective), _onHeap(false)
{
    SetMedianCIOpt();
    Allocate();
    SetCVarValues(summaryReader, valid, missingOnly, weight);
}

CellValues::CellValues(CellStatistics& cellStats, double responses, bool valid, bool missingOnly, double weight,
                       bool effective)
    : _cellStats(cellStats), _effective(effective), _weighted(effective), _onHeap(false)
{
    SetMedianCIOpt();
    Allocate();
    SetMRSetValues(responses, valid, missingOnly, weight);
}

CellValues::CellValues(CellStatistics& cellStats, const std::vector<KvAggrCaseValueReader*>& readers,
                       double weight, bool effective)
    : _cellStats(cellStats), _effective(effective), _weighted(effective), _onHeap(false)
{
    SetMedianCIOpt();
    Allocate();
    SetScaleValues(readers, weight);
}

CellValues::CellValues(CellStatistics& cellStats, const CellValues& other)
    : _cellStats(cellStats), _effective(other._effective), _weighted(other._weighted), _onHeap(false)
{
    KV_ASSERT(NumOfValues() == other.NumOfValues() && NumOfFreqTables() == other.NumOfFreqTables());
    Allocate();
    double* v = Values();
    const double* o = other.Values();
    for (int s = 0; s < NumOfValues(); ++s) v[s] = o[s];
    KvFreqTable* maps = FreqTables();
    for (int m = 0; m < NumOfFreqTables(); ++m) maps[m] = other.FreqTables()[m];
}

CellValues::CellValues(CellStatistics& cellStats, bool effective)
    : _cellStats(cellStats), _effective(effective), _weighted(effective), _onHeap(false)
{
    SetMedianCIOpt();
    Allocate();
}

CellValues::~CellValues()
{
    if (!_onHeap) return;
    KvFreqTable* maps = FreqTables();
    for (int m = 0; m < NumOfFreqTables(); ++m) maps[m].~KvFreqTable();
    ::operator delete(_store.heap);
}

void CellValues::Allocate()
{
    const int numValues = NumOfValues();
    const int numMaps = NumOfFreqTables();
    if (numValues <= kInlineSlots && numMaps == 0) {
        _onHeap = false;
        for (double& v : _store.inlineValues) v = 0.0;
        return;
    }
    // One block: the doubles, then the maps (a map needs no stricter
    // alignment than a double).
    static_assert(alignof(KvFreqTable) <= alignof(double), "maps follow the doubles unpadded");
    const std::size_t bytes = sizeof(double) * numValues + sizeof(KvFreqTable) * numMaps;
    _store.heap = static_cast<double*>(::operator new(bytes));
    _onHeap = true;
    for (int s = 0; s < numValues; ++s) _store.heap[s] = 0.0;
    KvFreqTable* maps = FreqTables();
    for (int m = 0; m < numMaps; ++m) new (&maps[m]) KvFreqTable();
}

KvFreqTable* CellValues::FreqTables() const
{
    if (!_onHeap) return nullptr;
    return std::launder(reinterpret_cast<KvFreqTable*>(_store.heap + NumOfValues()));
}

void CellValues::ClearValues()
{
    double* v = Values();
    for (int s = 0; s < NumOfValues(); ++s) v[s] = 0.0;
    KvFreqTable* maps = FreqTables();
    for (int m = 0; m < NumOfFreqTables(); ++m) maps[m].clear();
}

// The fixed blocks. The total-N block holds only the cases counted for total
// N alone, so a categorical cell's total N is its count plus that block.
void CellValues::CountFixed(bool valid, bool missingOnly, double weight, double responses)
{
    double* v = Values();
    const bool three = _cellStats.GetFixedBlockSize() == 3;
    // `weight` is the summed weight of the cases the case stands for.
    const CaseMultiplicity& m = _cellStats.GetMultiplicity();
    const double ones = m.cases;
    const double w2 = _effective ? (m.single ? weight * weight : m.squaredWeights) : 0.0;
    if (missingOnly) {
        const int tp = _cellStats.GetFixedPos(CellStatistics::kFixedTotalN);
        if (tp >= 0) {
            v[tp] += weight;
            if (three) {
                v[tp + 1] += ones;
                v[tp + 2] += w2;
            }
        }
        return;
    }
    v[kCountPos] += weight;
    v[kUCountPos] += ones;
    v[kECountPos] += w2;
    const int vp = _cellStats.GetFixedPos(CellStatistics::kFixedValidN);
    if (valid && vp >= 0) {
        v[vp] += weight;
        if (three) {
            v[vp + 1] += ones;
            v[vp + 2] += w2;
        }
    }
    const int rp = _cellStats.GetFixedPos(CellStatistics::kFixedResponses);
    if (responses != 0.0 && rp >= 0) {
        v[rp] += weight * responses;
        if (three) {
            v[rp + 1] += responses * ones;
            v[rp + 2] += w2 * responses;
        }
    }
}

void CellValues::Accumulate(const CellStatistics::Accumulator& acc, bool valid, double x, double weight, bool first)
{
    double* v = Values() + acc.slot;
    switch (acc.kind) {
    case TEC::kMaximum:
        if (first) v[0] = valid ? x : -kMaxDouble;
        else if (valid && x > v[0]) v[0] = x;
        return;
    case TEC::kMinimum:
        if (first) v[0] = valid ? x : kMaxDouble;
        else if (valid && x < v[0]) v[0] = x;
        return;
    case TEC::kRange:
        if (first) {
            v[0] = valid ? x : kMaxDouble;
            v[1] = valid ? x : -kMaxDouble;
        } else if (valid) {
            if (x < v[0]) v[0] = x;
            if (x > v[1]) v[1] = x;
        }
        return;
    case TEC::kMedian:
    case TEC::kUMedian: {
        KvFreqTable& map = FreqTables()[acc.slot];
        if (first) map.clear();
        if (valid) map.Add(x, (acc.kind == TEC::kMedian) ? weight : 1.0);
        return;
    }
    default:
        break;
    }
    if (!valid) {
        // A missing value changes nothing; a first case still starts the state.
        if (first) {
            const int n = (acc.kind == TEC::kMean || acc.kind == TEC::kUMean) ? (acc.fourSlots ? 4 : 2) : 2;
            for (int s = 0; s < n; ++s) v[s] = 0.0;
        }
        return;
    }
    const bool weighted = acc.kind == TEC::kMean || acc.kind == TEC::kValidN || acc.kind == TEC::kCountLT;
    const double w = weighted ? weight : 1.0;
    switch (acc.kind) {
    case TEC::kMean:
    case TEC::kUMean:
        if (first) {
            v[0] = w;
            v[1] = x;
            if (acc.fourSlots) {
                v[2] = 0.0;
                v[3] = (_effective && weighted) ? w * w : 0.0;
            }
        } else if (acc.fourSlots) {
            // West's weighted update of the mean and the sum of squared
            // deviations; a sum of weights that overflows poisons the sum of
            // squares for good.
            const double oldW = v[0];
            const double newW = oldW + w;
            v[0] = newW;
            const double d = x - v[1];
            if (newW != 0.0) v[1] += d * (w / newW);
            if (v[2] < 0.0 || newW >= kMaxDouble) v[2] = -1.0;
            else if (newW != 0.0) v[2] += oldW * (w / newW) * d * d;
            if (_effective && weighted) v[3] += w * w;
        } else {
            // The plain mean snaps to zero when the update cancels it to
            // rounding noise; the 4-slot form keeps the noise on purpose.
            const double mean = v[1];
            const double newW = v[0] + w;
            v[0] = newW;
            if (newW != 0.0) {
                const double m = (x - mean) / newW * w + mean;
                // 2 eps first: doubling a mean near the largest double first
                // would overflow and snap every such mean to zero. Doubling is
                // exact, so the product is the same for every other mean.
                v[1] = (std::fabs(m) < std::fabs(mean) * (2.0 * CubeStatistics::MEPS_DOUBLE)) ? 0.0 : m;
            }
        }
        return;
    case TEC::kValidN:
    case TEC::kUValidN:
        if (first) {
            v[0] = w;
            v[1] = (acc.kind == TEC::kUValidN) ? 1.0 : (_effective ? w * w : 0.0);
        } else {
            v[0] += w;
            v[1] += (acc.kind == TEC::kUValidN) ? 1.0 : (_effective ? w * w : 0.0);
        }
        return;
    case TEC::kCountLT:
    case TEC::kUCountLT: {
        const double inRange = CubeStatistics::ValueInRange(x, *acc.stat) ? w : 0.0;
        if (first) {
            v[0] = w;
            v[1] = inRange;
        } else {
            v[0] += w;
            v[1] += inRange;
        }
        return;
    }
    default:
        return;
    }
}

void CellValues::AccumulateAll(KvAggrCaseValueReader* reader, double weight, bool first)
{
    const auto& accs = _cellStats.GetAccumulators();
    if (accs.empty()) return;
    double x = 0.0;
    const bool valid = ReadValue(reader, x);
    for (const auto& acc : accs) Accumulate(acc, valid, x, weight, first);
}

void CellValues::AccumulateAll(const std::vector<KvAggrCaseValueReader*>& readers, double weight, bool first)
{
    // Accumulators of one variable usually follow each other: read each
    // value once per run rather than once per accumulator.
    int lastVar = -2;
    bool valid = false;
    double x = 0.0;
    for (const auto& acc : _cellStats.GetAccumulators()) {
        if (acc.summaryVar != lastVar) {
            lastVar = acc.summaryVar;
            const KvAggrCaseValueReader* reader =
                (lastVar >= 0 && lastVar < static_cast<int>(readers.size())) ? readers[lastVar] : nullptr;
            valid = ReadValue(reader, x);
        }
        Accumulate(acc, valid, x, weight, first);
    }
}

void CellValues::SetCVarValues(KvAggrCaseValueReader* summaryReader, bool valid, bool missingOnly, double weight)
{
    ClearValues();
    CountFixed(valid, missingOnly, weight, 0.0);
    // A case counted for total N alone still starts the accumulators, empty.
    AccumulateAll(missingOnly ? nullptr : summaryReader, weight, true);
}

void CellValues::UpdateCVarValues(KvAggrCaseValueReader* summaryReader, bool valid, bool missingOnly, double weight)
{
    CountFixed(valid, missingOnly, weight, 0.0);
    if (!missingOnly) AccumulateAll(summaryReader, weight, false);
}

void CellValues::SetMRSetValues(double responses, bool valid, bool missingOnly, double weight)
{
    ClearValues();
    CountFixed(valid, missingOnly, weight, responses);
    AccumulateAll(static_cast<KvAggrCaseValueReader*>(nullptr), weight, true);
}

void CellValues::UpdateMRSetValues(double responses, bool valid, bool missingOnly, double weight)
{
    CountFixed(valid, missingOnly, weight, responses);
}

void CellValues::SetScaleValues(const std::vector<KvAggrCaseValueReader*>& readers, double weight)
{
    ClearValues();
    CountFixed(true, false, weight, 0.0);
    AccumulateAll(readers, weight, true);
}

void CellValues::UpdateScaleValues(const std::vector<KvAggrCaseValueReader*>& readers, double weight)
{
    CountFixed(true, false, weight, 0.0);
    AccumulateAll(readers, weight, false);
}

// ---- merge and bytes ----------------------------------------------------------------

void CellValues::Merge(const CellValues& other)
{
    // Both cells follow layouts of one request: the same slots and maps.
    KV_ASSERT(NumOfValues() == other.NumOfValues() && NumOfFreqTables() == other.NumOfFreqTables());
    double* v = Values();
    const double* o = other.Values();
    // The fixed blocks are sums of weights, ones and squared weights.
    for (int s = 0; s < _cellStats.GetNumFixedValues(); ++s) v[s] += o[s];
    for (const auto& acc : _cellStats.GetAccumulators()) MergeAccumulator(acc, o + acc.slot);
    KvFreqTable* maps = FreqTables();
    for (int m = 0; m < NumOfFreqTables(); ++m) maps[m].Merge(other.FreqTables()[m]);
}

// `o` is the other cell's state of the accumulator. An extreme never set
// (-MAX_DOUBLE for a maximum) loses every comparison, and a mean state of
// weight 0 takes the other's, so an empty side changes nothing.
void CellValues::MergeAccumulator(const CellStatistics::Accumulator& acc, const double* o)
{
    double* v = Values() + acc.slot;
    switch (acc.kind) {
    case TEC::kMaximum:
        if (o[0] > v[0]) v[0] = o[0];
        return;
    case TEC::kMinimum:
        if (o[0] < v[0]) v[0] = o[0];
        return;
    case TEC::kRange:
        if (o[0] < v[0]) v[0] = o[0];
        if (o[1] > v[1]) v[1] = o[1];
        return;
    case TEC::kMedian:
    case TEC::kUMedian:
        return;  // the maps, merged once each by Merge
    case TEC::kValidN:
    case TEC::kUValidN:
    case TEC::kCountLT:
    case TEC::kUCountLT:
        v[0] += o[0];
        v[1] += o[1];
        return;
    case TEC::kMean:
    case TEC::kUMean:
        break;
    default:
        return;
    }
    const double wa = v[0], wb = o[0];
    const double w = wa + wb;
    if (acc.fourSlots) v[3] += o[3];
    if (wb == 0.0) return;
    v[0] = w;
    if (wa == 0.0) {
        v[1] = o[1];
        if (acc.fourSlots) v[2] = o[2];
        return;
    }
    // Chan, Golub and LeVeque's pairwise update: the means move by the
    // other's share of the weight, and the squared deviations add with the
    // spread between the two means.
    const double d = o[1] - v[1];
    const double m = v[1] + d * (wb / w);
    if (acc.fourSlots) {
        v[1] = m;
        if (v[2] < 0.0 || o[2] < 0.0 || w >= kMaxDouble) v[2] = -1.0;
        else v[2] += o[2] + wa * (wb / w) * d * d;
    } else {
        // As the plain update does, a mean that cancels to rounding noise of
        // the means it came from is zero.
        const double scale = std::fmax(std::fabs(v[1]), std::fabs(o[1]));
        v[1] = (std::fabs(m) < scale * (2.0 * CubeStatistics::MEPS_DOUBLE)) ? 0.0 : m;
    }
}

void CellValues::Write(StateWriter& out) const
{
    out.PutU32(static_cast<std::uint32_t>(NumOfValues()));
    out.PutRaw(Values(), sizeof(double) * static_cast<std::size_t>(NumOfValues()));
    out.PutU32(static_cast<std::uint32_t>(NumOfFreqTables()));
    for (int m = 0; m < NumOfFreqTables(); ++m) FreqTables()[m].Write(out);
}

bool CellValues::Read(StateReader& in)
{
    std::uint32_t n = 0;
    if (!in.GetU32(n) || n != static_cast<std::uint32_t>(NumOfValues())) return false;
    if (!in.GetRaw(Values(), sizeof(double) * n)) return false;
    if (!in.GetU32(n) || n != static_cast<std::uint32_t>(NumOfFreqTables())) return false;
    KvFreqTable* maps = FreqTables();
    for (int m = 0; m < NumOfFreqTables(); ++m)
        if (!maps[m].Read(in)) return false;
    return true;
}

AggregationResult CellValues::ComputeSEWMean(double sumWeights, double sumSqDev, double sumSqWeights)
{
    AggregationResult result;
    if (!(sumSqDev >= 0.0 && sumSqDev < kMaxDouble && sumWeights > 1.0)) return result;
    if (sumSqWeights == kSysmis) {
        const double n = std::floor(sumWeights + 0.5);
        if (!(n > 0.0)) return result;
        result.SetValue1(std::sqrt(sumSqDev / (sumWeights - 1.0)) / std::sqrt(n));
        result.SetValue2(n);
        return result;
    }
    if (!(sumSqWeights > 0.0)) return result;
    const double nEff = sumWeights * sumWeights / sumSqWeights;
    const double denom = sumWeights - sumWeights / nEff;
    if (!(denom > 0.0)) return result;
    result.SetValue1(std::sqrt(sumSqDev / denom) / std::sqrt(nEff));
    result.SetValue2(nEff);
    return result;
}

// Without an effective base the effective count is the count itself.
double CellValues::EffectiveOf(double sum, double sumSq, bool haveSq) const
{
    if (!_effective || !haveSq) return sum;
    if (sum == kSysmis || sumSq == kSysmis || !(sumSq > 0.0)) return kSysmis;
    return sum * sum / sumSq;
}

AggregationResult CellValues::MomentValue(int i, bool alternative) const
{
    const int p = _cellStats.GetStatistic(i).GetPrimaryStatistic();
    const int u = _cellStats.GetBaseUpdateStats()[i];
    const int conf = alternative ? TEC::kConfValue : _cellStats.GetConfTypes()[i];
    const double* v = Values() + _cellStats.GetValueIndex()[i];
    const bool fourSlots = (u == TEC::kVariance || u == TEC::kUVariance) || _cellStats.GetConfTypes()[i] != TEC::kConfValue;
    const double w = v[0];
    const double mean = v[1];
    const double m2 = fourSlots ? v[2] : kSysmis;

    if (u == TEC::kVariance || u == TEC::kUVariance) {
        if (!(m2 >= 0.0 && m2 < kMaxDouble)) return AggregationResult();
        if (p == TEC::kSumSqDeviation) return (w > 0.0) ? AggregationResult(m2) : AggregationResult();
        if (!(w > 1.0)) return AggregationResult();
        const double variance = m2 / (w - 1.0);
        if (p == TEC::kStdDev || p == TEC::kUStdDev) return AggregationResult(std::sqrt(variance));
        return AggregationResult(variance);
    }

    if (!(w > 0.0)) return AggregationResult();
    const bool isSum = IsSumCode(p);
    const double value = isSum ? w * mean : mean;
    if (!IsConfMember(conf)) return AggregationResult(value);

    // An unweighted state sums no squared weights: it has no effective size.
    const double s = (_effective && u == TEC::kMean) ? v[3] : kSysmis;
    const AggregationResult se = ComputeSEWMean(w, m2, s);
    const double stdErr = se.GetValue1();
    if (stdErr == kSysmis) return AggregationResult();
    const double df = se.GetValue2();
    const double scale = isSum ? df : 1.0;
    if (conf == TEC::kConfStdError) return AggregationResult(stdErr * scale);
    const double t = KvaDistFun::IdfT((GetConfLevel() / 100.0 + 1.0) * 0.5, df - 1.0);
    if (t == KvaDistFun::_missing) return AggregationResult();
    const double half = t * stdErr * scale;
    return AggregationResult(conf == TEC::kConfLower ? value - half : value + half);
}

AggregationResult CellValues::MapValue(int i, bool alternative) const
{
    const AggregationStatistic& stat = _cellStats.GetStatistic(i);
    const int p = stat.GetPrimaryStatistic();
    const int conf = alternative ? TEC::kConfValue : _cellStats.GetConfTypes()[i];
    const int m = _cellStats.GetFreqIndex()[i];
    if (m < 0 || m >= NumOfFreqTables()) return AggregationResult();
    const KvFreqTable& map = FreqTables()[m];
    const bool weightedMap = EntryOf(p).weighting == StatisticCatalogue::Weighting::kWeighted;
    // The sum of squared weights of the cell's cases stands for the map's.
    const double sumSq = (weightedMap && _effective) ? Values()[kECountPos] : kSysmis;
    const double level = GetConfLevel();
    int status = 0;

    switch (p) {
    case TEC::kMedian:
    case TEC::kUMedian:
    case TEC::kPtile:
    case TEC::kUPtile: {
        const bool median = (p == TEC::kMedian || p == TEC::kUMedian);
        const double cut = median ? 50.0 : stat.GetPTileCutPoint();
        if (conf == TEC::kConfStdError) return AggregationResult();
        if (conf != TEC::kConfLower && conf != TEC::kConfUpper)
            return AggregationResult(CubeStatistics::GetPtile(map, cut, status));
        const AggregationResult limits = (median && GetMedianCIOpt())
                                             ? CubeStatistics::GetCIMedian(map, level)
                                             : CubeStatistics::GetCIPtile(map, cut, level, sumSq, status);
        return AggregationResult(conf == TEC::kConfLower ? limits.GetValue1() : limits.GetValue2());
    }
    case TEC::kGroupedMedian:
    case TEC::kUGroupedMedian:
        return AggregationResult(CubeStatistics::GetGPtile(map, 50.0, status));
    case TEC::kGroupedPtile:
    case TEC::kUGroupedPtile:
        return AggregationResult(CubeStatistics::GetGPtile(map, stat.GetPTileCutPoint(), status));
    case TEC::kMode:
    case TEC::kUMode:
        return AggregationResult(alternative ? CubeStatistics::GetModeUpper(map) : CubeStatistics::GetMode(map));
    case TEC::kMedianCI:
    case TEC::kUMedianCI:
        return CubeStatistics::GetCIMedian(map, stat.GetCIMedian());
    default:
        return AggregationResult();
    }
}

AggregationResult CellValues::GetStatisticValue(int i, bool alternative, bool effective) const
{
    if (i < 0 || i >= _cellStats.GetNumStatistics()) return AggregationResult();
    const int p = _cellStats.GetStatistic(i).GetPrimaryStatistic();
    if (_cellStats.GetFreqIndex()[i] >= 0) return MapValue(i, alternative);

    const double* v = Values();
    const int u = _cellStats.GetBaseUpdateStats()[i];
    const int vi = _cellStats.GetValueIndex()[i];
    const bool categorical = _cellStats.IsCategorical();
    const bool three = _cellStats.GetFixedBlockSize() == 3;
    const int tp = _cellStats.GetFixedPos(CellStatistics::kFixedTotalN);

    switch (u) {
    case TEC::kCount:
        return AggregationResult(effective ? EffectiveOf(v[kCountPos], v[kECountPos], true) : v[kCountPos]);
    case TEC::kUCount:
        return AggregationResult(v[kUCountPos]);
    case TEC::kECount:
        return AggregationResult(EffectiveOf(v[kCountPos], v[kECountPos], true));
    case TEC::kTotalN:
    case TEC::kETotalN: {
        const bool block = categorical && tp >= 0;
        const double total = v[kCountPos] + (block ? v[tp] : 0.0);
        if (u == TEC::kETotalN || effective) {
            const double sq = v[kECountPos] + ((block && three) ? v[tp + 2] : 0.0);
            return AggregationResult(EffectiveOf(total, sq, !block || three));
        }
        return AggregationResult(total);
    }
    case TEC::kUTotalN: {
        const bool block = categorical && tp >= 0 && three;
        return AggregationResult(v[kUCountPos] + (block ? v[tp + 1] : 0.0));
    }
    case TEC::kValidN:
    case TEC::kEValidN:
    case TEC::kUValidN: {
        if (vi < 0) return AggregationResult();
        const double valid = v[vi];
        if (p == TEC::kMissingCount) {
            const double total = v[kCountPos] + ((categorical && tp >= 0) ? v[tp] : 0.0);
            return AggregationResult(total - valid);
        }
        if (p == TEC::kUMissingCount) {
            const double total = v[kUCountPos] + ((categorical && tp >= 0 && three) ? v[tp + 1] : 0.0);
            return AggregationResult(total - valid);
        }
        if (u == TEC::kUValidN) return AggregationResult(valid);
        if (u == TEC::kEValidN || effective) {
            // Own slots of a scale layout: valid weight, its squared weights;
            // a categorical valid-N block keeps them two slots apart.
            if (!categorical) return AggregationResult(EffectiveOf(valid, v[vi + 1], true));
            return AggregationResult(EffectiveOf(valid, three ? v[vi + 2] : 0.0, three));
        }
        return AggregationResult(valid);
    }
    case TEC::kMaximum:
        return (v[vi] == -kMaxDouble) ? AggregationResult() : AggregationResult(v[vi]);
    case TEC::kMinimum:
        return (v[vi] == kMaxDouble) ? AggregationResult() : AggregationResult(v[vi]);
    case TEC::kRange:
        return (v[vi] == kMaxDouble) ? AggregationResult() : AggregationResult(v[vi + 1] - v[vi]);
    case TEC::kMean:
    case TEC::kUMean:
    case TEC::kVariance:
    case TEC::kUVariance:
        return MomentValue(i, alternative);
    case TEC::kResponses:
    case TEC::kUResponses:
        return (vi < 0) ? AggregationResult() : AggregationResult(v[vi]);
    case TEC::kCountLT:
    case TEC::kUCountLT: {
        if (EntryOf(p).kind == StatisticCatalogue::Kind::kCount) return AggregationResult(v[vi + 1]);
        if (!(v[vi] > 0.0)) return AggregationResult();
        return AggregationResult(v[vi + 1] / v[vi] * 100.0);
    }
    default:
        return AggregationResult();
    }
}
