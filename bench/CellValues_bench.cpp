// Update speed of cells and the memory of a count-only cell.
//
// A counting global operator new measures what the library allocates: the
// bytes of a new count-only cell (object and value block), and the
// allocations made by updates of an existing cell (none, except a map's first
// sight of a value).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "InMemoryDataset.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

namespace {
std::size_t g_newCalls = 0;
std::size_t g_newBytes = 0;
}  // namespace

void* operator new(std::size_t size)
{
    ++g_newCalls;
    g_newBytes += size;
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
// The replacement pair allocates with malloc, so free is the matching release.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

std::vector<AggregationStatistic> Requests(const std::vector<int>& codes)
{
    std::vector<AggregationStatistic> out;
    for (int code : codes) out.emplace_back(0, static_cast<StatisticCodes>(code));
    return out;
}

// One numeric variable with `n` cases (1, 2, ..., n) and a reader over it.
struct Data {
    explicit Data(int n)
    {
        dataset.AddNumeric("x");
        for (int c = 0; c < n; ++c) dataset.SetNumeric(dataset.AppendCase(), 0, c + 1.0);
        iterator = std::make_unique<DatasetIterator>(dataset);
        iterator->Next();
        reader = new KvAggrCaseValueReader(*iterator, 0, false);
        reader->SetValid(true);
        readers.push_back(reader);
    }
    ~Data() { delete reader; }
    InMemoryDataset dataset;
    std::unique_ptr<DatasetIterator> iterator;
    KvAggrCaseValueReader* reader;
    std::vector<KvAggrCaseValueReader*> readers;
};

void BM_UpdateCountOnlyCell(benchmark::State& state)
{
    CellStatistics layout(Requests({kCount, kCountPct0}));
    layout.SetEffectiveBase(true);
    layout.SetCategoricalStatistics();
    CellValues cell(layout, static_cast<KvAggrCaseValueReader*>(nullptr), true, false, 1.0, true);
    const std::size_t calls = g_newCalls;
    double w = 1.0;
    for (auto _ : state) {
        cell.UpdateCVarValues(nullptr, true, false, w);
        benchmark::DoNotOptimize(cell.GetValues());
        w = (w == 1.0) ? 2.0 : 1.0;
    }
    state.counters["allocs_per_update"] =
        benchmark::Counter(static_cast<double>(g_newCalls - calls) / static_cast<double>(state.iterations()));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UpdateCountOnlyCell);

void BM_UpdateCategoricalCellWithTotalAndValidN(benchmark::State& state)
{
    CellStatistics layout(Requests({kCount, kUCount, kTotalN, kValidN, kMissingCount}));
    layout.SetEffectiveBase(true);
    layout.SetCategoricalStatistics();
    Data data(1);
    CellValues cell(layout, data.reader, true, false, 1.0, true);
    bool valid = true;
    for (auto _ : state) {
        cell.UpdateCVarValues(data.reader, valid, false, 1.5);
        benchmark::DoNotOptimize(cell.GetValues());
        valid = !valid;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UpdateCategoricalCellWithTotalAndValidN);

void BM_UpdateScaleMoments(benchmark::State& state)
{
    std::vector<AggregationStatistic> stats =
        Requests({kCount, kMean, kMeanLCL, kVariance, kMinimum, kMaximum, kRange, kValidN, kCountLT});
    stats.back().SetUpperLimit(0.5);
    CellStatistics layout(stats);
    layout.SetEffectiveBase(true);
    layout.SetScaleStatistics(std::vector<int>(stats.size(), 0));
    Data data(1);
    CellValues cell(layout, data.readers, 1.0, true);
    const std::size_t calls = g_newCalls;
    for (auto _ : state) {
        cell.UpdateScaleValues(data.readers, 1.25);
        benchmark::DoNotOptimize(cell.GetValues());
    }
    state.counters["allocs_per_update"] =
        benchmark::Counter(static_cast<double>(g_newCalls - calls) / static_cast<double>(state.iterations()));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UpdateScaleMoments);

// A weighted and an unweighted map on one variable; after the first update
// the value is known, so updates allocate nothing.
void BM_UpdateScaleMaps(benchmark::State& state)
{
    CellStatistics layout(Requests({kMedian, kUMedian, kMode}));
    layout.SetScaleStatistics({0, 0, 0});
    Data data(1);
    CellValues cell(layout, data.readers, 1.0, false);
    const std::size_t calls = g_newCalls;
    for (auto _ : state) {
        cell.UpdateScaleValues(data.readers, 1.0);
        benchmark::DoNotOptimize(cell.GetValues());
    }
    state.counters["allocs_per_update"] =
        benchmark::Counter(static_cast<double>(g_newCalls - calls) / static_cast<double>(state.iterations()));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UpdateScaleMaps);

// Bytes the library asks for per new cell of a count-only layout (the object
// and its values; malloc's own overhead not included).
void BM_CountOnlyCellMemory(benchmark::State& state)
{
    CellStatistics layout(Requests({kCount}));
    layout.SetCategoricalStatistics();
    const int n = 10000;
    std::vector<CellValues*> cells;
    cells.reserve(n);
    double bytesPerCell = 0.0;
    double allocsPerCell = 0.0;
    for (auto _ : state) {
        const std::size_t bytes = g_newBytes;
        const std::size_t calls = g_newCalls;
        for (int i = 0; i < n; ++i)
            cells.push_back(new CellValues(layout, static_cast<KvAggrCaseValueReader*>(nullptr), true, false, 1.0,
                                           false));
        bytesPerCell = static_cast<double>(g_newBytes - bytes) / n;
        allocsPerCell = static_cast<double>(g_newCalls - calls) / n;
        state.PauseTiming();
        for (CellValues* c : cells) delete c;
        cells.clear();
        state.ResumeTiming();
    }
    state.counters["bytes_per_cell"] = bytesPerCell;
    state.counters["allocs_per_cell"] = allocsPerCell;
    state.counters["sizeof_CellValues"] = static_cast<double>(sizeof(CellValues));
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_CountOnlyCellMemory);

}  // namespace
