// The dimension base: the per-case cell list, the explicit list, values of
// another width, totals, reset and equality.
#include <gtest/gtest.h>

#include <cstring>

#include "CategoryTestDimension.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::CategoryTestDimension;
using kvtest::Num;
using kvtest::Str;
using namespace TableEncryptionCodes;

TEST(TableDimensionCells, CellsAreWalkedFromMinusOne)
{
    CategoryTestDimension dim({0}, TableDimension::kCVariable, 3);
    EXPECT_EQ(dim.GetCatCells(), (std::vector<int>{0, 0, 0}));
    EXPECT_TRUE(dim.GetCatCellCounts().empty());
    dim.SetFirstCell(4);
    dim.AddCategoryCell(kTotalCategory);
    dim.AddCategoryCell(-105);
    EXPECT_EQ(dim.GetLastCatCell(), 2);
    std::vector<int> walked;
    for (int cur = -1; cur < dim.GetLastCatCell();) walked.push_back(dim.NextCategoryCell(cur));
    EXPECT_EQ(walked, (std::vector<int>{4, -100, -105}));
}

TEST(TableDimensionCells, ComputingCountsSizesTheCounts)
{
    CategoryTestDimension dim({0, 1}, TableDimension::kMCSet, 5);
    dim.SetComputingCounts();
    EXPECT_TRUE(dim.GetComputingCounts());
    EXPECT_FALSE(dim.GetCountDuplicates());
    EXPECT_EQ(dim.GetCatCellCounts(), (std::vector<int>(5, 0)));
    dim.SetComputingCounts(true);
    EXPECT_TRUE(dim.GetCountDuplicates());
    dim.SetFirstCell(1);
    EXPECT_EQ(dim.GetCellCount(0), 0);
}

TEST(TableDimensionCellsDeathTest, CellListBoundsAreFatal)
{
    CategoryTestDimension dim({0}, TableDimension::kCVariable, 3);
    dim.SetFirstCell(1);
    dim.AddCategoryCell(2);
    dim.AddCategoryCell(3);
    EXPECT_DEATH(dim.AddCategoryCell(4), kvtest::AssertRegex("_lastCatCell < _numCatCells"));
    int cur = 2;
    EXPECT_DEATH(dim.NextCategoryCell(cur), kvtest::AssertRegex("currentCatCell < _lastCatCell"));
    dim.SetComputingCounts();
    EXPECT_DEATH(dim.GetCellCount(3), kvtest::AssertRegex("currentCatCell <= _lastCatCell"));
    EXPECT_DEATH(dim.GetSyntaxVariable(), kvtest::AssertRegex("_syntaxVariable"));
}

TEST(TableDimension, DescriptionSettingsAreCopied)
{
    AggregationVariable var(0, "x");
    var.SetIsEmptyInclude(false);
    var.SetIsMissingExclude(false);
    var.SetIsOrderA(false);
    var.SetIsTotalNo(false);
    var.SetIsTotalPositionAfter(false);
    var.SetTotalLabel("Everyone");
    var.SetIsTotalLabelDefault(false);
    CategoryTestDimension dim(var, {0});
    EXPECT_EQ(&dim.GetSyntaxVariable(), &var);
    EXPECT_FALSE(dim.GetIsEmptyInclude());
    EXPECT_TRUE(dim.GetIncludeMissing());
    EXPECT_FALSE(dim.GetIsOrderA());
    EXPECT_TRUE(dim.GetHasTotal());
    EXPECT_TRUE(dim.GetComputingTotal());
    EXPECT_FALSE(dim.GetIsTotalPositionAfter());
    EXPECT_EQ(dim.GetTotalLabel(), "Everyone");
    EXPECT_FALSE(dim.GetIsTotalLabelDefault());
    EXPECT_FALSE(dim.GetHasExplicitList());
}

