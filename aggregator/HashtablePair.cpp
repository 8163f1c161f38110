#include "HashtablePair.h"

#include <cstdio>
#include <string>

#include "BP_Character.h"
#include "CellValues.h"
#include "KvAssert.h"

// ---- free-node stack ---------------------------------------------------------

KvAggrPairNodeStack::~KvAggrPairNodeStack()
{
    while (top) {
        KvAggrPairNode* next = top->next;
        delete top;
        top = next;
    }
}

int KvAggrPairNodeStack::size() const
{
    int n = 0;
    for (const KvAggrPairNode* p = top; p; p = p->next) ++n;
    return n;
}

// ---- chains --------------------------------------------------------------------

KvAggrPairNode* KvAggrPairNodeList::listSearch(KvAggrPairNode* head, const CellPair& pair)
{
    for (KvAggrPairNode* p = head; p; p = p->next)
        if (p->pair.key->Equals(*pair.key)) return p;
    return nullptr;
}

void KvAggrPairNodeList::listHeadInsert(KvAggrPairNode*& head, const CellPair& pair, KvAggrPairNodeStack& stack)
{
    KvAggrPairNode* node = stack.pop();
    node->pair = pair;
    node->next = head;
    head = node;
}

void KvAggrPairNodeList::listInsert(KvAggrPairNode* node, const CellPair& pair, KvAggrPairNodeStack& stack)
{
    KvAggrPairNode* fresh = stack.pop();
    fresh->pair = pair;
    fresh->next = node->next;
    node->next = fresh;
}

KvAggrPairNode* KvAggrPairNodeList::listCopy(const KvAggrPairNode* head, KvAggrPairNodeStack& stack)
{
    if (!head) return nullptr;
    KvAggrPairNode* copyHead = nullptr;
    listHeadInsert(copyHead, head->pair, stack);
    KvAggrPairNode* tail = copyHead;
    for (const KvAggrPairNode* p = head->next; p; p = p->next) {
        listInsert(tail, p->pair, stack);
        tail = tail->next;
    }
    return copyHead;
}

void KvAggrPairNodeList::listClear(KvAggrPairNode*& head, KvAggrPairNodeStack& stack)
{
    while (head) {
        delete head->pair.key;
        delete head->pair.values;
        head->pair = CellPair();
        listHeadRemove(head, stack);
    }
}

void KvAggrPairNodeList::listClearSimple(KvAggrPairNode*& head, KvAggrPairNodeStack& stack)
{
    while (head) {
        head->pair = CellPair();
        listHeadRemove(head, stack);
    }
}

void KvAggrPairNodeList::listHeadRemove(KvAggrPairNode*& head, KvAggrPairNodeStack& stack)
{
    KvAggrPairNode* head_ptr = head;
    KV_ASSERT(head_ptr != 0);
    head = head_ptr->next;
    stack.push(head_ptr);
}

void KvAggrPairNodeList::listRemove(KvAggrPairNode*& head, KvAggrPairNode* target, KvAggrPairNodeStack& stack)
{
    KV_ASSERT(target != 0);
    KvAggrPairNode* head_ptr = head;
    KV_ASSERT(head_ptr != 0);
    // Unlinking the head is O(1); the head's pair takes the target's place.
    if (target != head_ptr) target->pair = head_ptr->pair;
    listHeadRemove(head, stack);
}

void KvAggrPairNodeList::showList(const KvAggrPairNode* node)
{
    char buf[48];
    for (; node; node = node->next) {
        node->pair.key->display();
        std::string line = "\t Values: ";
        if (const CellValues* v = node->pair.values) {
            const double* values = v->GetValues();
            for (int i = 0; i < v->NumOfValues(); ++i) {
                std::snprintf(buf, sizeof buf, " %15.2f", values[i]);
                line += buf;
            }
        }
        line += "\n";
        BP_ToFront(1, BP_Character(line));
    }
}

