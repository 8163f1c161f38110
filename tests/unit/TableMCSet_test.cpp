// The multiple-category set dimension: several cells per case in descending
// index order, duplicate hits, the set's user-missing rule, mixed widths.
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
std::vector<int> Counts(const TableDimension& d)
{
    return std::vector<int>(d.GetCatCellCounts().begin(), d.GetCatCellCounts().begin() + d.GetLastCatCell() + 1);
}

// Three numeric members q1..q3, one case per row given.
struct Numeric3 {
    InMemoryDataset ds;
    std::vector<int> vars{ds.AddNumeric("q1"), ds.AddNumeric("q2"), ds.AddNumeric("q3")};
    explicit Numeric3(std::initializer_list<std::vector<double>> rows)
    {
        for (const auto& r : rows) {
            int row = ds.AppendCase();
            for (size_t v = 0; v < 3; ++v) ds.SetNumeric(row, vars[v], r[v]);
        }
    }
};

}  // namespace

TEST(TableMCSet, DuplicateHitsAreIgnoredOrCounted)
{
    Numeric3 d({{4, 4, 7}});
    DatasetIterator it(d.ds);
    AggregationMCSet set(d.vars, "$q");
    TableMCSet dim(set);
    dim.SetIterator(it);
    EXPECT_EQ(dim.GetNumCatCells(), 7);  // 2 x 3 members + 1
    dim.SetComputingCounts();
    ASSERT_TRUE(it.Next());

    // 4 -> cell 1, 7 -> cell 2; cells come out highest index first.
    EXPECT_TRUE(dim.EncodeValue());
    EXPECT_EQ(Cells(dim), (std::vector<int>{2, 1}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 1}));
    EXPECT_EQ(dim.GetCaseResponseCount(), 2);

    dim.SetComputingCounts(true);
    dim.SetTotal(true);
    EXPECT_TRUE(dim.EncodeValue());
    EXPECT_EQ(Cells(dim), (std::vector<int>{2, 1, kTotalCategory}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(dim.GetCaseResponseCount(), 3);
    EXPECT_TRUE(dim.GetCaseValid());
}

TEST(TableMCSet, CellsComeOutInDescendingIndexOrderWhateverTheMemberOrder)
{
    // Case 1 numbers 7 -> 1, 4 -> 2, 5 -> 3; case 2 lists them the other way round.
    Numeric3 d({{7, 4, 5}, {4, 5, 7}, {kSysmis, 5, kSysmis}});
    DatasetIterator it(d.ds);
    AggregationMCSet set(d.vars, "$q");
    TableMCSet dim(set);
    dim.SetIterator(it);
    std::vector<std::vector<int>> cells;
    while (it.Next()) {
        dim.EncodeValue();
        cells.push_back(Cells(dim));
    }
    EXPECT_EQ(cells, (std::vector<std::vector<int>>{{3, 2, 1}, {3, 2, 1}, {3}}));

    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 3u);
    EXPECT_EQ(cats[0]->GetCatValue().num, 4);
    EXPECT_EQ(cats[0]->GetCatEncoding(), 2);
    EXPECT_EQ(cats[2]->GetCatValue().num, 7);
    EXPECT_EQ(cats[2]->GetCatEncoding(), 1);
}

TEST(TableMCSet, MissingValuesFollowTheUserMissingMember)
{
    // 9 is user-missing for q1 only, but q1 decides for the whole set.
    Numeric3 d({{9, 1, kSysmis}, {kSysmis, 9, kSysmis}, {kSysmis, kSysmis, kSysmis}});
    d.ds.GetVariable(d.vars[0])->SetMissingValues({9});
    DatasetIterator it(d.ds);
    AggregationMCSet set(d.vars, "$q");
    set.SetIsEmptyInclude(false);
    TableMCSet dim(set);
    EXPECT_EQ(dim.GetUserMissingVariable(), d.vars[0]);  // the first member by default
    dim.SetIterator(it);
    std::vector<std::vector<int>> cells;
    std::vector<bool> counted;
    while (it.Next()) {
        counted.push_back(dim.EncodeValue());
        cells.push_back(Cells(dim));
    }
    // Excluded missing values leave the case counted with -99.
    EXPECT_EQ(cells, (std::vector<std::vector<int>>{{1}, {kUnlistedCategory}, {kUnlistedCategory}}));
    EXPECT_EQ(counted, (std::vector<bool>{true, true, true}));

    AggregationMCSet included(d.vars, "$q");
    included.SetIsMissingExclude(false);
    included.SetIsEmptyInclude(false);
    TableMCSet in(included);
    in.SetIterator(it);
    in.SetTotal(true);
    it.Rewind();
    cells.clear();
    std::vector<bool> valid;
    while (it.Next()) {
        in.EncodeValue();
        cells.push_back(Cells(in));
        valid.push_back(in.GetCaseValid());
    }
    // 9 -> 1, 1 -> 2; system-missing never forms a category.
    EXPECT_EQ(cells, (std::vector<std::vector<int>>{{2, 1, kTotalCategory}, {1, kTotalCategory}, {kTotalCategory}}));
    EXPECT_EQ(valid, (std::vector<bool>{true, false, false}));
    const auto& cats = in.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 3u);
    EXPECT_EQ(cats[0]->GetCatValue().num, 1);
    EXPECT_EQ(cats[1]->GetCatValue().num, 9);
    EXPECT_EQ(cats[2]->GetCatType(), AggregationCategory::kTotal);
}

