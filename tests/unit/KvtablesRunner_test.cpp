// The engine binding over an in-memory dataset: what the CSV-driven table
// tests cannot reach easily (wide string variables, a non-CSV iterator, the
// names a request makes the stream convert). Expected numbers are counted by
// hand from the eight cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "CaseCombiner.h"
#include "DataAccess.h"
#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableBuilder.h"
#include "TableRunner.h"
#include "Golden.h"
#include "TestSupport.h"
#include "UserError.h"

namespace kvtables {
namespace {

// A string variable of width 6: Paris 3 cases, Rome 4, Oslo 1.
std::vector<std::vector<double>> TableValues(const std::string& tables)
{
    InMemoryDataset data;
    const int city = data.AddString("city", 6, "City");
    for (const char* c : {"Paris", "Rome", "Paris", "Oslo", "Rome", "Rome", "Paris", "Rome"})
        data.SetString(data.AppendCase(), city, c);
    Request request = ParseRequest(R"({"data": "x.csv", "tables": )" + tables + "}", "test.request.json", ".");
    ValidateRequest(request, data);
    DatasetIterator cases(data, request.weightIndex);
    std::vector<std::vector<double>> values;
    for (const ResultTable& t : RunTables(request, cases, nullptr).tables) {
        values.emplace_back();
        for (const ResultCell& c : t.cells) values.back().push_back(c.value);
    }
    return values;
}

TEST(KvtablesRunner, ShortStringItemsMatchWiderValues)
{
    // "Rome" is written with fewer bytes than the variable's width; the Oslo
    // case is in no item and not in the listed total.
    EXPECT_EQ(TableValues(R"([{"rows": ["city"],
                               "categories": {"city": {"items": ["Rome", "Paris"], "total": true}}}])"),
              (std::vector<std::vector<double>>{{4, 3, 7}}));
}

TEST(KvtablesRunner, SameVariableKeepsEachTablesOwnCategoryOptions)
{
    // One engine table serves both requests: the second's descending order
    // and total must not leak into the first.
    EXPECT_EQ(TableValues(R"([{"rows": ["city"]}, {"rows": ["city"], "categories": {"city": {"order": "descending",
                                                                                     "total": true}}}])"),
              (std::vector<std::vector<double>>{{1, 3, 4}, {4, 3, 1, 8}}));  // Oslo, Paris, Rome; reversed, total
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


// A run over types from a prefix: made once when the numbers hold, again over the whole file's types when a
// later value is text, with the tables (or the message) of a run typed from the whole file.
TEST(KvtablesDataAccess, ARunOverAContradictedPrefixIsMadeAgain)
{
    std::string csv = "g,x\n";
    for (int i = 0; i < 400; ++i) csv += std::to_string(i % 3) + "," + (i == 300 ? "n/a" : std::to_string(i % 4)) + "\n";
    const std::string dir = kvtest::ProcessTempDir();
    kvtest::WriteTempFile("late.csv", csv);
    kvtest::WriteTempFile("fine.csv", csv.substr(0, csv.find("n/a")));
    for (const char* file : {"late.csv", "fine.csv"})
        for (const char* table : {R"({"rows": ["x"], "columns": ["g"]})", R"({"rows": ["g"], "summary": "x",
                                                                             "statistics": ["Mean"]})"}) {
            const std::string where = std::string(file) + " " + table;
            const Request parsed = ParseRequest(std::string(R"({"data": ")") + file + R"(", "tables": [)" + table +
                                                    "]}", "r.json", dir);
            auto values = [&](std::size_t inferenceBytes, int& runs) {
                std::vector<double> out;
                const ResultSet results = RunOverData(
                    parsed, std::nullopt,
                    [&](Request& request, DataInput& data, bool again) {
                        EXPECT_EQ(again, runs++ == 1) << where;
                        ValidateRequest(request, data.cases->GetDataSource(),
                                        [&data](int v) { return data.cases->WhyText(v); });
                        return RunTables(request, *data.cases);
                    },
                    inferenceBytes);
                for (const ResultCell& c : results.tables[0].cells) out.push_back(c.value);
                return out;
            };
            int wholeRuns = 0, prefixRuns = 0;
            std::string wholeError, prefixError;
            std::vector<double> whole, prefix;
            try {
                whole = values(static_cast<std::size_t>(-1), wholeRuns);
            } catch (const UserError& e) {
                wholeError = e.what();
            }
            try {
                prefix = values(100, prefixRuns);
            } catch (const UserError& e) {
                prefixError = e.what();
            }
            EXPECT_EQ(prefix, whole) << where;
            EXPECT_EQ(prefixError, wholeError) << where;
            EXPECT_EQ(wholeRuns, 1) << where;
            EXPECT_EQ(prefixRuns, std::string(file) == "late.csv" ? 2 : 1) << where;
        }
}

