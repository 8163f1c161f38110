// Whole category lists as users see them: built from small in-memory
// datasets through a stand-in dimension and the category manager. Every
// expected list is derived by hand in the comment beside it.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <memory>
#include <set>

#include "CategoryTestDimension.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::CategoryTestDimension;
using kvtest::Num;
using kvtest::Str;
using namespace TableEncryptionCodes;

namespace {

const double kSysmis = -DBL_MAX;

// "2" for a value, "T" total, "S-101"/"H-102" subtotals, "P:label", "D", "V3"
// for a member variable; a trailing "*" marks an empty (encoding 0) value.
std::string Show(const std::vector<AggregationCategory*>& list)
{
    std::string out;
    for (const AggregationCategory* c : list) {
        if (!out.empty()) out += " ";
        switch (c->GetCatType()) {
        case AggregationCategory::kValue:
            if (c->GetValueType() == 0) {
                char buf[32];
                std::snprintf(buf, sizeof buf, "%g", c->GetCatValue().num);
                out += buf;
            } else {
                std::string s(c->GetCatValue().str, static_cast<size_t>(c->GetValueType()));
                out += s.substr(0, s.find_last_not_of(' ') + 1);
            }
            if (c->GetCatEncoding() == 0) out += "*";
            break;
        case AggregationCategory::kTotal: out += "T"; break;
        case AggregationCategory::kSubtotal: out += "S" + std::to_string(c->GetCatEncoding()); break;
        case AggregationCategory::kHSubtotal: out += "H" + std::to_string(c->GetCatEncoding()); break;
        case AggregationCategory::kPCompute: out += "P:" + c->GetCatLabel(); break;
        case AggregationCategory::kDummy: out += "D"; break;
        case AggregationCategory::kVariable: out += "V" + std::to_string(c->GetVarIndex()); break;
        }
    }
    return out;
}

std::vector<std::string> Labels(const std::vector<AggregationCategory*>& list)
{
    std::vector<std::string> out;
    for (const AggregationCategory* c : list) out.push_back(c->GetCatLabel());
    return out;
}

std::vector<int> Encodings(const std::vector<AggregationCategory*>& list)
{
    std::vector<int> out;
    for (const AggregationCategory* c : list) out.push_back(c->GetCatEncoding());
    return out;
}

class CategoryLists : public ::testing::Test {
protected:
    InMemoryDataset ds;
    int x = ds.AddNumeric("x");
    AggregationVariable var{x, "x"};
    std::vector<std::unique_ptr<ParsedCategory>> items;

    void Data(std::initializer_list<double> values)
    {
        for (double v : values) ds.SetNumeric(ds.AppendCase(), x, v);
    }
    void Label(double value, const std::string& label) { ds.GetVariable(x)->GetValueLabels().Add(value, label); }
    ParsedCategory* Item(ParsedCategory* item)
    {
        items.emplace_back(item);
        return item;
    }
    ParsedCategory* Value(double v) { return Item(new ParsedCategory(Num(v), 0)); }
    void List(std::initializer_list<ParsedCategory*> list) { var.SetParsedCategories(list); }

    // The dimension's category list after feeding every case.
    std::unique_ptr<CategoryTestDimension> Build()
    {
        std::unique_ptr<CategoryTestDimension> dim(new CategoryTestDimension(var, {x}));
        dim->Feed(ds);
        dim->GetCategoryPointers();
        return dim;
    }
    std::string Shown() { return Show(Build()->GetCategories()); }
};

}  // namespace

// ---------------------------------------------------------------------------
// Implicit lists

TEST_F(CategoryLists, ValuesAscendAndDescendWithFirstAppearanceEncodings)
{
    // Met in the order 5, 2, 5, 9: cells 5->1, 2->2, 9->3.
    Data({5, 2, 5, 9});
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "2 5 9");
    EXPECT_EQ(Encodings(dim->GetCategories()), (std::vector<int>{2, 1, 3}));
    var.SetIsOrderA(false);
    EXPECT_EQ(Shown(), "9 5 2");
}

