// Read-out of a cell: percentages against base cells and the Jeffreys limits
// and standard errors of counts and percentages.
#include <gtest/gtest.h>

#include "StatsTestData.h"
#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;
using kvtest::Requests;
using kvtest::StatsData;

namespace {

constexpr double kSysmis = -1.7976931348623157e+308;
constexpr double kBetaTol = 1e-7;  // the inverse beta is an iterative approximation

// A categorical cell of n cases, each of weight w, plus m cases of weight w2.
std::unique_ptr<CellValues> CountCell(CellStatistics& layout, int n, double w, bool effective, int m = 0,
                                      double w2 = 0.0)
{
    auto cell = std::make_unique<CellValues>(layout, static_cast<KvAggrCaseValueReader*>(nullptr), true, false, w,
                                             effective);
    for (int i = 1; i < n; ++i) cell->UpdateCVarValues(nullptr, true, false, w);
    for (int i = 0; i < m; ++i) cell->UpdateCVarValues(nullptr, true, false, w2);
    return cell;
}

// The cube layout and the type-0 base layout of `stats`.
struct Layouts {
    explicit Layouts(const std::vector<AggregationStatistic>& stats, bool effective = false) : cube(stats)
    {
        cube.SetEffectiveBase(effective);
        cube.SetCategoricalStatistics();
        std::vector<AggregationStatistic> baseStats;
        std::vector<int> baseVars;
        cube.GetBaseStats(baseStats, baseVars, 0, 0);
        base = std::make_unique<CellStatistics>(baseStats);
        base->SetEffectiveBase(effective);
        base->SetCategoricalStatistics();
    }
    CellStatistics cube;
    std::unique_ptr<CellStatistics> base;
};

}  // namespace

// Oracle: 100 * scipy.stats.beta.ppf(q, 10.5, 90.5) for q = 1/40 and 39/40;
// SE 100 * sqrt(0.1 * 0.9 / 100).
TEST(StatValues, CountPercentageWithJeffreysLimits)
{
    Layouts l(Requests({kCountPct0, kCountPct0LCL, kCountPct0UCL, kCountPct0SE, kUCountPct0LCL}));
    auto cell = CountCell(l.cube, 10, 1.0, false);
    auto base = CountCell(*l.base, 100, 1.0, false);
    StatValues sv(&l.cube);
    sv.SetStatValues(cell.get());
    sv.AddBaseValues(base.get());
    EXPECT_DOUBLE_EQ(sv.GetStatValue(0).GetValue1(), 10.0);
    EXPECT_NEAR(sv.GetStatValue(1).GetValue1(), 5.258467529066884, kBetaTol);
    EXPECT_NEAR(sv.GetStatValue(2).GetValue1(), 17.0123929652187, kBetaTol);
    EXPECT_NEAR(sv.GetStatValue(3).GetValue1(), 3.0, 1e-12);
    EXPECT_NEAR(sv.GetStatValue(4).GetValue1(), 5.258467529066884, kBetaTol);
    EXPECT_EQ(sv.GetStatValue(1).GetValue2(), kSysmis);

    // At 90 %: beta.ppf(0.05 and 0.95, 10.5, 90.5).
    sv.SetConfLevel(90.0);
    EXPECT_NEAR(sv.GetStatValue(1).GetValue1(), 5.90758310514169, kBetaTol);
    EXPECT_NEAR(sv.GetStatValue(2).GetValue1(), 15.777473830379854, kBetaTol);
}

TEST(StatValues, WholeBaseHasNoLimits)
{
    Layouts l(Requests({kCountPct0, kCountPct0LCL, kCountPct0UCL, kCountPct0SE}));
    auto cell = CountCell(l.cube, 10, 1.0, false);
    auto base = CountCell(*l.base, 10, 1.0, false);
    StatValues sv(&l.cube);
    sv.SetStatValues(cell.get());
    sv.AddBaseValues(base.get());
    EXPECT_EQ(sv.GetStatValue(0).GetValue1(), 100.0);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(sv.GetStatValue(i).GetValue1(), kSysmis) << i;
}

