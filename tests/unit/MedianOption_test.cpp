// The median option on. KVGRID_MEDIAN_CI_OPT is read once per process, when the first cell is made, so this
// case has an executable of its own.
#include <gtest/gtest.h>

#include <cstdlib>

#include "StatsTestData.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

// 1 ... 10 with weights 1, 2, 1, 2, ...: median 6. Option on, the median's limits are the median interval by
// order statistics (qbinom(0.025, 15, 0.5) = 4 (R): ranks 5 and 11, values 4 and 8), not the percentile
// interval's 4 and 9, which the 50th percentile keeps.
TEST(MedianOption, OnTakesTheMedianIntervalAndStaysOn)
{
    EXPECT_FALSE(GetMedianCIOpt());  // nothing read before the first cell
    std::vector<AggregationStatistic> stats =
        kvtest::Requests({kMedian, kMedianLCL, kMedianUCL, kPtileLCL, kPtileUCL});
    stats[3].SetPTileCutPoint(50);
    stats[4].SetPTileCutPoint(50);
    CellStatistics layout(stats);
    layout.SetScaleStatistics({0, 0, 0, 0, 0});
    const double want[] = {6, 4, 8, 4, 9};
    for (const char* env : {"1", "0"}) {  // a change after the first cell has no effect
        setenv("KVGRID_MEDIAN_CI_OPT", env, 1);
        kvtest::StatsData data({kvtest::OneToTen()}, kvtest::AlternatingWeights());
        auto cell = kvtest::FeedScaleCell(layout, data, false);
        EXPECT_TRUE(GetMedianCIOpt());
        for (int i = 0; i < 5; ++i) EXPECT_EQ(cell->GetStatisticValue(i, false, false).GetValue1(), want[i]) << i;
    }
}
