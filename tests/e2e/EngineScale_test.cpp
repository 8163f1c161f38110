// Scale statistics of two summary variables by two categorical variables, with
// listwise and pair-wise handling of missing values. Expected cells from an
// independent oracle (numpy, tests/support/engine_scale_oracle.py).
#include <gtest/gtest.h>

#include "EngineTables.h"

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

const std::vector<std::vector<double>> kScaleRows = {
    {1, 1, 10, 30, 1},
    {1, 1, 14, 40, 2},
    {1, 1, 20, NAN, 1},
    {1, 1, 12, 25, 3},
    {1, 2, 30, 50, 1},
    {1, 2, NAN, 60, 2},
    {1, 2, 26, 35, 1},
    {1, 2, 22, 45, 2},
    {2, 1, 5, 20, 2},
    {2, 1, 9, 22, 1},
    {2, 1, 7, NAN, 2},
    {2, 1, 11, 28, 1},
    {2, 2, 40, 55, 1},
    {2, 2, 44, 65, 1},
    {2, 2, 36, 60, 2},
    {2, 2, NAN, NAN, 1},
};
// listwise: region, gender, then income mean, std dev, median, 25th percentile, sum, valid N; age mean
const double kScale_listwise[4][9] = {
    {1, 1, 12.3333333333333, 1.50554530541816, 12, 12, 74, 6, 30.8333333333333},
    {1, 2, 25, 3.82970843102535, 24, 22, 100, 4, 43.75},
    {2, 1, 7.5, 3, 7, 5, 30, 4, 22.5},
    {2, 2, 39, 3.82970843102535, 38, 36, 156, 4, 60},
};
// pairwise: region, gender, then income mean, std dev, median, 25th percentile, sum, valid N; age mean
const double kScale_pairwise[4][9] = {
    {1, 1, 13.4285714285714, 3.20713490294909, 12, 12, 94, 7, 30.8333333333333},
    {1, 2, 25, 3.82970843102535, 24, 22, 100, 4, 49.1666666666667},
    {2, 1, 7.33333333333333, 2.33809038890002, 7, 5, 44, 6, 22.5},
    {2, 2, 39, 3.82970843102535, 38, 36, 156, 4, 60},
};

void CheckScale(bool pairwise, const double (&expected)[4][9])
{
    InMemoryDataset ds;
    FillDataset(ds, {"region", "gender", "income", "age", "w"}, kScaleRows);
    DatasetIterator it(ds, 4);
    AggregationTable table(it, true, pairwise, 4);
    AggregationVariable region(0, "region"), gender(1, "gender");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    AggregationStatistic p25(2, TEC::kPtile);
    p25.SetPTileCutPoint(25);
    cube->AddScaleStatistics({AggregationStatistic(2, TEC::kMean), AggregationStatistic(2, TEC::kStdDev),
                              AggregationStatistic(2, TEC::kMedian), p25, AggregationStatistic(2, TEC::kSum),
                              AggregationStatistic(2, TEC::kValidN), AggregationStatistic(3, TEC::kMean)});
    Feed(table, it);
    CubeAggregator* agg = table.GetCubeAggregators()[0];
    // The second pass, after a reset, must give the same table.
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(testing::Message() << "pass " << pass);
        if (pass == 1) {
            ASSERT_TRUE(FeedAgain(table, it));
        }
        for (const auto& row : expected) {
            SCOPED_TRACE(testing::Message() << "region " << row[0] << " gender " << row[1]);
            std::vector<const AggregationCategory*> cats{Val(region, row[0]), Val(gender, row[1])};
            for (int k = 0; k < 7; ++k) {
                SCOPED_TRACE(testing::Message() << "statistic " << k);
                EXPECT_CELL(Stat(agg, cats, k), row[2 + k]);
            }
        }
    }
}

TEST(EngineScale, ListwiseDropsTheWholeCase) { CheckScale(false, kScale_listwise); }
TEST(EngineScale, PairwiseKeepsEachVariablesValidValues) { CheckScale(true, kScale_pairwise); }

// Sums as percentages and the valid N as a percentage. Weighted income sums
// (oracle: the pair-wise rows above): (1,1) 94, (1,2) 100, (2,1) 44, (2,2) 156;
// rows 194 and 200, columns 138 and 256, table 394. Valid N: 7, 4, 6, 4.
TEST(EngineScale, SumAndValidNPercentages)
{
    InMemoryDataset ds;
    FillDataset(ds, {"region", "gender", "income", "age", "w"}, kScaleRows);
    DatasetIterator it(ds, 4);
    AggregationTable table(it, true, false, 4);
    AggregationVariable region(0, "region"), gender(1, "gender");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddScaleStatistics({AggregationStatistic(2, TEC::kSum), AggregationStatistic(2, TEC::kSumPct0),
                              AggregationStatistic(2, TEC::kSumPct1), AggregationStatistic(2, TEC::kSumPct2),
                              AggregationStatistic(2, TEC::kValidNPct1)});
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    const double sums[2][2] = {{94, 100}, {44, 156}};
    const double rows[2] = {194, 200}, cols[2] = {138, 256};
    const double valid[2][2] = {{7, 4}, {6, 4}};
    for (int r = 0; r < 2; ++r)
        for (int g = 0; g < 2; ++g) {
            SCOPED_TRACE(testing::Message() << "region " << r + 1 << " gender " << g + 1);
            std::vector<const AggregationCategory*> cats{Val(region, r + 1), Val(gender, g + 1)};
            EXPECT_CELL(Stat(a, cats, 0), sums[r][g]);
            EXPECT_CELL(Stat(a, cats, 1), 100 * sums[r][g] / rows[r]);
            EXPECT_CELL(Stat(a, cats, 2), 100 * sums[r][g] / cols[g]);
            EXPECT_CELL(Stat(a, cats, 3), 100 * sums[r][g] / 394);
            EXPECT_CELL(Stat(a, cats, 4), 100 * valid[r][g] / (valid[0][g] + valid[1][g]));
        }
}

