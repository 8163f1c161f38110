// The median option on: KVGRID_MEDIAN_CI_OPT is read once, when the first
// cell is made, so this executable sets it before any test runs.
#include <gtest/gtest.h>

#include <cstdlib>

#include "StatsTestData.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

namespace {

class MedianOptionOn : public ::testing::Environment {
public:
    void SetUp() override { setenv("KVGRID_MEDIAN_CI_OPT", "1", 1); }
};

const ::testing::Environment* const kEnvironment = ::testing::AddGlobalTestEnvironment(new MedianOptionOn);

// 1 ... 10 with weights 1, 2, 1, 2, ...: median 6. Option on, the limits are
// the median interval by order statistics (scipy.stats.binom.ppf(0.025, 15,
// 0.5) = 4: ranks 5 and 11, values 4 and 8), not the percentile interval's 4
// and 9.
std::unique_ptr<CellValues> MedianCell(CellStatistics& layout, kvtest::StatsData& data)
{
    return kvtest::FeedScaleCell(layout, data, false);
}

kvtest::StatsData* NewData()
{
    std::vector<double> x, w;
    for (int v = 1; v <= 10; ++v) {
        x.push_back(v);
        w.push_back(v % 2 == 1 ? 1.0 : 2.0);
    }
    return new kvtest::StatsData({x}, w);
}

}  // namespace

TEST(MedianOption, OnTakesTheMedianIntervalAndStaysOn)
{
    EXPECT_FALSE(GetMedianCIOpt());  // nothing read before the first cell
    std::vector<AggregationStatistic> stats =
        kvtest::Requests({kMedian, kMedianLCL, kMedianUCL, kPtileLCL, kPtileUCL});
    stats[3].SetPTileCutPoint(50);
    stats[4].SetPTileCutPoint(50);
    CellStatistics withCut(stats);
    withCut.SetScaleStatistics({0, 0, 0, 0, 0});

    std::unique_ptr<kvtest::StatsData> data(NewData());
    auto cell = MedianCell(withCut, *data);
    EXPECT_TRUE(GetMedianCIOpt());
    EXPECT_EQ(cell->GetStatisticValue(0, false, false).GetValue1(), 6.0);
    EXPECT_EQ(cell->GetStatisticValue(1, false, false).GetValue1(), 4.0);
    EXPECT_EQ(cell->GetStatisticValue(2, false, false).GetValue1(), 8.0);
    // Percentiles keep the percentile interval whatever the option.
    EXPECT_EQ(cell->GetStatisticValue(3, false, false).GetValue1(), 4.0);
    EXPECT_EQ(cell->GetStatisticValue(4, false, false).GetValue1(), 9.0);

    // A change of the variable after the first cell has no effect.
    setenv("KVGRID_MEDIAN_CI_OPT", "0", 1);
    std::unique_ptr<kvtest::StatsData> again(NewData());
    auto second = MedianCell(withCut, *again);
    EXPECT_TRUE(GetMedianCIOpt());
    EXPECT_EQ(second->GetStatisticValue(2, false, false).GetValue1(), 8.0);
}
