// The engine binding over an in-memory dataset: what the CSV-driven table
// tests cannot reach easily (wide string variables, a non-CSV iterator, the
// names a request makes the stream convert). Expected numbers are counted by
// hand from the few cases each test builds.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "DataAccess.h"
#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableRunner.h"

namespace kvtables {
namespace {

struct Row {
    std::string city;
    double score;
    double weight;
};

// city: string of width 6; score: numeric with 9 user-missing; wt.
class RunnerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        _city = _data.AddString("city", 6, "City");
        _score = _data.AddNumeric("score", "Score");
        _wt = _data.AddNumeric("wt");
        _data.GetVariable(_score)->SetMissingValues({9});
        _data.GetVariable(_wt)->SetMissingValues({99});
        const std::vector<Row> rows = {{"Paris", 1, 1}, {"Rome", 2, 2},  {"Paris", 9, 1},   {"Oslo", 3, 0},
                                       {"Rome", 4, -1}, {"Oslo", 5, 99}, {"Paris", 2, 0.5}, {"Rome", 3, 1}};
        for (const Row& r : rows) {
            const int i = _data.AppendCase();
            _data.SetString(i, _city, r.city);
            _data.SetNumeric(i, _score, r.score);
            _data.SetNumeric(i, _wt, r.weight);
        }
    }

    ResultSet Run(const std::string& requestText)
    {
        Request request = ParseRequest(requestText, "test.request.json", ".");
        ValidateRequest(request, _data);
        DatasetIterator cases(_data, request.weightIndex);
        return RunTables(request, cases, nullptr);
    }

    InMemoryDataset _data;
    int _city = -1, _score = -1, _wt = -1;
};

std::vector<double> Values(const ResultTable& t)
{
    std::vector<double> v;
    for (const ResultCell& c : t.cells) v.push_back(c.value);
    return v;
}

TEST_F(RunnerTest, ShortStringItemsMatchWiderValues)
{
    // "Rome" is written with fewer bytes than the variable's width of 6.
    const ResultSet r = Run(R"({"data": "x.csv", "tables": [{"rows": ["city"], "statistics": ["Count"],
        "categories": {"city": {"items": ["Rome", "Paris"], "total": true}}}]})");
    ASSERT_EQ(r.tables.size(), 1u);
    const ResultTable& t = r.tables[0];
    ASSERT_EQ(t.rows[0].categories.size(), 3u);
    EXPECT_EQ(std::get<std::string>(t.rows[0].categories[0].value), "Rome");
    EXPECT_EQ(std::get<std::string>(t.rows[0].categories[1].value), "Paris");
    EXPECT_EQ(t.rows[0].categories[2].kind, CategoryKind::Total);
    // Rome 3 cases, Paris 3, listed total 6 (the two Oslo cases are in no item).
    EXPECT_EQ(Values(t), (std::vector<double>{3, 3, 6}));
}

TEST_F(RunnerTest, SkipsMissingZeroNegativeAndUserMissingWeights)
{
    // Fed: Paris 1 (w 1), Rome 2 (w 2), Paris 9 (w 1), Paris 2 (w 0.5), Rome 3 (w 1).
    // Skipped: Oslo w 0, Rome w -1, Oslo w 99 (user-missing).
    const ResultSet r = Run(R"({"data": "x.csv", "weight": "wt", "tables": [
        {"rows": ["city"], "statistics": ["Count", "UCount"], "categories": {"city": {"empty": "exclude"}}},
        {"rows": ["city"], "summary": "score", "statistics": ["Mean", "ValidN"],
         "categories": {"city": {"empty": "exclude"}}}]})");
    EXPECT_EQ(r.skippedCases, 3);
    ASSERT_EQ(r.tables.size(), 2u);
    // Paris: weighted 2.5 over 3 cases; Rome: 3 over 2 cases. Oslo has no case left.
    EXPECT_EQ(Values(r.tables[0]), (std::vector<double>{2.5, 3, 3, 2}));
    // Paris: (1 x 1 + 2 x 0.5) / 1.5 (the 9 is user-missing); Rome: (2 x 2 + 3 x 1) / 3.
    const std::vector<double> means = Values(r.tables[1]);
    ASSERT_EQ(means.size(), 4u);
    EXPECT_DOUBLE_EQ(means[0], 2.0 / 1.5);
    EXPECT_DOUBLE_EQ(means[1], 1.5);
    EXPECT_DOUBLE_EQ(means[2], 7.0 / 3.0);
    EXPECT_DOUBLE_EQ(means[3], 3.0);
}

TEST_F(RunnerTest, SameVariableKeepsEachTablesOwnCategoryOptions)
{
    // One engine table serves both requests: the second's descending order
    // and total must not leak into the first.
    const ResultSet r = Run(R"({"data": "x.csv", "tables": [
        {"rows": ["city"], "statistics": ["Count"]},
        {"rows": ["city"], "statistics": ["Count"], "categories": {"city": {"order": "descending", "total": true}}}]})");
    ASSERT_EQ(r.tables.size(), 2u);
    EXPECT_EQ(Values(r.tables[0]), (std::vector<double>{2, 3, 3}));     // Oslo, Paris, Rome
    EXPECT_EQ(Values(r.tables[1]), (std::vector<double>{3, 3, 2, 8}));  // Rome, Paris, Oslo, Total
}

TEST(KvtablesDataAccess, NamesUsedCoversEveryColumnTheRequestReads)
{
    const Request request = ParseRequest(R"({"data": "x.csv", "weight": "w",
        "sets": [{"name": "s", "type": "categories", "variables": ["a", "b"], "missingVariable": "b"}],
        "tables": [{"rows": ["s"], "columns": ["c"], "layers": ["d"], "summary": "e"}]})",
                                         "t.request.json", ".");
    const std::vector<std::string> names = NamesUsed(request);
    for (const char* n : {"w", "a", "b", "c", "d", "e"})
        EXPECT_NE(std::find(names.begin(), names.end(), n), names.end()) << n;
}

}  // namespace
}  // namespace kvtables
