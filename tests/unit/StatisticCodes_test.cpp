// The statistic code space: names, the group table with its deliberate holes,
// and when two requests count as the same.
#include <gtest/gtest.h>

#include <set>

#include "AggregationStatistic.h"
#include "TableEncryptionCodes.h"

using namespace TableEncryptionCodes;

namespace {

struct Split {
    int primary;
    int conf;
    bool known;
};

Split SplitOf(int code)
{
    StatisticCodes primary = kNoStatistic;
    StatisticConf conf = kConfValue;
    bool known = AggregationStatistic::GetStatPrimeAndConf(static_cast<StatisticCodes>(code), primary, conf);
    return {primary, conf, known};
}

// The expected split, written from the family rules rather than from the
// table: confidence groups of four codes, singles, and the listed holes.
Split Expected(int c)
{
    const std::set<int> holes = {0, 195, 196, 299, 301, 302, 304, 320, 465, 466, 467,
                                 386, 387, 388, 390, 391, 392, 394, 395, 396, 398, 399, 400};
    if (c > 475 || holes.count(c)) return {c, kConfNone, false};
    if (c == 303) return {301, kConfUpper, true};
    if (c == 385 || c == 389 || c == 393 || c == 397) return {c, kConfValue, true};
    const std::set<int> singles = {9, 178, 197, 198, 199, 200, 201, 202, 203, 204, 221, 230, 231, 232};
    if (singles.count(c)) return {c, kConfNone, true};
    std::set<int> groupBases = {1, 5, 179, 183, 187, 191, 205, 209, 213, 217, 222, 226, 289, 293, 468, 472};
    for (int b = 10; b <= 174; b += 4) groupBases.insert(b);   // count, valid N, total N percentages
    for (int b = 233; b <= 461; b += 4) groupBases.insert(b);  // sum, responses percentages
    for (int b : groupBases)
        if (c >= b && c < b + 4) return {b, c - b, true};
    ADD_FAILURE() << "code " << c << " is covered by no rule";
    return {c, kConfNone, false};
}

}  // namespace

TEST(StatisticCodes, EveryCodeSplitsAsTheFamilyRulesAndHolesSay)
{
    for (int c = 0; c <= 513; ++c) {
        Split got = SplitOf(c), want = Expected(c);
        EXPECT_EQ(got.known, want.known) << "code " << c;
        EXPECT_EQ(got.primary, want.primary) << "code " << c;
        EXPECT_EQ(got.conf, want.conf) << "code " << c;
    }
}

TEST(StatisticCodes, NamedExamples)
{
    EXPECT_EQ(kCount, 1);
    EXPECT_EQ(kCountSE, 4);
    EXPECT_EQ(kCountPct0, 10);
    EXPECT_EQ(kCountPct2LCL, 27);
    EXPECT_EQ(kCountPct6, 58);
    EXPECT_EQ(kUCountPct0, 14);
    EXPECT_EQ(kValidNPct0, 66);
    EXPECT_EQ(kTotalNPct0, 122);
    EXPECT_EQ(kMeanSE, 182);
    EXPECT_EQ(kUMeanSE, 186);
    EXPECT_EQ(kSumPct0, 233);
    EXPECT_EQ(kResponsesPct0, 297);
    EXPECT_EQ(kResponsesCountPct4, 385);
    EXPECT_EQ(kCountResponsesPct0, 409);
    EXPECT_EQ(kUCountResponsesPct6, 461);
    EXPECT_EQ(kSumSqDeviation, 465);
    EXPECT_EQ(kPtile, 468);
    EXPECT_EQ(kUGroupedPtile, 477);
    EXPECT_EQ(kPctLT, 478);
    EXPECT_EQ(kUCountLT, 481);
    EXPECT_EQ(kCountGELE, 500);
    EXPECT_EQ(kPctGTLE, 506);
    EXPECT_EQ(kUCountGTLT, 513);
}

TEST(StatisticCodes, NamesRoundTripAndAcceptTheLeadingK)
{
    std::set<std::string> seen;
    for (int c = 0; c <= 513; ++c) {
        std::string name = AggregationStatistic::GetStatisticName(c);
        ASSERT_FALSE(name.empty()) << c;
        EXPECT_TRUE(seen.insert(name).second) << "duplicate name " << name;
        EXPECT_EQ(AggregationStatistic::GetStatisticCode(name), c) << name;
    }
    EXPECT_EQ(AggregationStatistic::GetStatisticName(19), "CountPct1LCL");
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("kCountPct1LCL"), 19);
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("UCountGTLT"), 513);
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("Meen"), -1);
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("count"), -1);  // names are case-sensitive
    EXPECT_EQ(AggregationStatistic::GetStatisticName(514), "");
    EXPECT_EQ(AggregationStatistic::GetStatisticName(-1), "");
}

