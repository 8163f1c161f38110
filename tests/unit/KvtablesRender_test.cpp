// The four renderers over hand-built result sets; every expected document is
// written out by hand from the layout rules, not taken from the code.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Renderers.h"
#include "TableEncryptionCodes.h"

using namespace kvtables;
using namespace TableEncryptionCodes;

namespace {

const double kMissing = SystemMissing();

ResultCategory Val(double v, const std::string& label) { return {CategoryKind::Value, v, label}; }
ResultCategory Str(const std::string& v, const std::string& label) { return {CategoryKind::Value, v, label}; }
ResultCategory Total(const std::string& label = "Total") { return {CategoryKind::Total, std::monostate{}, label}; }

ResultStatistic Stat(int code, const std::string& name) { return ResultStatistic{code, name, {}, {}, {}, {}, -1}; }

ResultCell Cell(std::vector<int> rows, std::vector<int> cols, std::vector<int> layers, int stat, double v,
                double v2 = kMissing, double v3 = kMissing)
{
    ResultCell c;
    c.rows = std::move(rows);
    c.columns = std::move(cols);
    c.layers = std::move(layers);
    c.statistic = stat;
    c.value = v;
    c.value2 = v2;
    c.value3 = v3;
    return c;
}

// Region (North, South, Total) by gender (Female, Male): counts, one missing.
ResultTable RegionByGender()
{
    ResultTable t;
    t.title = "Region by gender";
    t.rows = {{"region", "Region", {Val(1, "North"), Val(2, "South"), Total()}}};
    t.columns = {{"gender", "Gender", {Str("F", "Female"), Str("M", "Male")}}};
    t.statistics = {Stat(kCount, "Count")};
    t.cells = {Cell({0}, {0}, {}, 0, 12), Cell({0}, {1}, {}, 0, 5), Cell({1}, {0}, {}, 0, 3),
               Cell({1}, {1}, {}, 0, kMissing), Cell({2}, {0}, {}, 0, 15), Cell({2}, {1}, {}, 0, 5)};
    return t;
}

TEST(KvtablesText, CrossTableWithTotalsAndMissingAsDot)
{
    ResultSet rs;
    rs.tables = {RegionByGender()};
    // "Female" is wider than the counts under it and widens its column.
    const std::string expected =
        "Region by gender\n"
        "\n"
        "        Gender\n"
        "        Female  Male\n"
        "Region   Count  Count\n"
        "---------------------\n"
        "North       12      5\n"
        "South        3      .\n"
        "Total       15      5\n";
    EXPECT_EQ(RenderText(rs), expected);
}

TEST(KvtablesText, LongLabelsAreCutVisibly)
{
    // 44 characters: the first 39 are kept and an ellipsis marks the cut (40 in all).
    ResultSet rs;
    ResultTable t = RegionByGender();
    t.rows[0].categories[0].label = "A region whose name is much too long to show";
    rs.tables = {t};
    const std::string text = RenderText(rs);
    EXPECT_NE(text.find("A region whose name is much too long to\u2026 "), std::string::npos) << text;
    EXPECT_EQ(text.find("to show"), std::string::npos);
}

TEST(KvtablesText, NestedRowsAndOnePanelPerLayer)
{
    ResultTable t;
    t.title = "T";
    t.layers = {{"wave", "Wave", {Val(2023, "2023"), Val(2024, "2024")}}};
    t.rows = {{"region", "Region", {Val(1, "N"), Val(2, "S")}}, {"sex", "Sex", {Str("f", "F"), Str("m", "M")}}};
    t.statistics = {Stat(kCount, "Count")};
    int v = 1;
    for (int l = 0; l < 2; ++l)
        for (int r = 0; r < 2; ++r)
            for (int s = 0; s < 2; ++s) t.cells.push_back(Cell({r, s}, {}, {l}, 0, v++));
    ResultSet rs;
    rs.tables = {t};
    rs.skippedCases = 4;
    const std::string expected =
        "T\n"
        "Wave: 2023\n"
        "\n"
        "Region  Sex  Count\n"
        "------------------\n"
        "N       F        1\n"
        "        M        2\n"
        "S       F        3\n"
        "        M        4\n"
        "\n"
        "T\n"
        "Wave: 2024\n"
        "\n"
        "Region  Sex  Count\n"
        "------------------\n"
        "N       F        5\n"
        "        M        6\n"
        "S       F        7\n"
        "        M        8\n"
        "\n"
        "4 cases were skipped for a missing, zero or negative weight.\n";
    EXPECT_EQ(RenderText(rs), expected);
}

TEST(KvtablesText, WideTablesWrapIntoBlocksAndRepeatTheirLabels)
{
    ResultTable t;
    t.title = "Brands";
    t.columns = {{"brand", "Brand", {Val(1, "Alpha"), Val(2, "Beta"), Val(3, "Gamma")}}};
    t.statistics = {Stat(kCount, "Count"), Stat(kCountPct0, "CountPct0")};
    t.cells = {Cell({}, {0}, {}, 0, 10), Cell({}, {0}, {}, 1, 100.0 / 3), Cell({}, {1}, {}, 0, 5),
               Cell({}, {1}, {}, 1, 50.0 / 3), Cell({}, {2}, {}, 0, 15), Cell({}, {2}, {}, 1, 50)};
    ResultSet rs;
    rs.tables = {t};
    // Widths 5 and 9 alternate; 30 columns take three, then the other three.
    const std::string expected =
        "Brands\n"
        "\n"
        "Brand\n"
        "Alpha             Beta\n"
        "Count  CountPct0  Count\n"
        "-----------------------\n"
        "   10       33.3      5\n"
        "\n"
        "Brand\n"
        "Beta       Gamma\n"
        "CountPct0  Count  CountPct0\n"
        "---------------------------\n"
        "     16.7     15       50.0\n";
    EXPECT_EQ(RenderText(rs, TextOptions{30}), expected);
    // Unlimited width: one block.
    EXPECT_NE(RenderText(rs).find("Alpha             Beta              Gamma\n"), std::string::npos);
}

TEST(KvtablesText, NestedColumnsAndParameterHeadings)
{
    ResultTable t;
    t.title = "Income";
    t.rows = {{"r", "", {Val(1, "One")}}};
    t.columns = {{"a", "A", {Val(1, "a1"), Val(2, "a2")}}, {"b", "B", {Val(1, "b1"), Total("All")}}};
    ResultStatistic p = Stat(kPtile, "Ptile");
    p.cut = 25;
    p.decimals = 1;
    t.statistics = {p};
    t.cells = {Cell({0}, {0, 0}, {}, 0, 1.26), Cell({0}, {0, 1}, {}, 0, -0.01), Cell({0}, {1, 0}, {}, 0, 100),
               Cell({0}, {1, 1}, {}, 0, kMissing)};
    ResultSet rs;
    rs.tables = {t};
    // Four columns of width 8 ("Ptile 25"); a variable without a label shows its name.
    const std::string expected =
        "Income\n"
        "\n"
        "     A\n"
        "     a1                  a2\n"
        "     B                   B\n"
        "     b1        All       b1        All\n"
        "r    Ptile 25  Ptile 25  Ptile 25  Ptile 25\n"
        "-------------------------------------------\n"
        "One       1.3       0.0     100.0         .\n";
    EXPECT_EQ(RenderText(rs), expected);
}

TEST(KvtablesFormat, DecimalsAndMissing)
{
    EXPECT_EQ(FormatFixed(kMissing, 2), ".");
    EXPECT_EQ(FormatFixed(std::nan(""), 2), ".");
    EXPECT_EQ(FormatFixed(-0.04, 1), "0.0");
    EXPECT_EQ(FormatFixed(-0.06, 1), "-0.1");
    EXPECT_EQ(FormatFixed(2.5, 0), "2");  // round half to even, as printf does
    EXPECT_EQ(FormatShortest(52.3), "52.3");
    EXPECT_EQ(FormatShortest(12), "12");
    // Counts by the weight's precision, unweighted counts whole, percentages
    // one decimal, means two more than the variable, medians as the variable.
    EXPECT_EQ(DisplayDecimals(kCount, 2, 1), 2);
    EXPECT_EQ(DisplayDecimals(kUCount, 2, 1), 0);
    EXPECT_EQ(DisplayDecimals(kCountLT, 1, 3), 1);
    EXPECT_EQ(DisplayDecimals(kValidN, 1, 3), 1);
    EXPECT_EQ(DisplayDecimals(kCountPct1UCL, 2, 1), 1);
    EXPECT_EQ(DisplayDecimals(kPctGELE, 2, 3), 1);
    EXPECT_EQ(DisplayDecimals(kMean, 2, 1), 3);
    EXPECT_EQ(DisplayDecimals(kStdDev, 2, 0), 2);
    EXPECT_EQ(DisplayDecimals(kMedian, 2, 1), 1);
    EXPECT_EQ(DisplayDecimals(kPtileUCL, 2, 0), 0);
}

ResultSet JsonCase()
{
    ResultTable t;
    t.title = "T \"q\"";
    t.rows = {{"region", "Region", {Val(1, "North"), Total()}}};
    t.columns = {{"media", "Media", {{CategoryKind::Variable, std::string("tv"), "Television"}}}};
    ResultStatistic p = Stat(kPtile, "Ptile");
    p.cut = 25;
    t.statistics = {Stat(kCountPct1, "CountPct1"), p};
    t.cells = {Cell({0}, {0}, {}, 0, 52.3, 40.5, 64), Cell({0}, {0}, {}, 1, kMissing),
               Cell({1}, {0}, {}, 0, 100)};
    ResultSet rs;
    rs.tables = {t};
    rs.skippedCases = 2;
    return rs;
}

TEST(KvtablesJson, CellsInOrderWithNullsAndParameters)
{
    const std::string expected =
        "{\"tables\": [\n"
        "  {\"title\": \"T \\\"q\\\"\",\n"
        "   \"cells\": [\n"
        "    {\"rows\":[{\"variable\":\"region\",\"category\":\"value\",\"value\":1,\"label\":\"North\"}],"
        "\"columns\":[{\"variable\":\"media\",\"category\":\"variable\",\"value\":\"tv\",\"label\":\"Television\"}],"
        "\"layers\":[],\"statistic\":\"CountPct1\",\"value\":52.3,\"value2\":40.5,\"value3\":64},\n"
        "    {\"rows\":[{\"variable\":\"region\",\"category\":\"value\",\"value\":1,\"label\":\"North\"}],"
        "\"columns\":[{\"variable\":\"media\",\"category\":\"variable\",\"value\":\"tv\",\"label\":\"Television\"}],"
        "\"layers\":[],\"statistic\":\"Ptile\",\"cut\":25,\"value\":null,\"value2\":null,\"value3\":null},\n"
        "    {\"rows\":[{\"variable\":\"region\",\"category\":\"total\",\"value\":null,\"label\":\"Total\"}],"
        "\"columns\":[{\"variable\":\"media\",\"category\":\"variable\",\"value\":\"tv\",\"label\":\"Television\"}],"
        "\"layers\":[],\"statistic\":\"CountPct1\",\"value\":100,\"value2\":null,\"value3\":null}\n"
        "   ]}\n"
        "], \"skippedCases\": 2}\n";
    const std::string out = RenderJson(JsonCase());
    EXPECT_EQ(out, expected);
    // And it is one JSON document.
    auto doc = nlohmann::json::parse(out);
    EXPECT_EQ(doc["tables"][0]["cells"].size(), 3u);
}

TEST(KvtablesJson, EmptyResult)
{
    ResultSet rs;
    EXPECT_EQ(RenderJson(rs), "{\"tables\": [], \"skippedCases\": 0}\n");
    EXPECT_TRUE(nlohmann::json::accept(RenderJson(rs)));
}

TEST(KvtablesCsv, OneRowPerCellWithQuotingAndCommonColumns)
{
    ResultSet rs = JsonCase();
    ResultTable second;
    second.title = "Say \"hi\", all";
    second.layers = {{"wave", "Wave", {Val(1.5, "line\nbreak")}}};
    second.rows = {{"a", "", {Str(" x", "x, y")}}, {"b", "", {Val(2, "two")}}};
    ResultStatistic range = Stat(kCountGELE, "CountGELE");
    range.lower = 1;
    range.upper = 2.5;
    second.statistics = {range};
    second.cells = {Cell({0, 0}, {}, {0}, 0, 7)};
    rs.tables.push_back(second);
    const std::string expected =
        "table,title,layer1_variable,layer1_category,layer1_value,layer1_label,"
        "row1_variable,row1_category,row1_value,row1_label,row2_variable,row2_category,row2_value,row2_label,"
        "column1_variable,column1_category,column1_value,column1_label,"
        "statistic,cut,lower,upper,level,value,value2,value3\n"
        "1,\"T \"\"q\"\"\",,,,,region,value,1,North,,,,,media,variable,tv,Television,CountPct1,,,,,52.3,40.5,64\n"
        "1,\"T \"\"q\"\"\",,,,,region,value,1,North,,,,,media,variable,tv,Television,Ptile,25,,,,,,\n"
        "1,\"T \"\"q\"\"\",,,,,region,total,,Total,,,,,media,variable,tv,Television,CountPct1,,,,,100,,\n"
        "2,\"Say \"\"hi\"\", all\",wave,value,1.5,\"line\nbreak\",a,value,\" x\",\"x, y\",b,value,2,two,"
        ",,,,CountGELE,,1,2.5,,7,,\n";
    EXPECT_EQ(RenderCsv(rs), expected);
}

TEST(KvtablesHtml, NestedLabelsSpanAndTextIsEscaped)
{
    ResultTable t;
    t.title = "<b>Fish & chips</b>";
    t.rows = {{"a", "A", {Val(1, "x"), Val(2, "y")}}, {"b", "B", {Val(1, "p"), Val(2, "q")}}};
    t.columns = {{"c", "C", {Val(1, "c1"), Val(2, "c'2\"")}}};
    t.statistics = {Stat(kCount, "Count")};
    t.cells = {Cell({0, 0}, {0}, {}, 0, 1), Cell({0, 0}, {1}, {}, 0, 2), Cell({0, 1}, {0}, {}, 0, 3),
               Cell({0, 1}, {1}, {}, 0, kMissing), Cell({1, 0}, {0}, {}, 0, 5), Cell({1, 0}, {1}, {}, 0, 6),
               Cell({1, 1}, {0}, {}, 0, 7)};  // (y, q, c2) is absent: an empty cell
    ResultSet rs;
    rs.tables = {t};
    const std::string out = RenderHtml(rs);
    const std::string expectedTable =
        "<section>\n<h2>&lt;b&gt;Fish &amp; chips&lt;/b&gt;</h2>\n"
        "<table>\n<thead>\n"
        "<tr><td colspan=\"2\" rowspan=\"2\"></td><th scope=\"colgroup\" colspan=\"2\">C</th></tr>\n"
        "<tr><th scope=\"colgroup\">c1</th><th scope=\"colgroup\">c&#39;2&quot;</th></tr>\n"
        "<tr><th scope=\"col\">A</th><th scope=\"col\">B</th><th scope=\"col\">Count</th><th scope=\"col\">Count</th></tr>\n"
        "</thead>\n<tbody>\n"
        "<tr><th scope=\"rowgroup\" rowspan=\"2\">x</th><th scope=\"row\">p</th><td>1</td><td>2</td></tr>\n"
        "<tr><th scope=\"row\">q</th><td>3</td><td>.</td></tr>\n"
        "<tr><th scope=\"rowgroup\" rowspan=\"2\">y</th><th scope=\"row\">p</th><td>5</td><td>6</td></tr>\n"
        "<tr><th scope=\"row\">q</th><td>7</td><td></td></tr>\n"
        "</tbody>\n</table>\n</section>\n";
    EXPECT_NE(out.find(expectedTable), std::string::npos) << out;
    EXPECT_EQ(out.rfind("<!DOCTYPE html>\n", 0), 0u);
    EXPECT_NE(out.find("<meta charset=\"utf-8\">"), std::string::npos);
    EXPECT_NE(out.find("<style>"), std::string::npos);
    // Standalone: nothing is fetched.
    EXPECT_EQ(out.find("http"), std::string::npos);
    EXPECT_EQ(out.find("<link"), std::string::npos);
    EXPECT_EQ(out.substr(out.size() - 8), "</html>\n");
}

TEST(KvtablesHtml, LayersBecomePanelsAndNestedColumnsSpan)
{
    ResultTable t;
    t.title = "L";
    t.layers = {{"w", "Wave", {Val(1, "One"), Val(2, "Two")}}};
    t.columns = {{"a", "A", {Val(1, "a1"), Val(2, "a2")}}, {"b", "B", {Val(1, "b1")}}};
    t.statistics = {Stat(kCount, "Count"), Stat(kCountPct0, "CountPct0")};
    ResultSet rs;
    rs.tables = {t};
    const std::string out = RenderHtml(rs);
    EXPECT_NE(out.find("<p class=\"layer\">Wave: One</p>\n<table>"), std::string::npos);
    EXPECT_NE(out.find("<p class=\"layer\">Wave: Two</p>\n<table>"), std::string::npos);
    // Without row variables there is no corner cell.
    EXPECT_NE(out.find("<thead>\n<tr><th scope=\"colgroup\" colspan=\"4\">A</th></tr>\n"
                       "<tr><th scope=\"colgroup\" colspan=\"2\">a1</th><th scope=\"colgroup\" colspan=\"2\">a2</th></tr>\n"
                       "<tr><th scope=\"colgroup\" colspan=\"2\">B</th><th scope=\"colgroup\" colspan=\"2\">B</th></tr>\n"
                       "<tr><th scope=\"colgroup\" colspan=\"2\">b1</th><th scope=\"colgroup\" colspan=\"2\">b1</th></tr>\n"),
              std::string::npos)
        << out;
    // No cells at all: one empty data row of four cells.
    EXPECT_NE(out.find("<tbody>\n<tr><td></td><td></td><td></td><td></td></tr>\n</tbody>"), std::string::npos);
}

}  // namespace
