// Percentiles, their intervals, grouped percentiles, the median interval and modes over value-frequency maps,
// every case run through both kinds of map a caller may hold; the equality test and the range test.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "kvaggr.h"

using namespace TableEncryptionCodes;

namespace {

const double kSysmis = -std::numeric_limits<double>::max();
using Items = std::vector<std::pair<double, double>>;
using StdMap = std::map<double, double>;

template <class Map>
Map Make(const Items& items)
{
    Map m;
    for (const auto& [value, weight] : items) m[value] += weight;
    return m;
}

const Items kUnit4 = {{1, 1}, {2, 1}, {3, 1}, {4, 1}};
const Items kUnit10 = {{1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 1}, {10, 1}};
// Weights 1, 2, 1, 2, ...: W = 15, median 6.
const Items kAlternating = {{1, 1}, {2, 2}, {3, 1}, {4, 2}, {5, 1}, {6, 2}, {7, 1}, {8, 2}, {9, 1}, {10, 2}};

struct PtileCase {
    const char* what;
    Items map;
    double p;
    double sumSq;  // sum of squared weights, kSysmis for none
    double value;
    int status;
    double lower;  // the interval at 95 %
    double upper;
};

// Values: the averaged inverted cdf over the values repeated by their weights (by hand). Limits: the beta
// quantiles at 2.5 % and 97.5 % by mpmath (betainc inverted at 50 digits), e.g. Beta(2.5, 2.5): 0.12275 and
// 0.87725, Beta(9.5, 6.5): 0.35283 and 0.81248, Beta(5.9, 4.1) for the effective size 225 / 25 = 9: 0.28999
// and 0.85606; then the same percentile rule at 100 q.
const PtileCase kPtileCases[] = {
    {"target 2 of 4 met exactly", kUnit4, 50, kSysmis, 2.5, 0, 1, 4},
    {"target 1 met exactly", kUnit4, 25, kSysmis, 1.5, 0, 1, 3},
    {"target 1.2 passed at 2", kUnit4, 30, kSysmis, 2, 0, 1, 4},
    {"on the smallest value: no interval", kUnit4, 10, kSysmis, 1, 0, kSysmis, kSysmis},
    {"one step below the top", kUnit4, 99, kSysmis, 4, 0, 3, 4},
    {"p = 0", kUnit4, 0, kSysmis, 1, -1, kSysmis, kSysmis},
    {"p = 100", kUnit4, 100, kSysmis, 4, -1, kSysmis, kSysmis},
    {"p above 100", kUnit4, 100.5, kSysmis, kSysmis, 2, kSysmis, kSysmis},
    {"p below 0", kUnit4, -0.5, kSysmis, kSysmis, 2, kSysmis, kSysmis},
    {"empty", {}, 50, kSysmis, kSysmis, 3, kSysmis, kSysmis},
    {"one value at p = 0", {{5, 3}}, 0, kSysmis, 5, 0, kSysmis, kSysmis},
    {"one value", {{5, 3}}, 12.5, kSysmis, 5, 0, kSysmis, kSysmis},
    {"one value at p = 100", {{5, 3}}, 100, 9, 5, 0, kSysmis, kSysmis},
    {"1 2 2 2 4 4", {{1, 1}, {2, 3}, {4, 2}}, 50, kSysmis, 2, 0, 2, 4},
    // 200/3 % of 6 is 4 only within rounding: still the midpoint.
    {"target met within rounding", {{1, 1}, {2, 3}, {4, 2}}, 200.0 / 3.0, kSysmis, 3, 0, 2, 4},
    {"1 ... 10", kUnit10, 50, kSysmis, 5.5, 0, 3, 8},
    {"weights 1, 2, ...", kAlternating, 50, kSysmis, 6, 0, 4, 9},
    {"effective size 9", kAlternating, 50, 25, 6, 0, 4, 9},
    {"no positive sum of squares", kAlternating, 50, 0, 6, 0, 4, 9},
};

template <class Map>
void CheckPtileCase(const PtileCase& c)
{
    const Map map = Make<Map>(c.map);
    int status = 99;
    EXPECT_EQ(CubeStatistics::GetPtile(map, c.p, status), c.value);
    EXPECT_EQ(status, c.status);
    status = 99;
    const AggregationResult ci = CubeStatistics::GetCIPtile(map, c.p, 95, c.sumSq, status);
    EXPECT_EQ(ci.GetValue1(), c.lower);
    EXPECT_EQ(ci.GetValue2(), c.upper);
    EXPECT_EQ(status, c.status);
}

struct MapCase {
    Items map;
    double mode;
    double modeUpper;
    double grouped;  // 50th grouped percentile
    int groupedStatus;
    double medianLower;  // the median interval at 95 %
    double medianUpper;
};

// By hand. Grouped: each value sits at the weight before it plus half its own, e.g. 1, 3, 7 with weights 1, 4,
// 2 at 0.5, 3 and 6; target 3.5 lies a sixth of the way from 3 to 7. Median interval: r = qbinom(0.025, W, 1/2)
// (R), ranks L = r + 1 and U = W - r: W = 4 gives r = 0, W = 6 and 7 r = 1, W = 15 r = 4, W = 3 r = 0 (the
// lower search covers no value then).
const MapCase kMapCases[] = {
    {{{1, 2}, {2, 2}}, 1, 2, 1.5, 0, 1, 2},
    {{{1, 1}, {3, 4}, {7, 2}}, 3, 3, 3 + 4.0 / 6.0, 0, 3, 7},
    {{{1, 1}, {2, 3}, {4, 2}}, 2, 2, 2.4, 0, 2, 4},
    {kAlternating, 2, 10, 5 + 1 / 1.5, 0, 4, 8},
    {{{5, 3}}, 5, 5, kSysmis, -1, kSysmis, 5},
    {{{4, 0}}, kSysmis, 4, kSysmis, -1, kSysmis, kSysmis},
    {{}, kSysmis, kSysmis, kSysmis, -1, kSysmis, kSysmis},
};

template <class Map>
void CheckMapCase(const MapCase& c)
{
    const Map map = Make<Map>(c.map);
    EXPECT_EQ(CubeStatistics::GetMode(map), c.mode);
    EXPECT_EQ(CubeStatistics::GetModeUpper(map), c.modeUpper);
    int status = 99;
    EXPECT_NEAR(CubeStatistics::GetGPtile(map, 50, status), c.grouped, 1e-12);
    EXPECT_EQ(status, c.groupedStatus);
    const AggregationResult ci = CubeStatistics::GetCIMedian(map, 95);
    EXPECT_EQ(ci.GetValue1(), c.medianLower);
    EXPECT_EQ(ci.GetValue2(), c.medianUpper);
}

}  // namespace

