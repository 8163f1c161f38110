// Accumulation of cells from hand-made cases and the read-out of each request.
#include <gtest/gtest.h>

#include "StatsTestData.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;
using kvtest::FeedCVarCell;
using kvtest::FeedScaleCell;
using kvtest::kMissingValue;
using kvtest::Requests;
using kvtest::StatsData;

namespace {

constexpr double kSysmis = -1.7976931348623157e+308;

std::unique_ptr<CellStatistics> ScaleLayout(const std::vector<AggregationStatistic>& stats, bool effective)
{
    auto layout = std::make_unique<CellStatistics>(stats);
    layout->SetEffectiveBase(effective);
    std::vector<int> vars;
    for (const auto& s : stats) vars.push_back(s.GetVarIndex());
    layout->SetScaleStatistics(vars);
    return layout;
}

double Value(const CellValues& cell, int i) { return cell.GetStatisticValue(i, false, false).GetValue1(); }

// x = 2, 4, 4, 5, 7, 9 with weights 1, 2, 1, 3, 1, 2 (W = 10).
const std::vector<double> kX = {2, 4, 4, 5, 7, 9};
const std::vector<double> kW = {1, 2, 1, 3, 1, 2};
const std::vector<int> kMomentCodes = {kMean,    kMeanLCL, kMeanUCL, kMeanSE,  kVariance, kStdDev, kSum,
                                       kSumLCL,  kSumUCL,  kSumSE,   kSumSqDeviation,   kUMean,  kUVariance,
                                       kUStdDev, kUMeanLCL, kUMeanUCL, kUMeanSE, kCount,  kUCount, kValidN};

}  // namespace

// Oracle: numpy (numpy.average with weights, weighted sum of squared
// deviations) and scipy.stats.t.ppf(0.975, df).
TEST(CellValues, WeightedAndUnweightedMoments)
{
    StatsData data({kX}, kW);
    auto layout = ScaleLayout(Requests(kMomentCodes), false);
    auto cell = FeedScaleCell(*layout, data, false);
    const double tol = 1e-12;
    EXPECT_NEAR(Value(*cell, 0), 5.4, tol);
    EXPECT_NEAR(Value(*cell, 1), 3.7757214478666636, 1e-9);
    EXPECT_NEAR(Value(*cell, 2), 7.024278552133337, 1e-9);
    EXPECT_NEAR(Value(*cell, 3), 0.7180219742846004, tol);
    EXPECT_NEAR(Value(*cell, 4), 5.155555555555555, tol);
    EXPECT_NEAR(Value(*cell, 5), 2.2705848487901865, tol);
    EXPECT_NEAR(Value(*cell, 6), 54.0, tol);
    EXPECT_NEAR(Value(*cell, 7), 37.75721447866663, 1e-8);
    EXPECT_NEAR(Value(*cell, 8), 70.24278552133336, 1e-8);
    EXPECT_NEAR(Value(*cell, 9), 7.1802197428460035, tol);
    EXPECT_NEAR(Value(*cell, 10), 46.4, tol);
    EXPECT_NEAR(Value(*cell, 11), 5.166666666666667, tol);
    EXPECT_NEAR(Value(*cell, 12), 6.166666666666667, tol);
    EXPECT_NEAR(Value(*cell, 13), 2.48327740429189, tol);
    EXPECT_NEAR(Value(*cell, 14), 2.560626853862447, 1e-9);
    EXPECT_NEAR(Value(*cell, 15), 7.772706479470887, 1e-9);
    EXPECT_NEAR(Value(*cell, 16), 1.0137937550497034, tol);
    EXPECT_EQ(Value(*cell, 17), 10.0);
    EXPECT_EQ(Value(*cell, 18), 6.0);
    EXPECT_EQ(Value(*cell, 19), 10.0);
    // The alternative read of a confidence member is the statistic itself.
    EXPECT_NEAR(cell->GetStatisticValue(8, true, false).GetValue1(), 54.0, tol);

    // A 90 % level: scipy.stats.t.ppf(0.95, 9) = 1.8331129326536335.
    cell->SetConfLevel(90.0);
    EXPECT_NEAR(Value(*cell, 1), 4.0837846330094045, 1e-9);
}