TEST(TableMCSet, ExplicitListSubtotalsAndUnlistedCases)
{
    // Listed: 1 and 2 under the subtotal -101, and 3 alone.
    Numeric3 d({{1, 2, 5}, {5, 6, 5}, {1, 1, 3}});
    ParsedCategory one(Num(1), 0);
    one.SetSubtotalEncoding(-101);
    ParsedCategory two(Num(2), 0);
    two.SetSubtotalEncoding(-101);
    ParsedCategory three(Num(3), 0);
    ParsedCategory sub("One or two", false, -101, true);
    AggregationMCSet set(d.vars, "$q");
    set.SetParsedCategories({&one, &two, &sub, &three});
    DatasetIterator it(d.ds);
    TableMCSet dim(set);
    dim.SetIterator(it);
    dim.SetComputingCounts(true);

    ASSERT_TRUE(it.Next());
    EXPECT_TRUE(dim.EncodeValue());
    // 1 -> 1, 2 -> 2, 5 unlisted; the subtotal counts both categories.
    EXPECT_EQ(Cells(dim), (std::vector<int>{2, 1, -101}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 1, 2}));

    ASSERT_TRUE(it.Next());
    EXPECT_FALSE(dim.EncodeValue());  // valid values, none listed
    EXPECT_EQ(Cells(dim), std::vector<int>{kNoCategory});

    ASSERT_TRUE(it.Next());
    EXPECT_TRUE(dim.EncodeValue());
    // 1 twice (counted), 3 -> 3; the subtotal sees both hits of 1.
    EXPECT_EQ(Cells(dim), (std::vector<int>{3, 1, -101}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 2, 2}));
    EXPECT_EQ(dim.GetCaseResponseCount(), 3);

    // Items 1, 2, the subtotal after them, 3.
    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 4u);
    EXPECT_EQ(cats[0]->GetCatValue().num, 1);
    EXPECT_EQ(cats[1]->GetCatValue().num, 2);
    EXPECT_EQ(cats[2]->GetCatType(), AggregationCategory::kSubtotal);
    EXPECT_EQ(cats[2]->GetCatEncoding(), -101);
    EXPECT_EQ(cats[3]->GetCatValue().num, 3);
    EXPECT_EQ(cats[3]->GetCatEncoding(), 3);
}

TEST(TableMCSet, StringMembersOfDifferentWidthsShareCategories)
{
    InMemoryDataset ds;
    int shortVar = ds.AddString("s4", 4);
    int longVar = ds.AddString("s12", 12);
    int row = ds.AppendCase();
    ds.SetString(row, shortVar, "ab");
    ds.SetString(row, longVar, "ab");
    row = ds.AppendCase();
    ds.SetString(row, shortVar, "ab");
    ds.SetString(row, longVar, "abcdefghij");
    ds.GetVariable(longVar)->GetValueLabels().Add("abcdefghij", "long one");

    AggregationMCSet set({shortVar, longVar}, "$s");
    set.SetIsEmptyInclude(false);
    DatasetIterator it(ds);
    TableMCSet dim(set);
    dim.SetIterator(it);
    EXPECT_EQ(dim.GetValueType(), 12);
    EXPECT_EQ(dim.GetSetWords(), 2);
    EXPECT_FALSE(dim.GetUniformWidth());
    EXPECT_EQ(dim.GetWidestVarIndex(), longVar);

    std::vector<std::vector<int>> cells;
    while (it.Next()) {
        dim.EncodeValue();
        cells.push_back(Cells(dim));
    }
    // The 4-byte "ab" is compared as 16 blank-padded bytes: one category.
    EXPECT_EQ(cells, (std::vector<std::vector<int>>{{1}, {2, 1}}));

    OBS padded[2];
    std::memcpy(padded, "ab              ", 16);
    EXPECT_EQ(dim.GetCategoryEncoding(padded), 1);
    EXPECT_EQ(dim.GetCategoryEncoding(padded, 4), 1);  // a narrower value is widened

    const auto& cats = dim.GetCategoryPointers();
    ASSERT_EQ(cats.size(), 2u);
    EXPECT_EQ(cats[0]->GetValueType(), 12);
    EXPECT_EQ(std::string(cats[1]->GetCatValue().str, 10), "abcdefghij");
    EXPECT_EQ(cats[1]->GetCatLabel(), "long one");
    EXPECT_EQ(cats[1]->GetVarIndex(), longVar);  // the member that labels it
}
