// The request model after reading and validation: the defaults it resolves
// and the parameters only a parsed request shows. The messages for every kind
// of mistake are cases of tests/e2e/cli/cases.json; what the options do to
// the tables, cases of tests/e2e/tables.
#include <gtest/gtest.h>

#include <string>

#include "Formula.h"
#include "InMemoryDataset.h"
#include "SignificanceTests.h"
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
                  "statistics": [5, {"name": "CountGELE", "lower": 1, "upper": 5},
                                 {"name": "MedianCI", "label": "Typical", "decimals": 3},
                                 {"name": "UMedianCI", "level": 80}, {"name": "UPtile", "cut": 2.5}],
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
    EXPECT_EQ(t.statistics[2].label, "Typical");
    EXPECT_EQ(t.statistics[2].decimals, 3);
    EXPECT_FALSE(t.statistics[3].decimals.has_value());
    // The statistic's own words take its parameters, a median interval the request's level by default.
    const std::pair<size_t, const char*> labels[] = {{0, "Unweighted count"}, {1, "Count from 1 to 5"},
                                                     {2, "Median (90% CI)"}, {3, "Unweighted median (80% CI)"},
                                                     {4, "Unweighted percentile 2.5"}};
    for (const auto& [i, label] : labels) EXPECT_EQ(stats::DefaultLabel(t.statistics[i], 90.0), label);
    // A dichotomy set's names become its member variables.
    const CategoryOptions& media = t.CategoriesOf("media");
    EXPECT_EQ(media.items[0].kind, ItemKind::Variable);
    EXPECT_EQ(media.items[0].varIndex, 7);
    EXPECT_EQ(media.items[1].varIndex, 6);
    EXPECT_EQ(media.sortBy, SortBy::None);
}

// Formulas by hand: precedence, unary minus, repeated references counted once,
// and what leaves a computed cell empty (a missing operand, a division by 0).
TEST(Formula, EvaluatesAndRejects)
{
    const double M = SystemMissing();
    struct Case {
        const char* text;
        std::vector<double> operands;
        double want;
    };
    const Case cases[] = {{"1 + 2 * 3", {}, 7.0},          {"-(1 + [2]) / 4", {3.0}, -1.0},
                          {"[1] - [1] * 2", {5.0}, -5.0},  {"[total] / ([1] - [1])", {4.0, 2.0}, M},
                          {"[subtotal 'a b'] + ['x']", {M, 1.0}, M}, {"2.5e1 - - 5", {}, 30.0}};
    for (const Case& c : cases) {
        const Formula f = Formula::Parse(c.text);
        ASSERT_EQ(f.References().size(), c.operands.size()) << c.text;
        EXPECT_EQ(f.Evaluate(c.operands), c.want) << c.text;
    }
    const std::string deep(300, '-');
    for (const char* bad : {"", "1 +", "[1", "(1", "1 2", "[sub 'x']", "['x", "[total", deep.c_str()})
        EXPECT_THROW(Formula::Parse(bad), Formula::SyntaxError) << bad;
}

TEST(SignificanceTests, LettersAndPairs)
{
    EXPECT_EQ(significance::Letter(0) + significance::Letter(25) + significance::Letter(26) + significance::Letter(701) +
                  significance::Letter(702),
              "AZAAZZAAA");
    using P = std::vector<std::pair<size_t, size_t>>;
    EXPECT_EQ(significance::Pairs(3, Compare::Subtable), (P{{0, 1}, {0, 2}, {1, 2}}));
    EXPECT_EQ(significance::Pairs(3, Compare::FirstColumn), (P{{0, 1}, {0, 2}}));
    EXPECT_EQ(significance::Pairs(3, Compare::PreviousColumn), (P{{0, 1}, {1, 2}}));
    EXPECT_TRUE(significance::Pairs(1, Compare::Subtable).empty());
}

}  // namespace