// ---- iterators -------------------------------------------------------------------

KvAggrHashIterator& KvAggrHashIterator::operator++()
{
    if (node) node = node->next;
    while (!node && ++bucket < table->GetNumBuckets()) node = table->GetBucket(bucket);
    if (!node) bucket = table->GetNumBuckets();
    return *this;
}

KvAggrHashIterator KvAggrHashIterator::operator++(int)
{
    KvAggrHashIterator before = *this;
    ++*this;
    return before;
}

const_KvAggrHashIterator& const_KvAggrHashIterator::operator++()
{
    if (node) node = node->next;
    while (!node && ++bucket < table->GetNumBuckets()) node = table->GetBucket(bucket);
    if (!node) bucket = table->GetNumBuckets();
    return *this;
}

const_KvAggrHashIterator const_KvAggrHashIterator::operator++(int)
{
    const_KvAggrHashIterator before = *this;
    ++*this;
    return before;
}

// ---- the table ---------------------------------------------------------------------

KvAggrHashtablePair::KvAggrHashtablePair(int numBuckets)
    : buckets(new KvAggrPairNode*[numBuckets]()), numBuckets(numBuckets), count(0), loadFactor(0.75f),
      rehashCount(0)
{
    threshold = static_cast<int>(static_cast<float>(numBuckets) * loadFactor);
}

void KvAggrHashtablePair::CopyChainsFrom(const KvAggrHashtablePair& other, KvAggrPairNodeStack& nodes)
{
    numBuckets = other.numBuckets;
    count = other.count;
    threshold = other.threshold;
    loadFactor = other.loadFactor;
    rehashCount = 0;
    forgetRecent();
    buckets = new KvAggrPairNode*[numBuckets]();
    for (int b = 0; b < numBuckets; ++b) buckets[b] = KvAggrPairNodeList::listCopy(other.buckets[b], nodes);
}

KvAggrHashtablePair::KvAggrHashtablePair(KvAggrHashtablePair& other) : buckets(nullptr)
{
    CopyChainsFrom(other, other.freeStack);
}

KvAggrHashtablePair& KvAggrHashtablePair::operator=(const KvAggrHashtablePair& other)
{
    if (this == &other) return *this;
    clearDeep();
    delete[] buckets;
    CopyChainsFrom(other, freeStack);
    return *this;
}

KvAggrHashtablePair::~KvAggrHashtablePair()
{
    clearDeep();
    delete[] buckets;
}

bool KvAggrHashtablePair::put(CellKey* key, CellValues* values)
{
    CellPair pair{key, values};
    int b = BucketOf(key);
    if (KvAggrPairNodeList::listSearch(buckets[b], pair)) return false;
    if (count >= threshold) {
        rehash();
        b = BucketOf(key);
    }
    KvAggrPairNodeList::listHeadInsert(buckets[b], pair, freeStack);
    ++count;
    return true;
}

void KvAggrHashtablePair::putOverwrite(CellKey* key, CellValues* values)
{
    CellPair pair{key, values};
    KvAggrPairNode* node = KvAggrPairNodeList::listSearch(buckets[BucketOf(key)], pair);
    if (!node) {
        put(key, values);
        return;
    }
    if (node->pair.key != key) delete node->pair.key;
    if (node->pair.values != values) delete node->pair.values;
    node->pair = pair;
}

KvAggrPairNode* KvAggrHashtablePair::get(const CellKey* key) const
{
    const int length = static_cast<int>(key->length());
    if (length > kRecentKeyMax) return chainGet(key);
    const int hash = key->GetHashCode();
    if (!recent) {
        recent.reset(new RecentSlot[kRecentSlots]);
        for (int i = 0; i < kRecentSlots; ++i) recent[i].node = nullptr;
    }
    RecentSlot& slot = recent[static_cast<unsigned>(hash) % kRecentSlots];
    const int* entries = key->entries();
    if (slot.node && slot.hash == hash && slot.length == length) {
        int i = 0;
        while (i < length && slot.entries[i] == entries[i]) ++i;
        if (i == length) return slot.node;
    }
    KvAggrPairNode* node = chainGet(key);
    if (node) {
        slot.node = node;
        slot.hash = hash;
        slot.length = length;
        for (int i = 0; i < length; ++i) slot.entries[i] = entries[i];
    }
    return node;
}

