// The multiple-dichotomy set dimension: cells numbered by first hit across
// cases, subtotal runs, and categories named and labelled after the members.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <string>

#include "InMemoryDataset.h"
#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

namespace {

std::vector<int> Cells(const TableDimension& d)
{
    return std::vector<int>(d.GetCatCells().begin(), d.GetCatCells().begin() + d.GetLastCatCell() + 1);
}
std::vector<int> Counts(const TableDimension& d)
{
    return std::vector<int>(d.GetCatCellCounts().begin(), d.GetCatCellCounts().begin() + d.GetLastCatCell() + 1);
}

// Members a, b, c (labelled "A label" ...), one case per row.
struct Dichotomies {
    InMemoryDataset ds;
    std::vector<int> vars{ds.AddNumeric("a", "A label"), ds.AddNumeric("b", "B label"), ds.AddNumeric("c", "")};
    explicit Dichotomies(std::initializer_list<std::vector<double>> rows)
    {
        for (const auto& r : rows) {
            int row = ds.AppendCase();
            for (size_t v = 0; v < 3; ++v) ds.SetNumeric(row, vars[v], r[v]);
        }
    }
};

std::vector<std::string> Names(const std::vector<AggregationCategory*>& cats)
{
    std::vector<std::string> names;
    for (const AggregationCategory* c : cats) {
        if (c->GetCatType() == AggregationCategory::kVariable)
            names.emplace_back(c->GetCatValue().str, static_cast<size_t>(c->GetValueType()));
        else if (c->GetCatType() == AggregationCategory::kTotal)
            names.emplace_back("<total>");
        else
            names.push_back("<" + c->GetCatLabel() + ">");
    }
    return names;
}

}  // namespace

TEST(TableMDSet, MembersAreNumberedByTheirFirstHitAcrossCases)
{
    OBS counted;
    counted.num = 1.0;
    Dichotomies d({{1, 0, 1}, {0, 1, 0}, {0, 0, -DBL_MAX}});
    AggregationMDSet set(d.vars, "$d", &counted, 0, false);
    DatasetIterator it(d.ds);
    TableMDSet dim(set);
    dim.SetIterator(it);
    dim.SetComputingCounts();
    EXPECT_EQ(dim.GetNumCatCells(), 7);
    EXPECT_EQ(dim.GetNumberOfValues(), 3);

    std::vector<std::vector<int>> cells;
    std::vector<bool> counted_;
    while (it.Next()) {
        counted_.push_back(dim.EncodeValue());
        cells.push_back(Cells(dim));
    }
    // a -> 1 and c -> 2 in the first case, b -> 3 in the second; the third
    // hits nothing and is still counted.
    EXPECT_EQ(cells, (std::vector<std::vector<int>>{{1, 2}, {3}, {kUnlistedCategory}}));
    EXPECT_EQ(counted_, (std::vector<bool>{true, true, true}));
    EXPECT_EQ(dim.GetVarEncodings(), (std::vector<int>{1, 3, 2}));
    EXPECT_FALSE(dim.GetCaseValid());

    OBS b;
    b.num = static_cast<double>(d.vars[1]);
    EXPECT_EQ(dim.GetCategoryEncoding(&b), 3);
    OBS outside;
    outside.num = 17.0;
    EXPECT_EQ(dim.GetCategoryEncoding(&outside), kNoCategory);

    // One category per member in set order, named after it and labelled with
    // its label when it has one.
    const auto& cats = dim.GetCategoryPointers();
    EXPECT_EQ(Names(cats), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(cats[0]->GetCatEncoding(), 1);
    EXPECT_EQ(cats[1]->GetCatEncoding(), 3);
    EXPECT_EQ(cats[0]->GetCatLabel(), "A label");
    EXPECT_FALSE(cats[0]->GetIsLabelDefault());
    EXPECT_EQ(cats[2]->GetCatLabel(), "");
    EXPECT_EQ(cats[1]->GetVarIndex(), d.vars[1]);

    // A reset keeps the encodings handed out.
    dim.ResetDimension();
    EXPECT_EQ(dim.GetVarEncodings(), (std::vector<int>{1, 3, 2}));
    EXPECT_EQ(dim.GetLastEncoding(), 3);
}

TEST(TableMDSet, TotalsAndCaseCounts)
{
    OBS counted;
    counted.num = 1.0;
    Dichotomies d({{1, 1, 0}, {0, 0, 0}});
    AggregationMDSet set(d.vars, "$d", &counted, 0, false);
    set.SetIsTotalNo(false);
    set.SetIsEmptyInclude(false);
    DatasetIterator it(d.ds);
    TableMDSet dim(set);
    dim.SetIterator(it);
    dim.SetComputingCounts();
    ASSERT_TRUE(it.Next());
    dim.EncodeValue();
    EXPECT_EQ(Cells(dim), (std::vector<int>{1, 2, kTotalCategory}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 1, 2}));
    EXPECT_EQ(dim.GetCaseResponseCount(), 2);
    ASSERT_TRUE(it.Next());
    EXPECT_TRUE(dim.EncodeValue());
    EXPECT_EQ(Cells(dim), std::vector<int>{kTotalCategory});
    EXPECT_EQ(Counts(dim), std::vector<int>{0});

    // c was never hit and empty categories are excluded.
    EXPECT_EQ(Names(dim.GetCategoryPointers()), (std::vector<std::string>{"a", "b", "<total>"}));
    EXPECT_EQ(dim.GetNumZeroFlagCategories(), 0);
}