TEST_F(CategoryLists, EmptyCategoriesFromValueLabels)
{
    // Labels 1, 2, 3 and data for 2 only: 1 and 3 join as empty categories.
    Label(1, "one");
    Label(2, "two");
    Label(3, "three");
    Data({2});
    auto dim = Build();
    const auto& cats = dim->GetCategories();
    EXPECT_EQ(Show(cats), "1* 2 3*");
    // Data categories are labelled by the host unless the list is sorted by label.
    EXPECT_EQ(Labels(cats), (std::vector<std::string>{"one", "", "three"}));
    EXPECT_FALSE(cats[0]->GetIsLabelDefault());
    EXPECT_TRUE(cats[0]->IsEmpty());
    EXPECT_FALSE(cats[1]->IsEmpty());
    EXPECT_EQ(dim->GetNumZeroFlagCategories(), 2);

    var.SetIsOrderA(false);
    EXPECT_EQ(Shown(), "3* 2 1*");
    var.SetIsEmptyInclude(false);
    EXPECT_EQ(Shown(), "2");
}

TEST_F(CategoryLists, TotalStaysFirstOrLastAmongEmptyCategories)
{
    Label(1, "one");
    Label(4, "four");
    Data({3, 2});
    var.SetIsTotalNo(false);
    EXPECT_EQ(Shown(), "1* 2 3 4* T");
    var.SetIsTotalPositionAfter(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "T 1* 2 3 4*");
    EXPECT_EQ(dim->GetCategories()[0]->GetCatLabel(), "Total");
    EXPECT_TRUE(dim->GetCategories()[0]->GetIsLabelDefault());
    var.SetIsOrderA(false);
    EXPECT_EQ(Shown(), "T 4* 3 2 1*");
}

TEST_F(CategoryLists, NoDataAndNoEmptyCategoriesGivesNoneValid)
{
    Label(1, "one");
    var.SetIsEmptyInclude(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "D");
    EXPECT_EQ(dim->GetCategories()[0]->GetCatLabel(), "None valid");
    // With empty categories included the labels alone make the list.
    var.SetIsEmptyInclude(true);
    EXPECT_EQ(Shown(), "1*");
}

TEST_F(CategoryLists, UserMissingValuesWithAndWithoutInclusion)
{
    ds.GetVariable(x)->SetMissingValues({9, 8});
    Label(1, "one");
    Label(9, "not asked");
    Label(8, "refused");
    Data({1, 9, kSysmis});
    // Excluded: neither the data's 9 nor the labelled 8 and 9 show.
    EXPECT_EQ(Shown(), "1");
    // Included: 9 from the data, 8 as an empty labelled category; the
    // system-missing value never forms a category.
    var.SetIsMissingExclude(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "1 8* 9");
    EXPECT_EQ(dim->GetCategories()[1]->GetCatLabel(), "refused");
}

TEST_F(CategoryLists, SortByLabelPutsUnlabelledLast)
{
    // Labels B, (none), A, B on 1, 2, 3, 4: A(3), B(1), B(4) keep arrival
    // order among equal labels, then the unlabelled 2.
    Label(1, "B");
    Label(3, "A");
    Label(4, "B");
    Data({1, 2, 3, 4});
    var.SetSortKey(kLabelSort);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "3 1 4 2");
    EXPECT_EQ(Labels(dim->GetCategories()), (std::vector<std::string>{"A", "B", "B", ""}));
    // Descending: the dimension delivers 4, 3, 2, 1, so B(4) arrives before
    // B(1) and ties keep that order; then A(3), the unlabelled 2, the total.
    var.SetIsOrderA(false);
    var.SetIsTotalNo(false);
    EXPECT_EQ(Shown(), "4 1 3 2 T");
}

TEST_F(CategoryLists, SortByLabelWithEmptyCategories)
{
    // Data 2 and 4; labels make 1 (B) and 3 (A) empty categories; 4 is
    // labelled B from the data. Value order 1, 2, 3, 4 then by label:
    // A(3), B(1), B(4), unlabelled 2.
    Label(1, "B");
    Label(3, "A");
    Label(4, "B");
    Data({4, 2});
    var.SetSortKey(kLabelSort);
    EXPECT_EQ(Shown(), "3* 1* 4 2");
}

