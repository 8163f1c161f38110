// Read-out of a cell: percentages against base cells and the Jeffreys limits and standard errors of counts
// and percentages.
#include <gtest/gtest.h>

#include "StatsTestData.h"
#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;
using kvtest::Requests;
using kvtest::StatsData;

namespace {

constexpr double S = -1.7976931348623157e+308;  // system-missing
constexpr double kBetaTol = 1e-7;               // the inverse beta is an iterative approximation

// A categorical cell of n cases of weight w, plus m cases of weight w2.
struct Counts {
    int n;
    double w;
    int m = 0;
    double w2 = 0;
};

std::unique_ptr<CellValues> CountCell(CellStatistics& layout, const Counts& c, bool effective)
{
    auto cell = std::make_unique<CellValues>(layout, static_cast<KvAggrCaseValueReader*>(nullptr), true, false, c.w,
                                             effective);
    for (int i = 1; i < c.n; ++i) cell->UpdateCVarValues(nullptr, true, false, c.w);
    for (int i = 0; i < c.m; ++i) cell->UpdateCVarValues(nullptr, true, false, c.w2);
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

struct PercentCase {
    const char* what;
    Counts cell;
    Counts base;
    bool effective;  // kept by the layouts and the cells
    bool readEffective;
    double level;
    double want[5];  // kCountPct0, its LCL, UCL and SE, kUCountPct0LCL
};

// 100 * beta.ppf(q, a, b) (scipy, checked against mpmath): 10 of 100 gives a = 10.5, b = 90.5; 20 of 150 with
// an effective base of 90 (sum of squares 250) a = p * 90 + 0.5 and b = (1 - p) * 90 + 0.5 with p = 20/150, or
// a = 20.5 and b = 130.5 when the effective base is not read (mpmath). SE 100 sqrt(p (1 - p) / n).
const PercentCase kPercentCases[] = {
    {"10 of 100", {10, 1}, {100, 1}, false, false, 95,
     {10, 5.258467529066884, 17.0123929652187, 3, 5.258467529066884}},
    {"at 90 %", {10, 1}, {100, 1}, false, false, 90, {10, 5.90758310514169, 15.777473830379854, 3, 5.90758310514169}},
    {"the whole base", {10, 1}, {10, 1}, false, false, 95, {100, S, S, S, S}},
    // The unweighted twin never uses the effective base: 10 of 100 cases.
    {"effective base", {10, 2}, {50, 2, 50, 1}, true, true, 95,
     {100.0 * 20 / 150, 7.5005562457872665, 21.47696831351662, 3.583225665910467, 5.258467529066884}},
    {"effective base not read", {10, 2}, {50, 2, 50, 1}, true, false, 95,
     {100.0 * 20 / 150, 8.608555396886096, 19.455928374007743, 2.7755546659548436, 5.258467529066884}},
};

}  // namespace

TEST(StatValues, CountPercentagesWithJeffreysLimits)
{
    const double tol[] = {1e-12, kBetaTol, kBetaTol, 1e-12, kBetaTol};
    for (const PercentCase& c : kPercentCases) {
        SCOPED_TRACE(c.what);
        Layouts l(Requests({kCountPct0, kCountPct0LCL, kCountPct0UCL, kCountPct0SE, kUCountPct0LCL}), c.effective);
        auto cell = CountCell(l.cube, c.cell, c.effective);
        auto base = CountCell(*l.base, c.base, c.effective);
        StatValues sv(&l.cube);
        sv.SetEffective(c.readEffective);
        sv.SetConfLevel(c.level);
        sv.SetStatValues(cell.get());
        sv.AddBaseValues(base.get());
        for (int i = 0; i < 5; ++i) {
            EXPECT_NEAR(sv.GetStatValue(i).GetValue1(), c.want[i], tol[i]) << i;
            EXPECT_EQ(sv.GetStatValue(i).GetValue2(), S) << i;
        }
    }
}

// Counts carry the count itself as value 2. 10 of a reference cell of 100: the limits as for 10 of 100 above;
// 20 of 150 with an effective reference: 150 beta.ppf(0.025, p 90 + 0.5, (1 - p) 90 + 0.5), 150 sqrt(p (1 - p)
// / 90) (scipy).
TEST(StatValues, CountLimitsAgainstTheReferenceCell)
{
    Layouts l(Requests({kCount, kCountLCL, kCountUCL, kCountSE}));
    auto cell = CountCell(l.cube, {10, 1}, false);
    auto total = CountCell(l.cube, {100, 1}, false);
    StatValues sv(&l.cube);
    sv.SetStatValues(cell.get());
    EXPECT_EQ(sv.GetStatValue(1).GetValue1(), 10.0);  // no reference cell: the count, twice
    EXPECT_EQ(sv.GetStatValue(1).GetValue2(), 10.0);
    sv.SetTotalValues(total.get());
    const double want[] = {10, 5.258467529066884, 17.0123929652187, 3};
    const double tol[] = {0, kBetaTol, kBetaTol, 1e-12};
    const double second[] = {S, 10, 10, 10};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(sv.GetStatValue(i).GetValue1(), want[i], tol[i]) << i;
        EXPECT_EQ(sv.GetStatValue(i).GetValue2(), second[i]) << i;
    }
    sv.SetStatValues(total.get());  // the reference cell itself has no interval
    EXPECT_EQ(sv.GetStatValue(1).GetValue1(), S);
    EXPECT_EQ(sv.GetStatValue(1).GetValue2(), 100.0);

