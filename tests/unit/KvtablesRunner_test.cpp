// The engine binding over an in-memory dataset: what the CSV-driven table
// tests cannot reach easily (wide string variables, a non-CSV iterator, the
// names a request makes the stream convert). Expected numbers are counted by
// hand from the eight cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "DataAccess.h"
#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"
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

}  // namespace
}  // namespace kvtables
