#include "CaseCombiner.h"

#include <algorithm>
#include <cstring>

#include "KvAssert.h"

namespace kvtables {

namespace {

// A batch holds up to 64 Ki cases in at most 8 Ki combinations (a three-way
// table of a dozen categories each, or a set's ordered mentions), whose rows
// and slots stay within the second-level cache.
constexpr size_t kMaxCombos = 8192;
constexpr long long kMaxCases = 1 << 16;
constexpr size_t kSlots = 4 * kMaxCombos;  // a power of two, at most a quarter full

std::uint64_t Mix(std::uint64_t h, std::uint64_t word)
{
    h ^= word + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2);
    h ^= h >> 31;
    h *= 0xbf58476d1ce4e5b9ULL;
    return h ^ (h >> 29);
}

}  // namespace

CaseCombiner::CaseCombiner(VESK_InputCaseIterator& cases, const std::vector<int>& used, int weightIndex)
    : _cases(cases), _weighted(dynamic_cast<const ProcDSIterator*>(&cases)), _weightIndex(weightIndex),
      _slots(kSlots, -1)
{
    const VESK_DataSource& source = cases.GetDataSource();
    _offsets.assign(static_cast<size_t>(source.GetNumVariables()), -1);
    for (int v : used) {
        if (v == weightIndex || _offsets[static_cast<size_t>(v)] >= 0) continue;
        const VESK_Variable* variable = source.GetVariable(v);
        _used.push_back({v, variable->GetWords(), !variable->IsString()});
        _offsets[static_cast<size_t>(v)] = static_cast<int>(_words);
        _words += static_cast<size_t>(variable->GetWords());
    }
    _key.resize(std::max<size_t>(_words, 1));
    _weightWord.num = 0.0;
    _multiplicity.single = false;
}

bool CaseCombiner::Add(double weight)
{
    KV_ASSERT(!_passThrough);
    std::uint64_t h = 0;
    OBS* key = _key.data();
    for (const Used& u : _used) {
        const OBS* value = _cases.GetValue(u.variable);
        for (int w = 0; w < u.words; ++w) *key++ = value[w];
        // 0.0 and -0.0 are one value to the engine, so one combination.
        if (u.numeric) key[-1].num += 0.0;
        for (const OBS* k = key - u.words; k < key; ++k) {
            std::uint64_t bits;
            std::memcpy(&bits, k, sizeof bits);
            h = Mix(h, bits);
        }
    }
    size_t s = h & (kSlots - 1);
    while (_slots[s] >= 0) {
        const size_t c = static_cast<size_t>(_slots[s]);
        if (_hashes[c] == h && std::memcmp(&_rows[c * _words], _key.data(), _words * sizeof(OBS)) == 0) break;
        s = (s + 1) & (kSlots - 1);
    }
    if (_slots[s] < 0) {
        _slots[s] = static_cast<int>(_combos.size());
        _combos.emplace_back();
        _hashes.push_back(h);
        _rows.insert(_rows.end(), _key.begin(), _key.begin() + static_cast<std::ptrdiff_t>(_words));
    }
    Combo& combo = _combos[static_cast<size_t>(_slots[s])];
    combo.weight += weight;
    combo.cases += 1.0;
    combo.squares += weight * weight;
    ++_batchCases;
    return _combos.size() < kMaxCombos && _batchCases < kMaxCases;
}

void CaseCombiner::Select(size_t combo)
{
    _current = combo;
    const Combo& c = _combos[combo];
    _weightWord.num = c.weight;
    _multiplicity.cases = c.cases;
    _multiplicity.squaredWeights = c.squares;
}

void CaseCombiner::Clear()
{
    // Under two cases a combination the engine would do about as much work
    // case by case, without the combining on top.
    if (static_cast<long long>(_combos.size()) * 2 > _batchCases) _passThrough = true;
    std::fill(_slots.begin(), _slots.end(), -1);
    _rows.clear();
    _combos.clear();
    _hashes.clear();
    _batchCases = 0;
}

bool CaseCombiner::Next()
{
    KV_ASSERT(!"the builder moves the data, not the engine");
    return false;
}

bool CaseCombiner::Rewind()
{
    KV_ASSERT(!"the builder moves the data, not the engine");
    return false;
}

double CaseCombiner::Weight() const
{
    if (!_passThrough) return _weightWord.num;
    return _weighted ? _weighted->Weight() : 1.0;
}

const CaseMultiplicity& CaseCombiner::Multiplicity() const
{
    static const CaseMultiplicity one;
    return _passThrough ? one : _multiplicity;
}

}  // namespace kvtables
