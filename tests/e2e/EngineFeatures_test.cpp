// Whole-table features beyond plain cells: the choice of total statistics, an
// extra dimension, axis cubes, sorting by a statistic, Jeffreys limits, looking
// a category up by what it stands for, and the retrieval assertions.
#include <gtest/gtest.h>

#include <memory>

#include "EngineTables.h"
#include "TestSupport.h"

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

using Fixture = RegionGenderFixture;

// When the cell statistics ask for a confidence limit, the total statistics keep
// only those not already among the cell statistics: here the table % alone.
TEST(EngineFeatures, TotalStatisticsDropWhatTheCellsAlreadyShowWhenLimitsAreAsked)
{
    Fixture f(true);
    AggregationCube* cube = f.TwoWay();
    cube->AddCategoryAndTotalStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct1),
                                         AggregationStatistic(TEC::kCountPct1LCL)},
                                        &f.gender,
                                        {AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct2),
                                         AggregationStatistic(TEC::kCountPct1)});
    Feed(*f.table, *f.it);
    CubeAggregator* a = f.table->GetCubeAggregators()[0];
    ASSERT_NE(a->GetTotalStats(), a->GetCellStats());
    EXPECT_EQ(a->GetTotalStats()->GetStatistics().size(), 1u);
    // Region 1 holds 5 of the 15 weighted cases.
    EXPECT_CELL(Stat(a, {Val(f.region, 1), Tot(f.gender)}, 0), 100.0 / 3);
    EXPECT_CELL(Stat(a, {Tot(f.region), Tot(f.gender)}, 0), 100);
    EXPECT_CELL(Stat(a, {Val(f.region, 1), Val(f.gender, 2)}, 0), 3);
    EXPECT_CELL(Stat(a, {Val(f.region, 1), Val(f.gender, 2)}, 1), 37.5);
}

TEST(EngineFeatures, ExtraDimensionLooksUpItsTotalWhenNotNamed)
{
    Fixture f(false);
    f.weight.SetIsTotalNo(false);
    AggregationCube* cube = f.table->CreateCube();
    cube->AddCategoricalVariable(&f.region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&f.gender, TableEncryptionCodes::kColumn);
    cube->AddCategoricalVariable(&f.weight, TableEncryptionCodes::kExtraDimension);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct1)}, &f.gender);
    Feed(*f.table, *f.it);
    CubeAggregator* a = f.table->GetCubeAggregators()[0];
    // Two categories name (region, gender, total of w): the unweighted two-way counts.
    const double counts[3][2] = {{2, 2}, {1, 2}, {2, 1}};
    for (int r = 0; r < 3; ++r)
        for (int g = 0; g < 2; ++g) {
            EXPECT_CELL(Stat(a, {Val(f.region, r + 1), Val(f.gender, g + 1)}, 0), counts[r][g]);
            EXPECT_CELL(Stat(a, {Val(f.region, r + 1), Val(f.gender, g + 1)}, 1), 20.0 * counts[r][g]);
        }
    // Named in full: region 1, gender 2 has weights 2 and 1, one case each.
    EXPECT_CELL(Stat(a, {Val(f.region, 1), Val(f.gender, 2), Val(f.weight, 2)}, 0), 1);
    EXPECT_CELL(Stat(a, {Val(f.region, 1), Val(f.gender, 2), Val(f.weight, 1)}, 0), 1);
    EXPECT_EQ(Stat(a, {Val(f.region, 1), Val(f.gender, 2), Val(f.weight, 3)}, 0), kNoCell);
}