// Cell: 10 cases of weight 2 (x = 20). Base: 50 of weight 2 and 50 of weight
// 1 (n = 150, sum of squares 250, effective base 90). Oracle: 100 *
// scipy.stats.beta.ppf(q, p * 90 + 0.5, (1 - p) * 90 + 0.5) with p = 20/150.
TEST(StatValues, PercentageWithAnEffectiveBase)
{
    Layouts l(Requests({kCountPct0, kCountPct0LCL, kCountPct0UCL, kCountPct0SE, kUCountPct0LCL}), true);
    auto cell = CountCell(l.cube, 10, 2.0, true);
    auto base = CountCell(*l.base, 50, 2.0, true, 50, 1.0);
    StatValues sv(&l.cube);
    sv.SetEffective(true);
    sv.SetStatValues(cell.get());
    sv.AddBaseValues(base.get());
    EXPECT_NEAR(sv.GetStatValue(0).GetValue1(), 100.0 * 20.0 / 150.0, 1e-12);
    EXPECT_NEAR(sv.GetStatValue(1).GetValue1(), 7.5005562457872665, kBetaTol);
    EXPECT_NEAR(sv.GetStatValue(2).GetValue1(), 21.47696831351662, kBetaTol);
    EXPECT_NEAR(sv.GetStatValue(3).GetValue1(), 3.583225665910467, 1e-12);
    // The unweighted twin never uses the effective base: 10 of 100 cases.
    EXPECT_NEAR(sv.GetStatValue(4).GetValue1(), 5.258467529066884, kBetaTol);

    // Without the effective flag the rounded weighted counts are used:
    // beta.ppf(0.025, 20.5, 130.5).
    sv.SetEffective(false);
    EXPECT_NEAR(sv.GetStatValue(1).GetValue1(), 8.608555396886096, kBetaTol);
}

TEST(StatValues, CountLimitsAgainstTheReferenceCell)
{
    const std::vector<AggregationStatistic> stats = Requests({kCount, kCountLCL, kCountUCL, kCountSE});
    CellStatistics layout(stats);
    layout.SetCategoricalStatistics();
    auto cell = CountCell(layout, 10, 1.0, false);
    auto total = CountCell(layout, 100, 1.0, false);
    StatValues sv(&layout);
    sv.SetStatValues(cell.get());

    // No reference cell: the count itself, twice.
    EXPECT_EQ(sv.GetStatValue(1).GetValue1(), 10.0);
    EXPECT_EQ(sv.GetStatValue(1).GetValue2(), 10.0);

    sv.SetTotalValues(total.get());
    const AggregationResult value = sv.GetStatValue(0);
    EXPECT_EQ(value.GetValue1(), 10.0);
    EXPECT_EQ(value.GetValue2(), kSysmis);
    // 100 * beta.ppf(1/40 and 39/40, 10.5, 90.5) (scipy); SE 100 * sqrt(0.09 / 100).
    EXPECT_NEAR(sv.GetStatValue(1).GetValue1(), 5.258467529066884, kBetaTol);
    EXPECT_EQ(sv.GetStatValue(1).GetValue2(), 10.0);
    EXPECT_NEAR(sv.GetStatValue(2).GetValue1(), 17.0123929652187, kBetaTol);
    EXPECT_NEAR(sv.GetStatValue(3).GetValue1(), 3.0, 1e-12);

    // The reference cell itself has no interval.
    sv.SetStatValues(total.get());
    EXPECT_EQ(sv.GetStatValue(1).GetValue1(), kSysmis);
    EXPECT_EQ(sv.GetStatValue(1).GetValue2(), 100.0);
}

