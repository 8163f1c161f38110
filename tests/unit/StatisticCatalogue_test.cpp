// The statistic catalogue against spot checks written from the definitions of the code space
// (tests/data/stats/catalogue.tsv). The group table's split and the names of every code are checked by
// StatisticCodes_test; what the layouts make of the accumulators, by CellStatistics_test.
#include <gtest/gtest.h>

#include "StatisticCatalogue.h"
#include "StatsTestData.h"

namespace {

using namespace StatisticCatalogue;

std::string ParamWords(int params)
{
    std::string out;
    for (auto [bit, word] : {std::pair{kCut, "cut"}, {kLower, "lower"}, {kUpper, "upper"}, {kLevel, "level"}})
        if (params & bit) out += (out.empty() ? "" : " ") + std::string(word);
    return out.empty() ? "-" : out;
}

TEST(StatisticCatalogue, EntriesAsTheCodeSpaceDefinesThem)
{
    const char* const kinds[] = {"none", "count", "responses", "percentage", "summary"};
    const char* const weightings[] = {"weighted", "unweighted", "effective"};
    const char* const needs[] = {"-", "summary", "responses"};
    const auto rows = kvtest::ReadTable("catalogue.tsv");
    ASSERT_GT(rows.size(), 30u);
    for (const auto& r : rows) {
        ASSERT_EQ(r.size(), 12u);
        SCOPED_TRACE(r[0] + " " + r[1]);
        const Entry* e = Find(std::stoi(r[0]));
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->name, r[1]);
        EXPECT_EQ(e->accumulator, std::stoi(r[2]));
        EXPECT_EQ(kinds[static_cast<int>(e->kind)], r[3]);
        EXPECT_EQ(weightings[static_cast<int>(e->weighting)], r[4]);
        EXPECT_EQ(needs[static_cast<int>(e->needs)], r[5]);
        EXPECT_EQ(ParamWords(e->params), r[6]);
        EXPECT_EQ(e->baseType, std::stoi(r[7]));
        EXPECT_EQ(e->denominator, std::stoi(r[8]));
        EXPECT_EQ(e->requestable, r[9] == "1");
        EXPECT_EQ(e->inGroupTable, r[10] == "1");
        EXPECT_EQ(e->label, r[11]);
    }
    EXPECT_EQ(Find(-1), nullptr);
    EXPECT_EQ(Find(514), nullptr);
    EXPECT_FALSE(Find(0)->requestable);
}

}  // namespace
