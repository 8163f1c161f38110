// Incomplete beta ratio and its inverse.
//
// Expected values: the incomplete beta ratio summed as the continued fraction
// of DLMF 8.17.22 in 45-digit mpmath (checked against mpmath's betainc where
// that converges), and quantiles by Newton steps on it to 35 digits; rounded
// to 17 digits. The x arguments are the doubles nearest the decimals shown.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

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

double Cdfbet(double x, double a, double b)
{
    long err = -1;
    const double r = KvaDistFun::cdfbet(x, a, b, err);
    EXPECT_EQ(err, 0) << x << " " << a << " " << b;
    return r;
}

}  // namespace

// Below shape 50: AS 63. Its ln B comes from dnlgam, whose rounded
// ln sqrt(2 pi) leaves 3.3e-13 relative; measured worst 4.5e-13.
TEST(KvaDistFunBeta, SeriesBelowTheSwitch)
{
    EXPECT_TRUE(RelNear(Cdfbet(0.5, 2, 3), 0.6875, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(0.3, 0.5, 0.5), 0.36901011956554538, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(0.9, 10, 0.5), 0.15164090963470992, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(0.2, 30, 40), 8.1435006545699112e-6, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(0.5, 3.5, 7.5), 0.89798452191966013, 1e-12));
    // Beyond the mean: the series runs on the other tail and is swapped back.
    EXPECT_TRUE(RelNear(Cdfbet(0.45, 49.5, 49.5), 0.15987423706965076, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(0.3, 49, 60), 0.00053430622137607879, 1e-12));
    EXPECT_EQ(Cdfbet(0, 2, 3), 0.0);
    EXPECT_EQ(Cdfbet(1, 2, 3), 1.0);
}

// Both sides of the switch at 50, at the same x: AS 63 just below, the
// asymptotic expansion (near the mean) or the continued fraction just above.
TEST(KvaDistFunBeta, BothSidesOfTheSwitchToTheNormalBasedMethods)
{
    EXPECT_TRUE(RelNear(Cdfbet(0.495, 49.5, 49.5), 0.46046977357140889, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(0.495, 50, 50), 0.46027028569131277, 1e-14));      // expansion
    EXPECT_TRUE(RelNear(Cdfbet(0.495, 50.5, 50.5), 0.46007180761832922, 1e-14));  // expansion
    EXPECT_TRUE(RelNear(Cdfbet(0.45, 50, 50), 0.15865219893709885, 1e-14));       // fraction
    EXPECT_TRUE(RelNear(Cdfbet(0.3, 51, 60), 0.00021856638325948591, 1e-14));     // fraction
    EXPECT_TRUE(RelNear(Cdfbet(0.5, 60, 60), 0.5, 1e-15));
}

// Reference points of the large-shape methods, spanning both orientations,
// the far tail and shapes to 1e6. Measured worst over shapes 0.5 .. 5e5 and
// x = mean +- 30 sd: 4.5e-13 (in AS 63's range), 2e-13 above it.
TEST(KvaDistFunBeta, LargeShapes)
{
    EXPECT_TRUE(RelNear(Cdfbet(0.49, 500.5, 500.5), 0.26347231386788234, 1e-14));
    EXPECT_TRUE(RelNear(Cdfbet(0.1, 100.5, 900.5), 0.49438598785367258, 1e-14));
    EXPECT_TRUE(RelNear(Cdfbet(0.085, 100.5, 900.5), 0.047084085875031352, 1e-14));
    EXPECT_TRUE(RelNear(Cdfbet(0.1, 150.5, 850.5), 3.532578702063397e-7, 1e-13));
    EXPECT_TRUE(RelNear(Cdfbet(0.0011, 1000.5, 999000.5), 0.9988901955083506, 1e-14));
    EXPECT_TRUE(RelNear(Cdfbet(0.0495, 50000.5, 950000.5), 0.010663740208571798, 1e-13));
    EXPECT_TRUE(RelNear(Cdfbet(0.0505, 50000.5, 950000.5), 0.98888076234137831, 1e-14));
    EXPECT_TRUE(RelNear(Cdfbet(0.4985, 500000.5, 500000.5), 0.0013498647929847078, 1e-13));
    EXPECT_TRUE(RelNear(Cdfbet(0.485, 500000.5, 500000.5), 4.0049573031663469e-198, 1e-12));
    // One small shape: the t distribution and the Jeffreys shapes near 0.
    EXPECT_TRUE(RelNear(Cdfbet(0.999999, 500000.5, 0.5), 0.31731026588517106, 1e-12));
    EXPECT_TRUE(RelNear(Cdfbet(1e-6, 0.5, 1000000.5), 0.84270094861504477, 1e-13));
    EXPECT_TRUE(RelNear(Cdfbet(0.01, 0.5, 200), 0.95490589286292022, 1e-13));
}

