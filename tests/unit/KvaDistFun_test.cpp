// The distribution functions: oracle values from tests/data/stats/dist_*.tsv (one file per family, each line
// naming its oracle and tolerance), identities between the distributions as properties over a grid, the
// median's order-statistic interval and the grouped percentile (hand derivations in their data files).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "KvaDistFun.h"
#include "StatsTestData.h"
#include "TestSupport.h"

using kvtest::Numbers;
using kvtest::RelNear;
using Dist = KvaDistFun;

namespace {

using Args = std::vector<double>;

// Every function the data files name; those without an error argument leave it alone.
#define KV_FN(name, ...) {#name, [](const Args& a, long& e) { (void)e; return Dist::name(__VA_ARGS__); }}
const std::map<std::string, std::function<double(const Args&, long&)>> kFunctions = {
    KV_FN(probit, a[0]), KV_FN(derf, a[0]), KV_FN(derfc, a[0]), KV_FN(dnlgam, a[0]), KV_FN(dnlbnc, a[0], a[1]),
    KV_FN(CdfNorm, a[0], a[1], a[2]), KV_FN(IdfNorm, a[0], a[1], a[2]), KV_FN(gammad, a[0], a[1], a[2] != 0, e),
    KV_FN(CdfChi, a[0], a[1]), KV_FN(IdfChi, a[0], a[1]), KV_FN(veskidfchi, a[0], a[1], e),
    KV_FN(CdfT, a[0], a[1]), KV_FN(IdfT, a[0], a[1]), KV_FN(veskidft, a[0], a[1], e),
    KV_FN(CdfF, a[0], a[1], a[2]), KV_FN(IdfF, a[0], a[1], a[2]), KV_FN(veskidff, a[0], a[1], a[2], e),
    KV_FN(cdfbet, a[0], a[1], a[2], e), KV_FN(cbtaux, a[0], a[1], a[2], e), KV_FN(IdfBet, a[0], a[1], a[2]),
    KV_FN(betinv, a[0], a[1], a[2]), KV_FN(PdfBin, a[0], a[1], a[2], e), KV_FN(CdfBin, a[0], a[1], a[2], e),
    KV_FN(IdfBin, a[0], a[1], a[2], e),
};
#undef KV_FN

}  // namespace

class KvaDistFunOracle : public ::testing::TestWithParam<std::string> {};

// Columns: function, arguments, expected value, tolerance, error code ("-": not checked), oracle.
TEST_P(KvaDistFunOracle, MatchesEveryLineOfItsDataFile)
{
    const auto rows = kvtest::ReadTable("dist_" + GetParam() + ".tsv");
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 6u);
        SCOPED_TRACE(row[0] + "(" + row[1] + ") [" + row[5] + "]");
        const auto fn = kFunctions.find(row[0]);
        ASSERT_NE(fn, kFunctions.end());
        long err = -1;
        EXPECT_TRUE(kvtest::Within(fn->second(Numbers(row[1]), err), Numbers(row[2])[0], row[3]));
        if (row[4] != "-") {
            EXPECT_EQ(err, std::stol(row[4]));
        }
    }
    EXPECT_GT(rows.size(), 10u);
}

INSTANTIATE_TEST_SUITE_P(Families, KvaDistFunOracle,
                         ::testing::Values("normal", "gamma", "chisquare", "t", "f", "beta", "binomial"),
                         [](const auto& info) { return info.param; });

