// Dimensions: the cells each kind yields per case, tabulated in
// tests/data/categories/cells.tsv; then list membership, values of another
// width, category building and reset, sharing, and the set descriptions.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <memory>
#include <random>

#include "CategoryTestSupport.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::CategoryScenario;
using kvtest::Num;
using kvtest::Str;
using namespace TableEncryptionCodes;

namespace {

using Row = std::vector<std::string>;  // name, setup, list, data, cells, counted

std::vector<Row> Cells() { return kvtest::ReadTable(KV_SOURCE_DIR "/tests/data/categories/cells.tsv"); }

class DimensionCells : public ::testing::TestWithParam<Row> {};

}  // namespace

TEST_P(DimensionCells, Encode)
{
    const Row& r = GetParam();
    ASSERT_EQ(r.size(), 6u);
    CategoryScenario s(r[1], r[2], r[3]);
    EXPECT_EQ(s.Encode(), std::make_pair(r[4], r[5]));
}

INSTANTIATE_TEST_SUITE_P(Table, DimensionCells, ::testing::ValuesIn(Cells()),
                         [](const ::testing::TestParamInfo<Row>& info) { return info.param[0]; });

TEST(DimensionCellsTable, IsThere) { EXPECT_GE(Cells().size(), 20u); }

TEST(TableDimension, CellsAreWalkedFromMinusOne)
{
    kvtest::ScriptedDimension dim;
    dim.Set({4, kTotalCategory, -105});
    std::vector<int> walked;
    for (int cur = -1; cur < dim.GetLastCatCell();) walked.push_back(dim.NextCategoryCell(cur));
    EXPECT_EQ(walked, (std::vector<int>{4, -100, -105}));
}

TEST(TableDimension, TheLaterListedItemWinsAndMissingValuesNeverFallIntoOther)
{
    CategoryScenario s("-", "1:10 5 MISSING OTHER 8:HI S-101", "-");
    const auto& items = s.items;
    // The other item and (outside a dichotomy set) the subtotals stay off the list.
    EXPECT_EQ(s.dim->GetParsedCategories(),
              (std::vector<ParsedCategory*>{items[0].get(), items[1].get(), items[2].get(), items[4].get()}));
    struct Case {
        double value;
        bool missing;
        int valueType;
        int item;  // -1: none
    } cases[] = {{5, false, -1, 1}, {5, false, 0, 1}, {3, false, -1, 0}, {9, false, -1, 4},
                 // A listed range holds a missing value too.
                 {9, true, -1, 4}, {-4, true, -1, 2}, {-4, false, -1, 3}, {-4, true, 0, 2}};
    for (const Case& c : cases)
        EXPECT_EQ(s.dim->ExplicitListContains(Num(c.value), c.missing, c.valueType),
                  c.item < 0 ? nullptr : items[static_cast<size_t>(c.item)].get())
            << c.value << (c.missing ? " missing" : "");
    CategoryScenario other("-", "OTHER", "-");
    EXPECT_TRUE(other.dim->GetHasExplicitList());
    EXPECT_EQ(other.dim->ExplicitListContains(Num(42), false, -1), other.items[0].get());
    EXPECT_EQ(other.dim->ExplicitListContains(Num(42), true, -1), nullptr);
}

TEST(TableDimension, EncodingOfValuesOfAnotherWidth)
{
    CategoryScenario text("str=12", "-", "ABCD ABCDEFGHIJKL"), number("-", "-", "3");
    text.Encode();
    number.Encode();
    struct Case {
        const char* value;  // null: the number 3
        int width;
        int want;
    } cases[] = {
        {"ABCD", 4, 1},                       // padded to the dimension's 16 bytes
        {"ABCD", 12, 1},                      // the same width
        {"ABCDEFGHIJKL", 20, 2},              // the extra word is blank
        {"ABCDEFGHIJKL        Z", 21, 0},     // the extra word is not
        {"ZZ", 2, 0},                         // never seen
        {nullptr, 0, 0},                      // a number for a string dimension
    };
    for (const Case& c : cases) {
        std::vector<OBS> v = c.value ? Str(c.value, c.width) : std::vector<OBS>{Num(3)};
        EXPECT_EQ(text.dim->GetCategoryEncoding(v.data(), c.width), c.want) << (c.value ? c.value : "3");
    }
    std::vector<OBS> three = Str("3", 1);
    EXPECT_EQ(number.dim->GetCategoryEncoding(three.data(), 1), kNoCategory);
    OBS n3 = Num(3);
    EXPECT_EQ(number.dim->GetCategoryEncoding(&n3, 0), 1);
}

