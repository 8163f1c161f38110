// The side-by-side workloads W0 to W4 (bench/requests/w*.json) in process: the
// same requests kvtables runs, over a 1,000,000-case survey held in memory, so
// no CSV is read. One iteration builds the tables, streams every case through
// them once and reads every cell, as the tool does.
//
// Counters:
//   cases/s      cases per second of CPU time
//   allocs/case  operator new calls per case over the whole run
//   heap MiB     the most heap the run held at once, above what was held before
//   bytes/cell   that peak divided by the cells of the tables (category
//                combinations, totals included); for W3 it is mostly the
//                value-frequency tables of the median and percentiles, which
//                grow with the distinct incomes, not with the cells
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <new>
#include <random>
#include <sstream>
#include <string>

#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableRunner.h"

namespace {
std::atomic<long> gAllocations{0};
std::atomic<long long> gLiveBytes{0};
std::atomic<long long> gPeakBytes{0};

void Track(long long delta)
{
    const long long live = gLiveBytes.fetch_add(delta, std::memory_order_relaxed) + delta;
    long long peak = gPeakBytes.load(std::memory_order_relaxed);
    while (live > peak && !gPeakBytes.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
    }
}
}  // namespace

// The replacements pair malloc with free on purpose; the compiler cannot see that.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t n)
{
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    void* p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    Track(static_cast<long long>(malloc_usable_size(p)));
    return p;
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept
{
    if (!p) return;
    Track(-static_cast<long long>(malloc_usable_size(p)));
    std::free(p);
}
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { operator delete(p); }

namespace {

const int kCases = 1000000;

// The columns and shapes of bench/gen_data.py (not its exact numbers): the
// same categories, an income in cents from a log-normal with about 5 % empty,
// brands as three distinct codes with the later ones often empty, and a
// positive weight with four decimals.
struct Survey {
    InMemoryDataset ds;
    Survey()
    {
        const char* numeric[] = {"id", "region", "gender", "agegrp", "wave", "b1", "b2", "b3", "d1",
                                 "d2", "d3",     "d4",     "d5",     "income", "score", "wt"};
        for (const char* name : numeric) ds.AddNumeric(name);
        std::mt19937_64 rng(20261121);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        std::lognormal_distribution<double> income(10.4, 0.55);
        std::gamma_distribution<double> weight(4.0, 0.22);
        std::binomial_distribution<int> score(100, 0.62);
        const double dichotomy[] = {0.62, 0.35, 0.48, 0.20, 0.08};
        for (int c = 0; c < kCases; ++c) {
            const int row = ds.AppendCase();
            const int region = 1 + static_cast<int>(u(rng) * 8);
            const int gender = u(rng) < 0.48 ? 1 : 2;
            ds.SetNumeric(row, 0, c + 1);
            ds.SetNumeric(row, 1, region);
            ds.SetNumeric(row, 2, gender);
            ds.SetNumeric(row, 3, 1 + static_cast<int>(u(rng) * 6));
            ds.SetNumeric(row, 4, 1 + static_cast<int>(u(rng) * 4));
            const int b1 = static_cast<int>(u(rng) * 12);
            const int o2 = 1 + static_cast<int>(u(rng) * 11);
            int o3 = 1 + static_cast<int>(u(rng) * 10);
            o3 += (o3 >= o2);
            if (u(rng) >= 0.03) ds.SetNumeric(row, 5, b1 + 1);
            const bool second = u(rng) >= 0.25;
            if (second) ds.SetNumeric(row, 6, (b1 + o2) % 12 + 1);
            if (second && u(rng) >= 0.35) ds.SetNumeric(row, 7, (b1 + o3) % 12 + 1);
            for (int d = 0; d < 5; ++d) ds.SetNumeric(row, 8 + d, u(rng) < dichotomy[d] ? 1 : 0);
            const double inc = income(rng) * (0.85 + 0.04 * region) * (gender == 1 ? 1.06 : 0.95);
            if (u(rng) >= 0.05) ds.SetNumeric(row, 13, std::round(inc * 100) / 100);
            ds.SetNumeric(row, 14, score(rng));
            ds.SetNumeric(row, 15, std::max(1.0, std::round((0.15 + weight(rng)) * 10000)) / 10000);
        }
    }
};

Survey& Shared()
{
    static Survey survey;
    return survey;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

long long CellsOf(const kvtables::ResultSet& results)
{
    long long cells = 0;
    for (const kvtables::ResultTable& t : results.tables) {
        const kvtables::TableGrid grid(t);
        cells += static_cast<long long>(grid.RowCombos().size() * grid.ColumnCombos().size() * grid.LayerCombos().size());
    }
    return cells;
}

void Workload(benchmark::State& state, const char* name)
{
    Survey& survey = Shared();
    const std::string path = std::string(KVAGGR_BENCH_REQUESTS) + "/" + name + ".json";
    kvtables::Request request = kvtables::ParseRequest(ReadFile(path), path, KVAGGR_BENCH_REQUESTS);
    kvtables::ValidateRequest(request, survey.ds);
    long allocations = 0;
    long long peak = 0, cells = 0;
    for (auto _ : state) {
        const long before = gAllocations.load();
        const long long base = gLiveBytes.load();
        gPeakBytes.store(base);
        DatasetIterator cases(survey.ds, request.weightIndex);
        kvtables::ResultSet results = kvtables::RunTables(request, cases, nullptr);
        benchmark::DoNotOptimize(results.tables.data());
        allocations += gAllocations.load() - before;
        peak = std::max(peak, gPeakBytes.load() - base);
        cells = CellsOf(results);
    }
    const double cases = static_cast<double>(kCases) * static_cast<double>(state.iterations());
    state.counters["cases/s"] = benchmark::Counter(cases, benchmark::Counter::kIsRate);
    state.counters["allocs/case"] = static_cast<double>(allocations) / cases;
    state.counters["heap MiB"] = static_cast<double>(peak) / (1 << 20);
    state.counters["bytes/cell"] = cells ? static_cast<double>(peak) / static_cast<double>(cells) : 0.0;
}

}  // namespace

// W1: weighted counts of region x gender with totals and column percentages.
BENCHMARK_CAPTURE(Workload, W1_counts_region_by_gender, "w1")->Unit(benchmark::kMillisecond)->MinTime(2.0);
// W2: region x gender x wave: weighted counts, row, column and layer percentages.
BENCHMARK_CAPTURE(Workload, W2_layered_percentages, "w2")->Unit(benchmark::kMillisecond)->MinTime(2.0);
// W3: income by region x gender with totals: mean, standard deviation, median, quartiles.
BENCHMARK_CAPTURE(Workload, W3_income_summaries, "w3")->Unit(benchmark::kMillisecond)->MinTime(2.0);
// W4: the brand set by gender: cases, responses, column percentages.
BENCHMARK_CAPTURE(Workload, W4_brand_set, "w4")->Unit(benchmark::kMillisecond)->MinTime(2.0);
// W0: all four tables in one pass.
BENCHMARK_CAPTURE(Workload, W0_all_in_one_pass, "w0")->Unit(benchmark::kMillisecond)->MinTime(2.0);
