#include "CubeStatistics.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <map>
#include <vector>

#include "KvaDistFun.h"

namespace {

// Process-wide median option, read on the first cell. Atomic, though the
// library itself runs on one thread: the partial tables of one request may
// fill their cells on threads of their own.
std::atomic<bool> s_medianOptRead{false};
std::atomic<bool> s_medianOpt{false};

template <class FreqMap>
void CollectMap(const FreqMap& freq, std::vector<double>& values, std::vector<double>& weights, double& total)
{
    values.reserve(freq.size());
    weights.reserve(freq.size());
    total = 0.0;
    for (const auto& vw : freq) {
        values.push_back(vw.first);
        weights.push_back(vw.second);
        total += vw.second;
    }
}

template <class FreqMap>
double TotalWeight(const FreqMap& freq)
{
    double total = 0.0;
    for (const auto& vw : freq) total += vw.second;
    return total;
}

// Where the downward walk of a percentile stopped.
template <class FreqMap>
struct PtileWalk {
    typename FreqMap::const_iterator current;
    double cumBelow;    // weight of all values below `current`
    bool atSmallest;    // stopped on the smallest value
    bool noStep;        // the target lies at or above the total weight
    bool metExactly;    // the target equals cumBelow within the tolerance
};

// Walks down from above the largest value. cumBelow is the weight of the
// values below the current one; the tolerance of an exact meeting grows by one
// machine epsilon per value passed, because every step subtracts once more.
template <class FreqMap>
PtileWalk<FreqMap> Walk(const FreqMap& freq, double target, double total)
{
    auto it = freq.end();
    double cum = total;
    double steps = 0.0;
    for (;;) {
        if (CubeStatistics::IsZeroDiff(target, cum, steps)) break;
        if (it == freq.begin()) break;
        --it;
        cum -= it->second;
        steps += 1.0;
        if (cum <= target) break;
    }
    PtileWalk<FreqMap> walk;
    walk.current = it;
    walk.cumBelow = cum;
    walk.noStep = (steps == 0.0);
    walk.atSmallest = !walk.noStep && it == freq.begin();
    walk.metExactly = CubeStatistics::IsZeroDiff(target, cum, steps);
    return walk;
}

}  // namespace

bool CubeStatistics::IsZeroDiff(double a, double b, double k)
{
    const double diff = std::fabs(a - b);
    if (diff == 0.0) return true;
    if (a == 0.0 || b == 0.0) return false;
    return std::fmax(std::fabs(a), std::fabs(b)) * k * MEPS_DOUBLE >= diff;
}

bool CubeStatistics::ValueInRange(double x, const AggregationStatistic& stat)
{
    const int code = stat.GetSummaryStatistic();
    if (code < TableEncryptionCodes::kPctLT || code > TableEncryptionCodes::kUCountGTLT) return false;
    const double lo = stat.GetLowerLimit();
    const double hi = stat.GetUpperLimit();
    switch ((code - TableEncryptionCodes::kPctLT) / 4) {
    case 0: return x < hi;
    case 1: return x <= hi;
    case 2: return x > lo;
    case 3: return x >= lo;
    case 4: return x == lo;
    case 5: return lo <= x && x <= hi;
    case 6: return lo <= x && x < hi;
    case 7: return false;  // GTLE: accepted as a request, but counts nothing
    case 8: return lo < x && x < hi;
    default: return false;
    }
}

template <class FreqMap>
double CubeStatistics::GetPtile(const FreqMap& freq, double p, int& status)
{
    status = kPtileOk;
    if (freq.empty()) {
        status = kPtileEmpty;
        return sysmis;
    }
    if (p < 0.0 || p > 100.0) {
        status = kPtileOutOfRange;
        return sysmis;
    }
    if (freq.size() == 1) return freq.begin()->first;
    if (IsZeroDiff(p, 0.0, 1.0)) {
        status = kPtileExtreme;
        return freq.begin()->first;
    }
    if (IsZeroDiff(p, 100.0, 1.0)) {
        status = kPtileExtreme;
        return freq.rbegin()->first;
    }
    const double total = TotalWeight(freq);
    const auto walk = Walk(freq, p / 100.0 * total, total);
    if (walk.atSmallest) return freq.begin()->first;
    if (walk.noStep) return freq.rbegin()->first;
    if (walk.metExactly) return (walk.current->first + std::prev(walk.current)->first) * 0.5;
    return walk.current->first;
}