TEST(TableDimension, TotalAndPlaceholderCategories)
{
    TableCVariable dim(6);
    std::string label = "All cases";
    dim.SetTotalLabel(label, false);
    std::unique_ptr<AggregationCategory> total(dim.GetTotalCategoryPtr()), dummy(dim.GetDummyCategoryPtr());
    EXPECT_EQ(kvtest::Show({total.get(), dummy.get()}), "T:All cases D");
    EXPECT_EQ(total->GetCatEncoding(), kTotalCategory);
    EXPECT_EQ(total->GetVarIndex(), 6);
    EXPECT_EQ(dummy->GetVarIndex(), 6);
    EXPECT_EQ(dummy->GetCatLabel(), "None valid");
}

TEST(TableDimension, CategoriesAreBuiltOnceAndAResetStartsAfresh)
{
    CategoryScenario s("L1=one L3=three", "-", "5 2 5 9");
    s.Encode();
    OBS nine = Num(9), seven = Num(7);
    EXPECT_EQ(s.dim->GetCategoryEncoding(&nine), 3);
    EXPECT_EQ(s.dim->GetCategoryEncoding(&seven), kNoCategory);
    EXPECT_EQ(s.dim->GetNumberOfValues(), 3);
    const AggregationCategory* first = s.dim->GetCategoryPointers()[0];
    EXPECT_EQ(s.dim->GetCategoryPointers()[0], first);
    EXPECT_EQ(s.dim->GetNumCategories(), 5);
    EXPECT_EQ(s.dim->GetNumZeroFlagCategories(), 2);  // 1 and 3, from their labels

    // After a reset the numbering starts again at 1: 9 is now the first value met.
    s.dim->ResetDimension();
    EXPECT_FALSE(s.dim->GetCategoriesBuilt());
    s.iterator->Rewind();
    s.iterator->Next();
    s.iterator->Next();
    s.iterator->Next();
    s.iterator->Next();
    s.dim->EncodeValue();
    EXPECT_EQ(s.dim->GetCatCell(0), 1);
    EXPECT_EQ(s.Show(s.dim->GetCategoryPointers()), "1*:one 3*:three 9");
}

TEST(TableDimension, AnIncludedMissingValueIsNotAValidOne)
{
    CategoryScenario s("M9 incmissing", "-", "9"), set("mc M9 incmissing", "-", "./9/.");
    s.Encode();
    EXPECT_FALSE(s.dim->GetCaseValid());
    EXPECT_FALSE(static_cast<TableCVariable&>(*s.dim).GetReader()->IsValid());
    EXPECT_EQ(s.Show(s.dim->GetCategoryPointers()), "9");
    set.Encode();
    EXPECT_FALSE(set.dim->GetCaseValid());
}

TEST(TableDimension, EqualityForSharing)
{
    AggregationVariable a(1, "a");
    AggregationVariable aCopy(a);
    TableCVariable d1(a), d2(a), d3(aCopy), n1(1);
    kvtest::ScriptedDimension s1({1}), s12({1, 2}), s12b({1, 2}), s21({2, 1}), set1({1}, 8, TableDimension::kMCSet);
    struct Case {
        const TableDimension& x;
        const TableDimension& y;
        bool equal;
    } cases[] = {
        {d1, d2, true},
        {d1, d3, false},  // a copy of the description is another description
        {n1, d1, false},  // with and without a description
        {n1, s1, true},   // without: the variable indices in order decide
        {s12, s12b, true},
        {s12, s21, false},
        {s1, set1, false},  // another kind
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.x == c.y, c.equal) << &c - cases;
        EXPECT_EQ(c.x != c.y, !c.equal) << &c - cases;
    }
}

TEST(TableMCSet, StringMembersOfDifferentWidthsShareCategories)
{
    InMemoryDataset ds;
    int narrow = ds.AddString("s4", 4);
    int wide = ds.AddString("s12", 12);
    const char* rows[][2] = {{"ab", "ab"}, {"ab", "abcdefghij"}};
    for (const auto& r : rows) {
        int row = ds.AppendCase();
        ds.SetString(row, narrow, r[0]);
        ds.SetString(row, wide, r[1]);
    }
    ds.GetVariable(wide)->GetValueLabels().Add("abcdefghij", "long one");
    AggregationMCSet set({narrow, wide}, "$s");
    DatasetIterator it(ds);
    TableMCSet dim(set);
    dim.SetIterator(it);
    EXPECT_EQ(dim.GetValueType(), 12);
    EXPECT_EQ(dim.GetWidestVarIndex(), wide);
    std::vector<std::vector<int>> cells;
    while (it.Next()) {
        dim.EncodeValue();
        const std::vector<int>& all = dim.GetCatCells();
        cells.push_back(std::vector<int>(all.begin(), all.begin() + dim.GetLastCatCell() + 1));
    }
    // The 4-byte "ab" is compared as 16 blank-padded bytes: one category.
    EXPECT_EQ(cells, (std::vector<std::vector<int>>{{1}, {2, 1}}));
    EXPECT_EQ(kvtest::Show(dim.GetCategoryPointers(), true, &ds), "ab#1@s12 abcdefghij:long one#2@s12");
}

