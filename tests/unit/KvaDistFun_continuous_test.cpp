// Normal, gamma, chi-square, t and F functions of KvaDistFun.
//
// Expected values: 40-digit mpmath (erf, ncdf, loggamma, gammainc, and for t
// and F the incomplete beta ratio summed as DLMF 8.17.22 at 45 digits), unless
// a line says otherwise; rounded to 17 digits.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "KvaDistFun.h"

namespace {

const double kMissing = -DBL_MAX;

// Series and fractions below the large-shape switch take ln Gamma from dnlgam,
// whose ln sqrt(2 pi) = 0.918938533205 is 3.3e-13 above the exact value: that
// offset, not the algorithms, sets the 5e-13 tolerance of those checks.

// |actual - expected| <= rel * |expected|
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

TEST(KvaDistFunNormal, ProbitInEachRegionAndAtTheSplitPoints)
{
    EXPECT_TRUE(RelNear(KvaDistFun::probit(0.975), 1.9599639845400542, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::probit(0.9), 1.2815515655446005, 1e-15));
    // |p - 0.5| = 0.425 exactly: still the central rational function.
    EXPECT_TRUE(RelNear(KvaDistFun::probit(0.075), -1.4395314709384559, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::probit(1e-10), -6.3613409024040562, 1e-15));
    // r = sqrt(-ln p) = 5 at p = e^-25: the boundary of the intermediate tail.
    EXPECT_TRUE(RelNear(KvaDistFun::probit(1.3887943864964021e-11), -6.6579046435011036, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::probit(1e-12), -7.0344838253011319, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::probit(1e-300), -37.047096299361199, 1e-15));
    // Upper tail by symmetry: 1 - 1e-12 as a double is 0.999999999999000022.
    EXPECT_TRUE(RelNear(KvaDistFun::probit(1.0 - 1e-12), 7.0344869100478352, 1e-13));
}

TEST(KvaDistFunNormal, ErfAndErfcOnEveryInterval)
{
    EXPECT_TRUE(RelNear(KvaDistFun::derf(0.46875), 0.49261347321793799, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::derf(0.5), 0.52049987781304654, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::derf(1.0), 0.84270079294971487, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::derf(-3.0), -0.99997790950300141, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(0.5), 0.47950012218695346, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(2.0), 0.0046777349810472658, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(4.0), 1.5417257900280019e-8, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(6.0), 2.1519736712498913e-17, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(10.0), 2.0884875837625448e-45, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(26.0), 5.6631924088561428e-296, 1e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::derfc(-1.0), 1.8427007929497149, 1e-15));
}

TEST(KvaDistFunNormal, CdfUsesErfcInBothTailsAndErfInside)
{
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(1.96, 0, 1), 0.97500210485177957, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(-1, 0, 1), 0.15865525393145705, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(0.3, 0, 1), 0.61791142218895263, 1e-15));
    // Both sides of the thresholds +-sqrt 2.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(std::sqrt(2.0), 0, 1), 0.92135039647485744, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(-std::sqrt(2.0), 0, 1), 0.078649603525142558, 1e-15));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(-5, 0, 1), 2.8665157187919391e-7, 1e-14));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(-20, 0, 1), 2.7536241186062337e-89, 1e-13));
    // Far tail: erfc(37/sqrt 2) carries e^-685; measured 8.8e-14.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(-37, 0, 1), 5.7255712225245768e-300, 2e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfNorm(12, 2, 5), 0.97724986805182079, 1e-15));  // z = 2
    EXPECT_EQ(KvaDistFun::CdfNorm(1, 0, 0), kMissing);
    EXPECT_EQ(KvaDistFun::CdfNorm(NAN, 0, 1), kMissing);
}

TEST(KvaDistFunNormal, IdfNormDomainAndExactMedian)
{
    EXPECT_EQ(KvaDistFun::IdfNorm(0.5, 3.25, 7.0), 3.25);
    EXPECT_EQ(KvaDistFun::IdfNorm(0.0, 0, 1), kMissing);
    EXPECT_EQ(KvaDistFun::IdfNorm(1.0, 0, 1), kMissing);
    EXPECT_EQ(KvaDistFun::IdfNorm(0.3, 0, -1), kMissing);
    EXPECT_TRUE(RelNear(KvaDistFun::IdfNorm(0.975, 10, 2), 10 + 2 * 1.9599639845400542, 1e-15));
}

