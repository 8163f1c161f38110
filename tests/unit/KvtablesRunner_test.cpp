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

}  // namespace
}  // namespace kvtables
