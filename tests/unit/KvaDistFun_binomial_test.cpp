// Binomial functions, the median's confidence interval and the grouped
// percentile. Binomial values from 45-digit mpmath (binomial terms, and the
// tail as I_(1-p)(n-k, k+1)); quantiles from R's qbinom; the rest are hand
// derivations written beside them.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "KvaDistFun.h"

namespace {

const double kMissing = -DBL_MAX;

::testing::AssertionResult RelNear(double actual, double expected, double rel)
{
    const double err = std::fabs(actual - expected);
    if (err <= rel * std::fabs(expected)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "actual " << actual << " expected " << expected << " relative error "
                                         << err / std::fabs(expected) << " > " << rel;
}

}  // namespace

TEST(KvaDistFunBinomial, PdfTermsAndDegenerateCases)
{
    long err = -1;
    EXPECT_TRUE(RelNear(KvaDistFun::PdfBin(3, 3, 0.5, err), 0.125, 1e-15));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::PdfBin(1.5, 3, 0.5, err), 0.0);
    EXPECT_EQ(KvaDistFun::PdfBin(-1, 3, 0.5, err), 0.0);
    EXPECT_EQ(KvaDistFun::PdfBin(4, 3, 0.5, err), 0.0);
    EXPECT_EQ(KvaDistFun::PdfBin(0, 5, 0.0, err), 1.0);
    EXPECT_EQ(KvaDistFun::PdfBin(2, 5, 0.0, err), 0.0);
    EXPECT_EQ(KvaDistFun::PdfBin(5, 5, 1.0, err), 1.0);
    EXPECT_EQ(KvaDistFun::PdfBin(4, 5, 1.0, err), 0.0);
    EXPECT_TRUE(RelNear(KvaDistFun::PdfBin(0, 4, 0.25, err), 0.31640625, 1e-15));  // 0.75^4
    EXPECT_TRUE(RelNear(KvaDistFun::PdfBin(3, 10, 0.3, err), 0.266827932, 1e-12));
    // ln C(n, k) through log-gammas of 1.3e7 keeps about 2e-9 of it (measured
    // worst 2.1e-9 at n = 1e6).
    EXPECT_TRUE(RelNear(KvaDistFun::PdfBin(500000, 1e6, 0.5, err), 0.00079788436133175009, 5e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::PdfBin(9900, 1e6, 0.01, err), 0.0024276230003507278, 5e-9));
    // The exponent underflows below -1021.
    EXPECT_EQ(KvaDistFun::PdfBin(1, 1e6, 0.999, err), 0.0);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::PdfBin(1, 3, 1.5, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::PdfBin(1, 0.5, 0.5, err), kMissing);
    EXPECT_EQ(err, 1);
}

TEST(KvaDistFunBinomial, CdfSumsDownAndUpFromTheStartingTerm)
{
    long err = -1;
    EXPECT_EQ(KvaDistFun::CdfBin(-1, 10, 0.3, err), 0.0);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::CdfBin(10, 10, 0.3, err), 1.0);
    EXPECT_EQ(KvaDistFun::CdfBin(-1, 10, 0.0, err), 0.0);
    EXPECT_EQ(KvaDistFun::CdfBin(0, 10, 0.0, err), 1.0);
    EXPECT_EQ(KvaDistFun::CdfBin(9, 10, 1.0, err), 0.0);
    EXPECT_EQ(KvaDistFun::CdfBin(10, 10, 1.0, err), 1.0);
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(0, 4, 0.25, err), 0.31640625, 1e-15));
    // k below the mode: only the downward sum; above it: both.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(3, 10, 0.3, err), 0.6496107184, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(3.9, 10, 0.3, err), 0.6496107184, 1e-14));  // floor(k)
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(7, 10, 0.3, err), 0.9984096136, 1e-14));
    // prob = 1/2: 16/32 exactly.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(2, 5, 0.5, err), 0.5, 4e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(40, 1000, 0.1, err), 1.0419950326403854e-12, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(250, 1000, 0.2, err), 0.99994929546349167, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(499000, 1e6, 0.5, err), 0.022804149932691043, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(10100, 1e6, 0.01, err), 0.84376050314507679, 1e-12));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::CdfBin(3, 10.5, 0.3, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::CdfBin(3, 10, -0.1, err), kMissing);
    EXPECT_EQ(err, 1);
}