KvAggrPairNode* KvAggrHashtablePair::chainGet(const CellKey* key) const
{
    int b = BucketOf(key);
    for (KvAggrPairNode* p = buckets[b]; p; p = p->next)
        if (p->pair.key->Equals(*key)) return p;
    return nullptr;
}

CellPair* KvAggrHashtablePair::remove(CellKey* key)
{
    int b = BucketOf(key);
    CellPair probe{key, nullptr};
    KvAggrPairNode* node = KvAggrPairNodeList::listSearch(buckets[b], probe);
    if (!node) return nullptr;
    forgetRecent();
    CellPair* removed = new CellPair(node->pair);
    KvAggrPairNodeList::listRemove(buckets[b], node, freeStack);
    --count;
    return removed;
}

void KvAggrHashtablePair::clear()
{
    forgetRecent();
    for (int b = 0; b < numBuckets; ++b) KvAggrPairNodeList::listClearSimple(buckets[b], freeStack);
    count = 0;
}

void KvAggrHashtablePair::clearDeep()
{
    forgetRecent();
    for (int b = 0; b < numBuckets; ++b) KvAggrPairNodeList::listClear(buckets[b], freeStack);
    count = 0;
}

void KvAggrHashtablePair::moveFreeStack(KvAggrHashtablePair& other)
{
    if (!other.freeStack.top) return;
    if (!freeStack.top) {
        freeStack.top = other.freeStack.top;
    } else {
        KvAggrPairNode* bottom = freeStack.top;
        while (bottom->next) bottom = bottom->next;
        bottom->next = other.freeStack.top;
    }
    other.freeStack.top = nullptr;
}

void KvAggrHashtablePair::rehash()
{
    int newCount = 2 * numBuckets + 1;
    auto** fresh = new KvAggrPairNode*[newCount]();
    // Nodes move from the head of each old chain to the head of their new
    // chain: no node is allocated or freed, and nodes that share a new bucket
    // end up in reversed relative order.
    for (int b = 0; b < numBuckets; ++b) {
        while (KvAggrPairNode* node = buckets[b]) {
            buckets[b] = node->next;
            int nb = node->pair.key->GetHashCode() % newCount;
            node->next = fresh[nb];
            fresh[nb] = node;
        }
    }
    delete[] buckets;
    buckets = fresh;
    numBuckets = newCount;
    ++rehashCount;
    threshold = static_cast<int>(static_cast<float>(numBuckets) * loadFactor);
}

KvAggrHashIterator KvAggrHashtablePair::begin()
{
    if (count == 0) return end();
    for (int b = 0; b < numBuckets; ++b)
        if (buckets[b]) return KvAggrHashIterator(this, buckets[b], b);
    return end();
}

const_KvAggrHashIterator KvAggrHashtablePair::begin() const
{
    if (count == 0) return end();
    for (int b = 0; b < numBuckets; ++b)
        if (buckets[b]) return const_KvAggrHashIterator(this, buckets[b], b);
    return end();
}

void KvAggrHashtablePair::display() const
{
    BP_ToFront(2, BP_Character("Start of Hashtable.\n"));
    char buf[48];
    for (int b = 0; b < numBuckets; ++b) {
        if (!buckets[b]) continue;
        std::snprintf(buf, sizeof buf, "Bucket %d :", b);
        BP_ToFront(1, BP_Character(buf));
        KvAggrPairNodeList::showList(buckets[b]);
    }
    BP_ToFront(2, BP_Character("End of Hashtable.\n"));
}