TEST(TableDimension, ExplicitListForcesMissingAndOrderAndSetsOtherAside)
{
    ParsedCategory one(Num(1.0), 0), other(ParsedCategory::kOtherNM), sub("S", true, -101, true),
        hsub("H", true, -102, false);
    AggregationVariable var(0, "x");
    var.SetIsOrderA(false);
    var.SetParsedCategories({&one, &sub, &other, &hsub});
    CategoryTestDimension dim(var, {0});
    EXPECT_TRUE(dim.GetHasExplicitList());
    EXPECT_TRUE(dim.GetIncludeMissing());
    EXPECT_TRUE(dim.GetIsOrderA());
    EXPECT_EQ(dim.GetOtherCategory(), &other);
    EXPECT_EQ(dim.GetParsedCategories(), (std::vector<ParsedCategory*>{&one}));

    // A multiple-dichotomy set keeps its subtotal items in the list.
    CategoryTestDimension md(var, {0}, TableDimension::kMDSet);
    EXPECT_EQ(md.GetParsedCategories(), (std::vector<ParsedCategory*>{&one, &sub, &hsub}));
}

TEST(TableDimension, OnlyAnOtherItem)
{
    ParsedCategory other(ParsedCategory::kOtherNM);
    AggregationVariable var(0, "x");
    var.SetParsedCategories({&other});
    CategoryTestDimension dim(var, {0});
    EXPECT_TRUE(dim.GetHasExplicitList());
    EXPECT_TRUE(dim.GetParsedCategories().empty());
    EXPECT_EQ(dim.ExplicitListContains(Num(42.0), false, -1), &other);
    EXPECT_EQ(dim.ExplicitListContains(Num(42.0), true, -1), nullptr);
}

TEST(TableDimension, LaterListedItemWins)
{
    ParsedCategory range(Num(1.0), Num(10.0), 0), five(Num(5.0), 0), missing(ParsedCategory::kMissing),
        other(ParsedCategory::kOtherNM), hi(Num(8.0), 0, ParsedCategory::kHiRange);
    AggregationVariable var(0, "x");
    var.SetParsedCategories({&range, &five, &missing, &other, &hi});
    CategoryTestDimension dim(var, {0});
    EXPECT_EQ(dim.ExplicitListContains(Num(5.0), false, -1), &five);
    EXPECT_EQ(dim.ExplicitListContains(Num(5.0), false, 0), &five);
    EXPECT_EQ(dim.ExplicitListContains(Num(3.0), false, -1), &range);
    EXPECT_EQ(dim.ExplicitListContains(Num(9.0), false, -1), &hi);
    EXPECT_EQ(dim.ExplicitListContains(Num(9.0), true, -1), &hi);  // a listed range holds missing values too
    EXPECT_EQ(dim.ExplicitListContains(Num(-4.0), true, -1), &missing);
    EXPECT_EQ(dim.ExplicitListContains(Num(-4.0), false, -1), &other);
}

TEST(TableDimension, EncodingOfValuesOfAnotherWidth)
{
    InMemoryDataset ds;
    int s = ds.AddString("s", 12);
    int row = ds.AppendCase();
    ds.SetString(row, s, "ABCD");
    row = ds.AppendCase();
    ds.SetString(row, s, "ABCDEFGHIJKL");
    CategoryTestDimension dim({s});
    dim.Feed(ds);
    ASSERT_EQ(dim.GetValueType(), 12);

    std::vector<OBS> abcd4 = Str("ABCD", 4);
    EXPECT_EQ(dim.GetCategoryEncoding(abcd4.data(), 4), 1);  // padded to 16 bytes
    std::vector<OBS> full20 = Str("ABCDEFGHIJKL", 20);
    EXPECT_EQ(dim.GetCategoryEncoding(full20.data(), 20), 2);  // extra word blank
    std::vector<OBS> tail20 = Str("ABCDEFGHIJKL        Z", 24);
    EXPECT_EQ(dim.GetCategoryEncoding(tail20.data(), 21), kNoCategory);
    std::vector<OBS> same = Str("ABCD", 12);
    EXPECT_EQ(dim.GetCategoryEncoding(same.data(), 12), 1);
    OBS number = Num(1.0);
    EXPECT_EQ(dim.GetCategoryEncoding(&number, 0), kNoCategory);
    std::vector<OBS> unseen = Str("ZZ", 2);
    EXPECT_EQ(dim.GetCategoryEncoding(unseen.data(), 2), kNoCategory);
}

