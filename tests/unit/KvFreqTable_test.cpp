// The value-frequency table: ascending order whatever the arrival order,
// order rebuilt only when a new value arrives, weights read live.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <algorithm>
#include <random>
#include <vector>

#include "KvFreqTable.h"

namespace {

std::vector<std::pair<double, double>> Items(const KvFreqTable& t)
{
    std::vector<std::pair<double, double>> out;
    for (const auto& e : t) out.push_back(e);
    return out;
}

}  // namespace

TEST(KvFreqTable, AscendingOrderSummedWeightsAndOneZero)
{
    KvFreqTable t;
    for (double x : {3.0, -1.0, 2.5, 3.0, 0.0, -0.0, 1e300, -1e300}) t[x] += 1.0;
    const std::vector<std::pair<double, double>> want = {
        {-1e300, 1.0}, {-1.0, 1.0}, {0.0, 2.0}, {2.5, 1.0}, {3.0, 2.0}, {1e300, 1.0}};
    EXPECT_EQ(Items(t), want);
    EXPECT_EQ(t.size(), 6u);
    EXPECT_FALSE(std::signbit(std::next(t.begin(), 2)->first));  // stored as +0.0
    EXPECT_EQ(t.rbegin()->first, 1e300);
    EXPECT_EQ(std::prev(t.end())->second, 1.0);
    EXPECT_EQ(t.WeightOf(-0.0), 2.0);
    EXPECT_EQ(t.WeightOf(7.0), 0.0);
}

TEST(KvFreqTable, OrderFollowsNewValuesAndWeightsStayLive)
{
    KvFreqTable t{{5.0, 1.0}, {1.0, 2.0}};
    EXPECT_EQ(t.begin()->first, 1.0);
    t[1.0] += 3.0;                      // no new value: the order stands, the weight is live
    EXPECT_EQ(t.begin()->second, 5.0);
    t[0.5] += 1.0;                      // a new value: the order is rebuilt
    EXPECT_EQ(t.begin()->first, 0.5);
    EXPECT_EQ(Items(t).size(), 3u);
    t.clear();
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(t.begin(), t.end());
    t[2.0] += 1.0;
    EXPECT_EQ(Items(t), (std::vector<std::pair<double, double>>{{2.0, 1.0}}));
}

TEST(KvFreqTable, ManyValuesInRandomOrder)
{
    // 20,000 distinct values, each seen three times in a shuffled stream.
    std::vector<double> stream;
    for (int i = 0; i < 20000; ++i)
        for (int k = 0; k < 3; ++k) stream.push_back(i * 0.25 - 1000.0);
    std::mt19937 rng(7);
    std::shuffle(stream.begin(), stream.end(), rng);
    KvFreqTable t;
    for (double x : stream) t[x] += 0.5;
    ASSERT_EQ(t.size(), 20000u);
    double previous = -std::numeric_limits<double>::infinity();
    for (const auto& e : t) {
        ASSERT_GT(e.first, previous);
        ASSERT_EQ(e.second, 1.5);
        previous = e.first;
    }
}

TEST(KvFreqTable, NaNIsKeptOnceAndLast)
{
    KvFreqTable t;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    t[nan] += 1.0;
    t[2.0] += 1.0;
    t[nan] += 1.0;
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t.begin()->first, 2.0);
    EXPECT_TRUE(std::isnan(t.rbegin()->first));
    EXPECT_EQ(t.rbegin()->second, 2.0);
}
