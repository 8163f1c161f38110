// Encoding speed: cases per second through a categorical variable, a
// multiple-category set of 3 members and a dichotomy set of 5 members, over a
// 1,000,000-case in-memory dataset. After the first pass every value has been
// seen, so the timed passes measure the allocation-free per-case path.
#include <benchmark/benchmark.h>

#include <memory>

#include "InMemoryDataset.h"
#include "kvaggr.h"

namespace {

const int kCases = 1000000;

struct Data {
    InMemoryDataset ds;
    int region = ds.AddNumeric("region");
    int m1 = ds.AddNumeric("m1"), m2 = ds.AddNumeric("m2"), m3 = ds.AddNumeric("m3");
    int d[5] = {ds.AddNumeric("d1"), ds.AddNumeric("d2"), ds.AddNumeric("d3"), ds.AddNumeric("d4"),
                ds.AddNumeric("d5")};
    Data()
    {
        unsigned x = 12345;
        auto next = [&x] {
            x = x * 1103515245u + 12345u;
            return (x >> 16) & 0x7fff;
        };
        for (int c = 0; c < kCases; ++c) {
            int row = ds.AppendCase();
            ds.SetNumeric(row, region, next() % 10 + 1);
            ds.SetNumeric(row, m1, next() % 8 + 1);
            ds.SetNumeric(row, m2, next() % 8 + 1);
            ds.SetNumeric(row, m3, next() % 8 + 1);
            for (int v : d) ds.SetNumeric(row, v, next() % 2);
        }
    }
};

Data& Shared()
{
    static Data data;
    return data;
}

// 0: all three dimensions; 1: categorical only; 2: the category set; 3: the dichotomy set.
void BM_EncodeCases(benchmark::State& state)
{
    Data& data = Shared();
    DatasetIterator it(data.ds);
    TableMetadata metadata(it, true, -1);
    AggregationVariable region(data.region, "region");
    AggregationMCSet mc({data.m1, data.m2, data.m3}, "$m");
    OBS one;
    one.num = 1.0;
    AggregationMDSet md({data.d[0], data.d[1], data.d[2], data.d[3], data.d[4]}, "$d", &one, 0, false);
    int which = static_cast<int>(state.range(0));
    if (which == 0 || which == 1) metadata.AddDimension(new TableCVariable(region));
    if (which == 0 || which == 2) metadata.AddDimension(new TableMCSet(mc));
    if (which == 0 || which == 3) metadata.AddDimension(new TableMDSet(md));
    for (int i = 0; i < metadata.NumberOfDimensions(); ++i) metadata.GetDimension(i)->SetComputingCounts();

    // Warm-up pass: every value seen once.
    while (it.Next()) metadata.EncodeCase();
    int64_t accepted = 0;
    for (auto _ : state) {
        it.Rewind();
        while (it.Next()) accepted += metadata.EncodeCase() ? 1 : 0;
    }
    benchmark::DoNotOptimize(accepted);
    state.SetItemsProcessed(state.iterations() * kCases);
    state.counters["cases/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kCases, benchmark::Counter::kIsRate);
}

BENCHMARK(BM_EncodeCases)->Arg(0)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond);

}  // namespace