TEST_F(CategoryLists, StringValuesSortByBytesAndPadWithBlanks)
{
    InMemoryDataset sds;
    int s = sds.AddString("s", 3);
    for (const char* v : {"b", "a", "ab"}) sds.SetString(sds.AppendCase(), s, v);
    sds.GetVariable(s)->GetValueLabels().Add("c", "see");
    AggregationVariable sv(s, "s");
    CategoryTestDimension dim(sv, {s});
    dim.Feed(sds);
    EXPECT_EQ(Show(dim.GetCategoryPointers()), "a ab b c*");
}

// ---------------------------------------------------------------------------
// Explicit lists

TEST_F(CategoryLists, ExplicitValuesRangesAndOther)
{
    // Items in syntax order: 3, OTHER, 5 THRU 7, LO THRU 1, 10 THRU HI.
    // Each item lists its categories ascending; the other item sits where
    // it was written.
    List({Value(3), Item(new ParsedCategory(ParsedCategory::kOtherNM)), Item(new ParsedCategory(Num(5), Num(7), 0)),
          Item(new ParsedCategory(Num(1), 0, ParsedCategory::kLoRange)),
          Item(new ParsedCategory(Num(10), 0, ParsedCategory::kHiRange))});
    Data({6, 12, 0.5, 3, 8, 5, 1, 4});
    var.SetIsTotalNo(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "3 4 8 5 6 0.5 1 12 T");
    EXPECT_TRUE(dim->GetHiddenCategories().empty());
}

TEST_F(CategoryLists, ExplicitListWithoutOtherDropsUnlistedValues)
{
    List({Value(2), Value(1)});
    Data({1, 2, 3});
    EXPECT_EQ(Shown(), "2 1");
}

TEST_F(CategoryLists, ExplicitMissingItem)
{
    // MISSING holds the user-missing 8 and 9; OTHER holds every other value.
    ds.GetVariable(x)->SetMissingValues({8, 9});
    List({Value(1), Item(new ParsedCategory(ParsedCategory::kMissing)),
          Item(new ParsedCategory(ParsedCategory::kOtherNM))});
    Data({9, 1, 4, 8, 2, kSysmis});
    EXPECT_EQ(Shown(), "1 8 9 2 4");
}

TEST_F(CategoryLists, ExplicitListLabelsAndListedValuesMakeEmptyCategories)
{
    // Listed 1 and 2, labels for 1 and 4: 1 is an empty labelled category,
    // 2 an empty unlabelled one, 4 is not listed.
    Label(1, "one");
    Label(4, "four");
    List({Value(1), Value(2)});
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "1* 2*");
    EXPECT_EQ(Labels(dim->GetCategories()), (std::vector<std::string>{"one", ""}));
    var.SetIsEmptyInclude(false);
    EXPECT_EQ(Shown(), "D");
}

TEST_F(CategoryLists, ListedValueWithoutDataShowsOnlyWithEmptyCategories)
{
    List({Value(5), Value(1)});
    Data({1});
    EXPECT_EQ(Shown(), "5* 1");
    var.SetIsEmptyInclude(false);
    EXPECT_EQ(Shown(), "1");
}

TEST_F(CategoryLists, ValueListedTwiceHasOneCategoryInTheItemThatClaimsIt)
{
    // Items 5, 3, 5: the list is searched from its end, so the second 5
    // claims the value; the first 5 stays empty.
    ParsedCategory* first = Value(5);
    ParsedCategory* second = Value(5);
    List({first, Value(3), second});
    EXPECT_EQ(Shown(), "3* 5*");
    EXPECT_FALSE(first->HasCategories());
    EXPECT_EQ(second->GetCategories().size(), 1u);
    Data({5});
    EXPECT_EQ(Shown(), "3* 5");
}