TEST(KvaDistFunGamma, LogGammaStirlingAndRecurrence)
{
    // dnlgam keeps ln sqrt(2 pi) = 0.918938533205, 3.3e-13 above the exact
    // value, so absolute agreement is 3.3e-13 plus rounding.
    EXPECT_NEAR(KvaDistFun::dnlgam(0.5), 0.57236494292470009, 4e-13);
    EXPECT_NEAR(KvaDistFun::dnlgam(1.5), -0.12078223763524522, 4e-13);
    EXPECT_NEAR(KvaDistFun::dnlgam(0.01), 4.5994798780420217, 4e-13);
    EXPECT_NEAR(KvaDistFun::dnlgam(3.25), 0.93580193110872536, 4e-13);
    EXPECT_NEAR(KvaDistFun::dnlgam(8.0), 8.5251613610654143, 4e-13);
    EXPECT_NEAR(KvaDistFun::dnlgam(100.0), 359.13420536957540, 4e-13);
    EXPECT_TRUE(RelNear(KvaDistFun::dnlgam(1e6), 12815504.569147612, 1e-15));
    EXPECT_NEAR(KvaDistFun::dnlbnc(10, 3), 4.7874917427820460, 1e-12);  // ln 120
    EXPECT_EQ(KvaDistFun::dnlgam(0.0), kMissing);
}

TEST(KvaDistFunGamma, IncompleteGammaEachBranchAndTail)
{
    long err = -1;
    // Pearson's series: x <= 1, and x < p.
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(0.5, 0.5, false, err), 0.68268949213708590, 5e-13));
    EXPECT_EQ(err, 0);
    // The series gives P; Q = 1 - P keeps the offset's absolute size: 7e-13.
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(0.5, 0.5, true, err), 0.3173105078629141, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(1.5, 2.5, false, err), 0.30001416412137249, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(3, 10, false, err), 0.0011024881301154797, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(50, 100, false, err), 3.2000653245851253e-10, 1e-12));
    // Continued fraction: x > 1 and x >= p; the upper tail is the direct one.
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(10, 3, false, err), 0.99723060428448842, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(10, 3, true, err), 0.0027693957155115759, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(150, 50, true, err), 7.4121008573228768e-22, 1e-12));
    // Wilson-Hilferty beyond shape 1000 (the published method): 1.7e-5
    // relative here, and 2.4e-2 in a 1e-12 tail at df 2001 (measured).
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(1200, 1100, false, err), 0.99834981456611693, 1e-4));
    EXPECT_TRUE(RelNear(KvaDistFun::gammad(497000, 500000, false, err), 1.0655926453311049e-5, 1e-2));
    EXPECT_EQ(KvaDistFun::gammad(0, 3, false, err), 0.0);
    EXPECT_EQ(KvaDistFun::gammad(0, 3, true, err), 1.0);
    EXPECT_EQ(KvaDistFun::gammad(2e8, 3, false, err), 1.0);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(KvaDistFun::gammad(1, 0, false, err), kMissing);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(KvaDistFun::gammad(-1, 2, false, err), kMissing);
    EXPECT_EQ(err, 1);
}

TEST(KvaDistFunChi, CdfAndDomain)
{
    EXPECT_EQ(KvaDistFun::CdfChi(0, 3), 0.0);
    EXPECT_EQ(KvaDistFun::CdfChi(-2, 3), 0.0);
    EXPECT_EQ(KvaDistFun::CdfChi(1, 0), kMissing);
    EXPECT_TRUE(RelNear(KvaDistFun::CdfChi(3.8414588206941260, 1), 0.95, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfChi(11.587951045645056, 30), 0.001, 5e-13));
}

// AS 91's branches: small chi-square start (with and without its early
// return), small df, Wilson-Hilferty and its p -> 1 replacement; the search
// for p outside (2e-6, 0.999998). Measured worst case up to df 2000: 5e-12;
// beyond df 2000 gammad's Wilson-Hilferty limits it (1.1e-4 at df 2001).
TEST(KvaDistFunChi, QuantileInEveryBranch)
{
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.95, 1), 3.8414588206941260, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.95, 10), 18.307038053275147, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.05, 10), 3.9402991361190600, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.5, 0.5), 0.087347604705746821, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.9, 0.3), 0.88959706257806511, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.999, 3), 16.266236196238129, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.001, 30), 11.587951045645056, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.975, 100), 129.56119718583659, 1e-9));
    // Early return of the small chi-square start (ch < 5e-7), then the search.
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(0.1, 0.2), 1.2146096725486345e-10, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(1e-4, 1), 1.5707963350195693e-08, 1e-9));  // scipy chi2.ppf
    // Outside AS 91's probability range: the search alone.
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(1e-12, 10), 0.020778689705003601, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(1e-12, 0.5), 1.3499395786223459e-48, 1e-9));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfChi(1 - 1e-9, 10), 62.945457485041555, 1e-8));
    EXPECT_EQ(KvaDistFun::IdfChi(0, 4), 0.0);
    EXPECT_EQ(KvaDistFun::IdfChi(1, 4), kMissing);
    EXPECT_EQ(KvaDistFun::IdfChi(0.5, 0), kMissing);
    EXPECT_EQ(KvaDistFun::IdfChi(-0.1, 3), kMissing);
    long err = -1;
    EXPECT_EQ(KvaDistFun::veskidfchi(0.5, -2, err), kMissing);
    EXPECT_EQ(err, 1);
}

