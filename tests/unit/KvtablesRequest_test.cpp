// The request file: every kind of mistake gets a message that names the file
// and the JSON path; a valid request gets its defaults resolved.
#include <gtest/gtest.h>

#include <string>

#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "UserError.h"

using namespace kvtables;

namespace {

// The dictionary the requests are checked against.
class Dictionary {
public:
    Dictionary()
    {
        ds.AddNumeric("region", "Region");
        ds.AddString("gender", 1, "Gender");
        ds.AddNumeric("income", "Income");
        ds.AddNumeric("wt");
        ds.AddNumeric("b1");
        ds.AddNumeric("b2");
        ds.AddNumeric("b3");
        ds.AddString("s1", 3);
        ds.AddNumeric("tv");
        ds.AddNumeric("radio");
        ds.AddString("name", 5);
    }
    InMemoryDataset ds;
};

// A request around the given tables (and optional extra top-level members).
std::string Req(const std::string& tables, const std::string& extra = "")
{
    return R"({"data": "survey.csv", )" + extra + R"("tables": [)" + tables + "]}";
}

const std::string kSets =
    R"("sets": [{"name": "brands", "type": "categories", "variables": ["b1", "b2", "b3"]},
                {"name": "media", "type": "dichotomies", "variables": ["tv", "radio"], "countedValue": 1}], )";

Request ParseAndValidate(const std::string& text)
{
    static Dictionary dict;
    Request r = ParseRequest(text, "req.json", "/data/dir");
    ValidateRequest(r, dict.ds);
    return r;
}

std::string ErrorOf(const std::string& text)
{
    try {
        ParseAndValidate(text);
    } catch (const UserError& e) {
        return e.what();
    }
    return "(no error)";
}

struct ErrorCase {
    const char* id;
    std::string request;
    std::string message;
};

void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.id; }

class RequestErrors : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(RequestErrors, NameTheFileAndThePath)
{
    EXPECT_EQ(ErrorOf(GetParam().request), GetParam().message);
}

const std::string kT = R"({"rows": ["region"], "columns": ["gender"]})";

