#include "ObsVecMap.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

ObsKeySpec ObsVecMap::MakeKeySpec(const VESK_DataSource& dataSource, int varIndex)
{
    const VESK_Variable* v = dataSource.GetVariable(varIndex);
    if (!v) throw std::out_of_range("no variable with index " + std::to_string(varIndex));
    ObsKeySpec keySpec;
    keySpec.valueType = v->GetType();
    keySpec.words = v->GetWords();
    return keySpec;
}

ObsVecMap::ObsVecMap(const ObsKeySpec& keySpec, int numValues)
    : _spec(keySpec), _numValues(numValues), _slots(16, Slot{0, 0}), _shift(60)
{
    // A key shorter than its value type would be read past its end.
    if (_spec.words < ObsWords(_spec.valueType)) throw std::invalid_argument("key words do not hold the value type");
}

namespace {

inline uint64_t Mix(uint64_t x)
{
    // splitmix64 finaliser: every input bit reaches the high bits the home
    // slot is taken from.
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ULL;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebULL;
    x ^= x >> 31;
    return x;
}

inline uint64_t NumericBits(double d)
{
    d += 0.0;  // -0.0 and 0.0 are one key
    uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    return bits;
}

}  // namespace

uint64_t ObsVecMap::Tag(const OBS* key) const
{
    if (_spec.valueType == 0) return NumericBits(key->num);
    // Four independent lanes keep wide keys from waiting on one multiply chain.
    uint64_t lane[4] = {0x9e3779b97f4a7c15ULL, 0xc2b2ae3d27d4eb4fULL, 0x165667b19e3779f9ULL, 0x27d4eb2f165667c5ULL};
    const int words = _spec.words;
    for (int w = 0; w < words; ++w) {
        uint64_t bits;
        std::memcpy(&bits, &key[w], sizeof bits);
        uint64_t& h = lane[w & 3];
        h = (h ^ bits) * 0x9fb21c651e98df25ULL;
        h ^= h >> 29;
    }
    return Mix(lane[0] ^ Mix(lane[1] ^ Mix(lane[2] ^ Mix(lane[3] ^ static_cast<uint64_t>(words)))));
}

inline size_t ObsVecMap::Home(uint64_t tag) const { return static_cast<size_t>(Mix(tag) >> _shift); }

int64_t ObsVecMap::Find(const OBS* key, uint64_t tag) const
{
    const size_t mask = _slots.size() - 1;
    size_t i = Home(tag);
    const Slot* slots = _slots.data();
    if (_spec.valueType == 0) {
        while (true) {
            const Slot& s = slots[i];
            if (s.entry == 0) return -static_cast<int64_t>(i) - 1;
            if (s.tag == tag) return s.entry - 1;
            i = (i + 1) & mask;
        }
    }
    const size_t bytes = static_cast<size_t>(_spec.words) * sizeof(OBS);
    while (true) {
        const Slot& s = slots[i];
        if (s.entry == 0) return -static_cast<int64_t>(i) - 1;
        if (s.tag == tag && std::memcmp(&_keys[static_cast<size_t>(s.entry - 1) * _spec.words], key, bytes) == 0)
            return s.entry - 1;
        i = (i + 1) & mask;
    }
}

double* ObsVecMap::Contains(const OBS* key)
{
    int64_t r = Find(key, Tag(key));
    return r < 0 ? nullptr : &_values[static_cast<size_t>(r) * _numValues];
}

const double* ObsVecMap::Contains(const OBS* key) const
{
    return const_cast<ObsVecMap*>(this)->Contains(key);
}

double* ObsVecMap::Insert(const OBS* key)
{
    uint64_t tag = Tag(key);
    int64_t r = Find(key, tag);
    if (r >= 0) return &_values[static_cast<size_t>(r) * _numValues];
    // At most half full: linear probing stays short for hits and misses.
    if (static_cast<size_t>(_size + 1) * 2 > _slots.size()) {
        Grow();
        r = Find(key, tag);
    }
    size_t slot = static_cast<size_t>(-r - 1);
    size_t at = _keys.size();
    _keys.insert(_keys.end(), key, key + _spec.words);
    if (_spec.valueType == 0) _keys[at].num += 0.0;
    _values.resize(_values.size() + static_cast<size_t>(_numValues), 0.0);
    _slots[slot] = Slot{tag, ++_size};
    _sorted = false;
    return &_values[static_cast<size_t>(_size - 1) * _numValues];
}

void ObsVecMap::Grow()
{
    std::vector<Slot> slots(_slots.size() * 2, Slot{0, 0});
    _shift -= 1;
    const size_t mask = slots.size() - 1;
    for (const Slot& s : _slots) {
        if (s.entry == 0) continue;
        size_t i = Home(s.tag);
        while (slots[i].entry != 0) i = (i + 1) & mask;
        slots[i] = s;
    }
    _slots.swap(slots);
}

void ObsVecMap::Sort()
{
    _order.resize(static_cast<size_t>(_size));
    for (int i = 0; i < _size; ++i) _order[static_cast<size_t>(i)] = i;
    std::stable_sort(_order.begin(), _order.end(), [this](int32_t a, int32_t b) {
        return ObsLexCompare(_keys[static_cast<size_t>(a) * _spec.words], _keys[static_cast<size_t>(b) * _spec.words],
                             _spec.valueType) < 0;
    });
    _sorted = true;
}

const OBS* ObsVecMap::Key(int i) const
{
    int e = _sorted ? _order[static_cast<size_t>(i)] : i;
    return &_keys[static_cast<size_t>(e) * _spec.words];
}

double* ObsVecMap::Value(int i)
{
    int e = _sorted ? _order[static_cast<size_t>(i)] : i;
    return &_values[static_cast<size_t>(e) * _numValues];
}

const double* ObsVecMap::Value(int i) const { return const_cast<ObsVecMap*>(this)->Value(i); }

void ObsVecMap::Clear()
{
    _size = 0;
    _keys.clear();
    _values.clear();
    std::fill(_slots.begin(), _slots.end(), Slot{0, 0});
    _order.clear();
    _sorted = false;
}