TEST(AggregationStatistic, ConstructionSplitsTheCode)
{
    AggregationStatistic upperMean(static_cast<StatisticCodes>(181));
    EXPECT_EQ(upperMean.GetVarIndex(), -1);
    EXPECT_EQ(upperMean.GetSummaryStatistic(), 181);
    EXPECT_EQ(upperMean.GetPrimaryStatistic(), kMean);
    EXPECT_EQ(upperMean.GetConfSubType(), kConfUpper);

    AggregationStatistic ecount(4, kECount);
    EXPECT_EQ(ecount.GetVarIndex(), 4);
    EXPECT_EQ(ecount.GetPrimaryStatistic(), kECount);
    EXPECT_EQ(ecount.GetConfSubType(), kConfNone);

    // An unknown code is carried as its own primary with kConfNone.
    AggregationStatistic hole(kUResponsesPct0);
    EXPECT_EQ(hole.GetPrimaryStatistic(), kUResponsesPct0);
    EXPECT_EQ(hole.GetConfSubType(), kConfNone);
    AggregationStatistic grouped(kGroupedPtile);
    EXPECT_EQ(grouped.GetPrimaryStatistic(), kGroupedPtile);
    EXPECT_EQ(grouped.GetPTileCutPoint(), 0.0);
    EXPECT_EQ(grouped.GetLowerLimit(), 0.0);
    EXPECT_EQ(grouped.GetCIMedian(), 0.0);
}

TEST(AggregationStatistic, CopiesAreIndependent)
{
    AggregationStatistic a(3, kPtile);
    a.SetPTileCutPoint(25.0);
    AggregationStatistic b(a);
    b.SetPTileCutPoint(75.0);
    b.SetVarIndex(9);
    EXPECT_EQ(a.GetPTileCutPoint(), 25.0);
    EXPECT_EQ(a.GetVarIndex(), 3);
    AggregationStatistic c(kCount);
    c = a;
    a.SetLowerLimit(1.0);
    EXPECT_EQ(c.GetPrimaryStatistic(), kPtile);
    EXPECT_EQ(c.GetLowerLimit(), 0.0);
    c = c;
    EXPECT_EQ(c.GetPTileCutPoint(), 25.0);
}

TEST(AggregationStatistic, IsSameComparesWhatTheCodeNeeds)
{
    AggregationStatistic p25(3, kPtile), p75(3, kPtile), p25b(3, kPtile);
    p25.SetPTileCutPoint(25);
    p75.SetPTileCutPoint(75);
    p25b.SetPTileCutPoint(25);
    EXPECT_FALSE(p25.IsSame(p75, false));
    EXPECT_TRUE(p25.IsSame(p25b, false));

    // Cut points matter for every member of a percentile group (primary 468).
    AggregationStatistic l25(3, kPtileLCL), l75(3, kPtileLCL);
    l25.SetPTileCutPoint(25);
    l75.SetPTileCutPoint(75);
    EXPECT_FALSE(l25.IsSame(l75, false));

    // Range limits are never compared.
    AggregationStatistic lt10(3, kCountLT), lt20(3, kCountLT);
    lt10.SetUpperLimit(10);
    lt20.SetUpperLimit(20);
    EXPECT_TRUE(lt10.IsSame(lt20, false));

    // Median interval levels matter.
    AggregationStatistic ci90(3, kMedianCI), ci95(3, kMedianCI);
    ci90.SetCIMedian(90);
    ci95.SetCIMedian(95);
    EXPECT_FALSE(ci90.IsSame(ci95, false));

    // The variable index, unless ignored.
    AggregationStatistic m1(1, kMean), m2(2, kMean);
    EXPECT_FALSE(m1.IsSame(m2, false));
    EXPECT_TRUE(m1.IsSame(m2, true));
    EXPECT_FALSE(m1.IsSame(AggregationStatistic(1, kMeanLCL), false));

    // Only this request's primary decides whether cut points are compared.
    AggregationStatistic g1(3, kGroupedPtile), g2(3, kGroupedPtile);
    g1.SetPTileCutPoint(10);
    g2.SetPTileCutPoint(90);
    EXPECT_FALSE(g1.IsSame(g2, true));
}
