#include "KvFreqTable.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

std::uint64_t HashValue(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    bits ^= bits >> 33;
    bits *= 0xff51afd7ed558ccdULL;
    bits ^= bits >> 33;
    bits *= 0xc4ceb9fe1a85ec53ULL;
    bits ^= bits >> 33;
    return bits;
}

// Bit equality keeps a NaN findable; values are stored with -0.0 folded into 0.0.
bool SameValue(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

KvFreqTable::KvFreqTable(std::initializer_list<std::pair<const double, double>> items)
{
    for (const auto& item : items) (*this)[item.first] = item.second;
}

std::int32_t KvFreqTable::Find(double value) const
{
    if (_slots.empty()) return -1;
    const std::size_t mask = _slots.size() - 1;
    for (std::size_t i = HashValue(value) & mask; std::int32_t e = _slots[i]; i = (i + 1) & mask)
        if (SameValue(_entries[static_cast<std::size_t>(e - 1)].first, value)) return e - 1;
    return -1;
}

double KvFreqTable::WeightOf(double value) const
{
    std::int32_t e = Find(value + 0.0);
    return e < 0 ? 0.0 : _entries[static_cast<std::size_t>(e)].second;
}

double& KvFreqTable::operator[](double value)
{
    value += 0.0;
    if (_slots.empty()) _slots.assign(16, 0);
    std::size_t mask = _slots.size() - 1;
    std::size_t i = HashValue(value) & mask;
    while (std::int32_t e = _slots[i]) {
        Entry& entry = _entries[static_cast<std::size_t>(e - 1)];
        if (SameValue(entry.first, value)) return entry.second;
        i = (i + 1) & mask;
    }
    // Keep the table at most half full so that probes stay short.
    if ((_entries.size() + 1) * 2 > _slots.size()) {
        Grow();
        mask = _slots.size() - 1;
        i = HashValue(value) & mask;
        while (_slots[i]) i = (i + 1) & mask;
    }
    _entries.emplace_back(value, 0.0);
    _slots[i] = static_cast<std::int32_t>(_entries.size());
    return _entries.back().second;
}

void KvFreqTable::Grow()
{
    std::vector<std::int32_t> slots(_slots.size() * 2, 0);
    const std::size_t mask = slots.size() - 1;
    for (std::size_t e = 0; e < _entries.size(); ++e) {
        std::size_t i = HashValue(_entries[e].first) & mask;
        while (slots[i]) i = (i + 1) & mask;
        slots[i] = static_cast<std::int32_t>(e + 1);
    }
    _slots.swap(slots);
}

void KvFreqTable::clear()
{
    _entries.clear();
    std::fill(_slots.begin(), _slots.end(), 0);
    _order.clear();
}

void KvFreqTable::BuildOrder() const
{
    _order.resize(_entries.size());
    for (std::size_t e = 0; e < _entries.size(); ++e) _order[e] = static_cast<std::int32_t>(e);
    // A NaN value (which no ordering of numbers places) goes last.
    std::sort(_order.begin(), _order.end(), [this](std::int32_t a, std::int32_t b) {
        double x = _entries[static_cast<std::size_t>(a)].first, y = _entries[static_cast<std::size_t>(b)].first;
        if (std::isnan(x) || std::isnan(y)) return !std::isnan(x) && std::isnan(y);
        return x < y;
    });
}
