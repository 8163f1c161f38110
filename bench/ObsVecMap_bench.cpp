// ObsVecMap on the per-case path: lookups of present keys (the common case:
// a category value seen before), inserts while a map grows, and wide strings.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "ObsVecMap.h"

namespace {

std::vector<OBS> NumericKeys(int distinct, int count, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> pick(0, distinct - 1);
    std::vector<OBS> keys(static_cast<size_t>(count));
    for (OBS& k : keys) k.num = pick(rng) * 1.5 - 3.0;
    return keys;
}

std::vector<OBS> StringKeys(int distinct, int count, int width, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> pick(0, distinct - 1);
    int words = ObsWords(width);
    std::vector<OBS> keys(static_cast<size_t>(count) * words);
    for (int i = 0; i < count; ++i) {
        char* p = keys[static_cast<size_t>(i) * words].str;
        std::memset(p, ' ', static_cast<size_t>(words) * 8);
        std::string text = "category-" + std::to_string(pick(rng));
        std::memcpy(p, text.data(), std::min<size_t>(text.size(), static_cast<size_t>(width)));
    }
    return keys;
}

// A present numeric key, the common per-case lookup; range(0) distinct values.
void BM_ContainsNumeric(benchmark::State& state)
{
    const int distinct = static_cast<int>(state.range(0));
    ObsVecMap map(ObsKeySpec{0, 1}, 4);
    for (int i = 0; i < distinct; ++i) {
        OBS k;
        k.num = i * 1.5 - 3.0;
        map.Insert(&k);
    }
    std::vector<OBS> keys = NumericKeys(distinct, 4096, 1);
    size_t i = 0;
    for (auto _ : state) {
        double* v = map.Contains(&keys[i++ & 4095]);
        benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ContainsNumeric)->Arg(8)->Arg(100)->Arg(10000)->Arg(1000000);

// Insert of a key that is mostly present (what a dimension does per case).
void BM_InsertNumericMostlyPresent(benchmark::State& state)
{
    const int distinct = static_cast<int>(state.range(0));
    ObsVecMap map(ObsKeySpec{0, 1}, 4);
    std::vector<OBS> keys = NumericKeys(distinct, 4096, 2);
    size_t i = 0;
    for (auto _ : state) {
        double* v = map.Insert(&keys[i++ & 4095]);
        v[0] += 1.0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_InsertNumericMostlyPresent)->Arg(8)->Arg(1000);

// Filling an empty map with distinct keys: growth and rehashing.
void BM_InsertDistinctNumeric(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        ObsVecMap map(ObsKeySpec{0, 1}, 2);
        for (int i = 0; i < n; ++i) {
            OBS k;
            k.num = i;
            map.Insert(&k);
        }
        benchmark::DoNotOptimize(map.Size());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_InsertDistinctNumeric)->Arg(1000)->Arg(100000);

void BM_ContainsString(benchmark::State& state)
{
    const int width = static_cast<int>(state.range(0));
    const int distinct = 200;
    ObsVecMap map(ObsKeySpec{width, ObsWords(width)}, 4);
    std::vector<OBS> all = StringKeys(distinct, 4096, width, 3);
    for (int i = 0; i < 4096; ++i) map.Insert(&all[static_cast<size_t>(i) * ObsWords(width)]);
    std::vector<OBS> keys = StringKeys(distinct, 4096, width, 4);
    size_t i = 0;
    for (auto _ : state) {
        double* v = map.Contains(&keys[(i++ & 4095) * ObsWords(width)]);
        benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ContainsString)->Arg(8)->Arg(24)->Arg(256);

void BM_SortNumeric(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    ObsVecMap map(ObsKeySpec{0, 1}, 1);
    std::vector<OBS> keys = NumericKeys(n * 4, n, 5);
    for (const OBS& k : keys) map.Insert(&k);
    for (auto _ : state) {
        map.Sort();
        benchmark::DoNotOptimize(map.Key(0));
    }
}
BENCHMARK(BM_SortNumeric)->Arg(1000);

}  // namespace
