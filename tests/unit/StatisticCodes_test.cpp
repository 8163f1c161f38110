// The statistic code space: names, the group table with its deliberate holes, and when two requests count as
// the same.
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

// The expected split, written from the family rules rather than from the table: confidence groups of four
// codes, singles, and the listed holes.
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

// Both the static split and a request built from the code follow the rules; an unknown code is carried as
// its own primary with kConfNone.
TEST(StatisticCodes, EveryCodeSplitsAsTheFamilyRulesAndHolesSay)
{
    for (int c = 0; c <= 513; ++c) {
        const auto code = static_cast<StatisticCodes>(c);
        StatisticCodes primary = kNoStatistic;
        StatisticConf conf = kConfValue;
        const bool known = AggregationStatistic::GetStatPrimeAndConf(code, primary, conf);
        const Split want = Expected(c);
        EXPECT_EQ(known, want.known) << "code " << c;
        EXPECT_EQ(primary, want.primary) << "code " << c;
        EXPECT_EQ(conf, want.conf) << "code " << c;
        const AggregationStatistic request(4, code);
        EXPECT_EQ(request.GetPrimaryStatistic(), want.primary) << "code " << c;
        EXPECT_EQ(request.GetConfSubType(), want.conf) << "code " << c;
        EXPECT_EQ(request.GetSummaryStatistic(), c);
    }
    EXPECT_EQ(AggregationStatistic(kMeanUCL).GetVarIndex(), -1);
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
    EXPECT_EQ(AggregationStatistic::GetStatisticName(kCountPct1LCL), "CountPct1LCL");
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("kCountPct1LCL"), 19);
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("Meen"), -1);
    EXPECT_EQ(AggregationStatistic::GetStatisticCode("count"), -1);  // names are case-sensitive
    EXPECT_EQ(AggregationStatistic::GetStatisticName(514), "");
    EXPECT_EQ(AggregationStatistic::GetStatisticName(-1), "");
}

TEST(AggregationStatistic, CopiesAreIndependent)
{
    AggregationStatistic a(3, kPtile);
    a.SetPTileCutPoint(25.0);
    AggregationStatistic b(a);
    b.SetPTileCutPoint(75.0);
    AggregationStatistic c(kCount);
    c = a;
    a.SetLowerLimit(1.0);
    EXPECT_EQ(a.GetPTileCutPoint(), 25.0);
    EXPECT_EQ(c.GetPrimaryStatistic(), kPtile);
    EXPECT_EQ(c.GetVarIndex(), 3);
    EXPECT_EQ(c.GetLowerLimit(), 0.0);
    c = c;
    EXPECT_EQ(c.GetPTileCutPoint(), 25.0);
}

// Cut points matter for every member of a percentile group (primary 468) and for grouped percentiles, median
// interval levels for the median interval; range limits never; the variable index unless ignored.
TEST(AggregationStatistic, IsSameComparesWhatTheCodeNeeds)
{
    struct Case {
        int var1, code1;
        double cut1, level1, upper1;
        int var2, code2;
        double cut2, level2, upper2;
        bool ignoreVar, same;
    };
    const Case cases[] = {
        {3, kPtile, 25, 0, 0, 3, kPtile, 75, 0, 0, false, false},
        {3, kPtile, 25, 0, 0, 3, kPtile, 25, 0, 0, false, true},
        {3, kPtileLCL, 25, 0, 0, 3, kPtileLCL, 75, 0, 0, false, false},
        {3, kGroupedPtile, 10, 0, 0, 3, kGroupedPtile, 90, 0, 0, true, false},
        {3, kCountLT, 0, 0, 10, 3, kCountLT, 0, 0, 20, false, true},
        {3, kMedianCI, 0, 90, 0, 3, kMedianCI, 0, 95, 0, false, false},
        {1, kMean, 0, 0, 0, 2, kMean, 0, 0, 0, false, false},
        {1, kMean, 0, 0, 0, 2, kMean, 0, 0, 0, true, true},
        {1, kMean, 0, 0, 0, 1, kMeanLCL, 0, 0, 0, false, false},
    };
    for (const Case& c : cases) {
        AggregationStatistic a(c.var1, static_cast<StatisticCodes>(c.code1));
        AggregationStatistic b(c.var2, static_cast<StatisticCodes>(c.code2));
        a.SetPTileCutPoint(c.cut1);
        b.SetPTileCutPoint(c.cut2);
        a.SetCIMedian(c.level1);
        b.SetCIMedian(c.level2);
        a.SetUpperLimit(c.upper1);
        b.SetUpperLimit(c.upper2);
        EXPECT_EQ(a.IsSame(b, c.ignoreVar), c.same) << c.code1 << " vs " << c.code2;
    }
}
