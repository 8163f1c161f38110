// The four renderers over the hand-built result sets of
// tests/data/kvtables/render.json, whose documents were written out by hand
// from the layout rules; and the number formats they share.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include <nlohmann/json.hpp>

#include "AggregationStatistic.h"
#include "Golden.h"
#include "ResultsJson.h"
#include "Renderers.h"
#include "TableEncryptionCodes.h"

using namespace kvtables;
using namespace TableEncryptionCodes;
using Json = nlohmann::json;

namespace {

std::vector<Json> Cases()
{
    const std::string path = std::string(KV_SOURCE_DIR) + "/tests/data/kvtables/render.json";
    return Json::parse(kvtest::ReadText(path))["cases"].get<std::vector<Json>>();
}

class Render : public ::testing::TestWithParam<Json> {};

TEST_P(Render, AsWrittenByHand)
{
    const Json& c = GetParam();
    const ResultSet rs = kvtest::ResultsFromJson(c["results"]);
    const std::string format = c["format"];
    const std::string out = format == "text" ? RenderText(rs, TextOptions{c.value("width", 0)})
                            : format == "json" ? RenderJson(rs)
                            : format == "csv"  ? RenderCsv(rs)
                                               : RenderHtml(rs);
    if (c.contains("expected")) {
        std::string expected;
        for (const Json& line : c["expected"]) expected += line.get<std::string>() + "\n";
        expected.pop_back();  // the lines of a document that ends in a line break end in ""
        EXPECT_EQ(out, expected);
    }
    for (const Json& part : c.value("contains", Json::array()))
        EXPECT_NE(out.find(part.get<std::string>()), std::string::npos) << part << "\nin\n" << out;
    for (const Json& part : c.value("lacks", Json::array()))
        EXPECT_EQ(out.find(part.get<std::string>()), std::string::npos) << part << "\nin\n" << out;
    EXPECT_TRUE(format != "json" || Json::accept(out)) << "one JSON document";
    if (format == "html") {
        // A standalone page: nothing is fetched.
        EXPECT_EQ(out.rfind("<!DOCTYPE html>\n", 0), 0u);
        EXPECT_NE(out.find("<meta charset=\"utf-8\">"), std::string::npos);
        EXPECT_EQ(out.find("http"), std::string::npos);
        EXPECT_EQ(out.find("<link"), std::string::npos);
        EXPECT_EQ(out.substr(out.size() - 8), "</html>\n");
    }
}

INSTANTIATE_TEST_SUITE_P(Kvtables, Render, ::testing::ValuesIn(Cases()),
                         [](const auto& info) { return info.param["name"].template get<std::string>(); });

TEST(KvtablesFormat, DecimalsAndMissing)
{
    EXPECT_EQ(FormatFixed(SystemMissing(), 2), ".");
    EXPECT_EQ(FormatFixed(std::nan(""), 2), ".");
    EXPECT_EQ(FormatFixed(-0.04, 1), "0.0");
    EXPECT_EQ(FormatFixed(-0.06, 1), "-0.1");
    // Halves away from zero on the number as written: 2.675 is stored just
    // below itself, and printf would say 2.67 (and 494 for 494.5, a tie).
    const std::pair<double, int> halves[] = {{494.5, 0}, {-494.5, 0}, {2.675, 2}, {0.125, 2}, {9.95, 1}, {99.5, 0},
                                             {0.0005, 3}, {1e-9, 2}};
    const char* rounded[] = {"495", "-495", "2.68", "0.13", "10.0", "100", "0.001", "0.00"};
    for (size_t i = 0; i < std::size(halves); ++i)
        EXPECT_EQ(FormatFixed(halves[i].first, halves[i].second), rounded[i]) << halves[i].first;
    EXPECT_EQ(FormatGrouped(-1234567.891, 2), "-1,234,567.89");
    EXPECT_EQ(FormatGrouped(999.96, 1), "1,000.0");
    EXPECT_EQ(FormatGrouped(123, 0), "123");
    EXPECT_EQ(FormatShortest(52.3), "52.3");
    EXPECT_EQ(FormatShortest(12), "12");
    // Counts by the weight's precision, unweighted counts whole, percentages
    // one decimal, means two more than the variable, medians as the variable.
    const int cases[][4] = {{kCount, 2, 1, 2},       {kUCount, 2, 1, 0},   {kCountLT, 1, 3, 1}, {kValidN, 1, 3, 1},
                            {kCountPct1UCL, 2, 1, 1}, {kPctGELE, 2, 3, 1}, {kMean, 2, 1, 3},    {kStdDev, 2, 0, 2},
                            {kMedian, 2, 1, 1},       {kPtileUCL, 2, 0, 0}};
    for (const auto& c : cases) EXPECT_EQ(DisplayDecimals(c[0], c[1], c[2]), c[3]) << c[0];
}

}  // namespace
