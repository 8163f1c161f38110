// The cell table of a cube: a chained hash table from CellKey to the cell's
// CellValues. It stores pointers and never copies keys or values; nodes freed
// by removals and clears go to a free stack and are reused before any new node
// is allocated, so a second pass over the data allocates no nodes.
#ifndef KVAGGR_HASHTABLEPAIR_H
#define KVAGGR_HASHTABLEPAIR_H

#include <memory>

#include "CellKey.h"

class CellValues;

struct CellPair {
    CellKey* key = nullptr;
    CellValues* values = nullptr;
};

struct KvAggrPairNode {
    CellPair pair;
    KvAggrPairNode* next = nullptr;
};

// Free nodes linked through `next`. Deletes its nodes (not their pairs).
class KvAggrPairNodeStack {
public:
    KvAggrPairNodeStack() = default;
    KvAggrPairNodeStack(const KvAggrPairNodeStack&) = delete;
    KvAggrPairNodeStack& operator=(const KvAggrPairNodeStack&) = delete;
    ~KvAggrPairNodeStack();

    void push(KvAggrPairNode* node)
    {
        node->next = top;
        top = node;
    }
    // A node from the stack, or a new one when the stack is empty.
    KvAggrPairNode* pop()
    {
        if (!top) return new KvAggrPairNode;
        KvAggrPairNode* node = top;
        top = node->next;
        node->next = nullptr;
        return node;
    }
    bool empty() const { return top == nullptr; }
    int size() const;

    KvAggrPairNode* top = nullptr;
};

// Operations over one chain, given by its head.
class KvAggrPairNodeList {
public:
    static KvAggrPairNode* listSearch(KvAggrPairNode* head, const CellPair& pair);
    static void listHeadInsert(KvAggrPairNode*& head, const CellPair& pair, KvAggrPairNodeStack& stack);
    static void listInsert(KvAggrPairNode* node, const CellPair& pair, KvAggrPairNodeStack& stack);
    // A copy of the chain in the same order, sharing the pairs' pointers.
    static KvAggrPairNode* listCopy(const KvAggrPairNode* head, KvAggrPairNodeStack& stack);
    // Deletes every key and values object and pushes the nodes on the stack.
    static void listClear(KvAggrPairNode*& head, KvAggrPairNodeStack& stack);
    // Pushes the nodes on the stack; keys and values are left alone.
    static void listClearSimple(KvAggrPairNode*& head, KvAggrPairNodeStack& stack);
    static void listHeadRemove(KvAggrPairNode*& head, KvAggrPairNodeStack& stack);
    // Removes `target` by moving the head's pair into it and dropping the head.
    static void listRemove(KvAggrPairNode*& head, KvAggrPairNode* target, KvAggrPairNodeStack& stack);
    static void showList(const KvAggrPairNode* node);
};

class KvAggrHashtablePair;

class KvAggrHashIterator {
public:
    KvAggrHashIterator(KvAggrHashtablePair* table, KvAggrPairNode* node, int bucket)
        : table(table), node(node), bucket(bucket)
    {
    }
    CellPair& operator*() const { return node->pair; }
    CellPair* operator->() const { return &node->pair; }
    KvAggrHashIterator& operator++();
    KvAggrHashIterator operator++(int);
    bool operator==(const KvAggrHashIterator& o) const
    {
        return node == o.node && bucket == o.bucket && table == o.table;
    }
    bool operator!=(const KvAggrHashIterator& o) const { return !(*this == o); }

    KvAggrHashtablePair* table;
    KvAggrPairNode* node;
    int bucket;
};

class const_KvAggrHashIterator {
public:
    const_KvAggrHashIterator(const KvAggrHashtablePair* table, const KvAggrPairNode* node, int bucket)
        : table(table), node(node), bucket(bucket)
    {
    }
    const_KvAggrHashIterator(const KvAggrHashIterator& it) : table(it.table), node(it.node), bucket(it.bucket) {}
    const CellPair& operator*() const { return node->pair; }
    const CellPair* operator->() const { return &node->pair; }
    const_KvAggrHashIterator& operator++();
    const_KvAggrHashIterator operator++(int);
    bool operator==(const const_KvAggrHashIterator& o) const
    {
        return node == o.node && bucket == o.bucket && table == o.table;
    }
    bool operator!=(const const_KvAggrHashIterator& o) const { return !(*this == o); }

    const KvAggrHashtablePair* table;
    const KvAggrPairNode* node;
    int bucket;
};

class KvAggrHashtablePair {
public:
    explicit KvAggrHashtablePair(int numBuckets);
    // Shares `other`'s keys and values; takes nodes from `other`'s free stack
    // when it has any (hence the non-const argument).
    KvAggrHashtablePair(KvAggrHashtablePair& other);
    KvAggrHashtablePair& operator=(const KvAggrHashtablePair& other);
    ~KvAggrHashtablePair();

    // Inserts when no equal key is stored; false (and nothing changes) otherwise.
    bool put(CellKey* key, CellValues* values);
    // Replaces the pair of an equal stored key, deleting the old key and values
    // unless they are the very objects passed; inserts otherwise.
    void putOverwrite(CellKey* key, CellValues* values);
    KvAggrPairNode* get(const CellKey* key) const;
    bool containsKey(const CellKey* key) const { return get(key) != nullptr; }
    // The stored pair in a new heap CellPair that the caller owns (with its
    // key and values), or null when absent.
    CellPair* remove(CellKey* key);
    void clear();
    void clearDeep();
    // Appends `other`'s whole free stack below this table's free nodes.
    void moveFreeStack(KvAggrHashtablePair& other);

    KvAggrHashIterator begin();
    KvAggrHashIterator end() { return KvAggrHashIterator(this, nullptr, numBuckets); }
    const_KvAggrHashIterator begin() const;
    const_KvAggrHashIterator end() const { return const_KvAggrHashIterator(this, nullptr, numBuckets); }

    void display() const;

    int size() const { return count; }
    int GetCount() const { return count; }
    int GetNumBuckets() const { return numBuckets; }
    int GetThreshold() const { return threshold; }
    int GetRehashCount() const { return rehashCount; }
    int GetFreeNodeCount() const { return freeStack.size(); }
    KvAggrPairNode* GetBucket(int i) const { return buckets[i]; }

private:
    int BucketOf(const CellKey* key) const { return key->GetHashCode() % numBuckets; }
    KvAggrPairNode* chainGet(const CellKey* key) const;
    // Lookups of the per-case path hit the same few cells over and over, so a
    // small direct-mapped cache of recent hits, holding a copy of each key's
    // entries, answers most of them without the division and the chain of
    // pointers (node, key, entries). Nodes never move while they are in the
    // table (a rehash relinks them), so a cached node stays good until a
    // removal or a clear, which forget the cache.
    static constexpr int kRecentSlots = 256;
    static constexpr int kRecentKeyMax = 6;
    struct RecentSlot {
        KvAggrPairNode* node;
        int hash;
        int length;
        int entries[kRecentKeyMax];
    };
    void forgetRecent() { recent.reset(); }
    void rehash();
    void CopyChainsFrom(const KvAggrHashtablePair& other, KvAggrPairNodeStack& nodes);

    KvAggrPairNode** buckets;
    int numBuckets;
    int count;
    int threshold;
    float loadFactor;
    int rehashCount;
    KvAggrPairNodeStack freeStack;
    mutable std::unique_ptr<RecentSlot[]> recent;  // made on the first lookup
};

#endif