TEST_F(CategoryLists, SubtotalAndHiddenSubtotalWithTotalsAfter)
{
    // 1, 2, SUBTOTAL, 3, 4, HSUBTOTAL; totals after: the subtotal covers 1
    // and 2, the hidden one hides 3 and 4 but is listed itself.
    List({Value(1), Value(2), Item(new ParsedCategory("Low", false, -101, true)), Value(3), Value(4),
          Item(new ParsedCategory("High", false, -102, false))});
    Data({1, 2, 3, 4});
    var.SetIsTotalNo(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "1 2 S-101 H-102 T");
    EXPECT_EQ(Show(dim->GetHiddenCategories()), "3 4");
    EXPECT_EQ(dim->GetCategories()[2]->GetCatLabel(), "Low");
    EXPECT_FALSE(dim->GetCategories()[2]->GetIsLabelDefault());
    EXPECT_EQ(dim->GetCategories()[2]->GetVarIndex(), x);
}

TEST_F(CategoryLists, SubtotalOverNothingDoesNotShow)
{
    List({Value(1), Value(2), Item(new ParsedCategory("Low", false, -101, true)), Value(3), Value(4),
          Item(new ParsedCategory("High", false, -102, false))});
    Data({3, 4});
    var.SetIsEmptyInclude(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "H-102");
    EXPECT_EQ(Show(dim->GetHiddenCategories()), "3 4");
    // With empty categories the listed 1 and 2 exist, so the subtotal shows.
    var.SetIsEmptyInclude(true);
    EXPECT_EQ(Shown(), "1* 2* S-101 H-102");
}

TEST_F(CategoryLists, SubtotalsWithTotalsBeforeCoverTheItemsAfterThem)
{
    // SUBTOTAL, 1, 2, HSUBTOTAL, 3, 4 with totals before: the subtotal covers
    // 1, 2; the hidden one hides 3, 4.
    List({Item(new ParsedCategory("Low", true, -101, true)), Value(1), Value(2),
          Item(new ParsedCategory("High", true, -102, false)), Value(3), Value(4)});
    Data({4, 3, 2, 1});
    var.SetIsTotalNo(false);
    var.SetIsTotalPositionAfter(false);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "T S-101 1 2 H-102");
    EXPECT_EQ(Show(dim->GetHiddenCategories()), "3 4");
    EXPECT_TRUE(dim->GetCategories()[1]->GetIsLabelDefault());
}

TEST_F(CategoryLists, HiddenSubtotalStopsAtTheNearestShownSubtotal)
{
    // 1, SUB a, 2, HSUB b, 3 with totals after: walking back, 3 is shown (no
    // hidden subtotal after it), HSUB hides 2 up to SUB a, 1 is shown.
    List({Value(1), Item(new ParsedCategory("a", false, -101, true)), Value(2),
          Item(new ParsedCategory("b", false, -102, false)), Value(3)});
    Data({1, 2, 3});
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "1 S-101 H-102 3");
    EXPECT_EQ(Show(dim->GetHiddenCategories()), "2");
}

TEST_F(CategoryLists, ComputedCategoriesAndTheirLabels)
{
    VESK_Format f;
    List({Value(1), Value(2),
          Item(new ParsedCategory("diff", {"a", "b"}, false, {kCount, kCountPct0}, {kDisplayCount, kDisplayPercent},
                                  {&f, &f}, ParsedCategory::kPCompute, x)),
          Item(new ParsedCategory("ratio", {}, false, {}, {}, {}, ParsedCategory::kPCompute, x)),
          Item(new ParsedCategory("one", {"single"}, false, {}, {}, {}, ParsedCategory::kPCompute, x))});
    Data({2, 1});
    auto dim = Build();
    const auto& cats = dim->GetCategories();
    EXPECT_EQ(Show(cats), "1 2 P:ab P:ratio P:single");
    EXPECT_EQ(cats[2]->GetPCateName(), "diff");
    EXPECT_EQ(cats[2]->GetPCFormat(), (std::vector<StatisticCodes>{kCount, kCountPct0}));
    EXPECT_EQ(cats[2]->GetPCDisplayFormat(), (std::vector<DisplayFormat>{kDisplayCount, kDisplayPercent}));
    EXPECT_EQ(cats[2]->GetPCDecimal().size(), 2u);
    EXPECT_TRUE(cats[2]->GetIsLabelDefault());
    EXPECT_EQ(cats[2]->GetVarIndex(), x);
    EXPECT_EQ(cats[2]->GetCatEncoding(), 0);
}

