// Whole tables read from tests/data/engine/tables.json: each case is a dataset, a table's shape and the
// expected statistics of every displayed cell, written by an independent oracle (pandas/numpy,
// tests/support/engine_oracle.py). Beyond the oracle's cells, every case must give the same table whatever
// the order of its cases and after a reset and a second pass, and its totals must add up.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "EngineTables.h"
#include "TestSupport.h"

using namespace kvtest;
using json = nlohmann::json;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

const json& Doc()
{
    static const json doc = json::parse(std::ifstream(KV_SOURCE_DIR "/tests/data/engine/tables.json"));
    return doc;
}

const json& CaseAt(int i) { return Doc()["cases"][static_cast<size_t>(i)]; }

const json& Named(const std::string& name)
{
    for (const json& c : Doc()["cases"])
        if (c["name"] == name) return c;
    throw std::runtime_error("no case " + name);
}

// A case's table over its dataset, the cases fed in `order`. `stats`, when given, replaces the case's
// categorical statistics.
struct CaseTable {
    // Destroyed in reverse: the variables before the table, the listed items and counted values after it.
    std::vector<std::unique_ptr<ParsedCategory>> items;
    std::deque<OBS> counted;  // the dichotomy sets keep a pointer to their counted value
    InMemoryDataset ds;
    std::vector<std::string> columns;
    std::unique_ptr<DatasetIterator> it;
    std::unique_ptr<AggregationTable> table;
    std::vector<std::unique_ptr<AggregationVariable>> dims;
    CubeAggregator* agg = nullptr;

    CaseTable(const json& c, const std::vector<int>& order, const std::vector<AggregationStatistic>* stats = nullptr)
    {
        const json& data = Doc()["datasets"][c["data"].get<std::string>()];
        for (std::string col : data["columns"]) {
            size_t colon = col.find(':');
            columns.push_back(col.substr(0, colon));
            if (colon == std::string::npos) ds.AddNumeric(col);
            else ds.AddString(columns.back(), std::stoi(col.substr(colon + 1)));
        }
        for (int r : order) {
            int row = ds.AppendCase();
            for (size_t j = 0; j < columns.size(); ++j) {
                const json& v = data["rows"][static_cast<size_t>(r)][j];
                if (v.is_string()) ds.SetString(row, static_cast<int>(j), v);
                else if (v.is_number()) ds.SetNumeric(row, static_cast<int>(j), v);
            }
        }
        const json missing = c.value("missing", json::object());
        for (auto& [name, values] : missing.items()) {
            if (values[0].is_string()) ds.GetVariable(Column(name))->SetMissingStrings(values);
            else ds.GetVariable(Column(name))->SetMissingValues(values);
        }
        int w = c.contains("weight") ? Column(c["weight"]) : -1;
        it = std::make_unique<DatasetIterator>(ds, w);
        table = std::make_unique<AggregationTable>(*it, w >= 0, c.value("pairwise", false), w);
        table->SetCLabelOption(static_cast<TableEncryptionCodes::CLabelOption>(c.value("labelOption", 0)));
        AggregationCube* cube = table->CreateCube();
        for (const json& d : c["dims"]) {
            AggregationVariable& v = AddDim(d);
            v.SetIsTotalNo(!d.value("total", false));
            if (d.value("includeMissing", false)) v.SetIsMissingExclude(false);
            const std::string pos = d["pos"];
            cube->AddCategoricalVariable(&v, pos == "R"   ? TableEncryptionCodes::kRow
                                             : pos == "C" ? TableEncryptionCodes::kColumn
                                                          : TableEncryptionCodes::kLayer);
            if (d.value("countDuplicates", false)) v.GetTableDimension()->SetComputingCounts(true);
        }
        cube->CreateCubeAggregator();
        AggregationVariable* statsVar = c.contains("statsDim") ? dims[c["statsDim"].get<size_t>()].get() : nullptr;
        if (!statsVar) cube->AddScaleStatistics(Stats(c["stats"]));
        else if (stats) cube->AddCategoryStatistics(*stats, statsVar);
        else if (!c.contains("totalStats")) cube->AddCategoryStatistics(Stats(c["stats"]), statsVar);
        else cube->AddCategoryAndTotalStatistics(Stats(c["stats"]), statsVar, Stats(c["totalStats"]));
        Feed(*table, *it);
        agg = table->GetCubeAggregators()[0];
    }

