// Whole tables of counts and percentages over categorical variables, every
// cell checked against a hand derivation.
#include <gtest/gtest.h>

#include <memory>

#include "EngineTables.h"

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

// The ten cases of kRegionGender (region, gender, weight):
//   region 1: gender 1 (w 1), gender 2 (w 2), gender 1 (w 1), gender 2 (w 1)
//   region 2: gender 2 (w 3), gender 2 (w 1), gender 1 (w 2)
//   region 3: gender 1 (w 1), gender 2 (w 1), gender 1 (w 2)

// Rows region 1, 2, 3, total; columns gender 1, 2, total.
// Unweighted counts:      Weighted counts:
//   2 2 | 4                 2 3 | 5
//   1 2 | 3                 2 4 | 6
//   2 1 | 3                 3 1 | 4
//   5 5 | 10                7 8 | 15
const double kUCount[4][3] = {{2, 2, 4}, {1, 2, 3}, {2, 1, 3}, {5, 5, 10}};
const double kWCount[4][3] = {{2, 3, 5}, {2, 4, 6}, {3, 1, 4}, {7, 8, 15}};

// Region by gender with the given statistics over the gender dimension, fed.
struct RegionGenderTable : RegionGenderFixture {
    RegionGenderTable(bool weighted, const std::vector<AggregationStatistic>& stats) : RegionGenderFixture(weighted)
    {
        TwoWay()->AddCategoryStatistics(stats, &gender);
        Feed(*table, *it);
    }
    const AggregationCategory* R(int i) { return i < 3 ? Val(region, i + 1) : Tot(region); }
    const AggregationCategory* G(int j) { return j < 2 ? Val(gender, j + 1) : Tot(gender); }
};

TEST(EngineCounts, UnweightedCountsAndPercentagesWithTotals)
{
    RegionGenderTable t(false, {AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0),
                                AggregationStatistic(TEC::kCountPct1), AggregationStatistic(TEC::kCountPct2),
                                AggregationStatistic(TEC::kUCount)});
    // Display order: values ascending, then the total.
    ASSERT_EQ(Cats(t.region).size(), 4u);
    EXPECT_EQ(Cats(t.region)[3], Tot(t.region));
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j) {
            SCOPED_TRACE(testing::Message() << "row " << i << " col " << j);
            double n = kUCount[i][j];
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 0), n);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 1), 100.0 * n / kUCount[i][2]);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 2), 100.0 * n / kUCount[3][j]);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 3), 100.0 * n / 10.0);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 4), n);
        }
}

TEST(EngineCounts, WeightedCountsAndPercentagesWithTotals)
{
    RegionGenderTable t(true, {AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0),
                               AggregationStatistic(TEC::kCountPct1), AggregationStatistic(TEC::kCountPct2),
                               AggregationStatistic(TEC::kUCount), AggregationStatistic(TEC::kUCountPct1)});
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j) {
            SCOPED_TRACE(testing::Message() << "row " << i << " col " << j);
            double n = kWCount[i][j];
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 0), n);
            // e.g. region 2, gender 2: 4 of the row's 6 = 66.67 %, 4 of the column's 8 = 50 %
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 1), 100.0 * n / kWCount[i][2]);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 2), 100.0 * n / kWCount[3][j]);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 3), 100.0 * n / 15.0);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 4), kUCount[i][j]);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 5), 100.0 * kUCount[i][j] / kUCount[3][j]);
        }
}

TEST(EngineCounts, ResetAndSecondPassGiveTheSameTable)
{
    RegionGenderTable t(true, {AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct1)});
    t.table->ResetAggregator();
    EXPECT_TRUE(t.table->IsTableEmpty());
    ASSERT_TRUE(t.it->Rewind());
    Feed(*t.table, *t.it);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j) {
            SCOPED_TRACE(testing::Message() << "row " << i << " col " << j);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 0), kWCount[i][j]);
            EXPECT_CELL(Stat(t.Agg(), {t.R(i), t.G(j)}, 1), 100.0 * kWCount[i][j] / kWCount[3][j]);
        }
}

