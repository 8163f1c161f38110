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
            table.ResetAggregator();
            ASSERT_TRUE(it.Rewind());
            Feed(table, it);
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

}  // namespace