// Effective size W^2 / sum(w^2) = 100 / 20 = 5; SE = sqrt(M2 / (W - W/5)) /
// sqrt(5) and t with 4 degrees of freedom (numpy, scipy.stats.t.ppf).
TEST(CellValues, StandardErrorWithAnEffectiveBase)
{
    StatsData data({kX}, kW);
    auto layout = ScaleLayout(Requests(kMomentCodes), true);
    auto cell = FeedScaleCell(*layout, data, true);
    EXPECT_NEAR(Value(*cell, 3), 1.0770329614269007, 1e-12);
    EXPECT_NEAR(Value(*cell, 1), 2.409677106109592, 1e-9);
    EXPECT_NEAR(Value(*cell, 2), 8.390322893890408, 1e-9);
    EXPECT_NEAR(Value(*cell, 9), 1.0770329614269007 * 5.0, 1e-11);  // sum SE scales by the effective size
    // The unweighted mean keeps no squared weights: its SE is the plain one.
    EXPECT_NEAR(Value(*cell, 16), 1.0137937550497034, 1e-12);
    EXPECT_EQ(cell->GetValues()[CellValues::kECountPos], 20.0);

    const AggregationResult se = CellValues::ComputeSEWMean(10.0, 46.4, 20.0);
    EXPECT_NEAR(se.GetValue1(), 1.0770329614269007, 1e-12);
    EXPECT_EQ(se.GetValue2(), 5.0);
    const AggregationResult plain = CellValues::ComputeSEWMean(10.4, 46.4, kSysmis);
    EXPECT_EQ(plain.GetValue2(), 10.0);  // the rounded sum of weights
}

TEST(CellValues, MomentsNeedMoreThanOneUnitOfWeight)
{
    StatsData one({{3.0}}, {1.0});
    auto layout = ScaleLayout(Requests(kMomentCodes), false);
    auto cell = FeedScaleCell(*layout, one, false);
    EXPECT_EQ(Value(*cell, 0), 3.0);
    EXPECT_EQ(Value(*cell, 6), 3.0);
    for (int i : {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16}) EXPECT_EQ(Value(*cell, i), kSysmis) << i;
    EXPECT_EQ(Value(*cell, 10), 0.0);  // a sum of squares is there from the first case

    EXPECT_EQ(CellValues::ComputeSEWMean(1.0, 0.0, kSysmis).GetValue1(), kSysmis);
    EXPECT_EQ(CellValues::ComputeSEWMean(5.0, -1.0, kSysmis).GetValue1(), kSysmis);
}

TEST(CellValues, EveryValueMissing)
{
    StatsData data({{kMissingValue, kMissingValue}}, {2.0, 3.0});
    auto layout = ScaleLayout(Requests({kMaximum, kMinimum, kRange, kMean, kMeanSE, kCount, kValidN, kMissingCount,
                                        kTotalN, kMedian, kMode}),
                              false);
    auto cell = FeedScaleCell(*layout, data, false);
    for (int i : {0, 1, 2, 3, 4, 9, 10}) EXPECT_EQ(Value(*cell, i), kSysmis) << i;
    EXPECT_EQ(Value(*cell, 5), 5.0);
    EXPECT_EQ(Value(*cell, 6), 0.0);
    EXPECT_EQ(Value(*cell, 7), 5.0);
    EXPECT_EQ(Value(*cell, 8), 5.0);
}

TEST(CellValues, ExtremesAndScaleValidN)
{
    StatsData data({{4.0, kMissingValue, -2.5, 7.0}}, {1.0, 1.0, 2.0, 1.0});
    auto layout = ScaleLayout(Requests({kMaximum, kMinimum, kRange, kValidN, kUValidN, kMissingCount, kEValidN}),
                              true);
    auto cell = FeedScaleCell(*layout, data, true);
    EXPECT_EQ(Value(*cell, 0), 7.0);
    EXPECT_EQ(Value(*cell, 1), -2.5);
    EXPECT_EQ(Value(*cell, 2), 9.5);
    EXPECT_EQ(Value(*cell, 3), 4.0);
    EXPECT_EQ(Value(*cell, 4), 3.0);
    EXPECT_EQ(Value(*cell, 5), 1.0);
    EXPECT_EQ(Value(*cell, 6), 16.0 / 6.0);  // 4^2 / (1 + 4 + 1)
}