TEST(KvaDistFunT, CdfBranchesAndTails)
{
    for (double df : {0.5, 1.0, 3.0, 1e6}) {
        EXPECT_EQ(KvaDistFun::CdfT(0, df), 0.5);
    }
    EXPECT_EQ(KvaDistFun::CdfT(1, 1), 0.75);
    // Cauchy far tail: 1/(pi 1e10) to first order, without cancellation.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(-1e10, 1), 3.1830988618379067e-11, 5e-13));
    // |t| > 1: I_x(df/2, 1/2) halved.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(2.5, 3), 0.95614667649596723, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(1.5, 2), 0.86380343755449946, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(-1000, 0.5), 0.010141454540857095, 5e-13));
    // |t| <= 1: 0.5 +- I_x(1/2, df/2) / 2.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(-0.5, 3), 0.3257239824240755, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(0.75, 40), 0.77117819089686619, 5e-13));
    // Large df: shapes (df/2, 1/2) beyond the switch at 50.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(-3, 1e4), 0.0013532240949988331, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(1.96, 1e6), 0.9750019662073651, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfT(-6, 1e6), 9.8692490617721733e-10, 1e-11));
    EXPECT_EQ(KvaDistFun::CdfT(1, 0), kMissing);
    EXPECT_EQ(KvaDistFun::CdfT(NAN, 3), kMissing);
}

// Measured worst relative error over df 0.5 .. 1e6, p 1e-12 .. 1 - 1e-8: 6.5e-13.
TEST(KvaDistFunT, QuantileFromSmallToLargeDf)
{
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.975, 1), 12.706204736174705, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.975, 2), 4.3026527297494639, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.975, 5), 2.5705818356363155, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.975, 30), 2.0422724563012383, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.3, 7), -0.54910965794728505, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.999, 2.5), 13.82219311086596, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.975, 1e5), 1.9599877075346093, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.975, 1e6), 1.9599663568141067, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(0.025, 1e6), -1.959966356814107, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(1e-12, 99), -8.0369826099720406, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfT(1e-12, 0.5), -1.0284911563163401e+23, 1e-11));
    EXPECT_EQ(KvaDistFun::IdfT(0.5, 7), 0.0);
    EXPECT_EQ(KvaDistFun::IdfT(0.975, 0), kMissing);
    EXPECT_EQ(KvaDistFun::IdfT(0, 5), kMissing);
    EXPECT_EQ(KvaDistFun::IdfT(1, 5), kMissing);
    long err = -1;
    EXPECT_EQ(KvaDistFun::veskidft(0.3, -1, err), kMissing);
    EXPECT_EQ(err, 1);
}

TEST(KvaDistFunF, CdfBelowAndAboveOneAndQuantile)
{
    EXPECT_EQ(KvaDistFun::CdfF(0, 2, 3), 0.0);
    EXPECT_TRUE(RelNear(KvaDistFun::CdfF(0.5, 3, 7), 0.30596361243118628, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfF(0.01, 2, 2000), 0.0099501167486690358, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfF(1.0, 5, 5), 0.5, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfF(2.5, 3, 7), 0.85649054372106078, 5e-13));
    EXPECT_TRUE(RelNear(KvaDistFun::CdfF(40, 10, 4), 0.99856794936945913, 5e-13));
    // t^2 ~ F(1, df): P(F <= t^2) = 2 P(T <= t) - 1.
    EXPECT_TRUE(RelNear(KvaDistFun::CdfF(6.25, 1, 3), 2 * 0.95614667649596723 - 1, 5e-13));
    EXPECT_EQ(KvaDistFun::CdfF(1, 0, 3), kMissing);
    EXPECT_EQ(KvaDistFun::CdfF(1, 2, -3), kMissing);

    EXPECT_EQ(KvaDistFun::IdfF(0, 2, 3), 0.0);
    EXPECT_EQ(KvaDistFun::IdfF(1, 2, 3), kMissing);
    EXPECT_EQ(KvaDistFun::IdfF(0.5, 0, 3), kMissing);
    EXPECT_TRUE(RelNear(KvaDistFun::IdfF(0.95, 3, 7), 4.3468313999078163, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfF(0.05, 10, 4), 0.28751745630752705, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfF(1e-9, 4, 100), 2.2140712014844396e-5, 1e-12));
    EXPECT_TRUE(RelNear(KvaDistFun::IdfF(0.5, 1e5, 1e5), 1.0, 1e-12));
    // The beta quantile rounds to 1 here; F comes from 1 - y kept apart.
    EXPECT_TRUE(RelNear(KvaDistFun::IdfF(0.999999, 0.5, 0.5), 8.462352467994018e+22, 1e-10));  // scipy f.ppf
}
