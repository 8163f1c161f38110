// Tables that take less travelled paths: duplicate responses counted, string
// categories, a set in the layer, a case that no dimension accepts.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "EngineTables.h"

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

// The cases of EngineSets' multiple-category table; c2 answers 1 twice, which
// now counts as two responses:
//   gender 1: c1 hits {1, 2} (2 responses), c2 hits {1 x2, 3} (3 responses)
//   gender 2: c3 {2, 3}, c4 nothing, c5 {1, 3}
// Responses: (1, g1) = 1 + 2 = 3, (total, g1) = 5, (1, total) = 4, (total, total) = 9.
TEST(EngineEdges, DuplicateResponsesCountedWhenAsked)
{
    InMemoryDataset ds;
    FillSetCases(ds);
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationMCSet set({0, 1, 2}, "$q");
    AggregationVariable gender(3, "gender");
    AggregationCube* cube = TwoWayCube(table, set, gender);
    set.GetTableDimension()->SetComputingCounts(true);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kResponses),
                                 AggregationStatistic(TEC::kResponsesPct1),
                                 AggregationStatistic(TEC::kResponsesCountPct1)},
                                &set);
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    auto q = [&](double v) { return Val(set, v); };
    auto g = [&](double v) { return Val(gender, v); };
    EXPECT_CELL(Stat(a, {q(1), g(1)}, 0), 2);
    EXPECT_CELL(Stat(a, {q(1), g(1)}, 1), 3);
    EXPECT_CELL(Stat(a, {q(1), g(1)}, 2), 60);
    EXPECT_CELL(Stat(a, {q(1), g(1)}, 3), 150);
    EXPECT_CELL(Stat(a, {q(3), g(1)}, 1), 1);
    EXPECT_CELL(Stat(a, {Tot(set), g(1)}, 0), 2);
    EXPECT_CELL(Stat(a, {Tot(set), g(1)}, 1), 5);
    EXPECT_CELL(Stat(a, {Tot(set), g(1)}, 3), 250);
    EXPECT_CELL(Stat(a, {q(1), Tot(gender)}, 1), 4);
    EXPECT_CELL(Stat(a, {q(1), Tot(gender)}, 2), 400.0 / 9);
    EXPECT_CELL(Stat(a, {Tot(set), Tot(gender)}, 1), 9);
    EXPECT_CELL(Stat(a, {Tot(set), Tot(gender)}, 3), 225);
}

// String categories, with the set in the layer. Cases (sex, q1, q2):
//   F {a}   F {a, b}   M {b}   M {b, c}   F {c}
// Layer a: F 2;  layer b: F 1, M 2;  layer c: F 1, M 1.  Column % within each layer.
TEST(EngineEdges, StringRowsBySetInTheLayer)
{
    InMemoryDataset ds;
    int sex = ds.AddString("sex", 1);
    int q1 = ds.AddString("q1", 4);
    int q2 = ds.AddString("q2", 4);
    const char* rows[5][3] = {{"F", "a", ""}, {"F", "a", "b"}, {"M", "b", ""}, {"M", "b", "c"}, {"F", "", "c"}};
    for (auto& r : rows) {
        int row = ds.AppendCase();
        ds.SetString(row, sex, r[0]);
        ds.SetString(row, q1, r[1]);
        ds.SetString(row, q2, r[2]);
    }
    // A blank answer is no answer.
    ds.GetVariable(q1)->SetMissingStrings({""});
    ds.GetVariable(q2)->SetMissingStrings({""});
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationVariable sexVar(sex, "sex");
    AggregationMCSet set({q1, q2}, "$q");
    set.SetUserMissingVariable(q1);
    sexVar.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&sexVar, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&set, TableEncryptionCodes::kLayer);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct4),
                                 AggregationStatistic(TEC::kCountPct2)},
                                &set);
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    auto S = [](AggregationVariable& v, const char* text) -> const AggregationCategory* {
        for (const AggregationCategory* c : Cats(v))
            if (c->GetCatType() == AggregationCategory::kValue && c->GetCatValue().str[0] == text[0]) return c;
        return nullptr;
    };
    ASSERT_EQ(Cats(set).size(), 3u);
    EXPECT_CELL(Stat(a, {S(sexVar, "F"), S(set, "a")}, 0), 2);
    EXPECT_CELL(Stat(a, {S(sexVar, "F"), S(set, "a")}, 1), 100);
    EXPECT_EQ(Stat(a, {S(sexVar, "M"), S(set, "a")}, 0), kNoCell);
    EXPECT_CELL(Stat(a, {S(sexVar, "F"), S(set, "b")}, 1), 100.0 / 3);
    EXPECT_CELL(Stat(a, {S(sexVar, "M"), S(set, "b")}, 1), 200.0 / 3);
    EXPECT_CELL(Stat(a, {Tot(sexVar), S(set, "b")}, 0), 3);
    EXPECT_CELL(Stat(a, {Tot(sexVar), S(set, "c")}, 1), 100);
    EXPECT_CELL(Stat(a, {S(sexVar, "M"), S(set, "c")}, 1), 50);
    // The whole cube: 5 cases.
    EXPECT_CELL(Stat(a, {S(sexVar, "M"), S(set, "c")}, 2), 20);
    EXPECT_CELL(Stat(a, {Tot(sexVar), S(set, "b")}, 2), 60);
}