// Effective reference: 150 * beta.ppf(0.025, p * 90 + 0.5, (1 - p) * 90 +
// 0.5) and 150 * sqrt(p (1 - p) / 90) with p = 20/150 (scipy).
TEST(StatValues, CountLimitsWithAnEffectiveReference)
{
    CellStatistics layout(Requests({kCountLCL, kCountSE, kUCountLCL}));
    layout.SetEffectiveBase(true);
    layout.SetCategoricalStatistics();
    auto cell = CountCell(layout, 10, 2.0, true);
    auto total = CountCell(layout, 50, 2.0, true, 50, 1.0);
    StatValues sv(&layout);
    sv.SetEffective(true);
    sv.SetTotalValues(total.get());
    sv.SetStatValues(cell.get());
    EXPECT_NEAR(sv.GetStatValue(0).GetValue1(), 11.2508343686809, 1e-6);
    EXPECT_NEAR(sv.GetStatValue(1).GetValue1(), 5.3748384988657, 1e-11);
    EXPECT_NEAR(sv.GetStatValue(2).GetValue1(), 5.258467529066884, kBetaTol);  // 10 of 100, unweighted
}

TEST(StatValues, CountExtensionsRoundWithoutAnEffectiveBase)
{
    CellStatistics layout(Requests({kCount}));
    layout.SetCategoricalStatistics();
    StatValues sv(&layout);
    // 10.4 of 99.6 rounds to 10 of 100: beta.ppf(0.025, 10.5, 90.5) (scipy);
    // the SE keeps p = 10.4 / 99.6 over the rounded 100.
    EXPECT_NEAR(sv.ComputeCountExtStat(kConfLower, 10.4, 99.6, kSysmis, true), 5.258467529066884, kBetaTol);
    EXPECT_NEAR(sv.ComputeCountExtStat(kConfStdError, 10.4, 99.6, kSysmis, true), 3.0580160354701165, 1e-12);
    EXPECT_DOUBLE_EQ(sv.ComputeCountExtStat(kConfValue, 10.4, 99.6, kSysmis, true), 1040.0 / 99.6);
    EXPECT_EQ(sv.ComputeCountExtStat(kConfNone, 10.4, 99.6, kSysmis, false), 10.4);
    EXPECT_EQ(sv.ComputeCountExtStat(kConfValue, 1.0, 0.0, kSysmis, true), kSysmis);
    EXPECT_EQ(sv.ComputeCountExtStat(kConfValue, 1.0, kSysmis, kSysmis, true), kSysmis);
    EXPECT_EQ(sv.ComputeCountExtStat(kConfLower, 1.0, 0.0, kSysmis, true), kSysmis);
    EXPECT_EQ(sv.ComputeCountExtStat(kConfUpper, 1.0, kSysmis, kSysmis, false), kSysmis);
}

// Sum percentages: cell sums -1 + 3 = 2 (W 2, SE 2, t(0.975, 1) = 12.706),
// base sums -1 + 3 + 5 + 10 = 17. The limits 2 -/+ 50.8 fall outside [0, 17]
// and are clamped to 0 and 100 %.
TEST(StatValues, SumPercentageLimitsAreClamped)
{
    const std::vector<AggregationStatistic> stats = Requests({kSumPct0, kSumPct0LCL, kSumPct0UCL});
    Layouts l(stats);
    StatsData cellData({{-1.0, 3.0}}, {1.0, 1.0});
    StatsData baseData({{-1.0, 3.0, 5.0, 10.0}}, {1.0, 1.0, 1.0, 1.0});
    auto cell = kvtest::FeedCVarCell(l.cube, cellData, false);
    auto base = kvtest::FeedCVarCell(*l.base, baseData, false);
    StatValues sv(&l.cube);
    sv.SetStatValues(cell.get());
    sv.AddBaseValues(base.get());
    EXPECT_DOUBLE_EQ(sv.GetStatValue(0).GetValue1(), 200.0 / 17.0);
    EXPECT_EQ(sv.GetStatValue(1).GetValue1(), 0.0);
    EXPECT_EQ(sv.GetStatValue(2).GetValue1(), 100.0);
}