    int Column(const std::string& name) const
    {
        return static_cast<int>(std::find(columns.begin(), columns.end(), name) - columns.begin());
    }

    std::vector<AggregationStatistic> Stats(const json& list) const
    {
        std::vector<AggregationStatistic> out;
        for (const json& s : list) {
            const auto code = static_cast<TEC>(s["code"].get<int>());
            out.push_back(s.contains("var") ? AggregationStatistic(Column(s["var"]), code)
                                            : AggregationStatistic(code));
            if (s.contains("cut")) out.back().SetPTileCutPoint(s["cut"]);
        }
        return out;
    }

    std::vector<int> Columns(const json& names) const
    {
        std::vector<int> out;
        for (const json& n : names) out.push_back(Column(n));
        return out;
    }

    AggregationVariable& AddDim(const json& d)
    {
        if (d.contains("var")) {
            dims.push_back(std::make_unique<AggregationVariable>(Column(d["var"]), d["var"]));
        } else if (d.contains("mc")) {
            auto set = std::make_unique<AggregationMCSet>(Columns(d["mc"]), "$mc");
            if (d.contains("missingVar")) set->SetUserMissingVariable(Column(d["missingVar"]));
            dims.push_back(std::move(set));
        } else {
            counted.emplace_back().num = d["counted"];
            dims.push_back(std::make_unique<AggregationMDSet>(Columns(d["md"]), "$md", &counted.back(), 0, false));
        }
        std::vector<ParsedCategory*> list;
        for (const json& i : d.value("list", json::array())) {
            OBS value;
            value.num = i.value("value", 0.0);
            if (i.contains("label"))
                items.push_back(std::make_unique<ParsedCategory>(i["label"], false, i["enc"], i["shown"]));
            else if (i.contains("member"))
                items.push_back(std::make_unique<ParsedCategory>(ParsedCategory::kVariable));
            else
                items.push_back(std::make_unique<ParsedCategory>(value, 0));
            if (i.contains("member")) items.back()->SetVarIndex(Column(i["member"]));
            if (i.contains("sub")) items.back()->SetSubtotalEncoding(i["sub"]);
            list.push_back(items.back().get());
        }
        if (!list.empty()) dims.back()->SetParsedCategories(list);
        return *dims.back();
    }

    // The category of dimension i that the oracle names: a number, "T", "S<subtotal>", "V<member>" or
    // "=<text>".
    const AggregationCategory* Find(size_t i, const json& sel) const
    {
        AggregationVariable& v = *dims[i];
        if (sel.is_number()) return Val(v, sel);
        const std::string s = sel;
        if (s == "T") return Tot(v);
        if (s[0] == 'S') return Sub(v, std::stoi(s.substr(1)));
        if (s[0] == 'V') return Var(v, Column(s.substr(1)));
        for (const AggregationCategory* c : Cats(v)) {
            std::string text(c->GetCatValue().str, sizeof(OBS));
            if (c->GetCatType() == AggregationCategory::kValue && c->GetValueType() > 0 &&
                text.substr(0, text.find_last_not_of(' ') + 1) == s.substr(1))
                return c;
        }
        return nullptr;
    }

    // Calls f for every cell of the displayed categories, the dimension `fixed` (if any) held at its
    // category `at`.
    template <class F>
    void ForEachCell(F f, size_t fixed = SIZE_MAX, const AggregationCategory* at = nullptr) const
    {
        std::vector<size_t> pos(dims.size(), 0);
        std::vector<const AggregationCategory*> cell(dims.size());
        for (;;) {
            for (size_t i = 0; i < dims.size(); ++i) cell[i] = i == fixed ? at : Cats(*dims[i])[pos[i]];
            f(cell);
            size_t i = 0;
            while (i < dims.size() && (i == fixed || ++pos[i] == Cats(*dims[i]).size())) pos[i++] = 0;
            if (i == dims.size()) return;
        }
    }

