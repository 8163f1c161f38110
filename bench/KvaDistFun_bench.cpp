// Cost of the confidence-limit functions: IdfBet runs for every limit of every
// percentage cell, IdfT for every mean.
#include <benchmark/benchmark.h>

#include "KvaDistFun.h"

namespace {

// Jeffreys limits (alpha = 0.025) for x successes of n.
void BM_IdfBetJeffreys(benchmark::State& state)
{
    const double n = static_cast<double>(state.range(0));
    const double x = static_cast<double>(state.range(1));
    for (auto _ : state) {
        benchmark::DoNotOptimize(KvaDistFun::IdfBet(0.025, x + 0.5, n - x + 0.5));
        benchmark::DoNotOptimize(KvaDistFun::IdfBet(0.975, x + 0.5, n - x + 0.5));
    }
}
BENCHMARK(BM_IdfBetJeffreys)->Args({10, 3})->Args({100, 50})->Args({1000, 1})->Args({100000, 30000})->Args(
    {1000000, 0})->Args({1000000, 500000});

void BM_IdfT(benchmark::State& state)
{
    const double df = static_cast<double>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(KvaDistFun::IdfT(0.975, df));
    }
}
BENCHMARK(BM_IdfT)->Arg(1)->Arg(9)->Arg(99)->Arg(9999)->Arg(999999);

void BM_CdfBeta(benchmark::State& state)
{
    const double a = static_cast<double>(state.range(0)) + 0.5;
    for (auto _ : state) {
        long err = 0;
        benchmark::DoNotOptimize(KvaDistFun::cdfbet(0.3, a, 2.0 * a, err));
    }
}
BENCHMARK(BM_CdfBeta)->Arg(5)->Arg(49)->Arg(500)->Arg(50000);

}  // namespace