INSTANTIATE_TEST_SUITE_P(
    Kvtables, RequestErrors,
    ::testing::Values(
        // JSON and the top level
        ErrorCase{"Syntax", "{\"data\": \"x.csv\",\n \"tables\": [}",
                  "req.json: invalid JSON: parse error at line 2, column 13: syntax error while parsing value - "
                  "unexpected '}'; expected '[', '{', or a literal"},
        ErrorCase{"DuplicateKey", R"({"data": "a", "data": "b", "tables": []})",
                  "req.json: invalid JSON: key \"data\" is given twice in one object"},
        ErrorCase{"NotAnObject", "[1]", "req.json: /: expected an object, got an array"},
        ErrorCase{"NoData", R"({"tables": [{"rows": ["region"]}]})", "req.json: /: missing key \"data\""},
        ErrorCase{"UnknownTopKey", Req(kT, R"("weigth": "wt", )"),
                  "req.json: /weigth: unknown key \"weigth\" (known keys: data, dictionary, weight, ciLevel, "
                  "missing, labelOption, sets, tables)"},
        ErrorCase{"NoTables", Req(""), "req.json: /tables: must list at least one table"},
        ErrorCase{"CiLevel", Req(kT, R"("ciLevel": 100, )"), "req.json: /ciLevel: level 100 is outside (0, 100)"},
        ErrorCase{"MissingMode", Req(kT, R"("missing": "casewise", )"),
                  "req.json: /missing: unknown value \"casewise\" (expected one of \"pairwise\", \"listwise\")"},
        ErrorCase{"LabelOption", Req(kT, R"("labelOption": 3, )"),
                  "req.json: /labelOption: expected a string, got a number"},
        ErrorCase{"UnknownWeight", Req(kT, R"("weight": "w", )"), "req.json: /weight: unknown variable \"w\""},
        ErrorCase{"StringWeight", Req(kT, R"("weight": "gender", )"),
                  "req.json: /weight: weight variable \"gender\" is not numeric"},
        // sets
        ErrorCase{"SetType", Req(kT, R"("sets": [{"name": "s", "type": "multi", "variables": ["b1"]}], )"),
                  "req.json: /sets/0/type: unknown value \"multi\" (expected one of \"categories\", \"dichotomies\")"},
        ErrorCase{"SetKeyOfOtherType",
                  Req(kT, R"("sets": [{"name": "s", "type": "categories", "variables": ["b1"], "countedValue": 1}], )"),
                  "req.json: /sets/0/countedValue: unknown key \"countedValue\" (known keys: name, type, variables, "
                  "label, countDuplicates, missingVariable)"},
        ErrorCase{"SetUnknownMember", Req(kT, R"("sets": [{"name": "s", "type": "categories", "variables": ["b1", "b9"]}], )"),
                  "req.json: /sets/0/variables/1: unknown variable \"b9\""},
        ErrorCase{"SetMemberTwice", Req(kT, R"("sets": [{"name": "s", "type": "categories", "variables": ["b1", "b1"]}], )"),
                  "req.json: /sets/0/variables/1: variable \"b1\" is listed twice"},
        ErrorCase{"SetMixedTypes",
                  Req(kT, R"("sets": [{"name": "s", "type": "categories", "variables": ["b1", "b2", "s1"]}], )"),
                  "req.json: /sets/0/variables/2: set \"s\" mixes numeric and string variables (\"s1\" is string, "
                  "\"b1\" is numeric)"},
        ErrorCase{"SetNamedLikeVariable", Req(kT, R"("sets": [{"name": "b1", "type": "categories", "variables": ["b2"]}], )"),
                  "req.json: /sets/0/name: set name \"b1\" is already the name of a variable"},
        ErrorCase{"SetNameTwice",
                  Req(kT, R"("sets": [{"name": "s", "type": "categories", "variables": ["b2"]},
                                      {"name": "s", "type": "categories", "variables": ["b3"]}], )"),
                  "req.json: /sets/1/name: set name \"s\" is used twice"},
        ErrorCase{"MissingVariableNotMember",
                  Req(kT, R"("sets": [{"name": "s", "type": "categories", "variables": ["b1"], "missingVariable": "b2"}], )"),
                  "req.json: /sets/0/missingVariable: variable \"b2\" is not a member of set \"s\""},
        ErrorCase{"CountedValueMissing", Req(kT, R"("sets": [{"name": "m", "type": "dichotomies", "variables": ["tv"]}], )"),
                  "req.json: /sets/0: missing key \"countedValue\""},
        ErrorCase{"CountedValueType",
                  Req(kT, R"("sets": [{"name": "m", "type": "dichotomies", "variables": ["tv"], "countedValue": "1"}], )"),
                  "req.json: /sets/0/countedValue: counted value \"1\" is a string but the variables of set \"m\" are "
                  "numeric"},
        ErrorCase{"CountedValueTooWide",
                  Req(kT, R"("sets": [{"name": "m", "type": "dichotomies", "variables": ["name", "s1"], "countedValue": "yes!"}], )"),
                  "req.json: /sets/0/countedValue: counted value \"yes!\" is wider than variable \"s1\" (width 3)"},
        ErrorCase{"LabelSource",
                  Req(kT, R"("sets": [{"name": "m", "type": "dichotomies", "variables": ["tv"], "countedValue": 1, "labelSource": "labels"}], )"),
                  "req.json: /sets/0/labelSource: unknown value \"labels\" (expected one of \"variableLabels\", "
                  "\"countedValueLabel\")"},
        // tables and axes
        ErrorCase{"TableUnknownKey", Req(R"({"rows": ["region"], "sumary": "income"})"),
                  "req.json: /tables/0/sumary: unknown key \"sumary\" (known keys: title, rows, columns, layers, "
                  "statisticsVariable, statistics, summary, totalStatistics, categories)"},
        ErrorCase{"NoRowsOrColumns", Req(R"({"layers": ["region"]})"),
                  "req.json: /tables/0: a table needs at least one row or column variable"},
        ErrorCase{"RowsNotArray", Req(R"({"rows": "region"})"),
                  "req.json: /tables/0/rows: expected an array of names, got a string"},
        ErrorCase{"UnknownAxisName", Req(R"({"rows": ["region"], "columns": ["gendr"]})"),
                  "req.json: /tables/0/columns/0: unknown variable or set \"gendr\""},
        ErrorCase{"VariableTwice", Req(R"({"rows": ["region"], "layers": ["gender", "region"]})"),
                  "req.json: /tables/0/layers/1: \"region\" is used twice on this table"},
        ErrorCase{"SummaryNotNumeric", Req(R"({"rows": ["region"], "summary": "name"})"),
                  "req.json: /tables/0/summary: summary variable \"name\" is not numeric"},
        ErrorCase{"SummaryUnknown", Req(R"({"rows": ["region"], "summary": "incme"})"),
                  "req.json: /tables/0/summary: unknown summary variable \"incme\""},
        ErrorCase{"SummaryIsSet", Req(R"({"rows": ["region"], "summary": "brands"})", kSets),
                  "req.json: /tables/0/summary: summary \"brands\" is a set; summary statistics need a numeric "
                  "variable"},
        ErrorCase{"StatisticsVariableNotOnTable", Req(R"({"rows": ["region"], "statisticsVariable": "gender"})"),
                  "req.json: /tables/0/statisticsVariable: \"gender\" is not on this table's rows, columns or layers"},
        // statistics
        ErrorCase{"UnknownStatistic", Req(R"({"rows": ["region"], "statistics": ["Count", "CountPct1", "Meen"]})"),
                  "req.json: /tables/0/statistics/2: unknown statistic \"Meen\""},
        ErrorCase{"UnknownStatisticCode", Req(R"({"rows": ["region"], "statistics": [600]})"),
                  "req.json: /tables/0/statistics/0: unknown statistic code 600"},
        ErrorCase{"FractionalCode", Req(R"({"rows": ["region"], "statistics": [1.5]})"),
                  "req.json: /tables/0/statistics/0: unknown statistic code 1.5"},
        ErrorCase{"HoleInCodeTable", Req(R"({"rows": ["brands"], "statistics": ["ResponsesPct0UCL"]})", kSets),
                  "req.json: /tables/0/statistics/0: statistic \"ResponsesPct0UCL\" cannot be requested"},
        ErrorCase{"NoStatistic", Req(R"({"rows": ["region"], "statistics": [0]})"),
                  "req.json: /tables/0/statistics/0: statistic \"NoStatistic\" cannot be requested"},
        ErrorCase{"StatisticUnknownKey", Req(R"({"rows": ["region"], "statistics": [{"name": "Count", "cutt": 3}]})"),
                  "req.json: /tables/0/statistics/0/cutt: unknown key \"cutt\" (known keys: name, cut, lower, upper, "
                  "level)"},
        ErrorCase{"PtileWithoutCut", Req(R"({"rows": ["region"], "summary": "income", "statistics": ["Ptile"]})"),
                  "req.json: /tables/0/statistics/0: statistic \"Ptile\" needs \"cut\""},
        ErrorCase{"CutOutOfRange",
                  Req(R"({"rows": ["region"], "summary": "income", "statistics": [{"name": "UPtile", "cut": 100.5}]})"),
                  "req.json: /tables/0/statistics/0/cut: cut 100.5 is outside 0 to 100"},
        ErrorCase{"CutNotNumber",
                  Req(R"({"rows": ["region"], "summary": "income", "statistics": [{"name": "Ptile", "cut": "25"}]})"),
                  "req.json: /tables/0/statistics/0/cut: expected a number, got a string"},
        ErrorCase{"ParameterNotTaken", Req(R"({"rows": ["region"], "statistics": [{"name": "Count", "cut": 25}]})"),
                  "req.json: /tables/0/statistics/0/cut: statistic \"Count\" takes no \"cut\""},
        ErrorCase{"LevelOutOfRange",
                  Req(R"({"rows": ["region"], "summary": "income", "statistics": [{"name": "MedianCI", "level": 0}]})"),
                  "req.json: /tables/0/statistics/0/level: level 0 is outside (0, 100)"},
        ErrorCase{"RangeLacksUpper", Req(R"({"rows": ["region"], "summary": "income", "statistics": ["CountLT"]})"),
                  "req.json: /tables/0/statistics/0: statistic \"CountLT\" needs \"upper\""},
        ErrorCase{"RangeLimitNotTaken",
                  Req(R"({"rows": ["region"], "summary": "income", "statistics": [{"name": "CountLT", "lower": 3}]})"),
                  "req.json: /tables/0/statistics/0/lower: statistic \"CountLT\" takes no \"lower\""},
        ErrorCase{"RangeLacksLower",
                  Req(R"({"rows": ["region"], "summary": "income", "statistics": [{"name": "PctGELE", "upper": 3}]})"),
                  "req.json: /tables/0/statistics/0: statistic \"PctGELE\" needs \"lower\""},
        ErrorCase{"RangeLowerAboveUpper",
                  Req(R"({"rows": ["region"], "summary": "income",
                          "statistics": [{"name": "CountGELE", "lower": 5, "upper": 3}]})"),
                  "req.json: /tables/0/statistics/0: lower 5 is greater than upper 3"},
        ErrorCase{"SummaryStatisticWithoutSummary", Req(R"({"rows": ["region"], "statistics": ["Count", "Mean"]})"),
                  "req.json: /tables/0/statistics/1: statistic \"Mean\" needs a \"summary\" variable on the table"},
        ErrorCase{"ResponsesWithoutSet", Req(R"({"rows": ["region"], "totalStatistics": ["Responses"]})"),
                  "req.json: /tables/0/totalStatistics/0: statistic \"Responses\" needs a multiple-response set on "
                  "the table"},
        ErrorCase{"EmptyStatistics", Req(R"({"rows": ["region"], "statistics": []})"),
                  "req.json: /tables/0/statistics: must list at least one statistic"},
        // categories
        ErrorCase{"CategoriesOfAbsentVariable", Req(R"({"rows": ["region"], "categories": {"gender": {}}})"),
                  "req.json: /tables/0/categories/gender: \"gender\" is not on this table's rows, columns or layers"},
        ErrorCase{"CategoriesUnknownKey", Req(R"({"rows": ["region"], "categories": {"region": {"totl": true}}})"),
                  "req.json: /tables/0/categories/region/totl: unknown key \"totl\" (known keys: items, order, "
                  "sortBy, total, totalLabel, totalPosition, empty, missing)"},
        ErrorCase{"ItemWrongTypeNumeric", Req(R"({"rows": ["region"], "categories": {"region": {"items": [1, "2"]}}})"),
                  "req.json: /tables/0/categories/region/items/1: value \"2\" is a string but \"region\" is numeric"},
        ErrorCase{"ItemWrongTypeString", Req(R"({"rows": ["gender"], "categories": {"gender": {"items": ["F", 1]}}})"),
                  "req.json: /tables/0/categories/gender/items/1: value 1 is a number but \"gender\" is string"},
        ErrorCase{"ItemTooWide", Req(R"({"rows": ["gender"], "categories": {"gender": {"items": ["FM"]}}})"),
                  "req.json: /tables/0/categories/gender/items/0: value \"FM\" is wider than \"gender\" (width 1)"},
        ErrorCase{"RangeEndWrongType",
                  Req(R"({"rows": ["region"], "categories": {"region": {"items": [{"range": ["lo", "b"]}]}}})"),
                  "req.json: /tables/0/categories/region/items/0/range/1: value \"b\" is a string but \"region\" is "
                  "numeric"},
        ErrorCase{"RangeReversed", Req(R"({"rows": ["region"], "categories": {"region": {"items": [{"range": [5, 3]}]}}})"),
                  "req.json: /tables/0/categories/region/items/0/range: low end 5 is above high end 3"},
        ErrorCase{"RangeNotPair", Req(R"({"rows": ["region"], "categories": {"region": {"items": [{"range": [5]}]}}})"),
                  "req.json: /tables/0/categories/region/items/0/range: expected an array of two ends [low, high], "
                  "got an array"},
        ErrorCase{"UnknownKeyword",
                  Req(R"({"rows": ["region"], "categories": {"region": {"items": [{"keyword": "others"}]}}})"),
                  "req.json: /tables/0/categories/region/items/0/keyword: unknown value \"others\" (expected one of "
                  "\"missing\", \"other\")"},
        ErrorCase{"ItemTwoKinds",
                  Req(R"({"rows": ["region"], "categories": {"region": {"items": [{"keyword": "other", "subtotal": "x"}]}}})"),
                  "req.json: /tables/0/categories/region/items/0: give exactly one of \"range\", \"keyword\", "
                  "\"subtotal\", \"hiddenSubtotal\""},
        ErrorCase{"ItemBoolean", Req(R"({"rows": ["region"], "categories": {"region": {"items": [true]}}})"),
                  "req.json: /tables/0/categories/region/items/0: expected a value or an object, got true/false"},
        ErrorCase{"EmptySubtotal",
                  Req(R"({"rows": ["region"], "categories": {"region": {"items": [1, {"subtotal": "A"}, {"hiddenSubtotal": "B"}]}}})"),
                  "req.json: /tables/0/categories/region/items/2: subtotal \"B\" covers no categories"},
        ErrorCase{"DichotomyItemNotMember",
                  Req(R"({"rows": ["media"], "categories": {"media": {"items": ["tv", "web"]}}})", kSets),
                  "req.json: /tables/0/categories/media/items/1: \"web\" is not a member of set \"media\""},
        ErrorCase{"DichotomyItemNumber", Req(R"({"rows": ["media"], "categories": {"media": {"items": [1]}}})", kSets),
                  "req.json: /tables/0/categories/media/items/0: the categories of dichotomy set \"media\" are its "
                  "variables: give member names or subtotals"},
        ErrorCase{"SortByUnknown", Req(R"({"rows": ["region"], "categories": {"region": {"sortBy": "count"}}})"),
                  "req.json: /tables/0/categories/region/sortBy: unknown value \"count\" (expected one of \"value\", "
                  "\"label\", \"none\")"},
        ErrorCase{"SortByUnknownStatistic",
                  Req(R"({"rows": ["region"], "categories": {"region": {"sortBy": {"statistic": "Cont"}}}})"),
                  "req.json: /tables/0/categories/region/sortBy/statistic: unknown statistic \"Cont\""},
        ErrorCase{"PathEscapesKey", Req(R"({"rows": ["region"], "categories": {"a/b~c": {}}})"),
                  "req.json: /tables/0/categories/a~1b~0c: \"a/b~c\" is not on this table's rows, columns or layers"},
        ErrorCase{"TotalNotBool", Req(R"({"rows": ["region"], "categories": {"region": {"total": "yes"}}})"),
                  "req.json: /tables/0/categories/region/total: expected true or false, got a string"}),
    [](const ::testing::TestParamInfo<ErrorCase>& info) { return std::string(info.param.id); });