TEST(KvaDistFunBeta, DomainErrors)
{
    long err = -1;
    EXPECT_EQ(KvaDistFun::cdfbet(-0.1, 2, 3, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::cdfbet(1.1, 2, 3, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::cdfbet(0.5, 0, 3, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::cdfbet(0.5, 2, -1, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::cdfbet(NAN, 2, 3, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::cbtaux(0.5, 2, 0, err), kMissing);
    EXPECT_EQ(err, 1);
}

TEST(KvaDistFunBeta, Auxiliary63AloneAboveTheSwitch)
{
    long err = -1;
    // AS 63 by itself still sums shapes above 50 (slowly); ln B from dnlgam.
    EXPECT_TRUE(RelNear(KvaDistFun::cbtaux(0.495, 50, 50, err), 0.46027028569131277, 1e-12));
    EXPECT_EQ(err, 0);
    EXPECT_TRUE(RelNear(KvaDistFun::cbtaux(0.3, 51, 60, err), 0.00021856638325948591, 1e-11));
    EXPECT_EQ(KvaDistFun::cbtaux(1.0, 2, 3, err), 1.0);
}

// Jeffreys limits: IdfBet(alpha, x + 1/2, n - x + 1/2). Measured worst over
// n = 1 .. 1e6, every x class and alpha 1e-12 .. 1 - 1e-6: 8.5e-13.
TEST(KvaDistFunBetaInverse, JeffreysLimits)
{
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 0.5, 10.5), 4.78904331575819e-5, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 0.5, 10.5), 0.217196267509211, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 3.5, 7.5), 0.0926945939381532, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 3.5, 7.5), 0.605818318148671, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 10.5, 0.5), 0.782803732490789, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 10.5, 0.5), 0.999952109566842, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 50.5, 50.5), 0.403173950896418, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 50.5, 50.5), 0.596826049103582, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 1.5, 999.5), 0.00010791880468098, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 1.5, 999.5), 0.00466445880879137, 1e-11));
    // n = 1e6: x = 0, 1, 3e5 and 5e4 of 1e5.
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 0.5, 1000000.5), 4.910344357084463e-10, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 0.5, 1000000.5), 2.5119393107467836e-6, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 1.5, 999999.5), 1.0789766246541867e-7, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 300000.5, 700000.5), 0.29910241150443628, 1e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.975, 300000.5, 700000.5), 0.30089874621600345, 1e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.025, 50000.5, 50000.5), 0.4969010623469325, 1e-13));
}

TEST(KvaDistFunBetaInverse, TailsAndStartClampedFarFromTheRoot)
{
    // The initial approximation is clamped to [1e-8, 0.9999999]; these roots
    // lie decades outside it.
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(1e-12, 0.5, 0.5), 2.4674011002723396e-24, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(1e-12, 0.25, 0.5), 2.9542612520192787e-48, 1e-11));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.999999999, 30, 2), 0.99999853350808158, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.1, 1e5, 3), 0.99994677874514547, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfBet(0.5, 2, 3), 0.38572756813238955, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::betinv(0.5, 2, 3), 0.38572756813238955, 1e-12));
}

TEST(KvaDistFunBetaInverse, DomainAndEnds)
{
    EXPECT_EQ(KvaDistFun::IdfBet(0.0, 2, 3), 0.0);
    EXPECT_EQ(KvaDistFun::IdfBet(1.0, 2, 3), 1.0);
    EXPECT_EQ(KvaDistFun::IdfBet(-0.01, 2, 3), kMissing);
    EXPECT_EQ(KvaDistFun::IdfBet(1.01, 2, 3), kMissing);
    EXPECT_EQ(KvaDistFun::IdfBet(0.5, 0, 3), kMissing);
    EXPECT_EQ(KvaDistFun::IdfBet(0.5, 2, -3), kMissing);
    EXPECT_EQ(KvaDistFun::IdfBet(NAN, 2, 3), kMissing);
    EXPECT_EQ(KvaDistFun::betinv(0.5, -1, 3), -1.0);
    EXPECT_EQ(KvaDistFun::betinv(2.0, 1, 3), -1.0);
}

TEST(KvaDistFunBetaInverse, RoundTripThroughTheRatio)
{
    for (double a : {0.5, 7.5, 60.5, 4000.5}) {
        for (double b : {0.5, 12.5, 99.5, 250000.5}) {
            for (double p : {1e-9, 0.025, 0.5, 0.975}) {
                const double x = KvaDistFun::IdfBet(p, a, b);
                ASSERT_NE(x, kMissing);
                EXPECT_TRUE(RelNear(Cdfbet(x, a, b), p, 1e-11)) << a << " " << b << " " << p;
            }
        }
    }
}