TEST(EngineFeatures, AxisCubesCountTheirOwnDimension)
{
    Fixture f(true);
    AggregationCube* main = f.TwoWay();
    main->AddCategoryStatistics({AggregationStatistic(TEC::kCount)}, &f.gender);
    std::vector<std::unique_ptr<AggregationCube>> owned;
    std::vector<AggregationCube*>* rows = f.table->CreateAxisCubes(1, 0, TableEncryptionCodes::kRow);
    std::vector<AggregationCube*>* cols = f.table->CreateAxisCubes(1, 2, TableEncryptionCodes::kColumn);
    (*rows)[0]->AddCategoricalVariable(&f.region, TableEncryptionCodes::kRow);
    (*rows)[0]->CreateCubeAggregator();
    (*rows)[0]->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct2)},
                                      &f.region);
    AggregationCube* col = (*cols)[0];
    col->AddCategoricalVariable(&f.gender, TableEncryptionCodes::kColumn);
    col->CreateCubeAggregator();
    col->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct2)}, &f.gender);
    owned.emplace_back((*rows)[0]);
    owned.emplace_back(col);
    auto rowAggs = f.table->GetAxisCubeAggregators(TableEncryptionCodes::kRow);
    auto colAggs = f.table->GetAxisCubeAggregators(TableEncryptionCodes::kColumn);
    ASSERT_EQ(rowAggs.size(), 1u);
    ASSERT_EQ(colAggs.size(), 3u);
    EXPECT_TRUE(colAggs[0].empty());
    EXPECT_TRUE(colAggs[1].empty());
    ASSERT_EQ(colAggs[2].size(), 1u);
    // The table's reset empties the axis cubes too: a second pass gives the same counts.
    for (int pass = 0; pass < 2; ++pass) {
        if (pass == 1) {
            f.table->ResetAggregator();
            EXPECT_TRUE(rowAggs[0][0]->IsCubeEmpty());
            EXPECT_TRUE(colAggs[2][0]->IsCubeEmpty());
            ASSERT_TRUE(f.it->Rewind());
        }
        Feed(*f.table, *f.it);
        // Weighted region totals 5, 6, 4 of 15; gender totals 7, 8.
        EXPECT_CELL(Stat(rowAggs[0][0], {Val(f.region, 1)}, 0), 5);
        EXPECT_CELL(Stat(rowAggs[0][0], {Val(f.region, 2)}, 1), 40);
        EXPECT_CELL(Stat(rowAggs[0][0], {Tot(f.region)}, 0), 15);
        EXPECT_CELL(Stat(colAggs[2][0], {Val(f.gender, 2)}, 0), 8);
        EXPECT_CELL(Stat(colAggs[2][0], {Val(f.gender, 1)}, 1), 700.0 / 15);
        EXPECT_CELL(Stat(f.Agg(), {Val(f.region, 3), Val(f.gender, 1)}, 0), 3);
    }
}

// Weighted region totals: 1 -> 5, 2 -> 6, 3 -> 4; the total stays last. A reset and a
// second pass sort the same way on the same (not doubled) counts.
TEST(EngineFeatures, SortingByTheWeightedCount)
{
    for (bool ascending : {true, false}) {
        Fixture f(true);
        f.region.SetSortKey(TableEncryptionCodes::kStatisticSort);
        f.region.SetIsOrderA(ascending);
        f.TwoWay()->AddCategoryStatistics({AggregationStatistic(TEC::kCount)}, &f.gender);
        f.region.GetTableDimension()->SetSortByDimensionStats(*f.table->GetTableMetaData(), nullptr,
                                                              AggregationStatistic(TEC::kCount));
        const std::vector<double> order = ascending ? std::vector<double>{3, 1, 2} : std::vector<double>{2, 1, 3};
        const std::vector<double> totals = ascending ? std::vector<double>{4, 5, 6} : std::vector<double>{6, 5, 4};
        for (int pass = 0; pass < 2; ++pass) {
            SCOPED_TRACE(testing::Message() << "ascending " << ascending << ", pass " << pass);
            if (pass == 1) {
                f.table->ResetAggregator();
                ASSERT_TRUE(f.it->Rewind());
            }
            Feed(*f.table, *f.it);
            ASSERT_EQ(Cats(f.region).size(), 4u);
            for (int i = 0; i < 3; ++i) EXPECT_EQ(Cats(f.region)[i]->GetCatValue().num, order[i]);
            EXPECT_EQ(Cats(f.region)[3], Tot(f.region));
            EXPECT_CELL(Stat(f.Agg(), {Cats(f.region)[0], Val(f.gender, 1)}, 0), ascending ? 3 : 2);
            std::vector<double> sortValues;
            f.region.GetTableDimension()->GetSortValues(sortValues);
            sortValues.resize(3);
            EXPECT_EQ(sortValues, totals);
        }
    }
}

