// Merging partial tables: the cost of folding one part's table into another,
// and of writing and reading a part's state, against the number of cells and
// the number of cases behind them. Two categorical variables of side s make
// s * s occupied cells (plus totals), each cell holding a count, a mean and a
// standard deviation of a third variable; every cell gets `perCell` cases.
// The merge should grow with the cells and not with perCell.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <string>

#include "InMemoryDataset.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableRunner.h"

namespace {

struct Part {
    InMemoryDataset ds;
    kvtables::Request request;
    std::unique_ptr<DatasetIterator> cases;

    Part(int side, int perCell)
    {
        ds.AddNumeric("x");
        ds.AddNumeric("y");
        ds.AddNumeric("v");
        for (int r = 0; r < perCell; ++r)
            for (int i = 0; i < side * side; ++i) {
                const int row = ds.AppendCase();
                ds.SetNumeric(row, 0, i / side);
                ds.SetNumeric(row, 1, i % side);
                ds.SetNumeric(row, 2, std::fmod(i * 0.618 + r, 100.0));
            }
        request = kvtables::ParseRequest(
            R"({"data": "x.csv", "tables": [{"rows": ["x"], "columns": ["y"], "summary": "v",
                 "statistics": ["Count", "Mean", "StdDev"], "categories": {"x": {"total": true}}}]})",
            "merge.request.json", ".");
        kvtables::ValidateRequest(request, ds);
        cases = std::make_unique<DatasetIterator>(ds, -1);
    }

    std::unique_ptr<kvtables::TableBuilder> Fed()
    {
        cases->Rewind();
        auto b = std::make_unique<kvtables::TableBuilder>(request, *cases);
        b->FeedPart(nullptr, kvtables::MemoryLimit());
        return b;
    }
};

void Merge(benchmark::State& state)
{
    Part part(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    auto other = part.Fed();
    std::unique_ptr<kvtables::TableBuilder> target;
    for (auto _ : state) {
        // The target is made and destroyed outside the timing.
        state.PauseTiming();
        target = part.Fed();
        state.ResumeTiming();
        target->Merge(*other);
        state.PauseTiming();
        target.reset();
        state.ResumeTiming();
    }
    state.counters["cells"] = static_cast<double>(state.range(0) * state.range(0));
}

void StateBytes(benchmark::State& state)
{
    Part part(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    auto fed = part.Fed();
    size_t bytes = 0;
    for (auto _ : state) {
        const std::string blob = fed->SaveState();
        kvtables::TableBuilder loaded(part.request, *part.cases);
        loaded.LoadState(blob, "state");
        bytes = blob.size();
    }
    state.counters["cells"] = static_cast<double>(state.range(0) * state.range(0));
    state.counters["bytes/cell"] = static_cast<double>(bytes) / static_cast<double>(state.range(0) * state.range(0));
}

}  // namespace

// side (cells = side^2), cases per cell
BENCHMARK(Merge)->Args({10, 1})->Args({100, 1})->Args({1000, 1})->Args({100, 20})->Unit(benchmark::kMillisecond);
BENCHMARK(StateBytes)->Args({10, 1})->Args({100, 1})->Args({1000, 1})->Unit(benchmark::kMillisecond);
