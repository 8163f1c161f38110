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
    : _spec(keySpec), _numValues(numValues), _slots(16, 0)
{
}

namespace {
inline uint64_t Mix(uint64_t x)
{
    // splitmix64 finaliser: cheap and spreads small integers well.
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ULL;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebULL;
    x ^= x >> 31;
    return x;
}
}  // namespace

uint64_t ObsVecMap::Hash(const OBS* key) const
{
    if (_spec.valueType == 0) {
        double d = key->num + 0.0;  // one hash for 0.0 and -0.0
        uint64_t bits;
        std::memcpy(&bits, &d, sizeof bits);
        return Mix(bits);
    }
    uint64_t h = 0x9e3779b97f4a7c15ULL;
    for (int w = 0; w < _spec.words; ++w) {
        uint64_t bits;
        std::memcpy(&bits, &key[w], sizeof bits);
        h = Mix(h ^ bits);
    }
    return h;
}

bool ObsVecMap::KeyEquals(const OBS* a, const OBS* b) const
{
    if (_spec.valueType == 0) {
        // Bit equality after folding -0.0 keeps NaN keys findable too.
        double x = a->num + 0.0, y = b->num + 0.0;
        return std::memcmp(&x, &y, sizeof x) == 0;
    }
    return std::memcmp(a, b, static_cast<size_t>(_spec.words) * sizeof(OBS)) == 0;
}

int ObsVecMap::FindSlot(const OBS* key, uint64_t hash) const
{
    size_t mask = _slots.size() - 1;
    size_t i = hash & mask;
    while (true) {
        int32_t e = _slots[i];
        if (e == 0) return -static_cast<int>(i) - 1;
        if (KeyEquals(&_keys[static_cast<size_t>(e - 1) * _spec.words], key)) return e - 1;
        i = (i + 1) & mask;
    }
}

double* ObsVecMap::Contains(const OBS* key)
{
    int r = FindSlot(key, Hash(key));
    return r < 0 ? nullptr : &_values[static_cast<size_t>(r) * _numValues];
}

const double* ObsVecMap::Contains(const OBS* key) const
{
    return const_cast<ObsVecMap*>(this)->Contains(key);
}

double* ObsVecMap::Insert(const OBS* key)
{
    uint64_t h = Hash(key);
    int r = FindSlot(key, h);
    if (r >= 0) return &_values[static_cast<size_t>(r) * _numValues];
    if ((_size + 1) * 4 > static_cast<int>(_slots.size()) * 3) {
        Grow();
        r = FindSlot(key, h);
    }
    size_t slot = static_cast<size_t>(-r - 1);
    _keys.insert(_keys.end(), key, key + _spec.words);
    if (_spec.valueType == 0) _keys.back().num += 0.0;
    _values.resize(_values.size() + static_cast<size_t>(_numValues), 0.0);
    _slots[slot] = ++_size;
    _sorted = false;
    return &_values[static_cast<size_t>(_size - 1) * _numValues];
}

void ObsVecMap::Grow()
{
    std::vector<int32_t> slots(_slots.size() * 2, 0);
    size_t mask = slots.size() - 1;
    for (int e = 0; e < _size; ++e) {
        size_t i = Hash(&_keys[static_cast<size_t>(e) * _spec.words]) & mask;
        while (slots[i] != 0) i = (i + 1) & mask;
        slots[i] = e + 1;
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
    std::fill(_slots.begin(), _slots.end(), 0);
    _order.clear();
    _sorted = false;
}
