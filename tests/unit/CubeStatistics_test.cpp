// Percentiles, grouped percentiles, their intervals, modes and the range test
// over value-frequency maps.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kvaggr.h"

using namespace TableEncryptionCodes;

namespace {

constexpr double kSysmis = -1.7976931348623157e+308;

KvFreqTable Map(std::initializer_list<std::pair<const double, double>> items) { return KvFreqTable(items); }

KvFreqTable UnitMap(int n)
{
    KvFreqTable m;
    for (int v = 1; v <= n; ++v) m[v] = 1.0;
    return m;
}

AggregationStatistic Range(int code, double lo, double hi)
{
    AggregationStatistic s(static_cast<StatisticCodes>(code));
    s.SetLowerLimit(lo);
    s.SetUpperLimit(hi);
    return s;
}

}  // namespace

TEST(CubeStatistics, ConstantsAndZeroDiff)
{
    EXPECT_EQ(CubeStatistics::MAX_DOUBLE, std::numeric_limits<double>::max());
    EXPECT_EQ(CubeStatistics::MEPS_DOUBLE, std::ldexp(1.0, -52));
    EXPECT_EQ(CubeStatistics::sysmis, -std::numeric_limits<double>::max());

    EXPECT_TRUE(CubeStatistics::IsZeroDiff(0.0, 0.0, 0.0));
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(3.0, 3.0, 0.0));
    EXPECT_FALSE(CubeStatistics::IsZeroDiff(0.0, 1e-300, 100.0));  // a zero operand needs exact equality
    const double next = std::nextafter(1.0, 2.0);                    // 1 + 2^-52
    EXPECT_FALSE(CubeStatistics::IsZeroDiff(1.0, next, 0.0));
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(1.0, next, 1.0));
    EXPECT_FALSE(CubeStatistics::IsZeroDiff(1.0, 1.0 + 3 * std::ldexp(1.0, -52), 2.0));
    EXPECT_TRUE(CubeStatistics::IsZeroDiff(1.0, 1.0 + 3 * std::ldexp(1.0, -52), 3.0));
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
        {kUCountGTLT, {false, false, true, false, false}},
    };
    for (const Case& c : cases) {
        const AggregationStatistic s = Range(c.code, 2.0, 4.0);
        for (int x = 1; x <= 5; ++x)
            EXPECT_EQ(CubeStatistics::ValueInRange(x, s), c.counts[x - 1]) << "code " << c.code << " x " << x;
    }
    EXPECT_FALSE(CubeStatistics::ValueInRange(std::nan(""), Range(kCountEQ, std::nan(""), 0.0)));
    EXPECT_FALSE(CubeStatistics::ValueInRange(1.0, Range(kMean, 0.0, 5.0)));  // not a range code
}

// Oracle: numpy.percentile(..., method="averaged_inverted_cdf") over the
// values repeated by their weights.
TEST(CubeStatistics, PercentileAtExactAndInexactTargets)
{
    const KvFreqTable m = UnitMap(4);
    int status = 99;
    EXPECT_EQ(CubeStatistics::GetPtile(m, 50, status), 2.5);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 25, status), 1.5);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 30, status), 2.0);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 10, status), 1.0);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 99, status), 4.0);

    // {1: 1, 2: 3, 4: 2}: numpy over [1, 2, 2, 2, 4, 4] gives 2 at 50.
    const KvFreqTable w = Map({{1.0, 1.0}, {2.0, 3.0}, {4.0, 2.0}});
    EXPECT_EQ(CubeStatistics::GetPtile(w, 50, status), 2.0);
    // Target 4 of 6 met only within rounding (200/3 % of 6): the midpoint.
    EXPECT_EQ(CubeStatistics::GetPtile(w, 200.0 / 3.0, status), 3.0);
}

TEST(CubeStatistics, PercentileEdges)
{
    int status = 99;
    const KvFreqTable m = UnitMap(4);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 0, status), 1.0);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 100, status), 4.0);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(CubeStatistics::GetPtile(m, 100.5, status), kSysmis);
    EXPECT_EQ(status, 2);
    EXPECT_EQ(CubeStatistics::GetPtile(m, -0.5, status), kSysmis);
    EXPECT_EQ(status, 2);
    EXPECT_EQ(CubeStatistics::GetPtile(KvFreqTable(), 50, status), kSysmis);
    EXPECT_EQ(status, 3);

    const KvFreqTable single = Map({{5.0, 3.0}});
    for (double p : {0.0, 12.5, 50.0, 100.0}) {
        EXPECT_EQ(CubeStatistics::GetPtile(single, p, status), 5.0) << p;
    }
    const AggregationResult ci = CubeStatistics::GetCIPtile(single, 50, 95, kSysmis, status);
    EXPECT_EQ(ci.GetValue1(), kSysmis);
    EXPECT_EQ(ci.GetValue2(), kSysmis);
}

TEST(CubeStatistics, PercentileIntervalIsMissingAtTheEdges)
{
    int status = 99;
    const KvFreqTable m = UnitMap(4);
    // The 10th percentile lies on the smallest value: no interval.
    AggregationResult ci = CubeStatistics::GetCIPtile(m, 10, 95, kSysmis, status);
    EXPECT_EQ(ci.GetValue1(), kSysmis);
    EXPECT_EQ(ci.GetValue2(), kSysmis);
    ci = CubeStatistics::GetCIPtile(m, 100, 95, kSysmis, status);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(ci.GetValue1(), kSysmis);
    ci = CubeStatistics::GetCIPtile(m, 101, 95, kSysmis, status);
    EXPECT_EQ(status, 2);
    ci = CubeStatistics::GetCIPtile(KvFreqTable(), 50, 95, kSysmis, status);
    EXPECT_EQ(status, 3);
}