TEST(StatValues, ModeCarriesTheUpperTie)
{
    std::vector<AggregationStatistic> stats = Requests({kMode, kMean});
    CellStatistics layout(stats);
    layout.SetScaleStatistics({0, 0});
    StatValues sv(&layout);

    StatsData tie({{3.0, 1.0, 5.0, 3.0, 1.0}}, {1, 1, 1, 1, 1});
    auto tied = kvtest::FeedScaleCell(layout, tie, false);
    sv.SetStatValues(tied.get());
    EXPECT_EQ(sv.GetStatValue(0).GetValue1(), 1.0);
    EXPECT_EQ(sv.GetStatValue(0).GetValue2(), 3.0);
    EXPECT_EQ(sv.GetStatValue(1).GetValue1(), 13.0 / 5.0);

    StatsData single({{3.0, 1.0, 3.0}}, {1, 1, 1});
    auto one = kvtest::FeedScaleCell(layout, single, false);
    sv.SetStatValues(one.get());
    EXPECT_EQ(sv.GetStatValue(0).GetValue1(), 3.0);
    EXPECT_EQ(sv.GetStatValue(0).GetValue2(), kSysmis);
}

TEST(StatValuesDeathTest, MisuseIsFatal)
{
    Layouts l(Requests({kCountPct0}));
    StatValues sv(&l.cube);
    EXPECT_DEATH(sv.SetStatValues(nullptr), kvtest::AssertRegex("assertion \"cellValues\""));
    EXPECT_DEATH(sv.GetStatValue(0), kvtest::AssertRegex("assertion \"_cellValues\""));
    auto cell = CountCell(l.cube, 1, 1.0, false);
    sv.SetStatValues(cell.get());
    EXPECT_DEATH(sv.GetStatValue(0), kvtest::AssertRegex("assertion \"_baseValues[baseType]\""));
}

// Two base layouts (types 0 and 3, numbered 0 and 1). A set cell of 4 cases
// with 2 responses each; base 0 holds 25 cases with one response each, base
// 1 holds 10 cases with 2 responses each. Ratios by hand.
TEST(StatValues, PercentagesReadTheirOwnBaseLayout)
{
    CellStatistics cube(Requests({kCountPct0, kCountPct3, kResponsesPct3, kResponsesCountPct0, kUCountResponsesPct3}));
    cube.SetCategoricalStatistics();
    std::vector<AggregationStatistic> stats0, stats1;
    std::vector<int> vars;
    cube.GetBaseStats(stats0, vars, 0, 0);
    cube.GetBaseStats(stats1, vars, 3, 1);
    CellStatistics base0(stats0), base1(stats1);
    base0.SetCategoricalStatistics();
    base1.SetCategoricalStatistics();

    auto mrCell = [](CellStatistics& layout, int cases, double responses) {
        auto cell = std::make_unique<CellValues>(layout, responses, true, false, 1.0, false);
        for (int i = 1; i < cases; ++i) cell->UpdateMRSetValues(responses, true, false, 1.0);
        return cell;
    };
    auto cell = mrCell(cube, 4, 2.0);
    auto b0 = mrCell(base0, 25, 1.0);
    auto b1 = mrCell(base1, 10, 2.0);
    StatValues sv(&cube);
    sv.SetStatValues(cell.get());
    sv.AddBaseValues(b0.get());
    sv.AddBaseValues(b1.get());
    EXPECT_DOUBLE_EQ(sv.GetStatValue(0).GetValue1(), 16.0);  // 4 of 25 cases
    EXPECT_DOUBLE_EQ(sv.GetStatValue(1).GetValue1(), 40.0);  // 4 of 10 cases
    EXPECT_DOUBLE_EQ(sv.GetStatValue(2).GetValue1(), 40.0);  // 8 of 20 responses
    EXPECT_DOUBLE_EQ(sv.GetStatValue(3).GetValue1(), 32.0);  // 8 responses per 25 cases
    EXPECT_DOUBLE_EQ(sv.GetStatValue(4).GetValue1(), 20.0);  // 4 cases per 20 responses, unweighted

    sv.ClearBaseValues();
    sv.AddBaseValues(b0.get());
    EXPECT_DEATH(sv.GetStatValue(1), kvtest::AssertRegex("assertion \"_baseValues[baseType]\""));
}
