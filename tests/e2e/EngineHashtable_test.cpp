// The cell table puts every key in the bucket of its hash modulo the bucket
// count, through every growth of the table, for keys over the whole range of
// category indices that a hash stays non-negative for.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "EngineTables.h"

namespace {

bool InBucket(const KvAggrHashtablePair& table, const CellKey* key)
{
    for (KvAggrPairNode* n = table.GetBucket(key->GetHashCode() % table.GetNumBuckets()); n; n = n->next)
        if (n->pair.key == key) return true;
    return false;
}

TEST(EngineHashtable, EveryKeySitsInTheBucketOfItsHash)
{
    std::mt19937 rng(17);
    std::uniform_int_distribution<int> entry(TableEncryptionCodes::kLowerSubtotal, 9367656);
    KvAggrHashtablePair table(89);
    std::vector<CellKey*> keys;
    for (int i = 0; i < 20000; ++i) {
        auto* key = new CellKey(3);
        for (int k = 0; k < 3; ++k) (*key)[k] = entry(rng);
        key->UpdateHashCode();
        ASSERT_GE(key->GetHashCode(), 0);
        if (table.put(key, nullptr))
            keys.push_back(key);
        else
            delete key;
    }
    EXPECT_GT(table.GetRehashCount(), 5);
    for (const CellKey* key : keys) {
        ASSERT_TRUE(InBucket(table, key)) << "hash " << key->GetHashCode() << " buckets " << table.GetNumBuckets();
        ASSERT_NE(table.get(key), nullptr);
    }
    // The smallest hash, 0, has a bucket too.
    CellKey zero(1);
    zero[0] = TableEncryptionCodes::kLowerSubtotal;
    zero.UpdateHashCode();
    ASSERT_EQ(zero.GetHashCode(), 0);
    KvAggrHashtablePair small(89);
    small.put(&zero, nullptr);
    EXPECT_TRUE(InBucket(small, &zero));
    small.clear();
    for (CellKey* key : keys) delete key;
    table.clear();
}

}  // namespace
