// The per-cube layout of a cell's accumulators and the percentage-base requests.
#include <gtest/gtest.h>

#include "StatsTestData.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;
using kvtest::Requests;

namespace {

std::unique_ptr<CellStatistics> Categorical(const std::vector<int>& codes, bool effective = false)
{
    auto layout = std::make_unique<CellStatistics>(Requests(codes));
    layout->SetEffectiveBase(effective);
    layout->SetCategoricalStatistics();
    return layout;
}

std::unique_ptr<CellStatistics> Scale(const std::vector<AggregationStatistic>& stats, bool effective = false)
{
    auto layout = std::make_unique<CellStatistics>(stats);
    layout->SetEffectiveBase(effective);
    std::vector<int> vars;
    for (const auto& s : stats) vars.push_back(s.GetVarIndex());
    layout->SetScaleStatistics(vars);
    return layout;
}

}  // namespace

TEST(CellStatistics, CountOnlyLayoutIsTheCountBlock)
{
    auto layout = Categorical({kCount});
    EXPECT_EQ(layout->GetNumValues(), 3);
    EXPECT_EQ(layout->GetNumFixedValues(), 3);
    EXPECT_EQ(layout->GetNumFreqTables(), 0);
    EXPECT_TRUE(layout->GetAccumulators().empty());
    EXPECT_EQ(layout->GetUpdateStats()[0], kCount);
    EXPECT_EQ(layout->GetValueIndex()[0], CellValues::kCountPos);
    EXPECT_EQ(layout->GetBaseCellStats()[0], -1);
    EXPECT_FALSE(layout->IsTotalNComputed());
}

TEST(CellStatistics, MeanTakesTwoSlotsAndFourWithConfidenceMembers)
{
    auto plain = Scale(Requests({kMean}));
    EXPECT_EQ(plain->GetNumValues(), 5);
    EXPECT_EQ(plain->GetValueIndex()[0], 3);
    auto upper = Scale(Requests({kMeanUCL}));
    EXPECT_EQ(upper->GetNumValues(), 7);
    EXPECT_EQ(upper->GetUpdateStats()[0], static_cast<int>(kMean) + static_cast<int>(kConfUpper));
    EXPECT_EQ(upper->GetBaseUpdateStats()[0], kMean);
    EXPECT_EQ(upper->GetConfTypes()[0], kConfUpper);

    // Slots follow request order: max 1, range 2, variance 4, sum 2, range count 2.
    auto mixed = Scale(Requests({kMaximum, kRange, kStdDev, kUSum, kUPctGE, kCountLT, kTotalN}));
    const std::vector<int> first = {3, 4, 6, 10, 12, 14, 16};
    EXPECT_EQ(mixed->GetValueIndex(), first);
    const std::vector<int> kinds = {kMaximum, kRange, kVariance, kUMean, kUCountLT, kCountLT, kTotalN};
    EXPECT_EQ(mixed->GetBaseUpdateStats(), kinds);
    EXPECT_EQ(mixed->GetNumValues(), 16);
}

TEST(CellStatistics, FrequencyMapsAreSharedPerVariableAndWeighting)
{
    std::vector<AggregationStatistic> stats = Requests({kMedian, kPtile, kUMedian, kMedianLCL});
    stats.emplace_back(1, kMode);  // another variable: a map of its own
    auto layout = Scale(stats);
    const std::vector<int> update = {kMedian, 0, kUMedian, 0, kMedian};
    EXPECT_EQ(layout->GetUpdateStats(), update);
    const std::vector<int> maps = {0, 0, 1, 0, 2};
    EXPECT_EQ(layout->GetFreqIndex(), maps);
    EXPECT_EQ(layout->GetNumFreqTables(), 3);
    EXPECT_EQ(layout->GetNumValues(), 3);  // maps take no slots
    EXPECT_EQ(layout->GetAccumulators().size(), 3u);
}

TEST(CellStatistics, ValidNIsFixedInCategoricalLayoutsOnly)
{
    auto cat = Categorical({kValidN, kTotalN});
    EXPECT_TRUE(cat->IsFixedStat(CellStatistics::kFixedValidN));
    EXPECT_TRUE(cat->IsFixedStat(CellStatistics::kFixedTotalN));
    EXPECT_EQ(cat->GetFixedPos(CellStatistics::kFixedTotalN), 3);  // blocks of one slot
    EXPECT_EQ(cat->GetFixedPos(CellStatistics::kFixedValidN), 4);
    EXPECT_EQ(cat->GetValueIndex()[0], 4);
    EXPECT_EQ(cat->GetNumValues(), 5);
    EXPECT_TRUE(cat->IsTotalNComputed());

    auto scale = Scale(Requests({kValidN, kTotalN}));
    EXPECT_FALSE(scale->IsFixedStat(CellStatistics::kFixedValidN));
    EXPECT_EQ(scale->GetValueIndex()[0], 3);
    EXPECT_EQ(scale->GetNumValues(), 5);  // two own slots; total N takes none
    EXPECT_EQ(scale->GetValueIndex()[1], 5);
}

