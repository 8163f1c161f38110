// The workbook of hand-built result sets (tests/data/kvtables/xlsx.json),
// read back by openpyxl, against the layout worked out by hand; and what the
// format cannot hold: bad UTF-8 in labels, more columns than a sheet has.
#include <gtest/gtest.h>

#include <map>

#include <nlohmann/json.hpp>

#include "AggregationStatistic.h"
#include "Golden.h"
#include "ResultsJson.h"
#include "Renderers.h"
#include "TestSupport.h"
#include "UserError.h"

using namespace kvtables;
using Json = nlohmann::json;

namespace {

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
    const Json sheets = ReadBack(RenderXlsx(kvtest::ResultsFromJson(GetParam()["results"])));
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
    ResultSet rs = kvtest::ResultsFromJson(Json::parse(
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
    ResultSet rs = kvtest::ResultsFromJson(Json::parse(R"({"tables": [{"title": "Wide", "statistics": [{"name": "Count"}],
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
