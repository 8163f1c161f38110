// The categorical-variable dimension: the cells each case yields and the
// categories built after the data.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <string>

#include "InMemoryDataset.h"
#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

namespace {

const double kSysmis = -DBL_MAX;

OBS Num(double v)
{
    OBS o;
    o.num = v;
    return o;
}

std::vector<int> Cells(const TableDimension& d)
{
    return std::vector<int>(d.GetCatCells().begin(), d.GetCatCells().begin() + d.GetLastCatCell() + 1);
}

// One numeric variable x (value labels and user-missing values as a test
// sets them) holding the given values, one case each.
struct NumData {
    InMemoryDataset ds;
    int x = ds.AddNumeric("x");
    explicit NumData(std::initializer_list<double> values)
    {
        for (double v : values) ds.SetNumeric(ds.AppendCase(), x, v);
    }
    VESK_Variable& Var() { return *ds.GetVariable(x); }
};

// Encodes every case; per case the cells and the result.
struct Encoded {
    std::vector<std::vector<int>> cells;
    std::vector<bool> counted;
};
Encoded EncodeAll(TableDimension& d, VESK_InputCaseIterator& it)
{
    Encoded r;
    while (it.Next()) {
        r.counted.push_back(d.EncodeValue());
        r.cells.push_back(Cells(d));
    }
    return r;
}

struct Shown {
    std::vector<double> values;
    std::vector<int> encodings;
};
Shown Numbers(const std::vector<AggregationCategory*>& cats)
{
    Shown s;
    for (const AggregationCategory* c : cats) {
        s.values.push_back(c->GetCatValue().num);
        s.encodings.push_back(c->GetCatEncoding());
    }
    return s;
}

}  // namespace

TEST(TableCVariable, ValuesAreNumberedByFirstAppearanceAndShownInValueOrder)
{
    NumData d({5, 2, 5, 9});
    DatasetIterator it(d.ds);
    AggregationVariable var(d.x, "x");
    TableCVariable dim(var);
    dim.SetIterator(it);
    EXPECT_EQ(dim.GetValueType(), 0);
    EXPECT_EQ(dim.GetNumCatCells(), TableCVariable::MAX_CATCELLS_SIZE);
    EXPECT_EQ(TableCVariable::MAX_CATCELLS_SIZE, 3);

    Encoded r = EncodeAll(dim, it);
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1}, {2}, {1}, {3}}));
    EXPECT_EQ(r.counted, (std::vector<bool>{true, true, true, true}));
    EXPECT_EQ(dim.GetNumberOfValues(), 3);
    OBS nine = Num(9);
    EXPECT_EQ(dim.GetCategoryEncoding(&nine), 3);
    OBS seven = Num(7);
    EXPECT_EQ(dim.GetCategoryEncoding(&seven), kNoCategory);

    // Ascending: 2, 5, 9 carrying the encodings 2, 1, 3.
    Shown s = Numbers(dim.GetCategoryPointers());
    EXPECT_EQ(s.values, (std::vector<double>{2, 5, 9}));
    EXPECT_EQ(s.encodings, (std::vector<int>{2, 1, 3}));
    EXPECT_EQ(dim.GetNumCategories(), 3);
    EXPECT_EQ(dim.GetNumZeroFlagCategories(), 0);
    EXPECT_EQ(dim.GetCategories()[0]->GetCatType(), AggregationCategory::kValue);
    EXPECT_EQ(dim.GetCategories()[0]->GetVarIndex(), d.x);
    // Built once: a second call hands back the same objects.
    const AggregationCategory* first = dim.GetCategories()[0];
    EXPECT_EQ(dim.GetCategoryPointers()[0], first);

    // After a reset the numbering starts again at 1.
    dim.ResetDimension();
    EXPECT_FALSE(dim.GetCategoriesBuilt());
    it.Rewind();
    it.Next();
    it.Next();  // the case with 2
    dim.EncodeValue();
    EXPECT_EQ(Cells(dim), std::vector<int>{1});
}