// Many batches of identical cases summed, and a table whose cases stop repeating (the combiner then passes
// the rest through one at a time), against every case fed on its own: counts exactly, weighted counts and
// percentages within 1e-12. Weights of 0 and missing ones are skipped alike.
TEST(KvtablesRunner, CombinedCasesOverManyBatchesEqualOneAtATime)
{
    InMemoryDataset data;
    const int a = data.AddNumeric("a"), b = data.AddNumeric("b"), id = data.AddNumeric("id"), w = data.AddNumeric("w");
    const int c = data.AddString("c", 12);
    std::mt19937 rng(3);
    for (int i = 0; i < 150000; ++i) {
        const int row = data.AppendCase();
        data.SetNumeric(row, a, 1 + rng() % 5);
        data.SetNumeric(row, b, (rng() % 9 == 0) ? -DBL_MAX : 1 + rng() % 3);
        data.SetNumeric(row, id, i % 20000);
        data.SetNumeric(row, w, (i % 101 == 0) ? 0.0 : (i % 103 == 0) ? -DBL_MAX : 0.25 + (rng() % 1000) / 400.0);
        data.SetString(row, c, rng() % 2 ? "yes" : "a longer no");
    }
    const std::string totals = R"("categories": {"a": {"total": true}, "b": {"total": true}})";
    const std::string counts = R"("statistics": ["Count", "UCount", "CountPct0", "CountPct1", "CountPct2"])";
    for (const std::string& tables :
         {R"([{"rows": ["a"], "columns": [["b", "c"], {"total": "All"}], )" + counts + ", " + totals + "}]",
          std::string(R"([{"rows": ["id"], "columns": ["b"], "statistics": ["Count", "CountPct1"]}])")})
        for (const char* weight : {"", R"("weight": "w", )"}) {
            std::vector<double> values[2];
            for (int combined = 0; combined < 2; ++combined) {
                Request request = ParseRequest(std::string("{") + weight + R"("data": "x.csv", "tables": )" + tables +
                                                   "}", "r.json", ".");
                ValidateRequest(request, data);
                DatasetIterator cases(data, request.weightIndex);
                TableBuilder builder(request, cases);
                if (!combined) builder.PassCasesThrough();
                builder.Feed(nullptr, MemoryLimit());
                // Multiples of 101 or 103 below 150,000: 1,486 + 1,457 - 15 of both.
                EXPECT_EQ(builder.SkippedCases(), *weight ? 2928 : 0);
                const ResultSet results = ReadResults(builder, MemoryLimit());
                for (const ResultCell& cell : results.tables[0].cells) values[combined].push_back(cell.value);
            }
            ASSERT_EQ(values[1].size(), values[0].size()) << tables << weight;
            for (size_t i = 0; i < values[0].size(); ++i)
                EXPECT_NEAR(values[1][i], values[0][i], 1e-12 * std::fabs(values[0][i])) << tables << weight << i;
        }
}

// The engine reads a combiner; only the builder moves the data under it.
TEST(KvtablesRunnerDeathTest, TheEngineCannotMoveTheCombinedCases)
{
    InMemoryDataset data;
    data.AddNumeric("a");
    DatasetIterator cases(data);
    CaseCombiner combiner(cases, {0}, -1);
    EXPECT_DEATH(combiner.Next(), "moves the data");
    EXPECT_DEATH(combiner.Rewind(), "moves the data");
    combiner.PassThrough();
    EXPECT_DEATH(combiner.Add(1.0), "_passThrough");
}

}  // namespace
}  // namespace kvtables