TEST(KvtablesRequest, DefaultsAreResolved)
{
    Request r = ParseAndValidate(Req(R"({"rows": ["region"], "columns": ["gender"]},
                                       {"rows": ["region"], "columns": ["gender"], "summary": "income"},
                                       {"columns": ["gender", "region"]},
                                       {"rows": ["region"], "columns": ["media"], "layers": ["brands"]})",
                                     kSets));
    EXPECT_EQ(r.dataPath, "/data/dir/survey.csv");
    EXPECT_TRUE(r.dictionaryPath.empty());
    EXPECT_EQ(r.ciLevel, 95.0);
    EXPECT_EQ(r.missing, MissingMode::Pairwise);
    EXPECT_EQ(r.weightIndex, -1);
    ASSERT_EQ(r.tables.size(), 4u);

    const TableRequest& t0 = r.tables[0];
    EXPECT_EQ(t0.title, "Table 1");
    EXPECT_EQ(t0.statisticsVariable, "region");  // innermost row
    ASSERT_EQ(t0.statistics.size(), 1u);
    EXPECT_EQ(t0.statistics[0].name, "Count");
    EXPECT_EQ(t0.rows[0].varIndex, 0);
    EXPECT_EQ(t0.columns[0].varIndex, 1);
    const CategoryOptions& c = t0.CategoriesOf("region");
    EXPECT_TRUE(c.items.empty());
    EXPECT_TRUE(c.ascending);
    EXPECT_EQ(c.sortBy, SortBy::Value);
    EXPECT_FALSE(c.total);
    EXPECT_TRUE(c.totalAfter);
    EXPECT_EQ(c.totalLabel, "Total");
    EXPECT_TRUE(c.totalLabelDefault);
    EXPECT_TRUE(c.emptyInclude);
    EXPECT_TRUE(c.missingExclude);

    EXPECT_EQ(r.tables[1].statistics[0].name, "Mean");  // the summary's default
    EXPECT_EQ(r.tables[1].summaryIndex, 2);
    EXPECT_EQ(r.tables[2].statisticsVariable, "region");  // innermost column without rows
    // The first set in axis order wins over the innermost row.
    EXPECT_EQ(r.tables[3].statisticsVariable, "media");
    EXPECT_EQ(r.tables[3].columns[0].setIndex, 1);
    EXPECT_EQ(r.tables[3].columns[0].varIndex, -1);
    EXPECT_EQ(r.sets[0].indices, (std::vector<int>{4, 5, 6}));
    EXPECT_EQ(r.sets[0].missingVariableIndex, 4);  // the first member
    EXPECT_EQ(r.sets[0].valueType, 0);
    EXPECT_EQ(r.sets[1].label, "media");
}