    std::vector<double> Snapshot() const
    {
        std::vector<double> out;
        const size_t n = std::min(agg->GetCellStats()->GetStatistics().size(),
                                  agg->GetTotalStats()->GetStatistics().size());
        ForEachCell([&](const std::vector<const AggregationCategory*>& cell) {
            for (size_t k = 0; k < n; ++k) out.push_back(Stat(agg, cell, static_cast<int>(k)));
        });
        return out;
    }
};

std::vector<int> InOrder(const json& c)
{
    std::vector<int> order(Doc()["datasets"][c["data"].get<std::string>()]["rows"].size());
    std::iota(order.begin(), order.end(), 0);
    return order;
}

class EngineCases : public testing::TestWithParam<int> {};
// The cases with categorical statistics, whose cubes have totals.
class EngineCategoricalCases : public EngineCases {};

std::string CaseName(const testing::TestParamInfo<int>& info) { return CaseAt(info.param)["name"]; }

TEST_P(EngineCases, EveryDisplayedCellMatchesTheOracle)
{
    const json& c = CaseAt(GetParam());
    CaseTable t(c, InOrder(c));
    // The oracle lists every cell of the categories it expects: the engine shows no others.
    size_t shown = 1;
    for (const auto& d : t.dims) shown *= Cats(*d).size();
    EXPECT_EQ(shown, c["cells"].size());
    for (const json& cell : c["cells"]) {
        SCOPED_TRACE(cell[0].dump());
        std::vector<const AggregationCategory*> cats;
        for (size_t i = 0; i < t.dims.size(); ++i) {
            cats.push_back(t.Find(i, cell[0][i]));
            ASSERT_NE(cats.back(), nullptr) << "dimension " << i;
        }
        if (cell[1].is_null()) {
            EXPECT_FALSE(t.agg->GetCellStatus(cats, -1));
            continue;
        }
        for (size_t k = 0; k < cell[1].size(); ++k)
            EXPECT_CELL(Stat(t.agg, cats, static_cast<int>(k)), cell[1][k].get<double>())
                << "statistic " << k;
    }
}

// Counts and percentages sum whole weights and divide the sums: exact in any order. Running means and
// sums of squares round differently, within a few units in the last place.
TEST_P(EngineCases, ShuffledCasesGiveTheSameTable)
{
    const json& c = CaseAt(GetParam());
    std::vector<int> order = InOrder(c);
    std::shuffle(order.begin(), order.end(), std::mt19937(20240611));
    const std::vector<double> expected = CaseTable(c, InOrder(c)).Snapshot();
    const std::vector<double> shuffled = CaseTable(c, order).Snapshot();
    ASSERT_EQ(shuffled.size(), expected.size());
    for (size_t k = 0; k < expected.size(); ++k) {
        if (c.contains("statsDim")) EXPECT_EQ(shuffled[k], expected[k]) << "value " << k;
        else EXPECT_TRUE(RelNear(shuffled[k], expected[k], 1e-12)) << "value " << k;
    }
}

// The cases cut at random into consecutive parts, each aggregated in a table of its own and merged in
// order into an empty one, directly or through the parts' saved states: the table of one pass, counts
// exactly, moments within rounding.
TEST_P(EngineCases, PartsMergedInOrderGiveTheSameTable)
{
    const json& c = CaseAt(GetParam());
    const std::vector<int> all = InOrder(c);
    const std::vector<double> expected = CaseTable(c, all).Snapshot();
    std::mt19937 random(static_cast<unsigned>(GetParam()));
    for (size_t k : {2, 7}) {
        for (bool throughBytes : {false, true}) {
            SCOPED_TRACE(testing::Message() << k << " parts" << (throughBytes ? " through bytes" : ""));
            std::vector<size_t> cuts{0, all.size()};
            for (size_t i = 1; i < k; ++i) cuts.push_back(random() % (all.size() + 1));
            std::sort(cuts.begin(), cuts.end());
            CaseTable merged(c, {});
            for (size_t p = 0; p + 1 < cuts.size(); ++p) {
                CaseTable part(c, std::vector<int>(all.begin() + cuts[p], all.begin() + cuts[p + 1]));
                if (!throughBytes) {
                    merged.table->Merge(*part.table);
                    continue;
                }
                const std::string blob = part.table->SaveState(42);
                CaseTable loaded(c, {});
                std::string host, error;
                ASSERT_TRUE(loaded.table->LoadState(blob.data(), blob.size(), 42, host, error)) << error;
                merged.table->Merge(*loaded.table);
            }
            merged.table->CompleteCases();
            const std::vector<double> got = merged.Snapshot();
            ASSERT_EQ(got.size(), expected.size());
            for (size_t i = 0; i < expected.size(); ++i) {
                if (c.contains("statsDim")) EXPECT_EQ(got[i], expected[i]) << "value " << i;
                else EXPECT_TRUE(RelNear(got[i], expected[i], 1e-12)) << "value " << i;
            }
        }
    }
}