namespace {

// |a - b| <= abs + rel |b|: tails computed as 1 - (something near 1) keep an absolute error of an ulp of 1.
::testing::AssertionResult Close(double a, double b, double rel, double abs)
{
    if (std::fabs(a - b) <= abs + rel * std::fabs(b)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << a << " vs " << b << " (difference " << a - b << ")";
}

const double kDfs[] = {0.5, 1.0, 3.0, 10.0, 60.0, 1e3, 1e6};
// Binary fractions: 1 - p is exact, so a symmetric quantile is the same computation.
const double kDyadic[] = {0x1p-40, 0x1p-20, 0x1p-7, 0.0625, 0.25, 0.375};
const double kProbs[] = {1e-10, 1e-4, 0.025, 0.3, 0.5, 0.7, 0.975, 0.999999};

}  // namespace

TEST(KvaDistFunIdentities, NormalAndTAreSymmetric)
{
    for (double x : {0.25, 1.0, 1.4142135623730951, 3.0, 8.0, 30.0}) {
        EXPECT_TRUE(Close(Dist::CdfNorm(-x, 0, 1) + Dist::CdfNorm(x, 0, 1), 1.0, 0, 4e-16)) << x;
        for (double df : kDfs) EXPECT_TRUE(Close(Dist::CdfT(-x, df) + Dist::CdfT(x, df), 1.0, 0, 4e-16)) << x;
    }
    for (double p : kDyadic) {
        EXPECT_TRUE(RelNear(Dist::IdfNorm(1 - p, 0, 1), -Dist::IdfNorm(p, 0, 1), 1e-15)) << p;
        for (double df : kDfs) EXPECT_TRUE(RelNear(Dist::IdfT(1 - p, df), -Dist::IdfT(p, df), 1e-15)) << p;
    }
}

// T^2 ~ F(1, df): the two-sided tail of t is the upper tail of F, and the central mass its lower part. Both
// take the same incomplete beta ratio, except at t = 1, where they take complementary ones, each within 5e-13.
TEST(KvaDistFunIdentities, SquaredTIsFWithOneNumeratorDegree)
{
    for (double df : kDfs) {
        for (double t : {0.3, 0.9, 1.0, 1.5, 4.0, 20.0}) {
            const double tails = 2 * Dist::CdfT(-t, df);
            EXPECT_TRUE(Close(1 - Dist::CdfF(t * t, 1, df), tails, 2e-12, 4e-16)) << df << " " << t;
            EXPECT_TRUE(Close(Dist::CdfF(t * t, 1, df), 1 - tails, 2e-12, 4e-16)) << df << " " << t;
        }
    }
}

// p -> quantile -> p. A quantile's relative error comes back multiplied by the slope x f(x) / F(x), tens in
// these tails; measured worst: normal 2e-15, t and F 3e-13, chi-square 4e-13.
TEST(KvaDistFunIdentities, QuantilesInvertTheDistributionFunctions)
{
    for (double p : kProbs) {
        EXPECT_TRUE(RelNear(Dist::CdfNorm(Dist::IdfNorm(p, 3, 0.5), 3, 0.5), p, 1e-13)) << p;
        for (double df : kDfs) {
            SCOPED_TRACE(::testing::Message() << "p " << p << " df " << df);
            EXPECT_TRUE(RelNear(Dist::CdfT(Dist::IdfT(p, df), df), p, 1e-11));
            if (df <= 1e3) {  // beyond shape 1000 the gamma ratio is a normal approximation
                EXPECT_TRUE(RelNear(Dist::CdfChi(Dist::IdfChi(p, df), df), p, 1e-10));
            }
            EXPECT_TRUE(RelNear(Dist::CdfF(Dist::IdfF(p, 3, df), 3, df), p, 1e-11));
            EXPECT_TRUE(RelNear(Dist::CdfF(Dist::IdfF(p, df, 7), df, 7), p, 1e-11));
        }
    }
    for (double a : {0.5, 7.5, 60.5, 4000.5}) {
        for (double b : {0.5, 12.5, 99.5, 250000.5}) {
            for (double p : {1e-9, 0.025, 0.5, 0.975}) {
                const double x = Dist::IdfBet(p, a, b);
                long err = -1;
                EXPECT_TRUE(RelNear(Dist::cdfbet(x, a, b, err), p, 1e-11)) << a << " " << b << " " << p;
                EXPECT_EQ(err, 0);
            }
        }
    }
}

// IdfBin is the smallest k with P(X <= k) >= p, up to its acceptance of a sum within 2^-45 of p.
TEST(KvaDistFunIdentities, BinomialQuantileIsTheSmallestCountReachingP)
{
    for (double n : {1.0, 10.0, 25.0, 1000.0, 1e5}) {
        for (double prob : {0.01, 0.3, 0.5, 0.9}) {
            for (double p : kProbs) {
                long err = -1;
                const double k = Dist::IdfBin(p, n, prob, err);
                SCOPED_TRACE(::testing::Message() << "n " << n << " prob " << prob << " p " << p << " k " << k);
                ASSERT_EQ(err, 0);
                ASSERT_EQ(k, std::floor(k));
                EXPECT_GE(Dist::CdfBin(k, n, prob, err), p - 0x1p-45);
                EXPECT_LT(Dist::CdfBin(k - 1, n, prob, err), p);
            }
        }
    }
}

TEST(KvaDistFunMedian, OrderStatisticIntervalsOfTheDataFile)
{
    for (const auto& row : kvtest::ReadTable("dist_median.tsv")) {
        ASSERT_EQ(row.size(), 9u);
        SCOPED_TRACE(row[8]);
        const Args values = Numbers(row[0]);
        double got[3] = {0, 0, 0};
        Dist::Mednci(static_cast<long>(values.size()), values, Numbers(row[1]), std::stod(row[2]), std::stod(row[3]),
                     row[4] == "1", got[0], got[1], got[2]);
        for (int i = 0; i < 3; ++i) {
            if (row[5 + i] != "-") {
                EXPECT_NEAR(got[i], Numbers(row[5 + i])[0], 1e-10) << i;
            }
        }
    }
}

TEST(KvaDistFunGroupedPercentile, InterpolatesWithinTheGroupOfTheTarget)
{
    for (const auto& row : kvtest::ReadTable("dist_grouped.tsv")) {
        ASSERT_EQ(row.size(), 9u);
        SCOPED_TRACE(row[0] + " % " + row[8]);
        const Args values = Numbers(row[1]);
        double result = 0;
        long status = 99;
        const long index = Dist::GPTile(static_cast<long>(values.size()), std::stod(row[0]), values,
                                        Numbers(row[2]), Numbers(row[3]), std::stol(row[4]), result, status);
        EXPECT_DOUBLE_EQ(result, Numbers(row[6])[0]);
        if (row[5] != "-") {
            EXPECT_EQ(status, std::stol(row[5]));
        }
        if (row[7] != "-") {
            EXPECT_EQ(index, std::stol(row[7]));
        }
    }
}