// ---------------------------------------------------------------------------
// Sorting by a statistic

TEST_F(CategoryLists, SortByStatisticWithTiesAndSystemMissing)
{
    // Categories 1, 2, 3, 4 with values 5, sysmis, 2, 5 (ascending): 3 (2),
    // 1 (first 5), 4 (second 5), then 2 (missing); the total stays last.
    Data({1, 2, 3, 4});
    var.SetSortKey(kStatisticSort);
    var.SetIsTotalNo(false);
    std::unique_ptr<CategoryTestDimension> dim(new CategoryTestDimension(var, {x}));
    dim->SetSortValues({5, kSysmis, 2, 5});
    dim->Feed(ds);
    EXPECT_EQ(Show(dim->GetCategoryPointers()), "3 1 4 2 T");
}

TEST_F(CategoryLists, SortByStatisticDescendingAndNotANumber)
{
    Data({1, 2, 3, 4});
    std::unique_ptr<CategoryTestDimension> dim(new CategoryTestDimension(var, {x}));
    dim->Feed(ds);
    std::vector<AggregationCategory*> cats = dim->GetCategoryPointers();

    // Descending over 5, sysmis, 2, 5: 1 (5), 4 (5), 3 (2), then 2.
    AggregationVariable desc(x, "x");
    desc.SetIsOrderA(false);
    CategoryManager m1(cats, desc, ds, dim.get());
    std::vector<double> v1{5, kSysmis, 2, 5};
    EXPECT_EQ(Show(m1.GetCategories()), "1 2 3 4");
    m1.OrderByStats(v1);
    EXPECT_EQ(Show(m1.GetCategories()), "1 4 3 2");

    // A NaN is not the missing value: it compares false both ways and stays
    // where it arrives among the sorted ones. Values NaN, 3, 1, 2 ascending:
    // NaN first; 3 after it; 1 walks back past 3 and stops at NaN; 2 stops at 1.
    CategoryManager m2(cats, var, ds, dim.get());
    std::vector<double> v2{std::nan(""), 3, 1, 2};
    m2.OrderByStats(v2);
    EXPECT_EQ(Show(m2.GetCategories()), "1 3 4 2");
}

// ---------------------------------------------------------------------------
// Late categories

class LateCategories : public CategoryLists {
protected:
    std::vector<std::unique_ptr<AggregationCategory>> pool;
    AggregationCategory* Cat(double v, const std::string& label = "")
    {
        pool.emplace_back(new AggregationCategory(AggregationCategory::kValue, 0));
        pool.back()->SetCatValue(v);
        pool.back()->SetCatEncoding(static_cast<int>(v));
        if (!label.empty()) pool.back()->SetCatLabel(label, false);
        return pool.back().get();
    }
    AggregationCategory* Total()
    {
        pool.emplace_back(new AggregationCategory(AggregationCategory::kTotal));
        return pool.back().get();
    }
    std::unique_ptr<CategoryTestDimension> dim;
    void SetUp() override
    {
        Data({1});
        dim.reset(new CategoryTestDimension(var, {x}));
        dim->Feed(ds);
    }
};

TEST_F(LateCategories, UnsortedNewcomersGoBeforeATrailingTotal)
{
    var.SetSortKey(kNoSort);
    CategoryManager m({Cat(2), Cat(1), Total()}, var, ds, dim.get());
    // 1 is already held; 4 and 3 arrive as a block in their order.
    EXPECT_EQ(m.AddCategories({Cat(4), Cat(1), Cat(3)}), 5);
    EXPECT_EQ(Show(m.GetCategories()), "2 1 4 3 T");
    EXPECT_EQ(m.AddCategories({Cat(4)}), 5);
}

