// Cell keys and the cell table: hashing, bucket growth, node reuse, removal,
// copying and iteration. Cell values are not needed to exercise the table, so
// pairs carry null values.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "CellKey.h"
#include "HashtablePair.h"
#include "TestSupport.h"

namespace {

CellKey* Key(std::initializer_list<int> entries)
{
    auto* k = new CellKey(static_cast<int>(entries.size()));
    int i = 0;
    for (int e : entries) (*k)[i++] = e;
    k->UpdateHashCode();
    return k;
}

}  // namespace

TEST(CellKey, HashIsXorOfWeightedShiftedEntries)
{
    std::unique_ptr<CellKey> a(Key({1, 2})), b(Key({2, 1}));
    // (1 + 10001) * 3 xor (2 + 10001) * 5, and the mirror image.
    EXPECT_EQ(a->GetHashCode(), (10002 * 3) ^ (10003 * 5));
    EXPECT_EQ(b->GetHashCode(), (10003 * 3) ^ (10002 * 5));
    EXPECT_FALSE(a->Equals(*b));
    std::unique_ptr<CellKey> lowest(Key({-10001, -10001, -10001}));
    EXPECT_EQ(lowest->GetHashCode(), 0);
    EXPECT_EQ(CellKey().cellKeyHash(), 0);

    // Entry 49 wraps around to the first prime again: (1 * 3) alone.
    CellKey long50(50);
    for (int i = 0; i < 50; ++i) long50[i] = -10001;
    long50[49] = -10000;
    long50.UpdateHashCode();
    EXPECT_EQ(long50.GetHashCode(), 3);
    // The largest entry whose products stay below 2^31 keeps the hash non-negative.
    CellKey big(49);
    for (int i = 0; i < 49; ++i) big[i] = i == 0 ? 9367656 : 0;
    big.UpdateHashCode();
    EXPECT_GE(big.GetHashCode(), 0);
}

TEST(CellKey, CopyKeepsTheCachedHashAndOrderingIsLengthFirst)
{
    std::unique_ptr<CellKey> a(Key({3, 4}));
    (*a)[0] = 7;  // element writes do not refresh the hash
    CellKey copy(*a), assigned(3);
    assigned = *a;
    EXPECT_EQ(copy.GetHashCode(), a->GetHashCode());
    EXPECT_EQ(copy[0], 7);
    EXPECT_EQ(assigned.length(), 2u);
    EXPECT_EQ(assigned[1], 4);
    std::unique_ptr<CellKey> k9(Key({9})), k12(Key({1, 2})), k13(Key({1, 3}));
    EXPECT_TRUE(*k9 < *k12);
    EXPECT_TRUE(*k12 < *k13);
    EXPECT_FALSE(*k13 < *k12);
    EXPECT_FALSE(*k12 < *k12);
}

TEST(KvAggrHashtablePair, GrowsAtTheThresholdThroughTheDocumentedSequence)
{
    KvAggrHashtablePair table(89);
    EXPECT_EQ(table.GetThreshold(), 66);
    for (int i = 1; i <= 66; ++i) ASSERT_TRUE(table.put(Key({i, 1}), nullptr));
    EXPECT_EQ(table.GetNumBuckets(), 89);
    EXPECT_EQ(table.GetRehashCount(), 0);
    ASSERT_TRUE(table.put(Key({67, 1}), nullptr));  // the 67th insertion grows first
    EXPECT_EQ(table.GetNumBuckets(), 179);
    EXPECT_EQ(table.GetThreshold(), 134);
    EXPECT_EQ(table.GetRehashCount(), 1);
    for (int i = 68; i <= 1000; ++i) ASSERT_TRUE(table.put(Key({i, 1}), nullptr));
    EXPECT_EQ(table.GetNumBuckets(), 1439);  // 179 -> 359 -> 719 -> 1439 (threshold 1079)
    EXPECT_EQ(table.GetRehashCount(), 4);
    EXPECT_EQ(table.size(), 1000);
    for (int i = 1; i <= 1000; ++i) {
        std::unique_ptr<CellKey> probe(Key({i, 1}));
        ASSERT_TRUE(table.containsKey(probe.get())) << i;
    }
    // Every stored key sits in the bucket its hash names.
    for (int b = 0; b < table.GetNumBuckets(); ++b)
        for (KvAggrPairNode* n = table.GetBucket(b); n; n = n->next)
            ASSERT_EQ(n->pair.key->GetHashCode() % table.GetNumBuckets(), b);
}

TEST(KvAggrHashtablePair, PutKeepsAPresentKeyAndPutOverwriteReplacesIt)
{
    KvAggrHashtablePair table(89);
    CellKey* first = Key({1, 2});
    ASSERT_TRUE(table.put(first, nullptr));
    std::unique_ptr<CellKey> again(Key({1, 2}));
    EXPECT_FALSE(table.put(again.get(), nullptr));
    EXPECT_EQ(table.size(), 1);
    EXPECT_EQ(table.get(again.get())->pair.key, first);

    CellKey* replacement = Key({1, 2});
    table.putOverwrite(replacement, nullptr);  // deletes `first`
    EXPECT_EQ(table.get(again.get())->pair.key, replacement);
    table.putOverwrite(replacement, nullptr);  // the same object is kept, not deleted
    EXPECT_EQ(table.get(again.get())->pair.key, replacement);
    table.putOverwrite(Key({6}), nullptr);  // absent: inserted
    EXPECT_EQ(table.size(), 2);
}

TEST(KvAggrHashtablePair, RemovingFromTheMiddleOfAChainKeepsTheOthersFindable)
{
    // Three keys that share bucket 0 of 89 form one chain, last inserted first.
    KvAggrHashtablePair table(89);
    std::vector<CellKey*> sameBucket;
    for (int i = 1; sameBucket.size() < 3; ++i) {
        CellKey* k = Key({i});
        if (k->GetHashCode() % 89 == 0) sameBucket.push_back(k);
        else delete k;
    }
    for (CellKey* k : sameBucket) table.put(k, nullptr);
    ASSERT_EQ(table.GetBucket(0)->next->pair.key, sameBucket[1]);
    std::unique_ptr<CellPair> removed(table.remove(sameBucket[1]));
    ASSERT_NE(removed, nullptr);
    EXPECT_EQ(removed->key, sameBucket[1]);
    delete removed->key;
    EXPECT_EQ(table.size(), 2);
    EXPECT_TRUE(table.containsKey(sameBucket[0]));
    EXPECT_TRUE(table.containsKey(sameBucket[2]));
    EXPECT_EQ(table.GetFreeNodeCount(), 1);
    std::unique_ptr<CellKey> absent(Key({-5}));
    EXPECT_EQ(table.remove(absent.get()), nullptr);
}

TEST(KvAggrHashtablePair, ClearingRecyclesNodesAndFreeStacksMove)
{
    KvAggrHashtablePair table(89), other(89);
    std::vector<std::unique_ptr<CellKey>> keys;
    for (int i = 1; i <= 10; ++i) {
        keys.emplace_back(Key({i}));
        table.put(keys.back().get(), nullptr);
    }
    table.clear();  // the keys stay ours and alive
    EXPECT_EQ(table.size(), 0);
    EXPECT_EQ(table.GetFreeNodeCount(), 10);
    EXPECT_EQ(table.begin(), table.end());
    for (size_t i = 0; i < 4; ++i) table.put(keys[i].get(), nullptr);
    EXPECT_EQ(table.GetFreeNodeCount(), 6);  // reused, not allocated
    table.clear();

    // clearDeep deletes what it holds; the nodes stay for reuse, the size stays.
    for (int i = 1; i <= 5; ++i) table.put(Key({i}), nullptr);
    for (int i = 1; i <= 3; ++i) other.put(Key({i}), nullptr);
    table.clearDeep();
    other.clearDeep();
    EXPECT_EQ(table.GetFreeNodeCount(), 10);
    EXPECT_EQ(table.GetNumBuckets(), 89);
    table.moveFreeStack(other);
    EXPECT_EQ(table.GetFreeNodeCount(), 13);
    EXPECT_EQ(other.GetFreeNodeCount(), 0);
}

