// Category lists: whole lists built by the real dimensions from tabulated
// scenarios (tests/data/categories/lists.tsv), then what the manager does on
// its own: late categories, computed categories, dichotomy members, misuse.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "CategoryTestSupport.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::Words;
using namespace TableEncryptionCodes;

namespace {

using Row = std::vector<std::string>;  // name, setup, list, data, shown, hidden

std::vector<Row> Lists() { return kvtest::ReadTable(KV_SOURCE_DIR "/tests/data/categories/lists.tsv"); }

class CategoryLists : public ::testing::TestWithParam<Row> {};

}  // namespace

TEST_P(CategoryLists, Build)
{
    const Row& r = GetParam();
    ASSERT_EQ(r.size(), 6u);
    kvtest::CategoryScenario s(r[1], r[2], r[3]);
    s.Encode();
    std::vector<AggregationCategory*> shown = s.dim->GetCategoryPointers();
    if (!s.sortValues.empty()) {
        // The sort aggregator's values, as the dimension would hand them over.
        CategoryManager manager(shown, *s.var, s.ds, s.dim.get());
        manager.OrderByStats(s.sortValues);
        shown = manager.GetCategories();
    }
    EXPECT_EQ(s.Show(shown), r[4]);
    EXPECT_EQ(s.Show(s.dim->GetHiddenCategories()), r[5]);
}

INSTANTIATE_TEST_SUITE_P(Table, CategoryLists, ::testing::ValuesIn(Lists()),
                         [](const ::testing::TestParamInfo<Row>& info) { return info.param[0]; });

TEST(CategoryListsTable, IsThere) { EXPECT_GE(Lists().size(), 60u); }

namespace {

// Categories made from words, owned by `pool`: "5" a value (encoding 5), "3:A"
// a labelled one, "T" the total, "D" the placeholder, "V4" variable 4's
// category.
std::vector<AggregationCategory*> Cats(std::vector<std::unique_ptr<AggregationCategory>>& pool,
                                       const std::string& words)
{
    std::vector<AggregationCategory*> out;
    for (const std::string& w : Words(words)) {
        AggregationCategory::CategoryType type = w == "T"   ? AggregationCategory::kTotal
                                                 : w == "D" ? AggregationCategory::kDummy
                                                 : w[0] == 'V' ? AggregationCategory::kVariable
                                                               : AggregationCategory::kValue;
        pool.emplace_back(new AggregationCategory(type, 0));
        AggregationCategory* c = pool.back().get();
        out.push_back(c);
        if (type == AggregationCategory::kVariable) c->SetVarIndex(std::stoi(w.substr(1)));
        if (type != AggregationCategory::kValue) continue;
        size_t colon = w.find(':');
        c->SetCatValue(std::stod(w.substr(0, colon)));
        c->SetCatEncoding(std::stoi(w.substr(0, colon)));
        if (colon != std::string::npos) c->SetCatLabel(w.substr(colon + 1), false);
    }
    return out;
}

class LateCategories : public ::testing::Test {
protected:
    std::vector<std::unique_ptr<AggregationCategory>> pool;
    std::vector<AggregationCategory*> Cats(const std::string& words) { return ::Cats(pool, words); }
};

}  // namespace

TEST_F(LateCategories, MergeIntoImplicitLists)
{
    struct Case {
        const char* setup;
        const char* current;
        const char* more;
        const char* want;
    };
    const Case cases[] = {
        // Unsorted: 1 is already held; 4 and 3 arrive as a block before the trailing total.
        {"nosort", "2 1 T", "4 1 3", "2 1 4 3 T"},
        {"nosort before", "T 2 1", "4 1", "T 2 1 4"},
        // Only values and members are newcomers: a total that comes along is not.
        {"nosort", "2 1", "T 3", "2 1 3"},
        // By value, both directions; the total keeps its end.
        {"before", "T 1 5", "3 7", "T 1 3 5 7"},
        {"desc", "5 1 T", "7 3", "7 5 3 1 T"},
        // By label: the labelled runs merge first, then the rest by value.
        {"sortlabel", "3:A 1:B 2", "7:AA 0", "3:A 7:AA 1:B 0* 2"},
        {"sortlabel desc", "1:B 3:A 4", "7:AA 5", "1:B 7:AA 3:A 5 4"},
        // A placeholder is replaced by whatever comes; a single category is not.
        {"-", "D", "2 1", "2 1"},
        {"-", "5", "3", "3 5"},
    };
    for (const Case& c : cases) {
        kvtest::CategoryScenario v(c.setup, "-", "-");
        CategoryManager manager(Cats(c.current), *v.var, v.ds, v.dim.get());
        EXPECT_EQ(manager.AddCategories(Cats(c.more)), static_cast<int>(Words(c.want).size())) << c.current;
        EXPECT_EQ(kvtest::Show(manager.GetCategories()), c.want) << c.current << " + " << c.more;
    }
}

TEST_F(LateCategories, ExplicitListRebuildsFromTheItems)
{
    // Without empty categories the listed 5 waits for its data; the subtotal
    // already covers 1, and 5 comes after it.
    kvtest::CategoryScenario v("noempty", "1 S-101=s 5", "1");
    CategoryManager manager(Cats("1"), *v.var, v.ds, v.dim.get());
    manager.OrderCategories();
    EXPECT_EQ(kvtest::Show(manager.GetCategories()), "1 S-101:s");
    manager.AddCategories(Cats("5 1"));
    EXPECT_EQ(kvtest::Show(manager.GetCategories()), "1 S-101:s 5");
    for (AggregationCategory* c : manager.GetCategories())
        if (c->GetCatType() == AggregationCategory::kSubtotal) pool.emplace_back(c);
}