// Oracle: scipy.stats.beta.ppf for the rank quantiles, then numpy
// percentile (averaged_inverted_cdf) at 100 q over the expanded values.
TEST(CubeStatistics, PercentileIntervalWithAndWithoutEffectiveSize)
{
    int status = 99;
    // 1 ... 10, unit weights: median met exactly at c = 5; Beta(5.5, 5.5)
    // quantiles 0.22352867 and 0.77647133 give 3 and 8.
    AggregationResult ci = CubeStatistics::GetCIPtile(UnitMap(10), 50, 95, kSysmis, status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ci.GetValue1(), 3.0);
    EXPECT_EQ(ci.GetValue2(), 8.0);

    // 1 ... 10 with weights 1, 2, 1, 2, ...: W = 15, median 6, c = 9.
    KvFreqTable w;
    for (int v = 1; v <= 10; ++v) w[v] = (v % 2 == 1) ? 1.0 : 2.0;
    EXPECT_EQ(CubeStatistics::GetPtile(w, 50, status), 6.0);
    // Without an effective size: Beta(9.5, 6.5), quantiles 0.35283 and 0.81248 -> 4 and 9.
    ci = CubeStatistics::GetCIPtile(w, 50, 95, kSysmis, status);
    EXPECT_EQ(ci.GetValue1(), 4.0);
    EXPECT_EQ(ci.GetValue2(), 9.0);
    // Sum of squared weights 25, effective size 9: Beta(5.9, 4.1), quantiles
    // 0.28999868 and 0.85605974 -> 4 and 9.
    ci = CubeStatistics::GetCIPtile(w, 50, 95, 25.0, status);
    EXPECT_EQ(ci.GetValue1(), 4.0);
    EXPECT_EQ(ci.GetValue2(), 9.0);
    // A non-positive sum of squares counts as no effective base.
    ci = CubeStatistics::GetCIPtile(w, 50, 95, 0.0, status);
    EXPECT_EQ(ci.GetValue2(), 9.0);
}

TEST(CubeStatistics, MedianIntervalByOrderStatistics)
{
    // 1 ... 10 with weights 1, 2, ...: total 15; scipy.stats.binom.ppf(0.025,
    // 15, 0.5) = 4, so the lower rank is 5 (reached at value 4) and the upper
    // rank 11 (the remainder first falls below it at value 8).
    KvFreqTable w;
    for (int v = 1; v <= 10; ++v) w[v] = (v % 2 == 1) ? 1.0 : 2.0;
    const AggregationResult ci = CubeStatistics::GetCIMedian(w, 95);
    EXPECT_EQ(ci.GetValue1(), 4.0);
    EXPECT_EQ(ci.GetValue2(), 8.0);
}

TEST(CubeStatistics, GroupedMedian)
{
    int status = 99;
    // {1: 1, 2: 3, 4: 2}: the values sit at cumulative positions 0.5, 2.5 and
    // 5 (weight before plus half their own); the target 3 lies a fifth of the
    // way from 2 to 4 (by hand): 2.4.
    const KvFreqTable w = Map({{1.0, 1.0}, {2.0, 3.0}, {4.0, 2.0}});
    EXPECT_DOUBLE_EQ(CubeStatistics::GetGPtile(w, 50, status), 2.4);
    EXPECT_EQ(status, 0);
    // A single group has no interpolation.
    EXPECT_EQ(CubeStatistics::GetGPtile(Map({{5.0, 3.0}}), 50, status), kSysmis);
    EXPECT_EQ(status, -1);
}

TEST(CubeStatistics, ModesAndTies)
{
    const KvFreqTable tie = Map({{1.0, 2.0}, {2.0, 2.0}});
    EXPECT_EQ(CubeStatistics::GetMode(tie), 1.0);
    EXPECT_EQ(CubeStatistics::GetModeUpper(tie), 2.0);
    const KvFreqTable one = Map({{1.0, 1.0}, {3.0, 4.0}, {7.0, 2.0}});
    EXPECT_EQ(CubeStatistics::GetMode(one), 3.0);
    EXPECT_EQ(CubeStatistics::GetModeUpper(one), 3.0);
    EXPECT_EQ(CubeStatistics::GetMode(KvFreqTable()), kSysmis);
    EXPECT_EQ(CubeStatistics::GetModeUpper(KvFreqTable()), kSysmis);
    const KvFreqTable zero = Map({{4.0, 0.0}});
    EXPECT_EQ(CubeStatistics::GetMode(zero), kSysmis);
    EXPECT_EQ(CubeStatistics::GetModeUpper(zero), 4.0);
}

TEST(CubeStatistics, MedianOptionParsing)
{
    EXPECT_TRUE(MedianCIOptFromText("1"));
    EXPECT_FALSE(MedianCIOptFromText("2"));
    EXPECT_FALSE(MedianCIOptFromText("yes"));
    EXPECT_FALSE(MedianCIOptFromText(""));
    EXPECT_FALSE(MedianCIOptFromText(nullptr));
    EXPECT_FALSE(MedianCIOptFromText("0"));
}