// Region 9 is user-missing. Cases: (1,1) (1,2) (9,1) (9,2) (9,2) (2,1), unit weights.
struct MissingTable {
    InMemoryDataset ds;
    std::unique_ptr<DatasetIterator> it;
    std::unique_ptr<AggregationTable> table;
    AggregationVariable region{0, "region"}, gender{1, "gender"};
    explicit MissingTable(bool includeMissing)
    {
        FillDataset(ds, {"region", "gender"}, {{1, 1}, {1, 2}, {9, 1}, {9, 2}, {9, 2}, {2, 1}, {NAN, 1}});
        ds.GetVariable(0)->SetMissingValues({9});
        it = std::make_unique<DatasetIterator>(ds, -1);
        table = std::make_unique<AggregationTable>(*it, false, false, -1);
        region.SetIsTotalNo(false);
        region.SetIsMissingExclude(!includeMissing);
        gender.SetIsTotalNo(false);
        AggregationCube* cube = table->CreateCube();
        cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
        cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
        cube->CreateCubeAggregator();
        cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct1),
                                     AggregationStatistic(TEC::kTotalN), AggregationStatistic(TEC::kValidN)},
                                    &gender);
        Feed(*table, *it);
    }
};

TEST(EngineCounts, UserMissingExcludedCountsInTotalNOnly)
{
    MissingTable t(false);
    CubeAggregator* a = t.table->GetCubeAggregators()[0];
    EXPECT_EQ(Val(t.region, 9), nullptr);
    // Valid regions: (1,1) (1,2) (2,1); gender column totals 2 and 1.
    EXPECT_CELL(Stat(a, {Val(t.region, 1), Val(t.gender, 1)}, 0), 1);
    EXPECT_CELL(Stat(a, {Tot(t.region), Val(t.gender, 1)}, 0), 2);
    EXPECT_CELL(Stat(a, {Tot(t.region), Val(t.gender, 2)}, 0), 1);
    EXPECT_CELL(Stat(a, {Tot(t.region), Tot(t.gender)}, 0), 3);
    // Column percentages have the valid cases as their base.
    EXPECT_CELL(Stat(a, {Val(t.region, 1), Val(t.gender, 1)}, 1), 50);
    EXPECT_CELL(Stat(a, {Val(t.region, 2), Val(t.gender, 1)}, 1), 50);
    EXPECT_CELL(Stat(a, {Val(t.region, 1), Val(t.gender, 2)}, 1), 100);
    // Total N adds the excluded cases (user- and system-missing) to the total:
    // gender 1 has 1 + 1 + 1 missing + 1 sysmis = 4, gender 2 has 1 + 2 missing = 3.
    EXPECT_CELL(Stat(a, {Tot(t.region), Val(t.gender, 1)}, 2), 4);
    EXPECT_CELL(Stat(a, {Tot(t.region), Val(t.gender, 2)}, 2), 3);
    EXPECT_CELL(Stat(a, {Tot(t.region), Tot(t.gender)}, 2), 7);
    EXPECT_CELL(Stat(a, {Val(t.region, 1), Val(t.gender, 2)}, 2), 1);
}

TEST(EngineCounts, UserMissingIncludedFormsACategory)
{
    MissingTable t(true);
    CubeAggregator* a = t.table->GetCubeAggregators()[0];
    ASSERT_NE(Val(t.region, 9), nullptr);
    EXPECT_CELL(Stat(a, {Val(t.region, 9), Val(t.gender, 1)}, 0), 1);
    EXPECT_CELL(Stat(a, {Val(t.region, 9), Val(t.gender, 2)}, 0), 2);
    EXPECT_CELL(Stat(a, {Tot(t.region), Val(t.gender, 2)}, 0), 3);
    // Gender 1: regions 1, 9, 2 one case each; the system-missing case is in no category.
    EXPECT_CELL(Stat(a, {Tot(t.region), Val(t.gender, 1)}, 0), 3);
    EXPECT_CELL(Stat(a, {Val(t.region, 9), Val(t.gender, 2)}, 1), 100.0 * 2 / 3);
    EXPECT_CELL(Stat(a, {Val(t.region, 1), Val(t.gender, 1)}, 1), 100.0 / 3);
    // A user-missing value that is shown is still not a valid value.
    EXPECT_CELL(Stat(a, {Val(t.region, 9), Val(t.gender, 2)}, 3), 0);
}

ParsedCategory* ValueItem(double v, int subtotal = 0)
{
    OBS o;
    o.num = v;
    auto* p = new ParsedCategory(o, 0);
    if (subtotal) p->SetSubtotalEncoding(subtotal);
    return p;
}