TEST(CubeStatistics, PercentilesAndTheirIntervalsOnBothMapTypes)
{
    for (const PtileCase& c : kPtileCases) {
        SCOPED_TRACE(::testing::Message() << c.what << ", p " << c.p);
        CheckPtileCase<KvFreqTable>(c);
        CheckPtileCase<StdMap>(c);
    }
}

TEST(CubeStatistics, ModesGroupedMedianAndMedianIntervalOnBothMapTypes)
{
    for (const MapCase& c : kMapCases) {
        SCOPED_TRACE(::testing::Message() << c.map.size() << " values, mode " << c.mode);
        CheckMapCase<KvFreqTable>(c);
        CheckMapCase<StdMap>(c);
    }
}

// The two map types hold the same pairs, so every read-out must agree to the bit, status and limits included.
TEST(CubeStatistics, BothMapTypesAgreeOnRandomMaps)
{
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> count(0, 40), small(0, 12);
    std::uniform_real_distribution<double> weight(0.1, 4.0);
    for (int trial = 0; trial < 200; ++trial) {
        Items items;
        const int n = count(rng);
        for (int i = 0; i < n; ++i) {
            const double value = trial % 2 ? small(rng) : weight(rng) * 100;  // repeated values, or distinct
            items.emplace_back(value, trial % 3 ? std::floor(weight(rng)) : weight(rng));  // zero weights too
        }
        const KvFreqTable table = Make<KvFreqTable>(items);
        const StdMap map = Make<StdMap>(items);
        SCOPED_TRACE(::testing::Message() << "trial " << trial);
        ASSERT_EQ(table.size(), map.size());
        EXPECT_EQ(CubeStatistics::GetMode(table), CubeStatistics::GetMode(map));
        EXPECT_EQ(CubeStatistics::GetModeUpper(table), CubeStatistics::GetModeUpper(map));
        EXPECT_EQ(CubeStatistics::GetCIMedian(table, 90).GetValue1(), CubeStatistics::GetCIMedian(map, 90).GetValue1());
        EXPECT_EQ(CubeStatistics::GetCIMedian(table, 90).GetValue2(), CubeStatistics::GetCIMedian(map, 90).GetValue2());
        for (double p : {-1.0, 0.0, 1e-9, 5.0, 25.0, 50.0, 62.5, 99.0, 100.0}) {
            int s1 = 99, s2 = 99;
            EXPECT_EQ(CubeStatistics::GetPtile(table, p, s1), CubeStatistics::GetPtile(map, p, s2)) << p;
            EXPECT_EQ(s1, s2);
            EXPECT_EQ(CubeStatistics::GetGPtile(table, p, s1), CubeStatistics::GetGPtile(map, p, s2)) << p;
            EXPECT_EQ(s1, s2);
            for (double sumSq : {kSysmis, 3.0 * n}) {
                const AggregationResult a = CubeStatistics::GetCIPtile(table, p, 95, sumSq, s1);
                const AggregationResult b = CubeStatistics::GetCIPtile(map, p, 95, sumSq, s2);
                EXPECT_TRUE(a.GetValue1() == b.GetValue1() && a.GetValue2() == b.GetValue2() && s1 == s2) << p;
            }
        }
    }
}

