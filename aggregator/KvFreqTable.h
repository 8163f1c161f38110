// The value-frequency table of one summary variable in one cell: each distinct
// value with its summed weight, read in ascending value order by the
// percentile, median and mode functions.
//
// Cases arrive in data order and most of them repeat a value already seen, so
// values are accumulated in a hash table (one probe per case, no allocation
// for a value already present) and put in order only when the table is read:
// the ascending order is built on the first ordered access after a new value
// arrived and kept until the next one. A tree map would pay a chain of cache
// misses on every case instead, and about twice the memory per value.
#ifndef KVAGGR_KVFREQTABLE_H
#define KVAGGR_KVFREQTABLE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <vector>

class KvFreqTable {
public:
    typedef std::pair<double, double> Entry;  // value, summed weight

    // Bidirectional, in ascending value order.
    class const_iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = const Entry&;

        const_iterator() = default;
        reference operator*() const { return (*_entries)[static_cast<std::size_t>(*_pos)]; }
        pointer operator->() const { return &**this; }
        const_iterator& operator++()
        {
            ++_pos;
            return *this;
        }
        const_iterator operator++(int)
        {
            const_iterator before = *this;
            ++_pos;
            return before;
        }
        const_iterator& operator--()
        {
            --_pos;
            return *this;
        }
        const_iterator operator--(int)
        {
            const_iterator before = *this;
            --_pos;
            return before;
        }
        bool operator==(const const_iterator& o) const { return _pos == o._pos; }
        bool operator!=(const const_iterator& o) const { return _pos != o._pos; }

    private:
        friend class KvFreqTable;
        const_iterator(const std::vector<Entry>* entries, const std::int32_t* pos) : _entries(entries), _pos(pos) {}
        const std::vector<Entry>* _entries = nullptr;
        const std::int32_t* _pos = nullptr;
    };
    typedef std::reverse_iterator<const_iterator> const_reverse_iterator;

    KvFreqTable() = default;
    KvFreqTable(std::initializer_list<std::pair<const double, double>> items);

    // The summed weight of `value`, inserted as 0 when absent. 0.0 and -0.0
    // are one value.
    double& operator[](double value);
    // The summed weight of `value`; 0 when the table has not seen it.
    double WeightOf(double value) const;
    std::size_t size() const { return _entries.size(); }
    bool empty() const { return _entries.empty(); }
    void clear();

    const_iterator begin() const
    {
        EnsureOrdered();
        return const_iterator(&_entries, _order.data());
    }
    const_iterator end() const
    {
        EnsureOrdered();
        return const_iterator(&_entries, _order.data() + _order.size());
    }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
    const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }

private:
    void EnsureOrdered() const
    {
        if (_order.size() != _entries.size()) BuildOrder();
    }
    void BuildOrder() const;
    void Grow();
    // The entry index of `value` (folded), or -1.
    std::int32_t Find(double value) const;

    std::vector<Entry> _entries;        // first-seen order
    std::vector<std::int32_t> _slots;   // open addressing: entry index + 1, 0 empty
    mutable std::vector<std::int32_t> _order;  // entry indices in ascending value order
};

#endif