// Weighted counts (0) and column percentages (1) of region, described by
// `list`, by gender.
struct ListedRegionTable : RegionGenderFixture {
    explicit ListedRegionTable(const std::vector<ParsedCategory*>& list) : RegionGenderFixture(true)
    {
        DescribeRegion(list);
        TwoWay()->AddCategoryStatistics(
            {AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct1)}, &gender);
        Feed(*table, *it);
    }
};

TEST(EngineCounts, ExplicitListWithSubtotal)
{
    // Region list: 1, 2, subtotal "North" (-101) over 1 and 2, then 4. Region 3 is not
    // listed, so its cases are in no cell; region 4 has no case.
    ListedRegionTable t({ValueItem(1, -101), ValueItem(2, -101), new ParsedCategory("North", false, -101, true),
                         ValueItem(4)});
    AggregationVariable& region = t.region;
    AggregationVariable& gender = t.gender;
    // The subtotal must come back, with the same cells, after a reset and a second pass.
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(testing::Message() << "pass " << pass);
        if (pass == 1) {
            ASSERT_TRUE(FeedAgain(*t.table, *t.it));
        }
        CubeAggregator* a = t.Agg();
        EXPECT_EQ(Val(region, 3), nullptr);
        ASSERT_NE(Sub(region, -101), nullptr);
        // Weighted: region 1 = (2, 3), region 2 = (2, 4); North = (4, 7); total = (4, 7, 11).
        EXPECT_CELL(Stat(a, {Val(region, 1), Val(gender, 1)}, 0), 2);
        EXPECT_CELL(Stat(a, {Val(region, 2), Val(gender, 2)}, 0), 4);
        EXPECT_CELL(Stat(a, {Sub(region, -101), Val(gender, 1)}, 0), 4);
        EXPECT_CELL(Stat(a, {Sub(region, -101), Val(gender, 2)}, 0), 7);
        EXPECT_CELL(Stat(a, {Sub(region, -101), Tot(gender)}, 0), 11);
        EXPECT_CELL(Stat(a, {Tot(region), Tot(gender)}, 0), 11);
        EXPECT_CELL(Stat(a, {Tot(region), Val(gender, 1)}, 0), 4);
        // Column percentages over the listed cases: region 1 in gender 2 = 3 / 7.
        EXPECT_CELL(Stat(a, {Val(region, 1), Val(gender, 2)}, 1), 300.0 / 7);
        EXPECT_CELL(Stat(a, {Sub(region, -101), Val(gender, 2)}, 1), 100);
        if (const AggregationCategory* four = Val(region, 4)) {
            EXPECT_EQ(Stat(a, {four, Val(gender, 1)}, 0), kNoCell);
        }
    }
}

// A hidden subtotal over region 3: region 3 is counted but not displayed, its
// subtotal is. Display: 1, 2, "1-2" (-101), hidden "3" (-102), total.
TEST(EngineCounts, HiddenSubtotalShowsInPlaceOfItsCategories)
{
    ListedRegionTable t({ValueItem(1, -101), ValueItem(2, -101), new ParsedCategory("1-2", false, -101, true),
                         ValueItem(3, -102), new ParsedCategory("3", false, -102, false)});
    AggregationVariable& region = t.region;
    AggregationVariable& gender = t.gender;
    CubeAggregator* a = t.Agg();
    std::vector<int> shown;
    for (const AggregationCategory* c : Cats(region)) shown.push_back(c->GetCatType());
    EXPECT_EQ(shown, (std::vector<int>{AggregationCategory::kValue, AggregationCategory::kValue,
                                       AggregationCategory::kSubtotal, AggregationCategory::kHSubtotal,
                                       AggregationCategory::kTotal}));
    EXPECT_EQ(Val(region, 3), nullptr);
    const AggregationCategory* hidden = Sub(region, -102);
    ASSERT_NE(hidden, nullptr);
    // Weighted region 3: gender 1 = 3 of 7, gender 2 = 1 of 8.
    EXPECT_CELL(Stat(a, {hidden, Val(gender, 1)}, 0), 3);
    EXPECT_CELL(Stat(a, {hidden, Val(gender, 1)}, 1), 300.0 / 7);
    EXPECT_CELL(Stat(a, {hidden, Val(gender, 2)}, 1), 12.5);
    EXPECT_CELL(Stat(a, {hidden, Tot(gender)}, 0), 4);
    EXPECT_CELL(Stat(a, {Sub(region, -101), Tot(gender)}, 0), 11);
    EXPECT_CELL(Stat(a, {Tot(region), Tot(gender)}, 0), 15);
}

}  // namespace