template <class FreqMap>
AggregationResult CubeStatistics::GetCIPtile(const FreqMap& freq, double p, double level, double sumSqWeights,
                                             int& status)
{
    AggregationResult limits;
    status = kPtileOk;
    if (freq.empty()) {
        status = kPtileEmpty;
        return limits;
    }
    if (p < 0.0 || p > 100.0) {
        status = kPtileOutOfRange;
        return limits;
    }
    if (freq.size() == 1) return limits;
    if (IsZeroDiff(p, 0.0, 1.0) || IsZeroDiff(p, 100.0, 1.0)) {
        status = kPtileExtreme;
        return limits;
    }
    const double total = TotalWeight(freq);
    const double effSize = (sumSqWeights != sysmis && sumSqWeights > 0.0) ? total * total / sumSqWeights : sysmis;

    const auto walk = Walk(freq, p / 100.0 * total, total);
    // A percentile on the smallest value, or at the very top, has no rank to
    // build an interval on.
    if (walk.atSmallest || walk.noStep) return limits;
    const double cum = walk.metExactly ? walk.cumBelow : walk.cumBelow + walk.current->second;
    if (!(total > 0.0)) return limits;

    const double alpha = (1.0 - level / 100.0) * 0.5;
    double a;
    double b;
    if (effSize == sysmis) {
        const double c = std::floor(cum + 0.5);
        const double w = std::floor(total + 0.5);
        a = c + 0.5;
        b = w - c + 0.5;
    } else {
        a = cum / total * effSize + 0.5;
        b = (1.0 - cum / total) * effSize + 0.5;
    }
    const double qLow = KvaDistFun::IdfBet(alpha, a, b);
    const double qHigh = KvaDistFun::IdfBet(1.0 - alpha, a, b);
    if (qLow == KvaDistFun::_missing) {
        status = kPtileOutOfRange;
        return limits;
    }
    limits.SetValue1(GetPtile(freq, 100.0 * qLow, status));
    if (status == kPtileOk) {
        if (qHigh == KvaDistFun::_missing) {
            status = kPtileOutOfRange;
            return limits;
        }
        limits.SetValue2(GetPtile(freq, 100.0 * qHigh, status));
    }
    return limits;
}

template <class FreqMap>
AggregationResult CubeStatistics::GetCIMedian(const FreqMap& freq, double level)
{
    std::vector<double> values;
    std::vector<double> weights;
    double total = 0.0;
    CollectMap(freq, values, weights, total);
    double lower = sysmis;
    double upper = sysmis;
    double coverage = sysmis;
    KvaDistFun::Mednci(static_cast<long>(values.size()), values, weights, total, level, false, lower, upper,
                       coverage);
    AggregationResult result(lower);
    result.SetValue2(upper);
    result.SetValue3(coverage);
    return result;
}

template <class FreqMap>
double CubeStatistics::GetGPtile(const FreqMap& freq, double p, int& status)
{
    std::vector<double> values;
    std::vector<double> weights;
    const std::vector<double> bounds;
    double total = 0.0;
    CollectMap(freq, values, weights, total);
    double result = sysmis;
    long gpStatus = 0;
    KvaDistFun::GPTile(static_cast<long>(values.size()), p, values, weights, bounds, 0, result, gpStatus);
    status = static_cast<int>(gpStatus);
    return result;
}

template <class FreqMap>
double CubeStatistics::GetMode(const FreqMap& freq)
{
    double mode = sysmis;
    double best = 0.0;
    for (const auto& vw : freq) {
        if (vw.second > best) {
            best = vw.second;
            mode = vw.first;
        }
    }
    return mode;
}

template <class FreqMap>
double CubeStatistics::GetModeUpper(const FreqMap& freq)
{
    double mode = sysmis;
    double best = 0.0;
    for (const auto& vw : freq) {
        if (vw.second >= best) {
            best = vw.second;
            mode = vw.first;
        }
    }
    return mode;
}

// The two kinds of value-frequency map that callers hold.
#define KVAGGR_INSTANTIATE_FREQ_READOUTS(FreqMap)                                                                     \
    template double CubeStatistics::GetPtile(const FreqMap&, double, int&);                                            \
    template double CubeStatistics::GetGPtile(const FreqMap&, double, int&);                                           \
    template AggregationResult CubeStatistics::GetCIPtile(const FreqMap&, double, double, double, int&);               \
    template AggregationResult CubeStatistics::GetCIMedian(const FreqMap&, double);                                    \
    template double CubeStatistics::GetMode(const FreqMap&);                                                           \
    template double CubeStatistics::GetModeUpper(const FreqMap&);
using StdFreqMap = std::map<double, double>;
KVAGGR_INSTANTIATE_FREQ_READOUTS(KvFreqTable)
KVAGGR_INSTANTIATE_FREQ_READOUTS(StdFreqMap)
#undef KVAGGR_INSTANTIATE_FREQ_READOUTS

bool MedianCIOptFromText(const char* text)
{
    if (text == nullptr || *text == '\0') return false;
    return std::strtol(text, nullptr, 10) == 1;
}

void SetMedianCIOpt()
{
    if (s_medianOptRead.load(std::memory_order_acquire)) return;
    // Threads that get here at once all read the same text.
    s_medianOpt.store(MedianCIOptFromText(std::getenv("KVGRID_MEDIAN_CI_OPT")), std::memory_order_relaxed);
    s_medianOptRead.store(true, std::memory_order_release);
}

bool GetMedianCIOpt() { return s_medianOpt.load(std::memory_order_relaxed); }
