// The value-frequency table of one summary variable in one cell: each distinct
// value with its summed weight, read in ascending value order by the
// percentile, median and mode functions.
//
// Cases arrive in data order, and the table adapts to how many distinct
// values they bring:
//  - While it holds few values (a score of 0 to 100, a rounded amount) it is an
//    open-addressing hash table whose slots hold the (value, weight) pairs
//    themselves: a case costs one probe into a table small enough to stay in
//    cache, and no allocation once its value is present.
//  - Past kHashLimit values (an income in cents) every probe would be a cache
//    miss, so the table becomes a sorted run of distinct values plus a
//    pending array that a case merely appends to. When the pending array is
//    as long as the run it is radix-sorted (stably) and merged into the run,
//    so each case is moved a bounded number of times and memory stays within
//    about twice the distinct values.
// The first ordered read leaves one ascending array, which reads walk as
// contiguous memory. Weights are summed in data order in every state (a
// value's weight from the run first, then its pending cases in arrival
// order), so the sums are the same bits whichever path a value took.
#ifndef KVAGGR_KVFREQTABLE_H
#define KVAGGR_KVFREQTABLE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "TableState.h"

class KvFreqTable {
public:
    typedef std::pair<double, double> Entry;  // value, summed weight
    // Contiguous, in ascending value order; a NaN value comes last.
    typedef const Entry* const_iterator;
    typedef std::reverse_iterator<const_iterator> const_reverse_iterator;

    // Distinct values held in the hash table before the table turns to a run.
    static constexpr std::size_t kHashLimit = 16384;

    KvFreqTable() = default;
    KvFreqTable(std::initializer_list<std::pair<const double, double>> items);
    KvFreqTable(const KvFreqTable& other);
    KvFreqTable& operator=(const KvFreqTable& other);
    KvFreqTable(KvFreqTable&& other) noexcept;
    KvFreqTable& operator=(KvFreqTable&& other) noexcept;
    ~KvFreqTable() = default;

    // Adds `weight` to the summed weight of `value`: the per-case update. 0.0
    // and -0.0 are one value, and so are all NaNs.
    void Add(double value, double weight);
    // The summed weight of `value`, inserted as 0 when absent. The reference is
    // good until the next change to the table or the next ordered read.
    double& operator[](double value);
    // The summed weight of `value`; 0 when the table has not seen it.
    double WeightOf(double value) const;
    std::size_t size() const;
    // Adds the summed weight of every value of `other`: the merge of two
    // parts' tables. Costs the distinct values of `other`, not its cases.
    void Merge(const KvFreqTable& other);
    // The values and weights as bytes (TableState.h), and back: Read adds
    // what it reads, as Merge would; false when the bytes run short.
    void Write(StateWriter& out) const;
    bool Read(StateReader& in);
    bool empty() const { return _capacity == 0 && _sorted.empty() && _pending.empty(); }
    void clear();

    const_iterator begin() const
    {
        EnsureOrdered();
        return _sorted.data();
    }
    const_iterator end() const
    {
        EnsureOrdered();
        return _sorted.data() + _sorted.size();
    }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
    const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }

private:
    void EnsureOrdered() const
    {
        if (_capacity != 0 || !_pending.empty()) Order();
    }
    void Order() const;
    void HashToRun() const;
    void MergePending() const;
    void Rehash(std::size_t capacity);
    // Merges `n` distinct values in ascending order.
    void MergeRun(const Entry* run, std::size_t n);
    Entry* Probe(std::uint64_t bits) const;
    double& InsertIntoHash(std::uint64_t bits);

    // Hash state: _capacity > 0; the slots hold every value (_count of them),
    // _sorted and _pending are empty.
    // Run state: _capacity == 0; the values are those of _sorted (ascending,
    // distinct) and of _pending (arrival order, repeats allowed).
    mutable std::unique_ptr<Entry[]> _slots;
    mutable std::size_t _capacity = 0;
    std::size_t _count = 0;
    mutable std::vector<Entry> _sorted;
    mutable std::vector<Entry> _pending;
};

#endif