TEST(TableMDSet, ListedSubtotalsGroupRunsOfMembers)
{
    OBS counted;
    counted.num = 1.0;
    Dichotomies d({{1, 1, 1}, {0, 1, 0}});
    ParsedCategory a(ParsedCategory::kVariable), b(ParsedCategory::kVariable), c(ParsedCategory::kVariable);
    a.SetVarIndex(d.vars[0]);
    a.SetSubtotalEncoding(-101);
    b.SetVarIndex(d.vars[1]);
    b.SetSubtotalEncoding(-101);
    c.SetVarIndex(d.vars[2]);
    c.SetSubtotalEncoding(-102);
    ParsedCategory ab("A or B", false, -101, true);
    ParsedCategory conly("C", false, -102, false);
    AggregationMDSet set(d.vars, "$d", &counted, 0, false);
    set.SetParsedCategories({&a, &b, &ab, &c, &conly});
    DatasetIterator it(d.ds);
    TableMDSet dim(set);
    EXPECT_EQ(dim.GetVarSubtotals(), (std::vector<int>{-101, -101, -102}));
    dim.SetIterator(it);
    dim.SetComputingCounts();

    ASSERT_TRUE(it.Next());
    dim.EncodeValue();
    // a, b, then their subtotal with 2 hits, c, then its own subtotal.
    EXPECT_EQ(Cells(dim), (std::vector<int>{1, 2, -101, 3, -102}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 1, 2, 1, 1}));
    ASSERT_TRUE(it.Next());
    dim.EncodeValue();
    EXPECT_EQ(Cells(dim), (std::vector<int>{2, -101}));
    EXPECT_EQ(Counts(dim), (std::vector<int>{1, 1}));

    // Totals after: each subtotal follows the members it groups.
    const auto& cats = dim.GetCategoryPointers();
    EXPECT_EQ(Names(cats), (std::vector<std::string>{"a", "b", "<A or B>", "c", "<C>"}));
    EXPECT_EQ(cats[2]->GetCatType(), AggregationCategory::kSubtotal);
    EXPECT_EQ(cats[2]->GetCatEncoding(), -101);
    EXPECT_EQ(cats[4]->GetCatType(), AggregationCategory::kHSubtotal);

    // Totals before: each subtotal precedes its members (a second build of
    // the same list).
    AggregationMDSet before(d.vars, "$d", &counted, 0, false);
    before.SetParsedCategories({&a, &b, &ab, &c, &conly});
    before.SetIsTotalNo(false);
    before.SetIsTotalPositionAfter(false);
    TableMDSet dim2(before);
    dim2.SetIterator(it);
    EXPECT_EQ(Names(dim2.GetCategoryPointers()),
              (std::vector<std::string>{"<total>", "<A or B>", "a", "b", "<C>", "c"}));
}

TEST(TableMDSet, CountedValuesNegativeZeroStringsAndValueLabels)
{
    OBS negZero;
    negZero.num = -0.0;
    Dichotomies d({{0, 1, 0}});
    d.ds.GetVariable(d.vars[0])->GetValueLabels().Add(0.0, "No");
    AggregationMDSet set(d.vars, "$d", &negZero, 0, true);
    DatasetIterator it(d.ds);
    TableMDSet dim(set);
    dim.SetIterator(it);
    ASSERT_TRUE(it.Next());
    dim.EncodeValue();
    EXPECT_EQ(Cells(dim), (std::vector<int>{1, 2}));  // a and c hold 0
    const auto& cats = dim.GetCategoryPointers();
    EXPECT_EQ(cats[0]->GetCatLabel(), "No");  // the counted value's label
    EXPECT_TRUE(cats[0]->GetUseLabelForVar());
    EXPECT_EQ(cats[2]->GetCatLabel(), "");   // c has no label for 0

    InMemoryDataset ds;
    int s1 = ds.AddString("s1", 3);
    int s2 = ds.AddString("s2", 8);
    int row = ds.AppendCase();
    ds.SetString(row, s1, "yes");
    ds.SetString(row, s2, "yes!");
    OBS yes;
    std::memcpy(yes.str, "yes", 3);  // only the counted width is read
    AggregationMDSet strings({s1, s2}, "$s", &yes, 3, false);
    DatasetIterator sit(ds);
    TableMDSet sdim(strings);
    sdim.SetIterator(sit);
    EXPECT_EQ(sdim.GetValueSize(), 8u);
    ASSERT_TRUE(sit.Next());
    sdim.EncodeValue();
    EXPECT_EQ(Cells(sdim), std::vector<int>{1});
}

TEST(TableMDSetDeathTest, Assertions)
{
    OBS counted;
    counted.num = 1.0;
    Dichotomies d({{1, 1, 1}});
    AggregationMDSet set(d.vars, "$d", &counted, 0, false);
    DatasetIterator it(d.ds);
    TableMDSet dim(set);
    dim.SetIterator(it);
    OBS negative;
    negative.num = -1.0;
    EXPECT_DEATH(dim.GetCategoryEncoding(&negative), kvtest::AssertRegex("varInd->num >= 0.0"));

    InMemoryDataset other;  // lacks the members
    EXPECT_DEATH(
        {
            it.Next();
            dim.EncodeValue();
            dim.GetCategoryPointers();
            dim.PrepareMDCategories(other);
        },
        kvtest::AssertRegex("varName != 0"));

    // A 12-byte member compares 16 bytes, more than the 8 of a numeric counted value.
    InMemoryDataset wide;
    int w = wide.AddString("w", 12);
    AggregationMDSet wideSet({w}, "$w", &counted, 0, false);
    DatasetIterator wit(wide);
    TableMDSet wideDim(wideSet);
    EXPECT_DEATH(wideDim.SetIterator(wit), kvtest::AssertRegex("_varSizes[iVar] <= _valueSize"));
}