TEST(TableMDSet, MembersAreNamedAndLabelledAfterTheDataSource)
{
    CategoryScenario s("md", "-", "1/1/0");
    s.ds.GetVariable(s.vars[0])->SetLabel("A label");
    s.Encode();
    EXPECT_EQ(s.Show(s.dim->GetCategoryPointers()), "a:A label b c*");
    OBS b = Num(s.vars[1]), outside = Num(17);
    EXPECT_EQ(s.dim->GetCategoryEncoding(&b), 2);
    EXPECT_EQ(s.dim->GetCategoryEncoding(&outside), kNoCategory);
    // A reset keeps the encodings handed out.
    s.dim->ResetDimension();
    EXPECT_EQ(static_cast<TableMDSet&>(*s.dim).GetVarEncodings(), (std::vector<int>{1, 2, 0}));
}

TEST(TableMDSet, CountedValuesNegativeZeroStringsAndValueLabels)
{
    // A counted negative zero matches a zero; the categories take the counted
    // value's label from each member.
    InMemoryDataset ds;
    std::vector<int> vars{ds.AddNumeric("a"), ds.AddNumeric("b"), ds.AddNumeric("c")};
    int row = ds.AppendCase();
    for (size_t v = 0; v < 3; ++v) ds.SetNumeric(row, vars[v], v == 1 ? 1.0 : 0.0);
    ds.GetVariable(vars[0])->GetValueLabels().Add(0.0, "No");
    OBS negZero = Num(-0.0);
    AggregationMDSet set(vars, "$d", &negZero, 0, true);
    DatasetIterator it(ds);
    TableMDSet dim(set);
    dim.SetIterator(it);
    ASSERT_TRUE(it.Next());
    dim.EncodeValue();
    EXPECT_EQ(dim.GetLastCatCell(), 1);  // a and c
    EXPECT_EQ(kvtest::Show(dim.GetCategoryPointers()), "a:No b* c");
    EXPECT_TRUE(dim.GetCategories()[0]->GetUseLabelForVar());

    // Only the counted width is read from the counted value.
    InMemoryDataset text;
    int s1 = text.AddString("s1", 3), s2 = text.AddString("s2", 8);
    row = text.AppendCase();
    text.SetString(row, s1, "yes");
    text.SetString(row, s2, "yes!");
    OBS yes;
    std::memcpy(yes.str, "yesXXXXX", 8);
    AggregationMDSet strings({s1, s2}, "$s", &yes, 3, false);
    TableMDSet sdim(strings);
    DatasetIterator textIt(text);
    sdim.SetIterator(textIt);
    ASSERT_TRUE(textIt.Next());
    sdim.EncodeValue();
    EXPECT_EQ(sdim.GetLastCatCell(), 0);
    EXPECT_EQ(sdim.GetCatCell(0), 1);
}

TEST(AggregationSets, IndexAndUserMissingMember)
{
    OBS one = Num(1);
    AggregationMDSet md({7, 3, 5}, "$md", &one, 0, true);
    AggregationMCSet set({5, 7}, "$s"), empty({}, "$e");
    EXPECT_EQ(md.GetIndex(), -100);
    EXPECT_EQ(set.GetIndex(), -100);
    EXPECT_EQ(set.GetUserMissingVariable(), 5);  // the first member unless chosen
    set.SetUserMissingVariable(7);
    EXPECT_EQ(set.GetUserMissingVariable(), 7);
    set.SetUserMissingVariable(-1);  // back to "none chosen"
    EXPECT_EQ(set.GetUserMissingVariable(), 5);
    EXPECT_EQ(empty.GetUserMissingVariable(), -1);
}

TEST(AggregationVariable, CopyIsDeepButSharesTheListAndTheDimension)
{
    ParsedCategory item(ParsedCategory::kMissing);
    TableCVariable dim(3);
    AggregationVariable source(3, "x");
    source.SetParsedCategories({&item});
    source.SetTableDimension(&dim);
    source.SetIsTotalNo(false);
    AggregationVariable copy(source);
    copy.SetTotalLabel("All");
    EXPECT_EQ(source.GetTotalLabel(), "Total");
    EXPECT_EQ(copy.GetParsedCategories(), std::vector<ParsedCategory*>{&item});
    EXPECT_EQ(copy.GetTableDimension(), &dim);
    EXPECT_FALSE(copy.GetIsTotalNo());
    AggregationVariable assigned;
    assigned = copy;
    assigned = assigned;
    EXPECT_EQ(assigned.GetTotalLabel(), "All");
    EXPECT_EQ(assigned.GetIndex(), 3);
}