TEST(TableCVariable, DescendingOrderTotalsAndEmptyLabelledCategories)
{
    NumData d({2, 2});
    d.Var().GetValueLabels().Add(1, "one");
    d.Var().GetValueLabels().Add(2, "two");
    d.Var().GetValueLabels().Add(3, "three");
    DatasetIterator it(d.ds);
    AggregationVariable var(d.x, "x");
    var.SetIsOrderA(false);
    var.SetIsTotalNo(false);
    var.SetIsTotalPositionAfter(false);
    TableCVariable dim(var);
    dim.SetIterator(it);
    Encoded r = EncodeAll(dim, it);
    EXPECT_EQ(r.cells[0], (std::vector<int>{1, kTotalCategory}));

    // Total first, then 3, 2, 1; the labelled values without cases are
    // empty categories (encoding 0).
    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 4u);
    EXPECT_EQ(cats[0]->GetCatType(), AggregationCategory::kTotal);
    EXPECT_EQ(cats[0]->GetCatEncoding(), kTotalCategory);
    EXPECT_EQ(cats[0]->GetCatLabel(), "Total");
    std::vector<AggregationCategory*> rest(cats.begin() + 1, cats.end());
    Shown s = Numbers(rest);
    EXPECT_EQ(s.values, (std::vector<double>{3, 2, 1}));
    EXPECT_EQ(s.encodings, (std::vector<int>{0, 1, 0}));
    EXPECT_EQ(cats[1]->GetCatLabel(), "three");
    EXPECT_EQ(dim.GetNumZeroFlagCategories(), 2);
}

TEST(TableCVariable, UserMissingExcludedOrIncludedAndSystemMissingNeverACategory)
{
    NumData d({1, 9, kSysmis});
    d.Var().SetMissingValues({9});
    DatasetIterator it(d.ds);

    AggregationVariable excluded(d.x, "x");
    excluded.SetIsEmptyInclude(false);
    TableCVariable ex(excluded);
    ex.SetIterator(it);
    Encoded r = EncodeAll(ex, it);
    // Missing values reach the cube as -99 and still count.
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1}, {kUnlistedCategory}, {kUnlistedCategory}}));
    EXPECT_EQ(r.counted, (std::vector<bool>{true, true, true}));
    EXPECT_EQ(Numbers(ex.GetCategoryPointers()).values, std::vector<double>{1});

    ex.SetTotal(true);
    ex.ResetDimension();
    it.Rewind();
    r = EncodeAll(ex, it);
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1, kTotalCategory}, {kTotalCategory}, {kTotalCategory}}));

    AggregationVariable included(d.x, "x");
    included.SetIsMissingExclude(false);
    included.SetIsEmptyInclude(false);
    TableCVariable in(included);
    in.SetIterator(it);
    it.Rewind();
    r = EncodeAll(in, it);
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1}, {2}, {kUnlistedCategory}}));
    Shown s = Numbers(in.GetCategoryPointers());
    EXPECT_EQ(s.values, (std::vector<double>{1, 9}));
    EXPECT_EQ(in.GetNumberOfValues(), 2);
    // The included missing value is still not a valid value of the case.
    it.Rewind();
    it.Next();
    it.Next();
    in.EncodeValue();
    EXPECT_FALSE(in.GetCaseValid());
    EXPECT_FALSE(in.GetReader()->IsValid());
}