TEST(KvtablesRequest, EverythingWrittenIsKept)
{
    Request r = ParseAndValidate(R"({
      "data": "/abs/d.csv", "dictionary": "d.dict.json", "weight": "wt", "ciLevel": 90, "missing": "listwise",
      "labelOption": "colLabelsLayer",
      "sets": [{"name": "brands", "type": "categories", "variables": ["b1", "b2"], "label": "Brands",
                "countDuplicates": true, "missingVariable": "b2"},
               {"name": "media", "type": "dichotomies", "variables": ["tv", "radio"], "countedValue": 2,
                "labelSource": "countedValueLabel"}],
      "tables": [{"title": "T", "rows": ["region", "media"], "columns": ["gender"], "statisticsVariable": "gender",
                  "summary": "income",
                  "statistics": [5, {"name": "kPtile", "cut": 25}, {"name": "CountGELE", "lower": 1, "upper": 5},
                                 {"name": "MedianCI"}, {"name": "UMedianCI", "level": 80}],
                  "totalStatistics": ["Count"],
                  "categories": {
                    "region": {"items": [1, 2, {"range": [3, 5]}, {"range": ["lo", 2]}, {"range": [9, "hi"]},
                                         {"keyword": "missing"}, {"keyword": "other"}, {"subtotal": "N+S"},
                                         7, {"hiddenSubtotal": "Rest"}],
                               "order": "descending", "sortBy": {"statistic": "CountPct1"}, "total": true,
                               "totalLabel": "All", "totalPosition": "before", "empty": "exclude",
                               "missing": "include"},
                    "media": {"items": ["radio", "tv", {"subtotal": "Any"}], "sortBy": "none"},
                    "gender": {"items": ["F ", {"range": ["A", "M"]}], "sortBy": "label"}}}]})");
    EXPECT_EQ(r.dataPath, "/abs/d.csv");
    EXPECT_EQ(r.dictionaryPath, "/data/dir/d.dict.json");
    EXPECT_EQ(r.weightIndex, 3);
    EXPECT_EQ(r.ciLevel, 90.0);
    EXPECT_EQ(r.missing, MissingMode::Listwise);
    EXPECT_EQ(r.labelOption, TableEncryptionCodes::kColLabelsLayer);
    EXPECT_TRUE(r.sets[0].countDuplicates);
    EXPECT_EQ(r.sets[0].missingVariableIndex, 5);
    EXPECT_EQ(r.sets[1].labelSource, LabelSource::CountedValueLabel);
    EXPECT_EQ(r.sets[1].countedValue.number, 2.0);

    const TableRequest& t = r.tables[0];
    EXPECT_EQ(t.statisticsVariable, "gender");
    ASSERT_EQ(t.statistics.size(), 5u);
    EXPECT_EQ(t.statistics[0].name, "UCount");  // named although given by code
    EXPECT_EQ(t.statistics[1].code, TableEncryptionCodes::kPtile);
    EXPECT_EQ(t.statistics[1].cut, 25.0);
    EXPECT_EQ(t.statistics[2].lower, 1.0);
    EXPECT_EQ(t.statistics[2].upper, 5.0);
    EXPECT_FALSE(t.statistics[3].level.has_value());  // the runner uses ciLevel
    EXPECT_EQ(t.statistics[4].level, 80.0);
    ASSERT_EQ(t.totalStatistics.size(), 1u);

    const CategoryOptions& region = t.CategoriesOf("region");
    ASSERT_EQ(region.items.size(), 10u);
    EXPECT_EQ(region.items[2].kind, ItemKind::Range);
    EXPECT_EQ(region.items[2].value.number, 3.0);
    EXPECT_EQ(region.items[2].high.number, 5.0);
    EXPECT_TRUE(region.items[3].openLow);
    EXPECT_EQ(region.items[3].high.number, 2.0);
    EXPECT_TRUE(region.items[4].openHigh);
    EXPECT_EQ(region.items[5].kind, ItemKind::Missing);
    EXPECT_EQ(region.items[6].kind, ItemKind::Other);
    EXPECT_EQ(region.items[7].kind, ItemKind::Subtotal);
    EXPECT_EQ(region.items[7].label, "N+S");
    EXPECT_EQ(region.items[9].kind, ItemKind::HiddenSubtotal);
    EXPECT_FALSE(region.ascending);
    EXPECT_EQ(region.sortBy, SortBy::Statistic);
    EXPECT_EQ(region.sortStatistic, TableEncryptionCodes::kCountPct1);
    EXPECT_TRUE(region.total);
    EXPECT_EQ(region.totalLabel, "All");
    EXPECT_FALSE(region.totalLabelDefault);
    EXPECT_FALSE(region.totalAfter);
    EXPECT_FALSE(region.emptyInclude);
    EXPECT_FALSE(region.missingExclude);

    // A dichotomy set's names become its member variables.
    const CategoryOptions& media = t.CategoriesOf("media");
    EXPECT_EQ(media.items[0].kind, ItemKind::Variable);
    EXPECT_EQ(media.items[0].varIndex, 9);
    EXPECT_EQ(media.items[1].varIndex, 8);
    EXPECT_EQ(media.items[2].kind, ItemKind::Subtotal);
    EXPECT_EQ(media.sortBy, SortBy::None);
    // Trailing blanks do not count against a string variable's width.
    EXPECT_EQ(t.CategoriesOf("gender").items[0].value.text, "F ");
}