// Tables merge only with another table of the same calls, never with themselves.
TEST(EngineMerge, OnlyTablesOfTheSameCallsMerge)
{
    CaseTable t(CaseAt(0), InOrder(CaseAt(0)));
    EXPECT_DEATH(t.table->Merge(*t.table), "&other != this");
    CaseTable other(Named("five_RRCCL_0"), InOrder(Named("five_RRCCL_0")));
    EXPECT_DEATH(t.table->Merge(*other.table), "_dimensions.size\\(\\) == other._dimensions.size\\(\\)");
}

TEST_P(EngineCases, ResetAndSecondPassGiveTheSameTable)
{
    const json& c = CaseAt(GetParam());
    CaseTable t(c, InOrder(c));
    const std::vector<double> first = t.Snapshot();
    t.table->ResetAggregator();
    EXPECT_TRUE(t.table->IsTableEmpty());
    ASSERT_TRUE(t.it->Rewind());
    Feed(*t.table, *t.it);
    EXPECT_EQ(t.Snapshot(), first);
}

// Over a categorical variable a total is the sum of its categories' cells (hidden subtotals standing for
// their members). A set's total counts each case once however many categories it hits, so its count lies
// between the largest cell and the sum; the responses of the statistics set add up.
TEST_P(EngineCategoricalCases, TotalsAreTheSumsOfTheirCells)
{
    const json& c = CaseAt(GetParam());
    const size_t statsDim = c["statsDim"];
    std::vector<AggregationStatistic> stats{AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kUCount)};
    if (!c["dims"][statsDim].contains("var")) stats.emplace_back(TEC::kResponses);
    CaseTable t(c, InOrder(c), &stats);
    auto value = [&](const std::vector<const AggregationCategory*>& cell, size_t k) {
        const double v = Stat(t.agg, cell, static_cast<int>(k));
        return v == kNoCell ? 0.0 : v;
    };
    for (size_t d = 0; d < t.dims.size(); ++d) {
        const AggregationCategory* total = Tot(*t.dims[d]);
        if (!total) continue;
        t.ForEachCell(
            [&](std::vector<const AggregationCategory*> cell) {
                for (size_t k = 0; k < stats.size(); ++k) {
                    SCOPED_TRACE(testing::Message() << "dimension " << d << ", statistic " << k);
                    double sum = 0, largest = 0;
                    for (const AggregationCategory* cat : Cats(*t.dims[d])) {
                        const int type = cat->GetCatType();
                        if (type != AggregationCategory::kValue && type != AggregationCategory::kVariable &&
                            type != AggregationCategory::kHSubtotal)
                            continue;
                        cell[d] = cat;
                        sum += value(cell, k);
                        largest = std::max(largest, value(cell, k));
                    }
                    cell[d] = total;
                    if (c["dims"][d].contains("var") || (k == 2 && d == statsDim)) {
                        EXPECT_EQ(value(cell, k), sum);
                    } else {
                        EXPECT_LE(value(cell, k), sum);
                        EXPECT_GE(value(cell, k), largest);
                    }
                }
            },
            d, total);
    }
}

std::vector<int> Cases(bool categoricalOnly)
{
    std::vector<int> out;
    for (int i = 0; i < static_cast<int>(Doc()["cases"].size()); ++i)
        if (!categoricalOnly || CaseAt(i).contains("statsDim")) out.push_back(i);
    return out;
}