TEST_F(LateCategories, ValueSortMergesBothWays)
{
    var.SetIsTotalPositionAfter(false);
    CategoryManager asc({Total(), Cat(1), Cat(5)}, var, ds, dim.get());
    asc.AddCategories({Cat(3), Cat(7)});
    EXPECT_EQ(Show(asc.GetCategories()), "T 1 3 5 7");

    AggregationVariable desc(x, "x");
    desc.SetIsOrderA(false);
    CategoryManager m({Cat(5), Cat(1)}, desc, ds, dim.get());
    m.AddCategories({Cat(7), Cat(3)});
    EXPECT_EQ(Show(m.GetCategories()), "7 5 3 1");
}

TEST_F(LateCategories, LabelSortMergesLabelledThenUnlabelled)
{
    // Current: A(3), B(1), then unlabelled 2; newcomers AA(7) and unlabelled 0.
    var.SetSortKey(kLabelSort);
    CategoryManager m({Cat(3, "A"), Cat(1, "B"), Cat(2)}, var, ds, dim.get());
    m.AddCategories({Cat(7, "AA"), Cat(0)});
    EXPECT_EQ(Show(m.GetCategories()), "3 7 1 0* 2");
}

TEST_F(LateCategories, APlaceholderIsReplaced)
{
    AggregationCategory dummy;
    CategoryManager m({&dummy}, var, ds, dim.get());
    EXPECT_EQ(m.AddCategories({Cat(2), Cat(1)}), 2);
    EXPECT_EQ(Show(m.GetCategories()), "2 1");
}

TEST_F(LateCategories, ExplicitListRebuildsFromTheItems)
{
    // Without empty categories the listed 5 waits for its data; the subtotal
    // already covers 1, and 5 comes after it.
    List({Value(1), Item(new ParsedCategory("s", false, -101, true)), Value(5)});
    var.SetIsEmptyInclude(false);
    dim.reset(new CategoryTestDimension(var, {x}));
    dim->Feed(ds);
    CategoryManager m({Cat(1)}, var, ds, dim.get());
    m.OrderCategories();
    EXPECT_EQ(Show(m.GetCategories()), "1 S-101");
    m.AddCategories({Cat(5), Cat(1)});
    EXPECT_EQ(Show(m.GetCategories()), "1 S-101 5");
    // The subtotal the manager made belongs to whoever takes the list (a
    // dimension); here that is the test.
    for (AggregationCategory* c : m.GetCategories())
        if (c->GetCatType() == AggregationCategory::kSubtotal) pool.emplace_back(c);
}

TEST_F(LateCategories, MisuseIsFatal)
{
    var.SetSortKey(kStatisticSort);
    CategoryManager stat({Cat(1)}, var, ds, dim.get());
    EXPECT_DEATH(stat.AddCategories({Cat(2)}),
                 kvtest::AssertRegex("_sortKey != TableEncryptionCodes::kStatisticSort"));

    CategoryManager empty({}, var, ds, dim.get());
    EXPECT_DEATH(empty.AddCategories({Cat(2)}), kvtest::AssertRegex("_categories.size() > 0"));

    var.SetSortKey(kLabelSort);
    CategoryManager label({Cat(1, "same")}, var, ds, dim.get());
    EXPECT_DEATH(label.AddCategories({Cat(2, "same")}), kvtest::AssertRegex("compRes != 0"));

    var.SetSortKey(kValueSort);
    CategoryManager stats({Cat(1), Cat(2)}, var, ds, dim.get());
    std::vector<double> one{1.0};
    EXPECT_DEATH(stats.OrderByStats(one), kvtest::AssertRegex("(end - begin) == values.size()"));
}

