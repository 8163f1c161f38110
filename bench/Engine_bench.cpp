// Whole-table throughput: cases per second (CPU time) through complete tables
// over a 1,000,000-case in-memory dataset. One iteration is one pass over all
// cases plus the completion step; the cells exist from the warm-up pass on, so
// the timed passes measure the steady per-case path (encode, key, look-up,
// update). "allocs/case" counts operator new calls during the timed passes.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "InMemoryDataset.h"
#include "kvaggr.h"

namespace {
std::atomic<long> gAllocations{0};
}

// The replacements pair malloc with free on purpose; the compiler cannot see that.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t n)
{
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using TEC = TableEncryptionCodes::StatisticCodes;
const int kCases = 1000000;

struct Data {
    InMemoryDataset ds;
    int region = ds.AddNumeric("region"), gender = ds.AddNumeric("gender"), age = ds.AddNumeric("agegroup");
    int income = ds.AddNumeric("income"), w = ds.AddNumeric("w");
    int m[3] = {ds.AddNumeric("m1"), ds.AddNumeric("m2"), ds.AddNumeric("m3")};
    Data()
    {
        unsigned x = 12345;
        auto next = [&x] {
            x = x * 1103515245u + 12345u;
            return static_cast<int>((x >> 16) & 0x7fff);
        };
        for (int c = 0; c < kCases; ++c) {
            int row = ds.AppendCase();
            ds.SetNumeric(row, region, next() % 10 + 1);
            ds.SetNumeric(row, gender, next() % 2 + 1);
            ds.SetNumeric(row, age, next() % 5 + 1);
            // Income in hundreds, 0 to 1999: a median map of at most 2000 values per cell.
            if (next() % 20) ds.SetNumeric(row, income, next() % 2000);
            ds.SetNumeric(row, w, 0.5 + (next() % 4) * 0.25);
            for (int v : m)
                if (next() % 4) ds.SetNumeric(row, v, next() % 8 + 1);
        }
    }
};

Data& Shared()
{
    static Data data;
    return data;
}

void Pass(AggregationTable& table, DatasetIterator& it)
{
    it.Rewind();
    while (it.Next()) table.AddNewCase();
    table.CompleteCases();
}

// Runs the warm-up pass, then the timed passes; reports cases/s and allocations.
template <class Read>
void Run(benchmark::State& state, AggregationTable& table, DatasetIterator& it, Read read)
{
    Pass(table, it);
    long allocations = 0;
    for (auto _ : state) {
        long before = gAllocations.load();
        Pass(table, it);
        allocations += gAllocations.load() - before;
        state.PauseTiming();
        read();
        state.ResumeTiming();
    }
    const double cases = static_cast<double>(kCases) * static_cast<double>(state.iterations());
    state.counters["cases/s"] = benchmark::Counter(cases, benchmark::Counter::kIsRate);
    state.counters["allocs/case"] = static_cast<double>(allocations) / cases;
}

// Reads every statistic of every cell of a cube (outside the timing), so that
// the results are used and the retrieval path runs too.
double ReadAll(CubeAggregator* agg, const std::vector<TableDimension*>& dims, int nStats)
{
    double sum = 0;
    std::vector<const AggregationCategory*> key(dims.size());
    std::vector<size_t> pos(dims.size(), 0);
    while (true) {
        for (size_t d = 0; d < dims.size(); ++d) key[d] = dims[d]->GetCategoryPointers()[pos[d]];
        if (StatValues* sv = agg->GetStatValues(key, -1))
            for (int k = 0; k < nStats; ++k) sum += sv->GetStatValue(k).GetValue1();
        size_t d = 0;
        while (d < dims.size() && ++pos[d] == dims[d]->GetCategoryPointers().size()) pos[d++] = 0;
        if (d == dims.size()) break;
    }
    return sum;
}

// A two-way count table with totals and column percentages, unweighted.
void BM_Count2D(benchmark::State& state)
{
    Data& data = Shared();
    DatasetIterator it(data.ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationVariable region(data.region, "region"), gender(data.gender, "gender");
    region.SetIsTotalNo(false);
    gender.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct1)}, &gender);
    Run(state, table, it, [&] {
        benchmark::DoNotOptimize(ReadAll(cube->GetCubeAggregator(),
                                         {region.GetTableDimension(), gender.GetTableDimension()}, 2));
    });
}
BENCHMARK(BM_Count2D)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// A weighted three-way table (region by gender, age group in the layer) with
// row, column and layer percentages and Jeffreys limits of the column percentage.
void BM_Weighted3D(benchmark::State& state)
{
    Data& data = Shared();
    DatasetIterator it(data.ds, data.w);
    AggregationTable table(it, true, false, data.w);
    AggregationVariable region(data.region, "region"), gender(data.gender, "gender"), age(data.age, "agegroup");
    region.SetIsTotalNo(false);
    gender.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->AddCategoricalVariable(&age, TableEncryptionCodes::kLayer);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0),
                                 AggregationStatistic(TEC::kCountPct1), AggregationStatistic(TEC::kCountPct4),
                                 AggregationStatistic(TEC::kCountPct1LCL), AggregationStatistic(TEC::kCountPct1UCL)},
                                &gender);
    Run(state, table, it, [&] {
        benchmark::DoNotOptimize(ReadAll(
            cube->GetCubeAggregator(),
            {region.GetTableDimension(), gender.GetTableDimension(), age.GetTableDimension()}, 6));
    });
}
BENCHMARK(BM_Weighted3D)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Mean, standard deviation and median of income by region and gender (weighted).
void BM_ScaleMeanSdMedian(benchmark::State& state)
{
    Data& data = Shared();
    DatasetIterator it(data.ds, data.w);
    AggregationTable table(it, true, false, data.w);
    AggregationVariable region(data.region, "region"), gender(data.gender, "gender");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddScaleStatistics({AggregationStatistic(data.income, TEC::kMean),
                              AggregationStatistic(data.income, TEC::kStdDev),
                              AggregationStatistic(data.income, TEC::kMedian)});
    Run(state, table, it, [&] {
        benchmark::DoNotOptimize(
            ReadAll(cube->GetCubeAggregator(), {region.GetTableDimension(), gender.GetTableDimension()}, 3));
    });
}
BENCHMARK(BM_ScaleMeanSdMedian)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// A multiple-category set of three variables by gender: counts, responses and
// column percentages.
void BM_MCSetByGender(benchmark::State& state)
{
    Data& data = Shared();
    DatasetIterator it(data.ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationMCSet set({data.m[0], data.m[1], data.m[2]}, "$m");
    AggregationVariable gender(data.gender, "gender");
    set.SetIsTotalNo(false);
    gender.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&set, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kResponses),
                                 AggregationStatistic(TEC::kCountPct1)},
                                &set);
    Run(state, table, it, [&] {
        benchmark::DoNotOptimize(
            ReadAll(cube->GetCubeAggregator(), {set.GetTableDimension(), gender.GetTableDimension()}, 3));
    });
}
BENCHMARK(BM_MCSetByGender)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace
