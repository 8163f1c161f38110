// The value-frequency table: ascending order whatever the arrival order, order rebuilt only when a new value
// arrives, weights read live, and the same answers from a table that has been read and then fed again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "KvFreqTable.h"

namespace {

using Items = std::vector<KvFreqTable::Entry>;

Items ItemsOf(const KvFreqTable& t) { return Items(t.begin(), t.end()); }

const double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST(KvFreqTable, AscendingOrderSummedWeightsAndOneZero)
{
    KvFreqTable t;
    for (double x : {3.0, -1.0, 2.5, 3.0, 0.0, -0.0, 1e300, -1e300}) t[x] += 1.0;
    EXPECT_EQ(ItemsOf(t), (Items{{-1e300, 1.0}, {-1.0, 1.0}, {0.0, 2.0}, {2.5, 1.0}, {3.0, 2.0}, {1e300, 1.0}}));
    EXPECT_EQ(t.size(), 6u);
    EXPECT_FALSE(std::signbit(std::next(t.begin(), 2)->first));  // stored as +0.0
    EXPECT_EQ(t.rbegin()->first, 1e300);
    EXPECT_EQ(t.WeightOf(-0.0), 2.0);
    EXPECT_EQ(t.WeightOf(7.0), 0.0);
}

TEST(KvFreqTable, OrderFollowsNewValuesAndWeightsStayLive)
{
    KvFreqTable t{{5.0, 1.0}, {1.0, 2.0}};
    EXPECT_EQ(t.begin()->first, 1.0);
    t[1.0] += 3.0;  // no new value: the order stands, the weight is live
    EXPECT_EQ(t.begin()->second, 5.0);
    t[0.5] += 1.0;  // a new value: the order is rebuilt
    EXPECT_EQ(ItemsOf(t), (Items{{0.5, 1.0}, {1.0, 5.0}, {5.0, 1.0}}));
    t.clear();
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(t.begin(), t.end());
    t[2.0] += 1.0;
    EXPECT_EQ(ItemsOf(t), (Items{{2.0, 1.0}}));
}

// 20,000 distinct values, each seen three times in a shuffled stream, all through the hash table.
TEST(KvFreqTable, ManyValuesInRandomOrder)
{
    std::vector<double> stream;
    for (int i = 0; i < 60000; ++i) stream.push_back((i % 20000) * 0.25 - 1000.0);
    std::mt19937 rng(7);
    std::shuffle(stream.begin(), stream.end(), rng);
    KvFreqTable t;
    for (double x : stream) t[x] += 0.5;
    ASSERT_EQ(t.size(), 20000u);
    for (const auto& e : t) {
        ASSERT_EQ(e.first, (&e - t.begin()) * 0.25 - 1000.0);
        ASSERT_EQ(e.second, 1.5);
    }
}

TEST(KvFreqTable, NaNIsKeptOnceAndLast)
{
    KvFreqTable t;
    t[kNaN] += 1.0;
    t[2.0] += 1.0;
    t[-kNaN] += 1.0;  // any NaN is the one NaN
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t.begin()->first, 2.0);
    EXPECT_TRUE(std::isnan(t.rbegin()->first));
    EXPECT_EQ(t.rbegin()->second, 2.0);
}

TEST(KvFreqTable, ReadThenFedAgainAndCopied)
{
    KvFreqTable t;
    for (int i = 0; i < 1000; ++i) t[(i * 37) % 1000] += 1.0;
    EXPECT_EQ(t.begin()->first, 0.0);  // read: the table is now in order
    t[500.0] += 2.0;                   // a known value after the read
    t[kNaN] += 4.0;
    EXPECT_EQ(t.WeightOf(500.0), 3.0);
    t[-1.0] += 1.0;  // a new value after the read
    EXPECT_EQ(t.WeightOf(500.0), 3.0);
    EXPECT_EQ(t.WeightOf(999.0), 1.0);
    EXPECT_EQ(t.WeightOf(1000.0), 0.0);
    ASSERT_EQ(t.size(), 1002u);
    const KvFreqTable copy = t;
    KvFreqTable moved = KvFreqTable(copy);
    const KvFreqTable* const tables[] = {&t, &copy, &moved};
    for (const KvFreqTable* table : tables) {
        const Items items = ItemsOf(*table);
        ASSERT_EQ(items.size(), 1002u);
        EXPECT_EQ(items.front(), KvFreqTable::Entry(-1.0, 1.0));
        EXPECT_EQ(items[501], KvFreqTable::Entry(500.0, 3.0));
        EXPECT_TRUE(std::isnan(items.back().first));
        EXPECT_EQ(items.back().second, 4.0);
    }
    KvFreqTable emptied = std::move(moved);
    EXPECT_TRUE(moved.empty());
    EXPECT_EQ(moved.begin(), moved.end());
    moved[1.0] += 1.0;
    EXPECT_EQ(moved.size(), 1u);
    EXPECT_EQ(emptied.size(), 1002u);
}

// Past the hash limit the table keeps a sorted run and merges arrivals in batches. Against a tree map summed
// case by case, every weight must be the same bits: repeats are summed in arrival order whichever state the
// table is in.
TEST(KvFreqTable, LargeTablesSumInArrivalOrderThroughEveryState)
{
    std::mt19937_64 rng(11);
    std::uniform_int_distribution<int> cents(-2000000, 6000000);
    std::uniform_real_distribution<double> weight(0.1, 3.7);
    const double inf = std::numeric_limits<double>::infinity();
    KvFreqTable t;
    std::map<double, double> want;
    auto add = [&](double x, double w) {
        t.Add(x, w);
        want[x + 0.0] += w;
    };
    for (int i = 0; i < 300000; ++i) {
        // Most values new, a fifth drawn from a small pool so that repeats meet in the run, in the pending
        // cases and across both.
        add((i % 5 == 0) ? (i % 997) * 0.01 : cents(rng) * 0.01, weight(rng));
        if (i == 120000) {
            EXPECT_GT(t.size(), KvFreqTable::kHashLimit);  // a read in the middle of the stream
            add(-0.0, 1.0);
            add(inf, 2.0);
            add(-inf, 0.5);
        }
    }
    EXPECT_EQ(ItemsOf(t), Items(want.begin(), want.end()));
    EXPECT_EQ(t.WeightOf(9.96), want[9.96]);
    EXPECT_FALSE(std::signbit(t.WeightOf(0.0)));
    EXPECT_EQ(t.begin()->first, -inf);
    t.clear();
    EXPECT_TRUE(t.empty());
    t.Add(1.0, 1.0);
    EXPECT_EQ(t.size(), 1u);
}

// Parts merged, directly and through bytes, against one std::map fed every case: tables in every state (a few
// values in the hash, a long run with pending cases, empty) on both sides of a merge. Weights are multiples of
// 1/8, so sums in any grouping are exact and the comparison is bitwise.
TEST(KvFreqTable, PartsMergedInEveryStateEqualOneTable)
{
    std::mt19937_64 rng(5);
    std::uniform_int_distribution<int> value(-40000, 40000), eighths(1, 40);
    const std::vector<std::vector<int>> splits = {{0, 100, 50000}, {60000, 10, 0}, {7, 30000, 30000, 5}};
    for (const auto& sizes : splits) {
        std::map<double, double> want;
        std::vector<KvFreqTable> parts(sizes.size());
        for (size_t p = 0; p < sizes.size(); ++p)
            for (int i = 0; i < sizes[p]; ++i) {
                const double x = (p == 1 ? value(rng) % 50 : value(rng)) * 0.5, w = eighths(rng) / 8.0;
                parts[p].Add(x, w);
                want[x] += w;
            }
        KvFreqTable merged, read;
        for (const KvFreqTable& part : parts) {
            merged.Merge(part);
            StateWriter out;
            part.Write(out);
            StateReader in(out.Bytes().data(), out.Bytes().size());
            ASSERT_TRUE(read.Read(in));
        }
        EXPECT_EQ(ItemsOf(merged), Items(want.begin(), want.end()));
        EXPECT_EQ(ItemsOf(read), Items(want.begin(), want.end()));
    }
    // Values out of order are not bytes this table wrote.
    StateWriter out;
    out.PutU64(2);
    for (double v : {2.0, 1.0, 1.0, 1.0}) out.PutDouble(v);
    StateReader in(out.Bytes().data(), out.Bytes().size());
    KvFreqTable t;
    EXPECT_FALSE(t.Read(in));
}