TEST(CellStatistics, UnweightedTwinsAndEffectiveBaseWidenTheBlocks)
{
    auto unweighted = Categorical({kUValidN, kResponses});
    EXPECT_TRUE(unweighted->IsKeepUnweighted());
    EXPECT_EQ(unweighted->GetFixedBlockSize(), 3);
    EXPECT_EQ(unweighted->GetFixedPos(CellStatistics::kFixedValidN), 3);
    EXPECT_EQ(unweighted->GetFixedPos(CellStatistics::kFixedResponses), 6);
    EXPECT_EQ(unweighted->GetValueIndex()[0], 4);  // the unweighted slot of the block
    EXPECT_EQ(unweighted->GetNumValues(), 9);

    auto effective = Categorical({kMissingCount}, true);
    EXPECT_EQ(effective->GetFixedBlockSize(), 3);
    EXPECT_EQ(effective->GetNumValues(), 9);
    EXPECT_TRUE(effective->IsTotalNComputed());

    auto scaleMissing = Scale(Requests({kMissingCount}));
    EXPECT_FALSE(scaleMissing->IsTotalNComputed());
    EXPECT_EQ(scaleMissing->GetNumValues(), 5);
}

TEST(CellStatistics, UnknownAndHoleCodesGetNoAccumulator)
{
    auto layout = Scale(Requests({kNoStatistic, kResponsesPct0UCL, kMean}));
    EXPECT_EQ(layout->GetUpdateStats()[0], 0);
    EXPECT_EQ(layout->GetUpdateStats()[1], 0);
    EXPECT_EQ(layout->GetValueIndex()[2], 3);
}

TEST(CellStatistics, IndexOfARequest)
{
    std::vector<AggregationStatistic> stats = Requests({kCount, kPtile, kPtile});
    stats[1].SetPTileCutPoint(25);
    stats[2].SetPTileCutPoint(75);
    CellStatistics layout(stats);
    AggregationStatistic q(0, kPtile);
    q.SetPTileCutPoint(75);
    EXPECT_EQ(layout.GetIndex(q, false), 2);
    q.SetVarIndex(4);
    EXPECT_EQ(layout.GetIndex(q, false), -1);
    EXPECT_EQ(layout.GetIndex(q, true), 2);
}

TEST(CellStatistics, BaseRequestsOfAPercentageType)
{
    std::vector<AggregationStatistic> stats;
    stats.emplace_back(0, kCountPct0);
    stats.emplace_back(1, kCountPct0);       // another variable: another base request
    stats.emplace_back(0, kCountPct0LCL);    // another code: another base request
    stats.emplace_back(2, kResponsesPct0);
    stats.emplace_back(3, kResponsesPct0);   // another set: the same base request
    stats.emplace_back(2, kCountResponsesPct0);
    stats.emplace_back(2, kResponsesCountPct0);
    stats.emplace_back(0, kCountPct1);       // type 1: not collected for type 0
    stats.emplace_back(0, kMean);
    CellStatistics layout(stats);
    layout.SetCategoricalStatistics();

    std::vector<AggregationStatistic> base;
    std::vector<int> baseVars;
    layout.GetBaseStats(base, baseVars, 0, 2);
    ASSERT_EQ(base.size(), 5u);
    EXPECT_EQ(base[0].GetSummaryStatistic(), kCountPct0);
    EXPECT_EQ(base[1].GetVarIndex(), 1);
    EXPECT_EQ(base[2].GetSummaryStatistic(), kCountPct0LCL);
    EXPECT_EQ(base[3].GetSummaryStatistic(), kResponses);
    EXPECT_EQ(base[3].GetVarIndex(), 2);
    EXPECT_EQ(base[4].GetSummaryStatistic(), kCount);
    EXPECT_EQ(baseVars.size(), base.size());
    const std::vector<int> index = {0, 1, 2, 3, 3, 3, 4, -1, -1};
    EXPECT_EQ(layout.GetBaseIndex(), index);
    const std::vector<int> number = {2, 2, 2, 2, 2, 2, 2, -1, -1};
    EXPECT_EQ(layout.GetBaseCellStats(), number);

    std::vector<AggregationStatistic> base1;
    layout.GetBaseStats(base1, baseVars, 1, 0);
    ASSERT_EQ(base1.size(), 1u);
    EXPECT_EQ(layout.GetBaseCellStats()[7], 0);
}