TEST(KvAggrHashtablePair, IterationVisitsEveryPairOnceInBucketOrder)
{
    KvAggrHashtablePair table(89);
    std::set<int> want, seen;
    for (int i = 1; i <= 200; ++i) {
        table.put(Key({i, -i}), nullptr);
        want.insert(i);
    }
    int lastBucket = -1;
    for (auto it = table.begin(); it != table.end(); ++it) {
        EXPECT_TRUE(seen.insert((*(*it).key)[0]).second);
        EXPECT_GE(it.bucket, lastBucket);
        lastBucket = it.bucket;
    }
    EXPECT_EQ(seen, want);
    const KvAggrHashtablePair& ct = table;
    int n = 0;
    for (auto it = ct.begin(); it != ct.end(); it++) ++n;
    EXPECT_EQ(n, 200);
}

TEST(KvAggrHashtablePair, CopySharesPairsAndTakesNodesFromTheSourcesFreeStack)
{
    KvAggrHashtablePair source(89), spare(89);
    std::vector<std::unique_ptr<CellKey>> keys;
    for (int i = 1; i <= 6; ++i) {
        keys.emplace_back(Key({i}));
        source.put(keys.back().get(), nullptr);
    }
    for (int i = 1; i <= 4; ++i) spare.put(Key({100 + i}), nullptr);
    spare.clearDeep();
    source.moveFreeStack(spare);
    {
        KvAggrHashtablePair copy(source);
        EXPECT_EQ(source.GetFreeNodeCount(), 0);
        EXPECT_EQ(copy.size(), 6);
        EXPECT_EQ(copy.GetRehashCount(), 0);
        // The same pairs in the same chain order.
        for (int b = 0; b < 89; ++b) {
            const KvAggrPairNode* s = source.GetBucket(b);
            const KvAggrPairNode* c = copy.GetBucket(b);
            for (; s && c; s = s->next, c = c->next) EXPECT_EQ(s->pair.key, c->pair.key);
            EXPECT_EQ(s == nullptr, c == nullptr);
        }
        copy.clear();  // the keys belong to `keys`
    }
    source.clear();
}

// Lookups are answered from a cache of recent hits: it must never hand back a
// node for a different key (keys of one hash, keys longer than it holds), nor
// a node that a removal or a clear took out of the table.
TEST(KvAggrHashtablePair, RecentLookupsNeverOutliveTheirNodes)
{
    KvAggrHashtablePair table(7);
    for (int i = 0; i < 600; ++i) ASSERT_TRUE(table.put(Key({i % 30, i / 30}), nullptr));
    // {1, 2} and {2, 1} weigh their entries differently; {0, 0, 0, 0, 0, 0, 0} is longer than a cached key.
    ASSERT_TRUE(table.put(Key({0, 0, 0, 0, 0, 0, 0}), nullptr));
    for (int round = 0; round < 3; ++round)
        for (int i = 0; i < 600; ++i) {
            std::unique_ptr<CellKey> probe(Key({i % 30, i / 30}));
            KvAggrPairNode* node = table.get(probe.get());
            ASSERT_NE(node, nullptr);
            ASSERT_TRUE(node->pair.key->Equals(*probe)) << i;
        }
    std::unique_ptr<CellKey> absent(Key({31, 0})), seven(Key({0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(table.get(absent.get()), nullptr);
    EXPECT_NE(table.get(seven.get()), nullptr);

    std::unique_ptr<CellKey> k(Key({4, 5}));
    ASSERT_NE(table.get(k.get()), nullptr);  // now cached
    std::unique_ptr<CellPair> removed(table.remove(k.get()));
    ASSERT_NE(removed, nullptr);
    delete removed->key;
    EXPECT_EQ(table.get(k.get()), nullptr);
    ASSERT_TRUE(table.put(Key({4, 5}), nullptr));
    EXPECT_TRUE(table.get(k.get())->pair.key->Equals(*k));
    table.clearDeep();
    EXPECT_EQ(table.get(k.get()), nullptr);
}

TEST(CellKeyDeathTest, IndexOutsideTheKeyStops)
{
    CellKey k(2);
    EXPECT_DEATH(k[2] = 1, kvtest::AssertRegex("0 <= i && i < arLength"));
    EXPECT_DEATH(k[-1] = 1, kvtest::AssertRegex("0 <= i && i < arLength"));
}