// Oracle: scipy.stats.beta.ppf (Jeffreys interval). Unweighted, region 1 is 2 of
// gender 1's 5: 100 * beta.ppf(0.025, 2.5, 3.5), at 90 %: beta.ppf(0.05, ...); its
// count is 2 of the grand total 10: 10 * beta.ppf(0.025, 2.5, 8.5). Weighted, the
// column's effective base is n_e = 7^2 / 11 (weights 1, 1, 2, 1, 2) and p = 2 / 7:
// 100 * beta.ppf(0.025, p n_e + 0.5, (1 - p) n_e + 0.5).
TEST(EngineFeatures, JeffreysLimitsOfPercentagesAndCounts)
{
    const struct {
        bool weighted;
        double level, region;
        int stat;
        double expected;
    } rows[] = {
        {false, 95, 1, 0, 40}, {false, 95, 1, 1, 9.439032734434406}, {false, 95, 1, 2, 79.0583335923995},
        {false, 95, 1, 3, 21.908902300206645}, {false, 95, 2, 1, 2.251276599915512},
        {false, 95, 2, 2, 62.86264006319943}, {false, 95, 2, 3, 17.888543819998322},
        {false, 95, 1, 4, 0.44059413552630794}, {false, 95, 1, 5, 5.027744964399929},
        {false, 95, 1, 6, 1.264911064067352}, {false, 90, 1, 1, 12.777559948359624},
        {false, 90, 1, 2, 73.93662913208028}, {true, 95, 1, 0, 200.0 / 7}, {true, 95, 1, 1, 4.248765702236343},
        {true, 95, 1, 2, 72.50126238132665}, {true, 95, 1, 3, 21.404262207554115},
    };
    for (bool weighted : {false, true}) {
        Fixture f(weighted);
        AggregationCube* cube = f.TwoWay();
        cube->AddCategoryStatistics({AggregationStatistic(TEC::kCountPct1), AggregationStatistic(TEC::kCountPct1LCL),
                                     AggregationStatistic(TEC::kCountPct1UCL), AggregationStatistic(TEC::kCountPct1SE),
                                     AggregationStatistic(TEC::kCountLCL), AggregationStatistic(TEC::kCountUCL),
                                     AggregationStatistic(TEC::kCountSE)},
                                    &f.gender);
        Feed(*f.table, *f.it);
        for (const auto& r : rows) {
            if (r.weighted != weighted) continue;
            SCOPED_TRACE(testing::Message() << "weighted " << weighted << ", region " << r.region << ", " << r.level);
            cube->SetCILevel(r.level);
            EXPECT_TRUE(RelNear(Stat(f.Agg(), {Val(f.region, r.region), Val(f.gender, 1)}, r.stat), r.expected, 2e-8))
                << "statistic " << r.stat;
        }
        // The count rides in the limit's second value; a percentage of 100 has no limits.
        EXPECT_CELL(Result(f.Agg(), {Val(f.region, 1), Val(f.gender, 1)}, 4).GetValue2(), 2);
        EXPECT_EQ(Stat(f.Agg(), {Tot(f.region), Val(f.gender, 1)}, 1), kSysmis);
        EXPECT_EQ(Stat(f.Agg(), {Tot(f.region), Val(f.gender, 1)}, 3), kSysmis);
    }
}

// The host may name the category at one position by what it stands for (a value,
// a member variable) instead of by its cell index.
TEST(EngineFeatures, LookingUpOneCategoryByValue)
{
    Fixture f(true);
    AggregationCube* cube = f.TwoWay();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount)}, &f.gender);
    Feed(*f.table, *f.it);
    CubeAggregator* a = f.table->GetCubeAggregators()[0];
    AggregationCategory three(AggregationCategory::kValue, 0);
    three.SetCatValue(3.0);
    AggregationCategory seven(AggregationCategory::kValue, 0);
    seven.SetCatValue(7.0);
    AggregationCategory computed(AggregationCategory::kPCompute);
    // Region 3, gender 1: weights 1 and 2.
    EXPECT_CELL(Stat(a, {&three, Val(f.gender, 1)}, 0, 0), 3);
    EXPECT_CELL(Stat(a, {Val(f.region, 3), Val(f.gender, 1)}, 0, 0), 3);
    EXPECT_CELL(Stat(a, {&three, Tot(f.gender)}, 0, 0), 4);
    EXPECT_TRUE(a->GetCellStatus({&three, Val(f.gender, 2)}, 0));
    EXPECT_FALSE(a->GetCellStatus({&seven, Val(f.gender, 2)}, 0));
    EXPECT_FALSE(a->GetCellStatus({&computed, Val(f.gender, 2)}, 0));
    EXPECT_EQ(a->GetStatValues({&computed, Val(f.gender, 2)}, 0), nullptr);
    // The innermost row and column have 3 and 2 values.
    EXPECT_EQ(a->GetNValuesInnerRow(), 3);
    EXPECT_EQ(a->GetNValuesInnerColumn(), 2);
}

