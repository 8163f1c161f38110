// The workbook of hand-built result sets (tests/data/kvtables/xlsx.json),
// read back by openpyxl, against the layout worked out by hand; and what the
// format cannot hold: bad UTF-8 in labels, more columns than a sheet has.
#include <gtest/gtest.h>

#include <map>

#include <nlohmann/json.hpp>

#include "AggregationStatistic.h"
#include "Golden.h"
#include "Renderers.h"
#include "TestSupport.h"
#include "UserError.h"

using namespace kvtables;
using Json = nlohmann::json;

namespace {

ResultNest Axis(const Json& variables)
{
    static const std::map<std::string, CategoryKind> kinds = {
        {"value", CategoryKind::Value}, {"total", CategoryKind::Total}, {"subtotal", CategoryKind::Subtotal}};
    ResultNest axis;
    for (const Json& v : variables) {
        axis.push_back({v["name"], v["label"], {}});
        for (const Json& c : v["categories"])
            axis.back().categories.push_back({kinds.at(c[0]), {}, c[2], c.size() > 3 ? c[3].get<std::string>() : ""});
    }
    return axis;
}

// An axis: one nest, or a list of nests (stacked).
std::vector<ResultNest> Stack(const Json& axis)
{
    if (axis.empty() || !axis[0].is_array()) return {Axis(axis)};
    std::vector<ResultNest> stack;
    for (const Json& element : axis) stack.push_back(Axis(element));
    return stack;
}

// A cell's place on a stacked axis: {"element": e, "categories": [...]}, or the categories of element 0.
void Place(const Json& j, size_t& element, std::vector<int>& categories)
{
    element = j.is_object() ? j["element"].get<size_t>() : 0;
    (j.is_object() ? j["categories"] : j).get_to(categories);
}

ResultSet Results(const Json& j)
{
    ResultSet rs;
    rs.skippedCases = j.value("skippedCases", 0);
    rs.weight = j.value("weight", "");
    for (const Json& t : j["tables"]) {
        ResultTable& table = rs.tables.emplace_back();
        table.title = t["title"];
        table.rows = Stack(t.value("rows", Json::array()));
        table.columns = Stack(t.value("columns", Json::array()));
        table.layers = Axis(t.value("layers", Json::array()));
        table.notes = t.value("notes", std::vector<std::string>{});
        for (const Json& s : t.value("statistics", Json::array())) {
            ResultStatistic& stat = table.statistics.emplace_back();
            stat.name = s["name"];
            stat.code = AggregationStatistic::GetStatisticCode(stat.name);
            stat.decimals = s.value("decimals", -1);
            stat.label = s.value("label", "");
        }
        for (const Json& c : t.value("cells", Json::array())) {
            ResultCell& cell = table.cells.emplace_back();
            Place(c[0], cell.rowElement, cell.rows);
            Place(c[1], cell.columnElement, cell.columns);
            c[2].get_to(cell.layers);
            cell.statistic = c[3];
            if (!c[4].is_null()) cell.value = c[4];
            if (c.size() > 5) c[5].get_to(cell.significantOver);
        }
    }
    return rs;
}

// The workbook as xlsx_dump.py reads it with Debian's openpyxl.
Json ReadBack(const std::string& workbook)
{
    const std::string path = kvtest::WriteTempFile("book.xlsx", workbook);
    const kvtest::ProgramRun run = kvtest::RunProgram(
        "/usr/bin/python3", ".", std::string(KV_SOURCE_DIR) + "/tests/support/xlsx_dump.py '" + path + "'");
    EXPECT_EQ(run.status, 0) << run.err;
    return Json::parse(run.out);
}

std::vector<Json> Cases()
{
    const std::string path = std::string(KV_SOURCE_DIR) + "/tests/data/kvtables/xlsx.json";
    return Json::parse(kvtest::ReadText(path))["cases"].get<std::vector<Json>>();
}

class Workbook : public ::testing::TestWithParam<Json> {};

TEST_P(Workbook, ReadsBackAsLaidOutByHand)
{
    const Json sheets = ReadBack(RenderXlsx(Results(GetParam()["results"])));
    const Json& expected = GetParam()["sheets"];
    ASSERT_EQ(sheets.size(), expected.size());
    for (size_t i = 0; i < sheets.size(); ++i)
        for (const auto& [key, value] : expected[i].items()) EXPECT_EQ(sheets[i][key], value) << "sheet " << i << " " << key;
}

INSTANTIATE_TEST_SUITE_P(Kvtables, Workbook, ::testing::ValuesIn(Cases()),
                         [](const auto& info) { return info.param["name"].template get<std::string>(); });

// Labels come from the data in whatever encoding they were saved: a byte
// that is no UTF-8 must cost a character, not the file.
TEST(KvtablesXlsx, TextIsMadeValidForTheFormat)
{
    const std::string bad = "Caf\xE9 \xED\xA0\x80 \xC0\xAF tab\tbell\x07 123456789\xF0\x9F\x98\x80";
    const std::string fixed = "Caf\uFFFD \uFFFD\uFFFD\uFFFD \uFFFD\uFFFD tab bell? 123456789\U0001F600";
    ResultSet rs = Results(Json::parse(
        R"({"tables": [{"title": "", "rows": [{"name": "v", "label": "", "categories": [["value", 1, ""]]}]}]})"));
    rs.tables[0].title = rs.tables[0].rows[0][0].categories[0].label = bad;
    const Json sheet = ReadBack(RenderXlsx(rs))[0];
    EXPECT_EQ(sheet["rows"][0][0], fixed);
    EXPECT_EQ(sheet["rows"][3][0], fixed);
    // In the name "?" is not allowed, and the last character, two UTF-16 units, would make 32 of the 31 allowed.
    EXPECT_EQ(sheet["name"], "Caf\uFFFD \uFFFD\uFFFD\uFFFD \uFFFD\uFFFD tab bell 123456789");
}

TEST(KvtablesXlsx, TableWiderThanASheetIsAUserError)
{
    ResultSet rs = Results(Json::parse(R"({"tables": [{"title": "Wide", "statistics": [{"name": "Count"}],
        "rows": [{"name": "r", "label": "", "categories": [["value", 1, "r"]]}],
        "columns": [{"name": "c", "label": "", "categories": []}]}]})"));
    rs.tables[0].columns[0][0].categories.resize(16384, ResultCategory{CategoryKind::Value, {}, "c", ""});
    try {
        RenderXlsx(rs);
        ADD_FAILURE() << "no error";
    } catch (const UserError& e) {
        EXPECT_STREQ(e.what(), "--format xlsx: table \"Wide\" needs 16,385 columns, more than a worksheet holds (16,384)");
    }
}

}  // namespace