TEST_F(LateCategories, ComputedCategoryCarriesTheItemsFormats)
{
    kvtest::CategoryScenario s("-", "-", "1");
    VESK_Format format;
    ParsedCategory item("diff", {"a", "b"}, false, {kCount, kCountPct0}, {kDisplayCount, kDisplayPercent},
                        {&format, &format}, ParsedCategory::kPCompute, 0);
    s.var->SetParsedCategories({&item});
    CategoryManager manager(Cats("1"), *s.var, s.ds, s.dim.get());
    manager.ProcessPComputeCategories();
    ASSERT_EQ(item.GetCategories().size(), 1u);
    std::unique_ptr<AggregationCategory> c(item.GetCategories()[0]);
    EXPECT_EQ(c->GetPCateName(), "diff");
    EXPECT_EQ(c->GetPCFormat(), (std::vector<StatisticCodes>{kCount, kCountPct0}));
    EXPECT_EQ(c->GetPCDisplayFormat(), (std::vector<DisplayFormat>{kDisplayCount, kDisplayPercent}));
    EXPECT_EQ(c->GetPCDecimal().size(), 2u);
    EXPECT_EQ(c->GetVarIndex(), s.vars[0]);
}

TEST(DichotomyLists, MembersSortByLabelWithTheUnlabelledLast)
{
    // Labels are the dichotomy's own here (the dimension names its members
    // only after ordering).
    kvtest::CategoryScenario s("md sortlabel total before", "-", "-");
    std::vector<std::unique_ptr<AggregationCategory>> pool;
    std::vector<AggregationCategory*> list{new AggregationCategory(AggregationCategory::kTotal)};
    for (const char* m : {"a:Beta", "b", "c:Alpha"}) {
        list.push_back(new AggregationCategory(AggregationCategory::kVariable));
        list.back()->SetCatValue(std::string(m, 1).c_str());
        list.back()->SetCatEncoding(static_cast<int>(list.size()));
        if (m[1]) list.back()->SetCatLabel(m + 2, false);
    }
    for (AggregationCategory* c : list) pool.emplace_back(c);
    CategoryManager manager(list, *s.var, s.ds, s.dim.get());
    EXPECT_EQ(manager.OrderMDCategories(), 4);
    EXPECT_EQ(kvtest::Show(manager.GetCategories()), "T c:Alpha a:Beta b");
}

TEST(CategoryManagerDeathTest, MisuseIsFatal)
{
    kvtest::CategoryScenario plain("-", "-", "1"), stat("stat=1", "-", "-"), label("sortlabel", "-", "-"),
        noEmpty("noempty", "-", "-"), listed("-", "2", "-"), dichotomy("md", "a b", "-");
    std::vector<std::unique_ptr<AggregationCategory>> pool;
    auto cats = [&pool](const std::string& words) { return Cats(pool, words); };
    auto manager = [](kvtest::CategoryScenario& s, const std::vector<AggregationCategory*>& list) {
        return CategoryManager(list, *s.var, s.ds, s.dim.get());
    };
    auto members = [&dichotomy](const std::vector<AggregationCategory*>& list) {
        return CategoryManager(list, *dichotomy.var, dichotomy.dim.get());
    };
    std::vector<double> one{1.0};
    kvtest::ScriptedDimension noMembers(std::vector<int>{});
    const std::string a = "V" + std::to_string(dichotomy.vars[0]);
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { manager(stat, cats("1")).AddCategories(cats("2")); },
         "_sortKey != TableEncryptionCodes::kStatisticSort"},
        {[&] { manager(plain, cats("")).AddCategories(cats("2")); }, "_categories.size() > 0"},
        {[&] { manager(label, cats("1:same")).AddCategories(cats("2:same")); }, "compRes != 0"},
        {[&] { manager(plain, cats("1 2")).OrderByStats(one); }, "(end - begin) == values.size()"},
        {[&] { manager(noEmpty, cats("")); }, "_categories.size() > 0 || _includeEmpty"},
        {[&] { manager(listed, cats("1")).OrderCategories(); }, "parsedCat"},
        {[&] { manager(plain, cats("1 V0")).SortCategoriesByLabels(); },
         "_categories[ i ]->GetCatType() == AggregationCategory::kValue"},
        {[&] { CategoryManager(cats("1"), *plain.var, plain.ds, &noMembers).GetVarIndexForLabel(cats("1")[0]); },
         "_varIndices.size() > 0"},
        // A dichotomy's member category belongs to its listed item, and to that item alone.
        {[&] { members(cats(a + " " + a)); }, "!parsedCat->HasCategories()"},
        {[&] { members(cats("V99")); }, "parsedCat"},
        {[&] { members(cats("")); }, "_categories.size() > 0"},
    };
    for (const auto& c : cases) EXPECT_DEATH(c.first(), "\"" + kvtest::AssertRegex(c.second) + "\"") << c.second;
}

TEST(DichotomyLists, MemberCategoriesAttachToTheirListedItems)
{
    kvtest::CategoryScenario s("md", "b a", "-");
    AggregationCategory ca(AggregationCategory::kVariable), cb(AggregationCategory::kVariable);
    ca.SetVarIndex(s.vars[0]);
    cb.SetVarIndex(s.vars[1]);
    CategoryManager manager({&ca, &cb}, *s.var, s.dim.get());
    EXPECT_EQ(s.items[1]->GetCategories(), (std::vector<AggregationCategory*>{&ca}));
    EXPECT_EQ(s.items[0]->GetCategories(), (std::vector<AggregationCategory*>{&cb}));
}