// When even the starting term is below e^-1021 the sum cannot start; the
// value then comes from the incomplete beta ratio. Every term below e^-1021
// means P(X <= k) < (k+1) e^-1021, which is 0 in double precision: the branch
// must give 0, where a plain normal approximation would give 1e-3-sized junk
// only in its far tail (Phi(-28) = 6e-173 here) and positive numbers near it.
TEST(KvaDistFunBinomial, CdfOnBothSidesOfTheTinyTermSwitch)
{
    long err = -1;
    // ln P(X = 100) for n = 1e4, p = 1/2 is about -6400: beyond the switch.
    EXPECT_EQ(KvaDistFun::CdfBin(100, 10000, 0.5, err), 0.0);
    EXPECT_EQ(err, 0);
    // Just inside: ln P(X = 1) = ln(1e3 * 0.5^999 ...) for n = 1000, p = 0.5 is
    // -685.5; the sum of the two terms is 1001 * 2^-1000.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfBin(1, 1000, 0.5, err), 1001.0 * std::ldexp(1.0, -1000), 1e-12));
    EXPECT_EQ(err, 0);
}

TEST(KvaDistFunBinomial, QuantileStepsFromTheNormalStart)
{
    long err = -1;
    EXPECT_EQ(KvaDistFun::IdfBin(0, 10, 0.5, err), -1.0);
    EXPECT_EQ(KvaDistFun::IdfBin(1, 10, 0.5, err), 10.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0, 10, 1.0, err), 9.0);
    EXPECT_EQ(KvaDistFun::IdfBin(1, 10, 0.0, err), 0.0);
    EXPECT_EQ(err, 0);
    // R qbinom.
    EXPECT_EQ(KvaDistFun::IdfBin(0.025, 1000, 0.1, err), 82.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.5, 1000, 0.1, err), 100.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.975, 1000, 0.1, err), 119.0);
    EXPECT_EQ(KvaDistFun::IdfBin(1e-9, 1000, 0.1, err), 48.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.3, 1000, 0.1, err), 95.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.025, 1e6, 0.5, err), 499020.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.975, 1e6, 0.5, err), 500980.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.2, 10, 0.3, err), 2.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.7, 10, 0.3, err), 4.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.025, 10, 0.5, err), 2.0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.025, 25, 0.5, err), 8.0);
    // P(X <= 2) = 1/2 exactly for n = 5: the smallest such k is 2, not 3.
    EXPECT_EQ(KvaDistFun::IdfBin(0.5, 5, 0.5, err), 2.0);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.5, 10.5, 0.5, err), kMissing);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::IdfBin(0.5, 0, 0.5, err), kMissing);
    EXPECT_EQ(KvaDistFun::IdfBin(0.5, 10, -0.5, err), kMissing);
    EXPECT_EQ(err, 2);
    EXPECT_EQ(KvaDistFun::IdfBin(0.5, 10, 1.5, err), kMissing);
    EXPECT_EQ(KvaDistFun::IdfBin(1.5, 10, 0.5, err), kMissing);
}

namespace {

struct MedianInterval {
    double lower;
    double upper;
    double coverage;
};

MedianInterval Median(const std::vector<double>& values, const std::vector<double>& weights, double total,
                      double level, bool coverage = true)
{
    MedianInterval r{0, 0, 0};
    KvaDistFun::Mednci(static_cast<long>(values.size()), values, weights, total, level, coverage, r.lower, r.upper,
                       r.coverage);
    return r;
}

}  // namespace

TEST(KvaDistFunMedian, TotalTwoGivesTheExtremes)
{
    for (double level : {50.0, 95.0, 99.9}) {
        const MedianInterval r = Median({3.0, 8.0}, {1.0, 1.0}, 2.0, level);
        EXPECT_EQ(r.lower, 3.0);
        EXPECT_EQ(r.upper, 8.0);
        EXPECT_EQ(r.coverage, 100.0);
    }
}