TEST(TableDimensionDeathTest, Assertions)
{
    kvtest::ScriptedDimension cells({0}, 3);
    cells.Set({1, 2, 3});
    cells.SetComputingCounts();
    CategoryScenario number("-", "-", "1"), dichotomy("md", "-", "1/1/1");
    InMemoryDataset wide, lacking;
    int w = wide.AddString("w", 12);
    OBS one = Num(1), negative = Num(-1);
    AggregationMDSet wideSet({w}, "$w", &one, 0, false);
    DatasetIterator wideIt(wide);
    TableMDSet wideDim(wideSet);
    int cur = 2;
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { cells.AddCategoryCell(4); }, "_lastCatCell < _numCatCells"},
        {[&] { cells.NextCategoryCell(cur); }, "currentCatCell < _lastCatCell"},
        {[&] { cells.GetCellCount(3); }, "currentCatCell <= _lastCatCell"},
        {[&] { cells.GetSyntaxVariable(); }, "_syntaxVariable"},
        {[&] { number.dim->GetCategoryEncoding(&one, -1); }, "valueType >= 0"},
        {[&] { dichotomy.dim->GetCategoryEncoding(&negative); }, "varInd->num >= 0.0"},
        {[&] {
             dichotomy.Encode();
             dichotomy.dim->GetCategoryPointers();
             static_cast<TableMDSet&>(*dichotomy.dim).PrepareMDCategories(lacking);
         },
         "varName != 0"},
        // A 12-byte member compares 16 bytes, more than the 8 of a numeric counted value.
        {[&] { wideDim.SetIterator(wideIt); }, "_varSizes[iVar] <= _valueSize"},
        {[&] { AggregationMCSet({5, 7}, "$s").SetUserMissingVariable(9); },
         "found && \"Missing Value Variable must be present in the set.\""},
        {[&] { AggregationMCSet({}, "$e").SetUserMissingVariable(0); },
         "found && \"Missing Value Variable must be present in the set.\""},
    };
    for (const auto& c : cases) EXPECT_DEATH(c.first(), "\"" + kvtest::AssertRegex(c.second) + "\"") << c.second;
}

// The list's index answers as a scan from the last item would, whatever the
// list holds: repeated values, a signed zero, NaN, ranges over listed values,
// the missing and other keywords; for numbers and for texts of other widths.
TEST(ExplicitList, IndexAnswersAsTheScanFromTheLastItem)
{
    std::mt19937 random(7);
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const double numbers[] = {1, 2, 3, -0.0, 0.0, std::nan(""), 2.5};
    const char* const texts[] = {"a", "b ", "ab", "", "b"};
    for (int round = 0; round < 200; ++round) {
        const bool text = round % 2 == 1;
        const int width = text ? 3 : 0;
        auto value = [&](int i) { return text ? Str(texts[i % 5], width) : std::vector<OBS>{Num(numbers[i % 7])}; };
        std::vector<std::unique_ptr<ParsedCategory>> owned;
        std::vector<ParsedCategory*> list;
        for (int i = 0, n = 1 + pick(12); i < n; ++i) {
            const int kind = pick(10);
            if (kind < 6) owned.push_back(std::make_unique<ParsedCategory>(value(pick(7))[0], width));
            else if (kind == 6) owned.push_back(std::make_unique<ParsedCategory>(value(pick(7))[0], value(pick(7))[0], width));
            else if (kind == 7) owned.push_back(std::make_unique<ParsedCategory>(value(pick(7))[0], width, ParsedCategory::kHiRange));
            else owned.push_back(std::make_unique<ParsedCategory>(kind == 8 ? ParsedCategory::kMissing : ParsedCategory::kOtherNM));
            list.push_back(owned.back().get());
        }
        kvtest::ScriptedDimension dim;
        dim.SetParsedCategories(list);
        for (int q = 0; q < 7; ++q) {
            for (bool missing : {false, true}) {
                // Asked at the items' width, and (for texts) at a wider one.
                for (int asked : text ? std::vector<int>{-1, width, 8} : std::vector<int>{-1, 0}) {
                    const std::vector<OBS> v = asked > width ? Str(texts[q % 5], asked) : value(q);
                    ParsedCategory* scanned = nullptr;
                    for (auto it = dim.GetParsedCategories().rbegin(); it != dim.GetParsedCategories().rend() && !scanned; ++it)
                        if (asked < 0 ? (*it)->Contains(v[0], missing) : (*it)->Contains(v[0], asked, missing)) scanned = *it;
                    if (!scanned && !missing)
                        for (ParsedCategory* item : list)
                            if (item->GetCatType() == ParsedCategory::kOtherNM) scanned = item;
                    EXPECT_EQ(dim.ExplicitListContains(v[0], missing, asked), scanned)
                        << "round " << round << " value " << q << " asked " << asked;
                }
            }
        }
    }
}
