// The per-cube layout of a cell's accumulators and the percentage-base requests.
#include <gtest/gtest.h>

#include "StatsTestData.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;
using kvtest::Requests;
using Fixed = CellStatistics;

namespace {

std::unique_ptr<CellStatistics> Layout(const std::vector<AggregationStatistic>& stats, bool categorical,
                                       bool effective = false)
{
    auto layout = std::make_unique<CellStatistics>(stats);
    layout->SetEffectiveBase(effective);
    if (categorical) {
        layout->SetCategoricalStatistics();
    } else {
        std::vector<int> vars;
        for (const auto& s : stats) vars.push_back(s.GetVarIndex());
        layout->SetScaleStatistics(vars);
    }
    return layout;
}

struct LayoutCase {
    const char* what;
    std::vector<AggregationStatistic> stats;
    bool categorical;
    bool effective;
    int numValues;
    std::vector<int> valueIndex;  // a prefix of the first slots, by request
    std::vector<int> baseUpdate;  // empty: not checked
};

// Slots: the count block (3), then per request in order: maximum 1, range 2, variance 4, mean 2 (4 with
// confidence members), range count 2, total N none in a scale layout; maps take no slots. Categorical valid N
// and total N are fixed blocks of one slot, or three with unweighted twins or an effective base.
const LayoutCase kLayoutCases[] = {
    {"count only", Requests({kCount}), true, false, 3, {CellValues::kCountPos}, {kCount}},
    {"plain mean", Requests({kMean}), false, false, 5, {3}, {kMean}},
    {"mean with a confidence member", Requests({kMeanUCL}), false, false, 7, {3}, {kMean}},
    {"mixed", Requests({kMaximum, kRange, kStdDev, kUSum, kUPctGE, kCountLT, kTotalN}), false, false, 16,
     {3, 4, 6, 10, 12, 14, 16}, {kMaximum, kRange, kVariance, kUMean, kUCountLT, kCountLT, kTotalN}},
    {"categorical valid and total N", Requests({kValidN, kTotalN}), true, false, 5, {4}, {}},
    {"categorical unweighted total N", Requests({kUTotalN, kTotalN}), true, false, 6, {4, 3}, {kUTotalN, kTotalN}},
    {"scale valid and total N", Requests({kValidN, kTotalN}), false, false, 5, {3, 5}, {}},
    {"unweighted twins", Requests({kUValidN, kResponses}), true, false, 9, {4}, {}},
    {"effective base", Requests({kMissingCount}), true, true, 9, {}, {}},
    {"scale missing count", Requests({kMissingCount}), false, false, 5, {}, {}},
};

}  // namespace

TEST(CellStatistics, SlotsFollowTheRequests)
{
    for (const LayoutCase& c : kLayoutCases) {
        SCOPED_TRACE(c.what);
        auto layout = Layout(c.stats, c.categorical, c.effective);
        EXPECT_EQ(layout->GetNumValues(), c.numValues);
        const std::vector<int>& index = layout->GetValueIndex();
        EXPECT_EQ(std::vector<int>(index.begin(), index.begin() + c.valueIndex.size()), c.valueIndex);
        const std::vector<int>& base = layout->GetBaseUpdateStats();
        EXPECT_EQ(std::vector<int>(base.begin(), base.begin() + c.baseUpdate.size()), c.baseUpdate);
    }
}