INSTANTIATE_TEST_SUITE_P(Oracle, EngineCases, testing::ValuesIn(Cases(false)), CaseName);
INSTANTIATE_TEST_SUITE_P(Oracle, EngineCategoricalCases, testing::ValuesIn(Cases(true)), CaseName);

}  // namespace

namespace {

std::vector<const AggregationCategory*> At(const CaseTable& t, const json& sel)
{
    std::vector<const AggregationCategory*> cats;
    for (size_t i = 0; i < t.dims.size(); ++i) cats.push_back(t.Find(i, sel[i]));
    return cats;
}

// Total N adds the cases that a dimension leaves out (user- and system-missing) to its total, weighted or
// not (unit weights here); a shown user-missing value is a category but not a valid value. Cases (region,
// gender; 9 user-missing): (1, 1) (1, 2) (9, 1) (9, 2) (9, 2) (2, 1) (., 1).
TEST(EngineCasesMissing, TotalNCountsWhatTheCategoriesLeaveOut)
{
    const std::vector<AggregationStatistic> stats{
        AggregationStatistic(TEC::kTotalN), AggregationStatistic(TEC::kValidN), AggregationStatistic(TEC::kUTotalN)};
    const json& excludedCase = Named("missing_excluded");
    CaseTable excluded(excludedCase, InOrder(excludedCase), &stats);
    // Gender 1: regions 1, 2, 9 and one system-missing; gender 2: region 1 and 9 twice.
    const std::pair<json, double> totalN[] = {
        {json::array({"T", 1}), 4}, {json::array({"T", 2}), 3}, {json::array({"T", "T"}), 7}, {json::array({1, 2}), 1}};
    for (const auto& [sel, n] : totalN) {
        EXPECT_CELL(Stat(excluded.agg, At(excluded, sel), 0), n) << sel.dump();
        EXPECT_CELL(Stat(excluded.agg, At(excluded, sel), 2), n) << sel.dump();
    }
    const json& includedCase = Named("missing_included");
    CaseTable included(includedCase, InOrder(includedCase), &stats);
    EXPECT_CELL(Stat(included.agg, At(included, json::array({9, 2})), 1), 0);
    EXPECT_CELL(Stat(included.agg, At(included, json::array({1, 2})), 1), 1);
}

// With pair-wise tests the aggregator names, per summary variable, the slots that hold its sum of weights,
// mean and sum of squared deviations. Region 1, gender 1, income: weights 1, 2, 1, 3, W = 7, mean = 94 / 7,
// M2 = 6 * 3.20713490294909^2 (numpy, as in the oracle's pair-wise table).
TEST(EngineCasesScale, PairwiseSlotsHoldTheMeanAndVariance)
{
    const json& c = Named("scale_pairwise");
    CaseTable t(c, InOrder(c));
    const int slot = t.agg->GetMeanVarIndex(t.Column("income"), true);
    ASSERT_GE(slot, 0);
    // Age has only a mean: no slots of its own.
    EXPECT_EQ(t.agg->GetMeanVarIndex(t.Column("age"), true), -1);
    CellKey key(2);
    key[0] = t.Find(0, 1)->GetCatEncoding();
    key[1] = t.Find(1, 1)->GetCatEncoding();
    key.UpdateHashCode();
    const OBS* v = t.agg->GetCountMeanVariance(slot, key);
    ASSERT_NE(v, nullptr);
    EXPECT_CELL(v[0].num, 7);
    EXPECT_CELL(v[1].num, 94.0 / 7);
    EXPECT_NEAR(v[2].num, 6 * 3.20713490294909 * 3.20713490294909, 1e-9);
    // The case with a missing age counts too.
    EXPECT_CELL(t.agg->GetCount(key, true, false), 7);
    EXPECT_CELL(t.agg->GetCount(key, false, false), 4);
    // Region 1, gender 2 has a case with a missing income: counted, not in W.
    key[1] = t.Find(1, 2)->GetCatEncoding();
    key.UpdateHashCode();
    EXPECT_CELL(t.agg->GetCount(key, true, false), 6);
    EXPECT_CELL(t.agg->GetCountMeanVariance(slot, key)[0].num, 4);
}

}  // namespace