// With pair-wise tests the aggregator names, per summary variable, the slots that
// hold its sum of weights, mean and sum of squared deviations. Region 1, gender 1,
// income (pair-wise): W = 7, mean = 94 / 7, M2 = 6 * 3.20713490294909^2.
TEST(EngineScale, PairwiseSlotsHoldTheMeanAndVariance)
{
    InMemoryDataset ds;
    FillDataset(ds, {"region", "gender", "income", "age", "w"}, kScaleRows);
    DatasetIterator it(ds, 4);
    AggregationTable table(it, true, true, 4);
    AggregationVariable region(0, "region"), gender(1, "gender");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddScaleStatistics({AggregationStatistic(2, TEC::kMean), AggregationStatistic(2, TEC::kStdDev),
                              AggregationStatistic(3, TEC::kMean)});
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    int slot = a->GetMeanVarIndex(2, true);
    ASSERT_GE(slot, 0);
    // Age has only a mean: no slots of its own.
    EXPECT_EQ(a->GetMeanVarIndex(3, true), -1);
    CellKey key(2);
    key[0] = Val(region, 1)->GetCatEncoding();
    key[1] = Val(gender, 1)->GetCatEncoding();
    key.UpdateHashCode();
    const OBS* v = a->GetCountMeanVariance(slot, key);
    ASSERT_NE(v, nullptr);
    EXPECT_CELL(v[0].num, 7);
    EXPECT_CELL(v[1].num, 94.0 / 7);
    EXPECT_NEAR(v[2].num, 6 * 3.20713490294909 * 3.20713490294909, 1e-9);
    // Four cases of weights 1, 2, 1, 3; the one with a missing age counts too.
    EXPECT_CELL(a->GetCount(key, true, false), 7);
    EXPECT_CELL(a->GetCount(key, false, false), 4);
    // Region 1, gender 2 has a case with a missing income: counted, not in W.
    key[1] = Val(gender, 2)->GetCatEncoding();
    key.UpdateHashCode();
    EXPECT_CELL(a->GetCount(key, true, false), 6);
    EXPECT_CELL(a->GetCountMeanVariance(slot, key)[0].num, 4);
}

// Confidence limits of a median: the values 1 to 21 once each. The median 11 has
// 11 of the 21 cases at or below it, so the limits are the percentiles at
// 100 * beta.ppf(0.025, 11.5, 10.5) = 31.88 and 100 * beta.ppf(0.975, 11.5, 10.5)
// = 72.27, that is 7 and 16 (oracle: scipy, and numpy's 'averaged_inverted_cdf').
TEST(EngineScale, MedianLimits)
{
    InMemoryDataset ds;
    std::vector<std::vector<double>> rows;
    for (int k = 0; k < 21; ++k) rows.push_back({1, static_cast<double>((k * 8) % 21 + 1)});
    FillDataset(ds, {"group", "x"}, rows);
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationVariable group(0, "group");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&group, TableEncryptionCodes::kRow);
    cube->CreateCubeAggregator();
    AggregationStatistic p25(1, TEC::kPtile);
    p25.SetPTileCutPoint(25);
    cube->AddScaleStatistics({AggregationStatistic(1, TEC::kMedian), AggregationStatistic(1, TEC::kMedianLCL),
                              AggregationStatistic(1, TEC::kMedianUCL), AggregationStatistic(1, TEC::kMedianSE), p25,
                              AggregationStatistic(1, TEC::kMinimum), AggregationStatistic(1, TEC::kMaximum)});
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    std::vector<const AggregationCategory*> cell{Val(group, 1)};
    EXPECT_CELL(Stat(a, cell, 0), 11);
    EXPECT_CELL(Stat(a, cell, 1), 7);
    EXPECT_CELL(Stat(a, cell, 2), 16);
    EXPECT_EQ(Stat(a, cell, 3), kSysmis);
    // 25 % of 21 is 5.25: the sixth value.
    EXPECT_CELL(Stat(a, cell, 4), 6);
    EXPECT_CELL(Stat(a, cell, 5), 1);
    EXPECT_CELL(Stat(a, cell, 6), 21);
    // At 90 %: beta.ppf(0.05, ...) = 34.98 % and beta.ppf(0.95, ...) = 69.32 %: 8 and 15.
    cube->SetCILevel(90);
    EXPECT_CELL(Stat(a, cell, 1), 8);
    EXPECT_CELL(Stat(a, cell, 2), 15);
}

}  // namespace