TEST(CellStatistics, AccumulatorsAndFixedBlocks)
{
    auto count = Layout(Requests({kCount}), true);
    EXPECT_EQ(count->GetNumFixedValues(), 3);
    EXPECT_EQ(count->GetNumFreqTables(), 0);
    EXPECT_TRUE(count->GetAccumulators().empty());
    EXPECT_EQ(count->GetUpdateStats()[0], kCount);
    EXPECT_EQ(count->GetBaseCellStats()[0], -1);
    EXPECT_FALSE(count->IsTotalNComputed());

    auto upper = Layout(Requests({kMeanUCL}), false);
    EXPECT_EQ(upper->GetUpdateStats()[0], static_cast<int>(kMean) + static_cast<int>(kConfUpper));
    EXPECT_EQ(upper->GetConfTypes()[0], kConfUpper);

    // Maps are shared per variable and weighting; another variable has a map of its own.
    std::vector<AggregationStatistic> stats = Requests({kMedian, kPtile, kUMedian, kMedianLCL});
    stats.emplace_back(1, kMode);
    auto maps = Layout(stats, false);
    EXPECT_EQ(maps->GetUpdateStats(), (std::vector<int>{kMedian, 0, kUMedian, 0, kMedian}));
    EXPECT_EQ(maps->GetFreqIndex(), (std::vector<int>{0, 0, 1, 0, 2}));
    EXPECT_EQ(maps->GetNumFreqTables(), 3);
    EXPECT_EQ(maps->GetNumValues(), 3);
    EXPECT_EQ(maps->GetAccumulators().size(), 3u);

    auto holes = Layout(Requests({kNoStatistic, kResponsesPct0UCL, kMean}), false);  // no accumulator
    EXPECT_EQ(holes->GetUpdateStats()[0], 0);
    EXPECT_EQ(holes->GetUpdateStats()[1], 0);
    EXPECT_EQ(holes->GetValueIndex()[2], 3);

    auto cat = Layout(Requests({kValidN, kTotalN}), true);
    EXPECT_TRUE(cat->IsFixedStat(Fixed::kFixedValidN));
    EXPECT_TRUE(cat->IsFixedStat(Fixed::kFixedTotalN));
    EXPECT_EQ(cat->GetFixedPos(Fixed::kFixedTotalN), 3);
    EXPECT_EQ(cat->GetFixedPos(Fixed::kFixedValidN), 4);
    EXPECT_TRUE(cat->IsTotalNComputed());
    EXPECT_FALSE(Layout(Requests({kValidN, kTotalN}), false)->IsFixedStat(Fixed::kFixedValidN));

    auto twins = Layout(Requests({kUValidN, kResponses}), true);
    EXPECT_TRUE(twins->IsKeepUnweighted());
    EXPECT_EQ(twins->GetFixedBlockSize(), 3);
    EXPECT_EQ(twins->GetFixedPos(Fixed::kFixedValidN), 3);
    EXPECT_EQ(twins->GetFixedPos(Fixed::kFixedResponses), 6);
    auto effective = Layout(Requests({kMissingCount}), true, true);
    EXPECT_EQ(effective->GetFixedBlockSize(), 3);
    EXPECT_TRUE(effective->IsTotalNComputed());
    EXPECT_FALSE(Layout(Requests({kMissingCount}), false)->IsTotalNComputed());
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
    // Another variable or another code: another base request; another set of responses: the same one; a type-1
    // percentage and a mean: none for type 0.
    const std::pair<int, StatisticCodes> requests[] = {
        {0, kCountPct0},          {1, kCountPct0},          {0, kCountPct0LCL}, {2, kResponsesPct0}, {3, kResponsesPct0},
        {2, kCountResponsesPct0}, {2, kResponsesCountPct0}, {0, kCountPct1},    {0, kMean}};
    std::vector<AggregationStatistic> stats;
    for (const auto& [var, code] : requests) stats.emplace_back(var, code);
    CellStatistics layout(stats);
    layout.SetCategoricalStatistics();
    std::vector<AggregationStatistic> base;
    std::vector<int> baseVars;
    layout.GetBaseStats(base, baseVars, 0, 2);
    ASSERT_EQ(base.size(), 5u);
    const int codes[] = {kCountPct0, kCountPct0, kCountPct0LCL, kResponses, kCount};
    const int vars[] = {0, 1, 0, 2, 2};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(base[i].GetSummaryStatistic(), codes[i]) << i;
        EXPECT_EQ(base[i].GetVarIndex(), vars[i]) << i;
    }
    EXPECT_EQ(baseVars.size(), base.size());
    EXPECT_EQ(layout.GetBaseIndex(), (std::vector<int>{0, 1, 2, 3, 3, 3, 4, -1, -1}));
    EXPECT_EQ(layout.GetBaseCellStats(), (std::vector<int>{2, 2, 2, 2, 2, 2, 2, -1, -1}));
    std::vector<AggregationStatistic> base1;
    layout.GetBaseStats(base1, baseVars, 1, 0);
    ASSERT_EQ(base1.size(), 1u);
    EXPECT_EQ(layout.GetBaseCellStats()[7], 0);
}