TEST(TableCVariable, ExplicitListWithSubtotalsAndUnlistedValues)
{
    // Cases 2, 1, 3. The list holds 1 and 2 (2 under the subtotal -105) and
    // the subtotal itself, shown after its values.
    NumData d({2, 1, 3});
    DatasetIterator it(d.ds);
    ParsedCategory one(Num(1), 0);
    ParsedCategory two(Num(2), 0);
    two.SetSubtotalEncoding(-105);
    ParsedCategory sub("Two-ish", false, -105, true);
    AggregationVariable var(d.x, "x");
    var.SetParsedCategories({&one, &two, &sub});
    var.SetIsTotalNo(false);
    TableCVariable dim(var);
    dim.SetIterator(it);
    EXPECT_TRUE(dim.GetHasExplicitList());

    Encoded r = EncodeAll(dim, it);
    // 2 -> cell 1 then the total, then its subtotal; 1 -> cell 2; 3 is
    // outside the list: cell 0, not counted.
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1, kTotalCategory, -105}, {2, kTotalCategory}, {kNoCategory}}));
    EXPECT_EQ(r.counted, (std::vector<bool>{true, true, false}));

    // Without a total the subtotal directly follows the category.
    AggregationVariable var2(d.x, "x");
    var2.SetParsedCategories({&one, &two});
    TableCVariable dim2(var2);
    dim2.SetIterator(it);
    it.Rewind();
    it.Next();
    dim2.EncodeValue();
    EXPECT_EQ(Cells(dim2), (std::vector<int>{1, -105}));

    // Items in order: 1, 2, the subtotal, then the total (after).
    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 4u);
    EXPECT_EQ(cats[0]->GetCatValue().num, 1);
    EXPECT_EQ(cats[0]->GetCatEncoding(), 2);
    EXPECT_EQ(cats[1]->GetCatValue().num, 2);
    EXPECT_EQ(cats[1]->GetCatEncoding(), 1);
    EXPECT_EQ(cats[2]->GetCatType(), AggregationCategory::kSubtotal);
    EXPECT_EQ(cats[2]->GetCatEncoding(), -105);
    EXPECT_EQ(cats[2]->GetCatLabel(), "Two-ish");
    EXPECT_EQ(cats[3]->GetCatType(), AggregationCategory::kTotal);
}

TEST(TableCVariable, OtherCategoryTakesValidValuesButNeverMissingOnes)
{
    NumData d({4, kSysmis});
    DatasetIterator it(d.ds);
    ParsedCategory other(ParsedCategory::kOtherNM);
    AggregationVariable var(d.x, "x");
    var.SetParsedCategories({&other});
    TableCVariable dim(var);
    dim.SetIterator(it);
    Encoded r = EncodeAll(dim, it);
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1}, {kUnlistedCategory}}));
    EXPECT_EQ(r.counted, (std::vector<bool>{true, true}));
}

TEST(TableCVariable, StringValuesAndCounts)
{
    InMemoryDataset ds;
    int s = ds.AddString("s", 10);
    for (const char* v : {"pear", "apple", "pear"}) ds.SetString(ds.AppendCase(), s, v);
    DatasetIterator it(ds);
    TableCVariable dim(s);  // without a description
    dim.SetIterator(it);
    dim.SetComputingCounts();
    EXPECT_EQ(dim.GetValueType(), 10);
    Encoded r = EncodeAll(dim, it);
    EXPECT_EQ(r.cells, (std::vector<std::vector<int>>{{1}, {2}, {1}}));
    EXPECT_EQ(dim.GetCellCount(0), 1);

    // A 5-byte "apple" finds the 10-byte value through the width-reconciling front.
    OBS apple;
    std::memcpy(apple.str, "apple   ", 8);
    EXPECT_EQ(dim.GetCategoryEncoding(&apple, 5), 2);
    EXPECT_EQ(dim.GetCategoryEncoding(&apple, 0), kNoCategory);

    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 2u);
    EXPECT_EQ(std::string(cats[0]->GetCatValue().str, 5), "apple");
    EXPECT_EQ(cats[0]->GetCatEncoding(), 2);
    EXPECT_EQ(std::string(cats[1]->GetCatValue().str, 4), "pear");
}

TEST(TableCVariable, NoValuesAndNoEmptyCategoriesLeaveOnlyNoneValid)
{
    NumData d({});
    DatasetIterator it(d.ds);
    AggregationVariable var(d.x, "x");
    var.SetIsEmptyInclude(false);
    var.SetIsTotalNo(false);
    TableCVariable dim(var);
    dim.SetIterator(it);
    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 1u);
    EXPECT_EQ(cats[0]->GetCatType(), AggregationCategory::kDummy);
    EXPECT_EQ(cats[0]->GetCatLabel(), "None valid");
    EXPECT_EQ(dim.GetNumCategories(), 0);
}
