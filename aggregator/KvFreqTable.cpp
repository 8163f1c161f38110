#include "KvFreqTable.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

std::uint64_t Bits(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

double FromBits(std::uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// An empty slot holds a signalling NaN that no stored value can have, because
// Fold turns every NaN into the one quiet NaN.
const std::uint64_t kEmptyBits = 0x7ff4c0ffee0dd00dULL;
const std::uint64_t kNaNBits = 0x7ff8000000000000ULL;

// -0.0 becomes 0.0 and every NaN the quiet NaN, so that bit equality is value
// equality and a NaN stays findable.
std::uint64_t Fold(double value)
{
    if (std::isnan(value)) return kNaNBits;
    return Bits(value + 0.0);
}

std::uint64_t HashBits(std::uint64_t bits)
{
    bits ^= bits >> 33;
    bits *= 0xff51afd7ed558ccdULL;
    bits ^= bits >> 33;
    bits *= 0xc4ceb9fe1a85ec53ULL;
    bits ^= bits >> 33;
    return bits;
}

// An unsigned key in the order of the (folded) values: negative values flip
// entirely, non-negative ones get the sign bit, and the quiet NaN lands above
// +infinity.
std::uint64_t OrderKey(double value)
{
    const std::uint64_t bits = Bits(value);
    return (bits >> 63) ? ~bits : bits | 0x8000000000000000ULL;
}

bool EntryBefore(const KvFreqTable::Entry& e, std::uint64_t key) { return OrderKey(e.first) < key; }

// Least-significant-digit radix sort on OrderKey, eight passes of one byte,
// skipping a byte that every key shares. Stable, so repeats of a value keep
// their arrival order for the summation.
void RadixSortByValue(std::vector<KvFreqTable::Entry>& a)
{
    typedef KvFreqTable::Entry Entry;
    const std::size_t n = a.size();
    if (n < 256) {
        std::stable_sort(a.begin(), a.end(),
                         [](const Entry& x, const Entry& y) { return OrderKey(x.first) < OrderKey(y.first); });
        return;
    }
    std::vector<std::size_t> counts(8 * 256, 0);
    for (const Entry& e : a) {
        const std::uint64_t key = OrderKey(e.first);
        for (int b = 0; b < 8; ++b) ++counts[b * 256 + ((key >> (8 * b)) & 0xff)];
    }
    std::vector<Entry> scratch(n);
    Entry* src = a.data();
    Entry* dst = scratch.data();
    for (int b = 0; b < 8; ++b) {
        std::size_t* count = &counts[b * 256];
        const std::uint64_t first = (OrderKey(src[0].first) >> (8 * b)) & 0xff;
        if (count[first] == n) continue;
        std::size_t offset = 0;
        for (int d = 0; d < 256; ++d) {
            const std::size_t c = count[d];
            count[d] = offset;
            offset += c;
        }
        for (std::size_t i = 0; i < n; ++i) dst[count[(OrderKey(src[i].first) >> (8 * b)) & 0xff]++] = src[i];
        std::swap(src, dst);
    }
    if (src != a.data()) std::copy(src, src + n, a.data());
}

const std::size_t kMinCapacity = 16;
// A run takes repeats this many at a time at least, so a small run that is fed
// again is not merged on every case.
const std::size_t kMinPending = 4096;

}  // namespace

KvFreqTable::KvFreqTable(std::initializer_list<std::pair<const double, double>> items)
{
    for (const auto& item : items) (*this)[item.first] = item.second;
}

KvFreqTable::KvFreqTable(const KvFreqTable& other)
{
    other.EnsureOrdered();
    _sorted = other._sorted;
    _count = _sorted.size();
}

KvFreqTable& KvFreqTable::operator=(const KvFreqTable& other)
{
    if (this != &other) {
        KvFreqTable copy(other);
        *this = std::move(copy);
    }
    return *this;
}

KvFreqTable::KvFreqTable(KvFreqTable&& other) noexcept
    : _slots(std::move(other._slots)), _capacity(other._capacity), _count(other._count),
      _sorted(std::move(other._sorted)), _pending(std::move(other._pending))
{
    other.clear();
}

KvFreqTable& KvFreqTable::operator=(KvFreqTable&& other) noexcept
{
    if (this != &other) {
        _slots = std::move(other._slots);
        _capacity = other._capacity;
        _count = other._count;
        _sorted = std::move(other._sorted);
        _pending = std::move(other._pending);
        other.clear();
    }
    return *this;
}

// The slot of `bits` in the hash table, or the empty slot where it would go.
KvFreqTable::Entry* KvFreqTable::Probe(std::uint64_t bits) const
{
    const std::size_t mask = _capacity - 1;
    for (std::size_t i = HashBits(bits) & mask;; i = (i + 1) & mask) {
        const std::uint64_t slot = Bits(_slots[i].first);
        if (slot == bits || slot == kEmptyBits) return &_slots[i];
    }
}

// Puts the absent value `bits` into the hash table, growing it first when it
// would pass three quarters full (linear probes stay a few slots long, and
// four slots share a cache line).
double& KvFreqTable::InsertIntoHash(std::uint64_t bits)
{
    if ((_count + 1) * 4 > _capacity * 3) Rehash(_capacity * 2);
    Entry* slot = Probe(bits);
    *slot = Entry(FromBits(bits), 0.0);
    ++_count;
    return slot->second;
}

void KvFreqTable::Add(double value, double weight)
{
    const std::uint64_t bits = Fold(value);
    if (_capacity != 0) {
        Entry* slot = Probe(bits);
        if (Bits(slot->first) == bits) {
            slot->second += weight;
            return;
        }
        if (_count < kHashLimit) {
            InsertIntoHash(bits) += weight;
            return;
        }
        HashToRun();
    } else if (_sorted.empty() && _pending.empty()) {
        _count = 0;
        Rehash(kMinCapacity);
        InsertIntoHash(bits) += weight;
        return;
    }
    const std::size_t threshold = std::max(kMinPending, _sorted.size());
    if (_pending.empty()) _pending.reserve(threshold);
    _pending.emplace_back(FromBits(bits), weight);
    if (_pending.size() >= threshold) MergePending();
}

double& KvFreqTable::operator[](double value)
{
    const std::uint64_t bits = Fold(value);
    if (empty()) {
        _count = 0;
        Rehash(kMinCapacity);
    }
    if (_capacity != 0) {
        Entry* slot = Probe(bits);
        return Bits(slot->first) == bits ? slot->second : InsertIntoHash(bits);
    }
    Order();
    const std::uint64_t key = OrderKey(FromBits(bits));
    auto it = std::lower_bound(_sorted.begin(), _sorted.end(), key, EntryBefore);
    if (it == _sorted.end() || Bits(it->first) != bits) it = _sorted.insert(it, Entry(FromBits(bits), 0.0));
    return it->second;
}

double KvFreqTable::WeightOf(double value) const
{
    const std::uint64_t bits = Fold(value);
    if (_capacity != 0) {
        const Entry* slot = Probe(bits);
        return Bits(slot->first) == bits ? slot->second : 0.0;
    }
    EnsureOrdered();
    auto it = std::lower_bound(_sorted.begin(), _sorted.end(), OrderKey(FromBits(bits)), EntryBefore);
    return (it != _sorted.end() && Bits(it->first) == bits) ? it->second : 0.0;
}

std::size_t KvFreqTable::size() const
{
    if (_capacity != 0) return _count;
    EnsureOrdered();
    return _sorted.size();
}

void KvFreqTable::Merge(const KvFreqTable& other)
{
    MergeRun(other.begin(), other.size());
}

// A part's table of an income in cents holds about a value per case: merging
// it value by value would cost a hash probe or an append and a radix pass per
// value, where the run is already ordered. Each value's weight is this
// table's plus the run's, as Add would sum it.
void KvFreqTable::MergeRun(const Entry* run, std::size_t n)
{
    if (n < kMinPending) {
        for (std::size_t j = 0; j < n; ++j) Add(run[j].first, run[j].second);
        return;
    }
    Order();
    if (_sorted.empty()) {
        _sorted.assign(run, run + n);
        return;
    }
    std::vector<Entry> merged;
    merged.reserve(_sorted.size() + n);
    std::size_t i = 0;
    for (std::size_t j = 0; j < n; ++j) {
        const std::uint64_t key = OrderKey(run[j].first);
        while (i < _sorted.size() && OrderKey(_sorted[i].first) < key) merged.push_back(_sorted[i++]);
        if (i < _sorted.size() && OrderKey(_sorted[i].first) == key) {
            merged.emplace_back(_sorted[i].first, _sorted[i].second + run[j].second);
            ++i;
        } else {
            merged.push_back(run[j]);
        }
    }
    merged.insert(merged.end(), _sorted.begin() + static_cast<std::ptrdiff_t>(i), _sorted.end());
    _sorted.swap(merged);
}

void KvFreqTable::Write(StateWriter& out) const
{
    out.PutU64(size());
    for (const Entry& e : *this) {
        out.PutDouble(e.first);
        out.PutDouble(e.second);
    }
}

bool KvFreqTable::Read(StateReader& in)
{
    std::uint64_t n = 0;
    if (!in.GetCount(n, 2 * sizeof(double))) return false;
    std::vector<Entry> run(n);
    for (Entry& e : run) {
        in.GetDouble(e.first);
        in.GetDouble(e.second);
        e.first = FromBits(Fold(e.first));
    }
    // Write gave the values distinct and ascending; bytes that say otherwise
    // come from elsewhere.
    for (std::size_t j = 1; j < run.size(); ++j)
        if (OrderKey(run[j - 1].first) >= OrderKey(run[j].first)) return false;
    MergeRun(run.data(), run.size());
    return true;
}

// Moves every value of the hash table into a fresh one of `capacity` slots.
void KvFreqTable::Rehash(std::size_t capacity)
{
    std::unique_ptr<Entry[]> slots(new Entry[capacity]);
    std::fill(slots.get(), slots.get() + capacity, Entry(FromBits(kEmptyBits), 0.0));
    const std::size_t mask = capacity - 1;
    for (std::size_t s = 0; s < _capacity; ++s) {
        if (Bits(_slots[s].first) == kEmptyBits) continue;
        std::size_t i = HashBits(Bits(_slots[s].first)) & mask;
        while (Bits(slots[i].first) != kEmptyBits) i = (i + 1) & mask;
        slots[i] = _slots[s];
    }
    _slots = std::move(slots);
    _capacity = capacity;
}

void KvFreqTable::HashToRun() const
{
    _sorted.reserve(_count);
    for (std::size_t s = 0; s < _capacity; ++s)
        if (Bits(_slots[s].first) != kEmptyBits) _sorted.push_back(_slots[s]);
    _slots.reset();
    _capacity = 0;
    RadixSortByValue(_sorted);
}

// Folds the pending cases into the run: a value's weight is its run weight
// plus its pending weights in arrival order, as the hash table would sum them.
void KvFreqTable::MergePending() const
{
    RadixSortByValue(_pending);
    std::vector<Entry> merged;
    merged.reserve(_sorted.size() + _pending.size());
    std::size_t i = 0;
    const std::size_t runSize = _sorted.size(), pendingSize = _pending.size();
    for (std::size_t j = 0; j < pendingSize;) {
        const std::uint64_t key = OrderKey(_pending[j].first);
        while (i < runSize && OrderKey(_sorted[i].first) < key) merged.push_back(_sorted[i++]);
        Entry e(_pending[j].first, 0.0);
        if (i < runSize && OrderKey(_sorted[i].first) == key) e = _sorted[i++];
        do {
            e.second += _pending[j].second;
            ++j;
        } while (j < pendingSize && OrderKey(_pending[j].first) == key);
        merged.push_back(e);
    }
    merged.insert(merged.end(), _sorted.begin() + static_cast<std::ptrdiff_t>(i), _sorted.end());
    _sorted.swap(merged);
    _pending.clear();
}

void KvFreqTable::Order() const
{
    if (_capacity != 0) HashToRun();
    if (!_pending.empty()) MergePending();
    // A table that has been read keeps no spare room.
    std::vector<Entry>().swap(_pending);
}

void KvFreqTable::clear()
{
    _slots.reset();
    _capacity = 0;
    _count = 0;
    std::vector<Entry>().swap(_sorted);
    std::vector<Entry>().swap(_pending);
}