TEST(CellValues, OverflowingWeightPoisonsTheSumOfSquares)
{
    StatsData data({{1.0, 2.0}}, {1e308, 1e308});
    auto layout = ScaleLayout(Requests({kVariance, kStdDev, kSumSqDeviation, kMeanSE}), false);
    auto cell = FeedScaleCell(*layout, data, false);
    EXPECT_EQ(cell->GetValues()[layout->GetValueIndex()[0] + 2], -1.0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(Value(*cell, i), kSysmis) << i;
}

// 1.0 then -0.9999999999999996: the running mean is 2^-52 by the update
// formula; the plain mean snaps it to zero, the moments state keeps it.
TEST(CellValues, PlainMeanSnapsRoundingNoiseToZero)
{
    StatsData data({{1.0, -0.9999999999999996}}, {1.0, 1.0});
    auto layout = ScaleLayout(Requests({kMean, kVariance, kUMean}), false);
    auto cell = FeedScaleCell(*layout, data, false);
    EXPECT_EQ(Value(*cell, 0), 0.0);
    EXPECT_EQ(Value(*cell, 2), 0.0);
    EXPECT_EQ(cell->GetValues()[layout->GetValueIndex()[1] + 1], 2.220446049250313e-16);
}

// Oracle: numpy.percentile(method="averaged_inverted_cdf") over the values
// repeated by weight ([1, 1, 1, 4, 4] weighted, [1, 4, 4] unweighted).
TEST(CellValues, MediansPercentilesAndModesFromWeightedAndUnweightedMaps)
{
    StatsData data({{1.0, 4.0, 4.0, kMissingValue}}, {3.0, 1.0, 1.0, 1.0});
    std::vector<AggregationStatistic> stats =
        Requests({kMedian, kUMedian, kMode, kUMode, kPtile, kUPtile, kMedianSE});
    stats[4].SetPTileCutPoint(25);
    stats[5].SetPTileCutPoint(75);
    auto layout = ScaleLayout(stats, false);
    auto cell = FeedScaleCell(*layout, data, false);
    EXPECT_EQ(Value(*cell, 0), 1.0);
    EXPECT_EQ(Value(*cell, 1), 4.0);
    EXPECT_EQ(Value(*cell, 2), 1.0);
    EXPECT_EQ(Value(*cell, 3), 4.0);
    EXPECT_EQ(Value(*cell, 4), 1.0);
    EXPECT_EQ(Value(*cell, 5), 4.0);
    EXPECT_EQ(Value(*cell, 6), kSysmis);  // a median has no standard error
    ASSERT_EQ(cell->NumOfFreqTables(), 2);
    EXPECT_EQ(cell->GetFreqTable(0).WeightOf(1.0), 3.0);
    EXPECT_EQ(cell->GetFreqTable(1).WeightOf(4.0), 2.0);

    StatsData tie({{1.0, 2.0}}, {1.0, 1.0});
    auto modes = ScaleLayout(Requests({kMode}), false);
    auto tied = FeedScaleCell(*modes, tie, false);
    EXPECT_EQ(tied->GetStatisticValue(0, false, false).GetValue1(), 1.0);
    EXPECT_EQ(tied->GetStatisticValue(0, true, false).GetValue1(), 2.0);
}

// Median option off (this executable never sets it): the limits are those of
// the 50th percentile. 1 ... 10 with weights 1, 2, ...: Beta(9.5, 6.5)
// quantiles (scipy.stats.beta.ppf) pick 4 and 9; the median interval by
// order statistics (binom.ppf(0.025, 15, 0.5) = 4) gives 4 and 8.
TEST(CellValues, MedianLimitsWithTheOptionOff)
{
    std::vector<double> x, w;
    for (int v = 1; v <= 10; ++v) {
        x.push_back(v);
        w.push_back(v % 2 == 1 ? 1.0 : 2.0);
    }
    StatsData data({x}, w);
    std::vector<AggregationStatistic> stats = Requests({kMedian, kMedianLCL, kMedianUCL, kMedianCI, kGroupedMedian});
    stats[3].SetCIMedian(95);
    auto layout = ScaleLayout(stats, false);
    auto cell = FeedScaleCell(*layout, data, false);
    EXPECT_FALSE(GetMedianCIOpt());
    EXPECT_EQ(Value(*cell, 0), 6.0);
    EXPECT_EQ(Value(*cell, 1), 4.0);
    EXPECT_EQ(Value(*cell, 2), 9.0);
    const AggregationResult ci = cell->GetStatisticValue(3, false, false);
    EXPECT_EQ(ci.GetValue1(), 4.0);
    EXPECT_EQ(ci.GetValue2(), 8.0);
    // Grouped: positions 6.5 (value 5, cumulative 6 + 1/2) and 8 (value 6,
    // cumulative 7 + 2/2); target 7.5 lies two thirds of the way: 5.6667 (by hand).
    EXPECT_NEAR(Value(*cell, 4), 5.0 + 1.0 / 1.5, 1e-12);
}

TEST(CellValues, RangeCountsAndPercentagesIncludingTheDeadGroup)
{
    StatsData data({{1, 2, 3, 4, 5, kMissingValue}}, {1, 1, 2, 1, 1, 5});
    std::vector<AggregationStatistic> stats =
        Requests({kPctGELE, kUPctGELE, kCountGELE, kUCountGELE, kPctGTLE, kCountGTLE, kCountEQ, kPctLT});
    for (auto& s : stats) {
        s.SetLowerLimit(2);
        s.SetUpperLimit(4);
    }
    auto layout = ScaleLayout(stats, false);
    auto cell = FeedScaleCell(*layout, data, false);
    EXPECT_DOUBLE_EQ(Value(*cell, 0), 4.0 / 6.0 * 100.0);
    EXPECT_DOUBLE_EQ(Value(*cell, 1), 60.0);
    EXPECT_EQ(Value(*cell, 2), 4.0);
    EXPECT_EQ(Value(*cell, 3), 3.0);
    EXPECT_EQ(Value(*cell, 4), 0.0);
    EXPECT_EQ(Value(*cell, 5), 0.0);
    EXPECT_EQ(Value(*cell, 6), 1.0);
    EXPECT_DOUBLE_EQ(Value(*cell, 7), 4.0 / 6.0 * 100.0);  // 1, 2, 3 below 4

    StatsData none({{kMissingValue}}, {1});
    auto empty = FeedScaleCell(*layout, none, false);
    EXPECT_EQ(Value(*empty, 0), kSysmis);
    EXPECT_EQ(Value(*empty, 2), 0.0);
}

// Cases: 1 (w 2), missing (w 3), 3 (w 1), 4 (w 4), then one case counted for
// total N alone (w 5). Sums by hand.
TEST(CellValues, CategoricalCountsTotalAndValidN)
{
    const std::vector<int> codes = {kCount,  kUCount,  kTotalN,       kUTotalN,       kValidN, kUValidN,
                                    kMissingCount, kUMissingCount, kECount, kETotalN, kEValidN, kMean};
    for (bool effective : {true, false}) {
        StatsData data({{1, kMissingValue, 3, 4}}, {2, 3, 1, 4});
        CellStatistics layout(Requests(codes));
        layout.SetEffectiveBase(effective);
        layout.SetCategoricalStatistics();
        auto cell = FeedCVarCell(layout, data, effective);
        cell->UpdateCVarValues(data.Reader(0), false, true, 5.0);
        EXPECT_EQ(Value(*cell, 0), 10.0);
        EXPECT_EQ(Value(*cell, 1), 4.0);
        EXPECT_EQ(Value(*cell, 2), 15.0);
        EXPECT_EQ(Value(*cell, 3), 5.0);
        EXPECT_EQ(Value(*cell, 4), 7.0);
        EXPECT_EQ(Value(*cell, 5), 3.0);
        EXPECT_EQ(Value(*cell, 6), 8.0);
        EXPECT_EQ(Value(*cell, 7), 2.0);
        if (effective) {
            EXPECT_DOUBLE_EQ(Value(*cell, 8), 100.0 / 30.0);
            EXPECT_DOUBLE_EQ(Value(*cell, 9), 225.0 / 55.0);
            EXPECT_DOUBLE_EQ(Value(*cell, 10), 49.0 / 21.0);
            EXPECT_DOUBLE_EQ(cell->GetStatisticValue(0, false, true).GetValue1(), 100.0 / 30.0);
        } else {
            // Without an effective base the effective counts are the counts.
            EXPECT_EQ(Value(*cell, 8), 10.0);
            EXPECT_EQ(Value(*cell, 9), 15.0);
            EXPECT_EQ(Value(*cell, 10), 7.0);
            EXPECT_EQ(cell->GetValues()[CellValues::kECountPos], 0.0);
        }
        EXPECT_DOUBLE_EQ(Value(*cell, 11), (2.0 * 1 + 1.0 * 3 + 4.0 * 4) / 7.0);  // summary variable mean
    }
}

TEST(CellValues, MultipleResponseCellCountsResponses)
{
    CellStatistics layout(Requests({kResponses, kUResponses, kCount, kUCount}));
    layout.SetCategoricalStatistics();
    CellValues cell(layout, 2.0, true, false, 2.0, false);
    cell.UpdateMRSetValues(1.0, true, false, 3.0);
    cell.UpdateMRSetValues(4.0, false, true, 9.0);  // total N only: no responses
    EXPECT_EQ(Value(cell, 0), 7.0);
    EXPECT_EQ(Value(cell, 1), 3.0);
    EXPECT_EQ(Value(cell, 2), 5.0);
    EXPECT_EQ(Value(cell, 3), 2.0);
}

TEST(CellValues, CountOnlyCellKeepsItsThreeSlots)
{
    CellStatistics layout(Requests({kCount}));
    layout.SetCategoricalStatistics();
    CellValues cell(layout, static_cast<KvAggrCaseValueReader*>(nullptr), true, false, 1.5, true);
    cell.UpdateCVarValues(nullptr, true, false, 2.0);
    EXPECT_EQ(cell.NumOfValues(), 3);
    EXPECT_EQ(cell.GetValues()[CellValues::kCountPos], 3.5);
    EXPECT_EQ(cell.GetValues()[CellValues::kUCountPos], 2.0);
    EXPECT_EQ(cell.GetValues()[CellValues::kECountPos], 6.25);
    cell.SetCVarValues(nullptr, true, false, 4.0);  // a Set starts over
    EXPECT_EQ(cell.GetValues()[CellValues::kCountPos], 4.0);
    EXPECT_EQ(cell.GetValues()[CellValues::kUCountPos], 1.0);
}