TEST(KvaDistFunMedian, TotalBelowTwoLeavesEverythingMissing)
{
    const MedianInterval r = Median({3.0, 8.0}, {0.5, 1.0}, 1.5, 95);
    EXPECT_EQ(r.lower, kMissing);
    EXPECT_EQ(r.upper, kMissing);
    EXPECT_EQ(r.coverage, kMissing);
    const MedianInterval none = Median({}, {}, 2.0, 95);
    EXPECT_EQ(none.lower, kMissing);
}

TEST(KvaDistFunMedian, NegativeRankGivesTheExtremes)
{
    // Level 100: IdfBin(0, 10, 1/2) = -1.
    const MedianInterval r = Median({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, std::vector<double>(10, 1.0), 10.0, 100.0);
    EXPECT_EQ(r.lower, 1.0);
    EXPECT_EQ(r.upper, 10.0);
    EXPECT_EQ(r.coverage, 100.0);
    // A total that is not a whole number has no binomial quantile: the missing
    // value is negative, so the extremes as well.
    const MedianInterval w = Median({1, 2, 3}, {1.5, 2.0, 1.0}, 4.5, 95.0);
    EXPECT_EQ(w.lower, 1.0);
    EXPECT_EQ(w.upper, 3.0);
    EXPECT_EQ(w.coverage, 100.0);
}

TEST(KvaDistFunMedian, OrderStatisticRanksAndCoverage)
{
    // n = 10, level 95: r = qbinom(0.025, 10, 1/2) = 2, L = 3, U = 8: the 3rd
    // and 8th values. Coverage: cdfbet(1/2, 3, 8) = P(Bin(10, 1/2) >= 3) =
    // 1 - 56/1024 = 0.9453125, (c - 1/2) * 200 = 89.0625.
    const std::vector<double> v{11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
    const MedianInterval r = Median(v, std::vector<double>(10, 1.0), 10.0, 95.0);
    EXPECT_EQ(r.lower, 13.0);
    EXPECT_EQ(r.upper, 18.0);
    EXPECT_NEAR(r.coverage, 89.0625, 1e-10);
    const MedianInterval noCov = Median(v, std::vector<double>(10, 1.0), 10.0, 95.0, false);
    EXPECT_EQ(noCov.coverage, kMissing);
    EXPECT_EQ(noCov.upper, 18.0);
    // Weighted: values 1, 2, 3 with weights 4, 2, 4 (total 10): cumulative 4
    // reaches L = 3 at value 1; from the top, 10 - 4 = 6 < 8 at value 3.
    const MedianInterval wr = Median({1, 2, 3}, {4, 2, 4}, 10.0, 95.0);
    EXPECT_EQ(wr.lower, 1.0);
    EXPECT_EQ(wr.upper, 3.0);
}

TEST(KvaDistFunMedian, LowerStaysMissingWhenOnlyTheLastValueReachesTheRank)
{
    // Weights 1, 1, 8: the search for L = 3 covers the first two values only.
    const MedianInterval r = Median({1, 2, 3}, {1, 1, 8}, 10.0, 95.0);
    EXPECT_EQ(r.lower, kMissing);
    EXPECT_EQ(r.upper, 3.0);
}

namespace {

struct Grouped {
    long index;
    double result;
    long status;
};

Grouped GPTile(double percent, const std::vector<double>& values, const std::vector<double>& weights,
               const std::vector<double>& bounds, long mode)
{
    Grouped g{0, 0, 99};
    g.index = KvaDistFun::GPTile(static_cast<long>(values.size()), percent, values, weights, bounds, mode, g.result,
                                 g.status);
    return g;
}

}  // namespace

// Mode 0: values 1..4, unit weights, sit at 0.5, 1.5, 2.5, 3.5.
TEST(KvaDistFunGroupedPercentile, ValuesAtTheirMidCumulativePositions)
{
    const std::vector<double> v{1, 2, 3, 4};
    const std::vector<double> w{1, 1, 1, 1};
    Grouped g = GPTile(50, v, w, {}, 0);  // target 2: halfway from 1.5 to 2.5
    EXPECT_EQ(g.status, 0);
    EXPECT_EQ(g.index, 1);
    EXPECT_DOUBLE_EQ(g.result, 2.5);
    EXPECT_DOUBLE_EQ(GPTile(25, v, w, {}, 0).result, 1.5);
    EXPECT_DOUBLE_EQ(GPTile(30, v, w, {}, 0).result, 1.7);  // target 1.2: f = 0.7
    EXPECT_DOUBLE_EQ(GPTile(12.5, v, w, {}, 0).result, 1.0);  // f = 0: the lower limit
    // Weights 1 and 3 at 10 and 20: positions 0.5 and 2.5; target 2 is f = 0.75.
    EXPECT_DOUBLE_EQ(GPTile(50, {10, 20}, {1, 3}, {}, 0).result, 17.5);
}

TEST(KvaDistFunGroupedPercentile, BelowTheFirstAndAboveTheLastValue)
{
    const std::vector<double> v{1, 2, 3, 4};
    const std::vector<double> w{1, 1, 1, 1};
    Grouped below = GPTile(5, v, w, {}, 0);  // target 0.2 < 0.5
    EXPECT_EQ(below.status, 1);
    EXPECT_EQ(below.result, kMissing);
    Grouped above = GPTile(95, v, w, {}, 0);  // target 3.8 > 3.5
    EXPECT_EQ(above.status, 2);
    EXPECT_EQ(above.result, kMissing);
}

TEST(KvaDistFunGroupedPercentile, SingleGroupAndZeroWeightGroup)
{
    Grouped one = GPTile(50, {5}, {3}, {}, 0);
    EXPECT_EQ(one.status, -1);
    EXPECT_EQ(one.result, kMissing);
    // Weights 0, 0, 1: target 0 lies in the first group, whose weight is 0.
    Grouped zero = GPTile(0, {1, 2, 3}, {0, 0, 1}, {}, 0);
    EXPECT_EQ(zero.status, 0);
    EXPECT_EQ(zero.result, kMissing);
}

TEST(KvaDistFunGroupedPercentile, MidpointsOfGroupsOfGivenWidth)
{
    // Mode 1, width 10: groups [5,15] weight 2, [15,25] weight 4, [25,35]
    // weight 4; target 5 lies in the second group at f = (5 - 2) / 4.
    Grouped g = GPTile(50, {10, 20, 30}, {2, 4, 4}, {10}, 1);
    EXPECT_EQ(g.status, 0);
    EXPECT_EQ(g.index, 1);
    EXPECT_DOUBLE_EQ(g.result, 22.5);
    EXPECT_DOUBLE_EQ(GPTile(10, {10, 20, 30}, {2, 4, 4}, {10}, 1).result, 10.0);  // f = 1/2 of the first
    EXPECT_EQ(GPTile(50, {10, 20, 30}, {2, 4, 4}, {}, 1).result, kMissing);
}

TEST(KvaDistFunGroupedPercentile, ExplicitClassLimits)
{
    // Limits 0, 10, 20 (mode 3); values 2, 5 | 12 | 25, 30 with weights
    // 1, 1 | 2 | 3, 3. The open class runs from 20 to 25, the first value
    // above the last limit. Target 5: cumulative 2, 4, then f = 1/6 in the
    // open class, 20 + 5/6.
    const std::vector<double> v{2, 5, 12, 25, 30};
    const std::vector<double> w{1, 1, 2, 3, 3};
    Grouped g = GPTile(50, v, w, {0, 10, 20}, 3);
    EXPECT_EQ(g.status, 0);
    EXPECT_EQ(g.index, 2);
    EXPECT_NEAR(g.result, 20.0 + 5.0 / 6.0, 1e-12);
    EXPECT_DOUBLE_EQ(GPTile(30, v, w, {0, 10, 20}, 3).result, 15.0);  // target 3: f = 1/2 of [10, 20)
    EXPECT_EQ(GPTile(50, v, w, {0, 10}, 3).status, -1);             // fewer limits than classes
}