TEST(CubeStatistics, ZeroDiffToleranceGrowsWithK)
{
    const double eps = std::ldexp(1.0, -52);
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(0.0, 0.0, 0.0));
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(3.0, 3.0, 0.0));
    EXPECT_FALSE(CubeStatistics::IsZeroDiff(0.0, 1e-300, 100.0));  // a zero operand needs exact equality
    EXPECT_FALSE(CubeStatistics::IsZeroDiff(1.0, 1.0 + eps, 0.0));
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(1.0, 1.0 + eps, 1.0));
    EXPECT_FALSE(CubeStatistics::IsZeroDiff(1.0, 1.0 + 3 * eps, 2.0));
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(-1.0 - 3 * eps, -1.0, 3.0));
}

TEST(CubeStatistics, RangeTestOfEveryGroup)
{
    // L = 2, U = 4, tested at 1 ... 5: which values count.
    struct Case { int code; bool counts[5]; };
    const Case cases[] = {
        {kPctLT, {true, true, true, false, false}},     {kUCountLE, {true, true, true, true, false}},
        {kCountGT, {false, false, true, true, true}},   {kPctGE, {false, true, true, true, true}},
        {kUPctEQ, {false, true, false, false, false}},  {kCountGELE, {false, true, true, true, false}},
        {kCountGELT, {false, true, true, false, false}}, {kCountGTLE, {false, false, false, false, false}},
        {kUCountGTLT, {false, false, true, false, false}}, {kMean, {false, false, false, false, false}},
    };
    for (const Case& c : cases) {
        AggregationStatistic s(static_cast<StatisticCodes>(c.code));
        s.SetLowerLimit(2.0);
        s.SetUpperLimit(4.0);
        for (int x = 1; x <= 5; ++x)
            EXPECT_EQ(CubeStatistics::ValueInRange(x, s), c.counts[x - 1]) << "code " << c.code << " x " << x;
    }
}

TEST(CubeStatistics, MedianOptionParsing)
{
    EXPECT_TRUE(MedianCIOptFromText("1"));
    for (const char* off : {"2", "yes", "", "0", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(MedianCIOptFromText(off)) << (off ? off : "null");
}
