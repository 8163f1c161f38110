// Tables that take less travelled paths: many wide string categories through
// several growths of the cell tables, and the limits of a median.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "EngineTables.h"

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

// 150 regions named by 12-byte strings (two words per value) by 3 groups: 450
// cells and 150 row bases, so the cell tables grow several times. The expected
// counts come from counting the generated cases directly.
TEST(EngineEdges, ManyWideStringCategoriesThroughTableGrowth)
{
    InMemoryDataset ds;
    int name = ds.AddString("name", 12);
    int group = ds.AddNumeric("group");
    std::map<std::pair<int, int>, double> counts;
    std::map<int, double> rowTotals;
    unsigned x = 99;
    for (int c = 0; c < 3000; ++c) {
        x = x * 1103515245u + 12345u;
        int r = static_cast<int>((x >> 16) % 150), g = static_cast<int>((x >> 8) % 3) + 1;
        int row = ds.AppendCase();
        ds.SetString(row, name, "region-" + std::to_string(1000 + r));
        ds.SetNumeric(row, group, g);
        counts[{r, g}] += 1;
        rowTotals[r] += 1;
    }
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationVariable region(name, "name"), grp(group, "group");
    region.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&grp, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0)}, &grp);
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    ASSERT_EQ(Cats(region).size(), 151u);
    int checked = 0;
    for (const AggregationCategory* c : Cats(region)) {
        if (c->GetCatType() != AggregationCategory::kValue) continue;
        int r = std::stoi(std::string(c->GetCatValue().str, 12).substr(7, 4)) - 1000;
        for (int g = 1; g <= 3; ++g) {
            auto found = counts.find({r, g});
            double got = Stat(a, {c, Val(grp, g)}, 0);
            if (found == counts.end()) {
                EXPECT_EQ(got, kNoCell);
                continue;
            }
            EXPECT_CELL(got, found->second);
            EXPECT_CELL(Stat(a, {c, Val(grp, g)}, 1), 100 * found->second / rowTotals[r]);
            ++checked;
        }
    }
    EXPECT_EQ(checked, static_cast<int>(counts.size()));
    // Categories come in ascending order of the names.
    EXPECT_EQ(std::string(Cats(region)[0]->GetCatValue().str, 11), "region-1000");
    EXPECT_EQ(std::string(Cats(region)[149]->GetCatValue().str, 11), "region-1149");
}

// Confidence limits of a median: the values 1 to 21 once each. The median 11 has
// 11 of the 21 cases at or below it, so the limits are the percentiles at
// 100 * beta.ppf(0.025, 11.5, 10.5) = 31.88 and 100 * beta.ppf(0.975, 11.5, 10.5)
// = 72.27, that is 7 and 16 (oracle: scipy, and numpy's 'averaged_inverted_cdf');
// at 90 %: beta.ppf(0.05, ...) = 34.98 % and beta.ppf(0.95, ...) = 69.32 %: 8 and 15.
TEST(EngineEdges, MedianLimits)
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
    // 25 % of 21 is 5.25: the sixth value.
    const double expected[] = {11, 7, 16, kSysmis, 6, 1, 21};
    for (int k = 0; k < 7; ++k) EXPECT_EQ(Stat(a, {Val(group, 1)}, k), expected[k]) << "statistic " << k;
    cube->SetCILevel(90);
    EXPECT_EQ(Stat(a, {Val(group, 1)}, 1), 8);
    EXPECT_EQ(Stat(a, {Val(group, 1)}, 2), 15);
}

}  // namespace