TEST(TableDimension, StringOfferedToANumericDimension)
{
    InMemoryDataset ds;
    int x = ds.AddNumeric("x");
    ds.SetNumeric(ds.AppendCase(), x, 3.0);
    CategoryTestDimension dim({x});
    dim.Feed(ds);
    std::vector<OBS> text = Str("3", 1);
    EXPECT_EQ(dim.GetCategoryEncoding(text.data(), 1), kNoCategory);
    OBS three = Num(3.0);
    EXPECT_EQ(dim.GetCategoryEncoding(&three, 0), 1);
    EXPECT_DEATH(dim.GetCategoryEncoding(&three, -1), kvtest::AssertRegex("valueType >= 0"));
}

TEST(TableDimension, TotalAndDummyCategories)
{
    CategoryTestDimension dim({6});
    std::string label = "All cases";
    dim.SetTotalLabel(label, false);
    AggregationCategory* total = dim.GetTotalCategoryPtr();
    EXPECT_EQ(total->GetCatType(), AggregationCategory::kTotal);
    EXPECT_EQ(total->GetCatEncoding(), kTotalCategory);
    EXPECT_EQ(total->GetVarIndex(), 6);
    EXPECT_EQ(total->GetCatValue().num, 0.0);
    EXPECT_EQ(total->GetCatLabel(), "All cases");
    EXPECT_FALSE(total->GetIsLabelDefault());
    AggregationCategory* dummy = dim.GetDummyCategoryPtr();
    EXPECT_EQ(dummy->GetCatType(), AggregationCategory::kDummy);
    EXPECT_EQ(dummy->GetVarIndex(), 6);
    EXPECT_EQ(dummy->GetCatLabel(), "None valid");
    EXPECT_TRUE(dummy->GetIsLabelDefault());
    delete total;
    delete dummy;
}

TEST(TableDimension, ResetForgetsTheBuiltCategories)
{
    InMemoryDataset ds;
    int x = ds.AddNumeric("x");
    for (double v : {5.0, 2.0}) ds.SetNumeric(ds.AppendCase(), x, v);
    AggregationVariable var(x, "x");
    CategoryTestDimension dim(var, {x});
    dim.Feed(ds);
    EXPECT_EQ(dim.GetCategoryPointers().size(), 2u);
    EXPECT_TRUE(dim.GetCategoriesBuilt());
    EXPECT_EQ(dim.GetNumCategories(), 2);
    dim.ResetDimension();
    EXPECT_FALSE(dim.GetCategoriesBuilt());
    EXPECT_TRUE(dim.GetCategories().empty());
    // Nothing seen and empty categories included: the placeholder alone.
    const std::vector<AggregationCategory*>& again = dim.GetCategoryPointers();
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0]->GetCatLabel(), "None valid");
}

TEST(TableDimension, EqualityForSharing)
{
    AggregationVariable a(1, "a");
    AggregationVariable aCopy(a);
    CategoryTestDimension d1(a, {1}), d2(a, {1}), d3(aCopy, {1}), d4(a, {1}, TableDimension::kMCSet);
    EXPECT_TRUE(d1 == d2);
    EXPECT_TRUE(d1 != d3);  // a copy of the description is another description
    EXPECT_TRUE(d1 != d4);
    CategoryTestDimension n1({1, 2}), n2({1, 2}), n3({2, 1});
    EXPECT_TRUE(n1 == n2);
    EXPECT_TRUE(n1 != n3);
    CategoryTestDimension n4({1});
    EXPECT_TRUE(n4 != d1);  // with and without a description
}