TEST(KvtablesRequest, StatisticKinds)
{
    using namespace TableEncryptionCodes;
    EXPECT_TRUE(stats::IsKnown(kGroupedMedian));
    EXPECT_TRUE(stats::IsKnown(kUCountGTLT));
    EXPECT_TRUE(stats::IsKnown(kResponsesPct0UCL - 1));  // 298: the LCL of ResponsesPct0
    EXPECT_FALSE(stats::IsKnown(kUResponsesPct0));        // a hole of the code table
    EXPECT_FALSE(stats::IsKnown(kUResponsesPct2SE));
    EXPECT_FALSE(stats::IsKnown(kUCountGTLT + 1));
    EXPECT_TRUE(stats::NeedsSummary(kValidNPct0));
    EXPECT_TRUE(stats::NeedsSummary(kUSumPct6SE));
    EXPECT_FALSE(stats::NeedsSummary(kUCountPct6SE));
    EXPECT_FALSE(stats::NeedsSummary(kCountResponsesPct3));
    EXPECT_TRUE(stats::IsResponses(kUCountResponsesPct6));
    EXPECT_TRUE(stats::TakesLower(kCountEQ));
    EXPECT_FALSE(stats::TakesUpper(kCountEQ));
    EXPECT_TRUE(stats::TakesUpper(kUPctLE));
    EXPECT_TRUE(stats::TakesLower(kCountGTLT) && stats::TakesUpper(kCountGTLT));
    EXPECT_TRUE(stats::TakesCut(kUPtileSE));
    EXPECT_TRUE(stats::TakesCut(kUGroupedPtile));
    EXPECT_FALSE(stats::TakesCut(kMedian));
}

}  // namespace