TEST_F(LateCategories, ConstructionAndOrderingChecks)
{
    var.SetIsEmptyInclude(false);
    EXPECT_DEATH(CategoryManager({}, var, ds, dim.get()),
                 kvtest::AssertRegex("_categories.size() > 0 || _includeEmpty"));
    var.SetIsEmptyInclude(true);

    // A value that no listed item holds.
    List({Value(2)});
    dim.reset(new CategoryTestDimension(var, {x}));
    dim->Feed(ds);
    CategoryManager unlisted({Cat(1)}, var, ds, dim.get());
    EXPECT_DEATH(unlisted.OrderCategories(), kvtest::AssertRegex("parsedCat"));

    AggregationCategory member(AggregationCategory::kVariable);
    AggregationVariable plain(x, "x");
    CategoryManager mixed({Cat(1), &member}, plain, ds, dim.get());
    EXPECT_DEATH(mixed.SortCategoriesByLabels(),
                 kvtest::AssertRegex("_categories[ i ]->GetCatType() == AggregationCategory::kValue"));

    CategoryTestDimension noMembers({});
    CategoryManager none({Cat(1)}, plain, ds, &noMembers);
    EXPECT_DEATH(none.GetVarIndexForLabel(pool.back().get()), kvtest::AssertRegex("_varIndices.size() > 0"));
}

// ---------------------------------------------------------------------------
// Multiple-category sets

class SetLists : public ::testing::Test {
protected:
    InMemoryDataset ds;
    int a = ds.AddNumeric("a");
    int b = ds.AddNumeric("b");
    AggregationMCSet set{{a, b}, "$s"};
    std::vector<std::unique_ptr<ParsedCategory>> items;

    void SetUp() override
    {
        ds.GetVariable(a)->GetValueLabels().Add(1, "one-a");
        ds.GetVariable(a)->GetValueLabels().Add(2, "two-a");
        ds.GetVariable(b)->GetValueLabels().Add(2, "two-b");
        ds.GetVariable(b)->GetValueLabels().Add(3, "three-b");
    }
    void Case(double va, double vb)
    {
        int row = ds.AppendCase();
        ds.SetNumeric(row, a, va);
        ds.SetNumeric(row, b, vb);
    }
    std::unique_ptr<CategoryTestDimension> Build()
    {
        std::unique_ptr<CategoryTestDimension> dim(new CategoryTestDimension(set, {a, b}, TableDimension::kMCSet));
        dim->Feed(ds);
        dim->GetCategoryPointers();
        return dim;
    }
    std::vector<int> Vars(const std::vector<AggregationCategory*>& list)
    {
        std::vector<int> out;
        for (const AggregationCategory* c : list) out.push_back(c->GetVarIndex());
        return out;
    }
};

TEST_F(SetLists, FirstMemberThatLabelsAValueWins)
{
    // Data 2 only. Empty categories from both members: 1 (a), 2 labelled by
    // a (the first member), 3 (b).
    Case(2, kSysmis);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "1* 2 3*");
    EXPECT_EQ(Labels(dim->GetCategories()), (std::vector<std::string>{"one-a", "two-a", "three-b"}));
    EXPECT_EQ(Vars(dim->GetCategories()), (std::vector<int>{a, a, b}));

    set.SetIsEmptyInclude(false);
    auto only = Build();
    EXPECT_EQ(Show(only->GetCategories()), "2");
    EXPECT_EQ(Labels(only->GetCategories()), (std::vector<std::string>{"two-a"}));
}

TEST_F(SetLists, DataValueLabelledOnlyByTheSecondMember)
{
    // 3 is labelled by b only, so the category takes b's label and index.
    Case(kSysmis, 3);
    set.SetIsEmptyInclude(false);
    set.SetSortKey(kLabelSort);
    auto dim = Build();
    EXPECT_EQ(Labels(dim->GetCategories()), (std::vector<std::string>{"three-b"}));
    EXPECT_EQ(Vars(dim->GetCategories()), (std::vector<int>{b}));
}