    Layouts e(Requests({kCountLCL, kCountSE, kUCountLCL}), true);
    auto weighted = CountCell(e.cube, {10, 2}, true);
    auto reference = CountCell(e.cube, {50, 2, 50, 1}, true);
    StatValues ev(&e.cube);
    ev.SetEffective(true);
    ev.SetTotalValues(reference.get());
    ev.SetStatValues(weighted.get());
    EXPECT_NEAR(ev.GetStatValue(0).GetValue1(), 11.2508343686809, 1e-6);
    EXPECT_NEAR(ev.GetStatValue(1).GetValue1(), 5.3748384988657, 1e-11);
    EXPECT_NEAR(ev.GetStatValue(2).GetValue1(), 5.258467529066884, kBetaTol);  // 10 of 100, unweighted
}

TEST(StatValues, CountExtensionsRoundWithoutAnEffectiveBase)
{
    Layouts l(Requests({kCount}));
    StatValues sv(&l.cube);
    // 10.4 of 99.6 rounds to 10 of 100: beta.ppf(0.025, 10.5, 90.5) (scipy); the SE keeps p = 10.4 / 99.6 over
    // the rounded 100.
    EXPECT_NEAR(sv.ComputeCountExtStat(kConfLower, 10.4, 99.6, S, true), 5.258467529066884, kBetaTol);
    EXPECT_NEAR(sv.ComputeCountExtStat(kConfStdError, 10.4, 99.6, S, true), 3.0580160354701165, 1e-12);
    EXPECT_DOUBLE_EQ(sv.ComputeCountExtStat(kConfValue, 10.4, 99.6, S, true), 1040.0 / 99.6);
    EXPECT_EQ(sv.ComputeCountExtStat(kConfNone, 10.4, 99.6, S, false), 10.4);
    for (double n : {0.0, S}) {
        EXPECT_EQ(sv.ComputeCountExtStat(kConfValue, 1.0, n, S, true), S) << n;
        EXPECT_EQ(sv.ComputeCountExtStat(kConfLower, 1.0, n, S, true), S) << n;
        EXPECT_EQ(sv.ComputeCountExtStat(kConfUpper, 1.0, n, S, false), S) << n;
    }
}

// Sum percentages: cell sums -1 + 3 = 2 (W 2, SE 2, t(0.975, 1) = 12.706), base sums -1 + 3 + 5 + 10 = 17.
// The limits 2 -/+ 50.8 fall outside [0, 17] and are clamped to 0 and 100 %.
TEST(StatValues, SumPercentageLimitsAreClamped)
{
    Layouts l(Requests({kSumPct0, kSumPct0LCL, kSumPct0UCL}));
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
    CellStatistics layout(Requests({kMode, kMean}));
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
    EXPECT_EQ(sv.GetStatValue(0).GetValue2(), S);
}

// Two base layouts (types 0 and 3, numbered 0 and 1). A set cell of 4 cases with 2 responses each; base 0
// holds 25 cases with one response each, base 1 holds 10 cases with 2 responses each. Ratios by hand.
TEST(StatValuesDeathTest, PercentagesReadTheirOwnBaseLayoutAndMisuseIsFatal)
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
    EXPECT_DEATH(sv.SetStatValues(nullptr), kvtest::AssertRegex("assertion \"cellValues\""));
    EXPECT_DEATH(sv.GetStatValue(0), kvtest::AssertRegex("assertion \"_cellValues\""));
    sv.SetStatValues(cell.get());
    EXPECT_DEATH(sv.GetStatValue(0), kvtest::AssertRegex("assertion \"_baseValues[baseType]\""));
    sv.AddBaseValues(b0.get());
    sv.AddBaseValues(b1.get());
    // 4 of 25 cases, 4 of 10 cases, 8 of 20 responses, 8 responses per 25 cases, 4 cases per 20 responses.
    const double want[] = {16, 40, 40, 32, 20};
    for (int i = 0; i < 5; ++i) EXPECT_DOUBLE_EQ(sv.GetStatValue(i).GetValue1(), want[i]) << i;
    sv.ClearBaseValues();
    sv.AddBaseValues(b0.get());
    EXPECT_DEATH(sv.GetStatValue(1), kvtest::AssertRegex("assertion \"_baseValues[baseType]\""));
}