TEST(EngineFeatures, LookingUpADichotomyMemberByVariable)
{
    InMemoryDataset ds;
    FillDataset(ds, {"d1", "d2", "gender"}, {{0, 1, 1}, {1, 1, 2}, {0, 1, 2}});
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    OBS one;
    one.num = 1;
    AggregationMDSet set({0, 1}, "$d", &one, 0, false);
    AggregationVariable gender(2, "gender");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&set, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount)}, &set);
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    // d2 was hit first (cell 1), d1 second (cell 2).
    AggregationCategory d1(AggregationCategory::kVariable);
    d1.SetVarIndex(0);
    AggregationCategory d2(AggregationCategory::kVariable);
    d2.SetVarIndex(1);
    EXPECT_CELL(Stat(a, {&d2, Val(gender, 2)}, 0, 0), 2);
    EXPECT_CELL(Stat(a, {&d1, Val(gender, 2)}, 0, 0), 1);
    EXPECT_EQ(Stat(a, {&d1, Val(gender, 1)}, 0, 0), kNoCell);
}

using EngineFeaturesDeathTest = testing::Test;

TEST(EngineFeaturesDeathTest, RetrievalAndSetUpAssertions)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    {
        Fixture f(false);
        EXPECT_DEATH(f.table->GetCubeAggregators(), AssertRegex("nCubes"));
        EXPECT_DEATH(f.table->CreateAxisCubes(1, -1, TableEncryptionCodes::kRow), AssertRegex("indexInVector >= 0"));
        EXPECT_DEATH(f.table->CreateAxisCubes(0, 0, TableEncryptionCodes::kRow), AssertRegex("howMany > 0"));
        std::unique_ptr<AggregationCube> c(f.table->CreateAxisCubes(1, 3, TableEncryptionCodes::kColumn)->at(0));
        EXPECT_DEATH(f.table->CreateAxisCubes(1, 3, TableEncryptionCodes::kColumn),
                     AssertRegex("pAxisCubes->size() == indexInVector"));
        AggregationCube* cube = f.table->CreateCube();
        EXPECT_DEATH(cube->AddCategoricalVariable(nullptr, TableEncryptionCodes::kRow), AssertRegex("catVar"));
        cube->AddCategoricalVariable(&f.region, TableEncryptionCodes::kRow);
        cube->CreateCubeAggregator();
        EXPECT_DEATH(cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount)}, nullptr),
                     AssertRegex("statVar"));
        // A cube that was never given statistics cannot take a case.
        ASSERT_TRUE(f.it->Next());
        EXPECT_DEATH(f.table->AddNewCase(), AssertRegex("_cellStats"));
    }
    {
        Fixture f(false);
        AggregationCube* cube = f.TwoWay();
        cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0)},
                                    &f.gender);
        Feed(*f.table, *f.it);
        CubeAggregator* a = f.table->GetCubeAggregators()[0];
        EXPECT_DEATH(a->GetStatValues({Val(f.region, 1)}, -1),
                     AssertRegex("_cellKey.length() == categories.size() || _extraDimension"));
        // A category of another variable in the region's place.
        EXPECT_DEATH(a->GetStatValues({Val(f.gender, 1), Val(f.gender, 1)}, -1),
                     AssertRegex("(tableDim->VariableIndex())[0] == categories[i]->GetVarIndex()"));
        CellKey unlisted(2);
        unlisted[0] = TableEncryptionCodes::kUnlistedCategory;
        unlisted[1] = 1;
        EXPECT_DEATH(a->GetCount(unlisted, true, false), AssertRegex("cellI >= TableEncryptionCodes::kMinCategory"));
        CellKey shortKey(1);
        EXPECT_DEATH(a->GetSortValue(shortKey), AssertRegex("_cellKey.length() == cellKey.length()"));
        CellKey absent(2);
        absent[0] = 9;
        absent[1] = 1;
        absent.UpdateHashCode();
        EXPECT_EQ(a->GetCount(absent, true, false), 0.0);
        EXPECT_EQ(a->GetSortValue(absent), kSysmis);
        // A percentage base that no case entered cannot serve a cell: laying the
        // bases out a second time after the cases adds base tables nobody fed.
        EXPECT_DEATH(
            {
                a->SetBaseMetadata();
                a->SetBaseHashtables();
                a->GetStatValues({Val(f.region, 1), Val(f.gender, 1)}, -1);
            },
            AssertRegex("Pt"));
    }
}

}  // namespace