TEST_F(SetLists, ExplicitListWithEmptyCategoriesAndAComputedCategory)
{
    // Items 3, 1, 7, computed: 3 (b's label), 1 (a's label), 7 listed but
    // never labelled nor seen (first member, no label), and the computed
    // category takes the variable of the first value category (b, from 3).
    auto item = [this](ParsedCategory* p) {
        items.emplace_back(p);
        return p;
    };
    set.SetParsedCategories({item(new ParsedCategory(Num(3), 0)), item(new ParsedCategory(Num(1), 0)),
                             item(new ParsedCategory(Num(7), 0)),
                             item(new ParsedCategory("sum", {"Sum"}, false, {}, {}, {}, ParsedCategory::kPCompute,
                                                     -1))});
    Case(1, kSysmis);
    auto dim = Build();
    EXPECT_EQ(Show(dim->GetCategories()), "3* 1 7* P:Sum");
    EXPECT_EQ(Labels(dim->GetCategories()), (std::vector<std::string>{"three-b", "one-a", "", "Sum"}));
    EXPECT_EQ(Vars(dim->GetCategories()), (std::vector<int>{b, a, a, b}));
}

// ---------------------------------------------------------------------------
// Multiple-dichotomy sets

TEST(MDSetLists, MemberCategoriesSortByLabelWithUnlabelledLast)
{
    InMemoryDataset ds;
    int a = ds.AddNumeric("a");
    int b = ds.AddNumeric("b");
    int c = ds.AddNumeric("c");
    OBS one = Num(1);
    AggregationMDSet set({a, b, c}, "$d", &one, 0, false);
    set.SetSortKey(kLabelSort);
    set.SetIsTotalPositionAfter(false);
    CategoryTestDimension dim(set, {a, b, c}, TableDimension::kMDSet);
    dim.Feed(ds);

    std::vector<std::unique_ptr<AggregationCategory>> pool;
    auto member = [&pool](int index, const std::string& label) {
        pool.emplace_back(new AggregationCategory(AggregationCategory::kVariable));
        pool.back()->SetVarIndex(index);
        if (!label.empty()) pool.back()->SetCatLabel(label, false);
        return pool.back().get();
    };
    AggregationCategory total(AggregationCategory::kTotal);
    CategoryManager m({&total, member(a, "Beta"), member(b, ""), member(c, "Alpha")}, set, ds, &dim);
    EXPECT_EQ(m.OrderMDCategories(), 4);
    EXPECT_EQ(Show(m.GetCategories()), "T V" + std::to_string(c) + " V" + std::to_string(a) + " V" +
                                           std::to_string(b));
}

TEST(MDSetLists, MemberCategoriesAttachToTheirListedItems)
{
    InMemoryDataset ds;
    int a = ds.AddNumeric("a");
    int b = ds.AddNumeric("b");
    OBS one = Num(1);
    AggregationMDSet set({a, b}, "$d", &one, 0, false);
    ParsedCategory pa(ParsedCategory::kVariable), pb(ParsedCategory::kVariable);
    pa.SetVarIndex(a);
    pb.SetVarIndex(b);
    set.SetParsedCategories({&pb, &pa});
    CategoryTestDimension dim(set, {a, b}, TableDimension::kMDSet);
    dim.Feed(ds);
    AggregationCategory ca(AggregationCategory::kVariable), cb(AggregationCategory::kVariable);
    ca.SetVarIndex(a);
    cb.SetVarIndex(b);
    CategoryManager m({&ca, &cb}, set, &dim);
    EXPECT_EQ(pa.GetCategories(), (std::vector<AggregationCategory*>{&ca}));
    EXPECT_EQ(pb.GetCategories(), (std::vector<AggregationCategory*>{&cb}));

    AggregationCategory again(AggregationCategory::kVariable);
    again.SetVarIndex(a);
    EXPECT_DEATH(CategoryManager({&ca, &again}, set, &dim), kvtest::AssertRegex("!parsedCat->HasCategories()"));
    AggregationCategory stranger(AggregationCategory::kVariable);
    stranger.SetVarIndex(99);
    pa.ClearCategories();
    pb.ClearCategories();
    EXPECT_DEATH(CategoryManager({&stranger}, set, &dim), kvtest::AssertRegex("parsedCat"));
    EXPECT_DEATH(CategoryManager({}, set, &dim), kvtest::AssertRegex("_categories.size() > 0"));
}
