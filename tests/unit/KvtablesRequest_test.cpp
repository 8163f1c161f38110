// The request model after reading and validation: the defaults it resolves
// and the parameters only a parsed request shows. The messages for every kind
// of mistake are cases of tests/e2e/cli/cases.json; what the options do to
// the tables, cases of tests/e2e/tables.
#include <gtest/gtest.h>

#include <string>

#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"

using namespace kvtables;

namespace {

Request ParseAndValidate(const std::string& text)
{
    static InMemoryDataset ds;
    if (ds.GetNumVariables() == 0) {
        for (const char* name : {"region", "gender", "income", "wt", "b1", "b2", "tv", "radio"}) {
            if (std::string(name) == "gender") ds.AddString(name, 1);
            else ds.AddNumeric(name);
        }
    }
    Request r = ParseRequest(text, "req.json", "/data/dir");
    ValidateRequest(r, ds);
    return r;
}

TEST(KvtablesRequest, DefaultsAreResolved)
{
    Request r = ParseAndValidate(R"({"data": "survey.csv",
      "sets": [{"name": "brands", "type": "categories", "variables": ["b1", "b2"]},
               {"name": "media", "type": "dichotomies", "variables": ["tv", "radio"], "countedValue": 1}],
      "tables": [{"rows": ["region"], "columns": ["gender"]},
                 {"rows": ["region"], "summary": "income"},
                 {"columns": ["gender", "region"]},
                 {"rows": ["region"], "columns": ["media"], "layers": ["brands"]}]})");
    EXPECT_EQ(r.dataPath, "/data/dir/survey.csv");
    EXPECT_EQ(r.csv.delimiter, ',');
    EXPECT_TRUE(r.csv.na.empty());
    EXPECT_EQ(r.tables[0].title, "Table 1");
    EXPECT_EQ(r.tables[0].statistics[0].name, "Count");
    EXPECT_EQ(r.tables[1].statistics[0].name, "Mean");  // the summary's default
    // The statistics variable: the innermost row, else the innermost column;
    // the first set in axis order wins over both.
    EXPECT_EQ(r.tables[0].statisticsVariable, "region");
    EXPECT_EQ(r.tables[2].statisticsVariable, "region");
    EXPECT_EQ(r.tables[3].statisticsVariable, "media");
    EXPECT_EQ(r.sets[0].indices, (std::vector<int>{4, 5}));
    EXPECT_EQ(r.sets[0].missingVariableIndex, 4);  // the first member
    EXPECT_EQ(r.sets[1].label, "media");
}

TEST(KvtablesRequest, ParametersAndNamesAreKept)
{
    Request r = ParseAndValidate(R"({
      // what the table cases do not show
      "data": "/abs/d.csv", "dictionary": "d.dict.json", "csv": {"delimiter": "\t", "na": ["NA", "."]},
      "sets": [{"name": "brands", "type": "categories", "variables": ["b1", "b2"], "missingVariable": "b2"},
               {"name": "media", "type": "dichotomies", "variables": ["tv", "radio"], "countedValue": 1}],
      "tables": [{"rows": ["region", "media"], "columns": ["gender"], "statisticsVariable": "gender",
                  "summary": "income",
                  "statistics": [5, {"name": "CountGELE", "lower": 1, "upper": 5}, {"name": "MedianCI"},
                                 {"name": "UMedianCI", "level": 80}],
                  "categories": {"media": {"items": ["radio", "tv", {"subtotal": "Any"}], "sortBy": "none"}}}]}
      /* the end */)");
    EXPECT_EQ(r.dataPath, "/abs/d.csv");
    EXPECT_EQ(r.dictionaryPath, "/data/dir/d.dict.json");
    EXPECT_EQ(r.csv.delimiter, '\t');
    EXPECT_EQ(r.csv.na, (std::vector<std::string>{"NA", "."}));
    EXPECT_EQ(r.sets[0].missingVariableIndex, 5);
    const TableRequest& t = r.tables[0];
    EXPECT_EQ(t.statisticsVariable, "gender");
    EXPECT_EQ(t.statistics[0].name, "UCount");  // named although given by code
    EXPECT_EQ(t.statistics[1].lower, 1.0);
    EXPECT_EQ(t.statistics[1].upper, 5.0);
    EXPECT_FALSE(t.statistics[2].level.has_value());  // the runner uses ciLevel
    EXPECT_EQ(t.statistics[3].level, 80.0);
    EXPECT_EQ(t.statistics[3].path, "/tables/0/statistics/3");
    // A dichotomy set's names become its member variables.
    const CategoryOptions& media = t.CategoriesOf("media");
    EXPECT_EQ(media.items[0].kind, ItemKind::Variable);
    EXPECT_EQ(media.items[0].varIndex, 7);
    EXPECT_EQ(media.items[1].varIndex, 6);
    EXPECT_EQ(media.sortBy, SortBy::None);
}

TEST(KvtablesRequest, StatisticKinds)
{
    using namespace TableEncryptionCodes;
    struct Kind {
        int code;
        bool known, summary, lower, upper, cut;
    };
    const Kind kinds[] = {
        {kGroupedMedian, true, true, false, false, false},   {kUCountGTLT, true, true, true, true, false},
        {kResponsesPct0UCL - 1, true, false, false, false, false},  // 298: the LCL of ResponsesPct0
        {kUResponsesPct0, false, false, false, false, false},  // a hole of the code table
        {kUCountGTLT + 1, false, true, false, false, false},  {kValidNPct0, true, true, false, false, false},
        {kUCountPct6SE, true, false, false, false, false},    {kCountEQ, true, true, true, false, false},
        {kUPctLE, true, true, false, true, false},            {kUPtileSE, true, true, false, false, true},
        {kUGroupedPtile, true, true, false, false, true},     {kMedian, true, true, false, false, false}};
    for (const Kind& k : kinds) {
        EXPECT_EQ(stats::IsKnown(k.code), k.known) << k.code;
        if (k.known) {
            EXPECT_EQ(stats::NeedsSummary(k.code), k.summary) << k.code;
        }
        EXPECT_EQ(stats::TakesLower(k.code), k.lower) << k.code;
        EXPECT_EQ(stats::TakesUpper(k.code), k.upper) << k.code;
        EXPECT_EQ(stats::TakesCut(k.code), k.cut) << k.code;
    }
    EXPECT_TRUE(stats::IsResponses(kUCountResponsesPct6));
    EXPECT_FALSE(stats::NeedsSummary(kCountResponsesPct3));
}

}  // namespace