// An explicit list on both variables: a case outside both lists is rejected for
// the whole table and reaches no cube; one outside a single list reaches the cube
// but no cell and no percentage base.
TEST(EngineEdges, CasesOutsideTheListsReachNoCell)
{
    auto item = [](double v) {
        OBS o;
        o.num = v;
        return new ParsedCategory(o, 0);
    };
    std::unique_ptr<ParsedCategory> r1(item(1)), g1(item(1)), g2(item(2));
    InMemoryDataset ds;
    // (region, gender): (1,1) (1,2) (2,1) (2,3) (1,3)
    FillDataset(ds, {"region", "gender"}, {{1, 1}, {1, 2}, {2, 1}, {2, 3}, {1, 3}});
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationVariable region(0, "region"), gender(1, "gender");
    region.SetParsedCategories({r1.get()});
    gender.SetParsedCategories({g1.get(), g2.get()});
    AggregationCube* cube = TwoWayCube(table, region, gender);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0),
                                 AggregationStatistic(TEC::kCountPct2)},
                                &gender);
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    // Listed on both: (1,1) and (1,2).
    EXPECT_CELL(Stat(a, {Val(region, 1), Val(gender, 1)}, 0), 1);
    EXPECT_CELL(Stat(a, {Val(region, 1), Tot(gender)}, 0), 2);
    EXPECT_CELL(Stat(a, {Tot(region), Tot(gender)}, 0), 2);
    EXPECT_CELL(Stat(a, {Val(region, 1), Val(gender, 2)}, 1), 50);
    EXPECT_CELL(Stat(a, {Val(region, 1), Val(gender, 2)}, 2), 50);
    EXPECT_EQ(Val(region, 2), nullptr);
    EXPECT_EQ(Val(gender, 3), nullptr);
}

}  // namespace

namespace {

ParsedCategory* Member(int varIndex, int subtotal)
{
    auto* p = new ParsedCategory(ParsedCategory::kVariable);
    p->SetVarIndex(varIndex);
    p->SetSubtotalEncoding(subtotal);
    return p;
}

// A dichotomy set a, b, c listed as a, b, subtotal "ab" (-101), c, subtotal "c" (-102).
// Cases (a, b, c): (1,1,1) (1,0,0) (0,0,1) (0,1,1); unit weights.
//   a: cases 1, 2        count 2, responses 2
//   b: cases 1, 4        count 2, responses 2
//   c: cases 1, 3, 4     count 3, responses 3
//   ab: case 1 (2 hits), 2 (1), 4 (1): count 3, responses 4
//   c-subtotal: count 3, responses 3
//   total: 4 cases, 7 responses (3 + 1 + 1 + 2)
TEST(EngineEdges, DichotomySubtotalsCountCasesAndResponses)
{
    std::vector<std::unique_ptr<ParsedCategory>> items;
    items.emplace_back(Member(0, -101));
    items.emplace_back(Member(1, -101));
    items.emplace_back(new ParsedCategory("ab", false, -101, true));
    items.emplace_back(Member(2, -102));
    items.emplace_back(new ParsedCategory("c", false, -102, true));
    std::vector<ParsedCategory*> list;
    for (auto& p : items) list.push_back(p.get());

    InMemoryDataset ds;
    FillDataset(ds, {"a", "b", "c"}, {{1, 1, 1}, {1, 0, 0}, {0, 0, 1}, {0, 1, 1}});
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    OBS one;
    one.num = 1;
    AggregationMDSet set({0, 1, 2}, "$abc", &one, 0, false);
    set.SetParsedCategories(list);
    set.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&set, TableEncryptionCodes::kRow);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kResponses),
                                 AggregationStatistic(TEC::kCountPct2), AggregationStatistic(TEC::kResponsesPct2)},
                                &set);
    Feed(table, it);
    CubeAggregator* agg = table.GetCubeAggregators()[0];
    struct Row {
        const AggregationCategory* cat;
        double count, responses;
    } rows[] = {{Var(set, 0), 2, 2}, {Var(set, 1), 2, 2}, {Var(set, 2), 3, 3},
                {Sub(set, -101), 3, 4}, {Sub(set, -102), 3, 3}, {Tot(set), 4, 7}};
    for (const Row& r : rows) {
        ASSERT_NE(r.cat, nullptr);
        SCOPED_TRACE(testing::Message() << "category " << r.cat->GetCatEncoding());
        EXPECT_CELL(Stat(agg, {r.cat}, 0), r.count);
        EXPECT_CELL(Stat(agg, {r.cat}, 1), r.responses);
        EXPECT_CELL(Stat(agg, {r.cat}, 2), 25 * r.count);
        EXPECT_CELL(Stat(agg, {r.cat}, 3), 100 * r.responses / 7);
    }
}

}  // namespace

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
        std::string text(c->GetCatValue().str, 12);
        int r = std::stoi(text.substr(7, 4)) - 1000;
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

}  // namespace
