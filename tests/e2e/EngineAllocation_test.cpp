// The per-case path (encode, key, look-up, update) must not allocate once the
// case's cells exist: a second pass over the same cases, without a reset, is
// counted with a replaced global operator new.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "EngineTables.h"

namespace {
std::atomic<long> gAllocations{0};
}

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

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

struct Data {
    InMemoryDataset ds;
    int region = ds.AddNumeric("region"), gender = ds.AddNumeric("gender"), age = ds.AddNumeric("age");
    int income = ds.AddNumeric("income"), w = ds.AddNumeric("w");
    int m[3] = {ds.AddNumeric("m1"), ds.AddNumeric("m2"), ds.AddNumeric("m3")};
    Data()
    {
        unsigned x = 7;
        auto next = [&x] {
            x = x * 1103515245u + 12345u;
            return static_cast<int>((x >> 16) & 0x7fff);
        };
        for (int c = 0; c < 2000; ++c) {
            int row = ds.AppendCase();
            ds.SetNumeric(row, region, next() % 6 + 1);
            ds.SetNumeric(row, gender, next() % 2 + 1);
            ds.SetNumeric(row, age, next() % 4 + 1);
            if (next() % 10) ds.SetNumeric(row, income, next() % 50);
            ds.SetNumeric(row, w, 0.5 + next() % 3);
            for (int v : m)
                if (next() % 4) ds.SetNumeric(row, v, next() % 5 + 1);
        }
    }
};

// Feeds every case twice; answers the allocations of the second pass.
long SecondPassAllocations(AggregationTable& table, DatasetIterator& it)
{
    long start = gAllocations.load();
    while (it.Next()) table.AddNewCase();
    // The first pass creates the cells: the counter must see that.
    EXPECT_GT(gAllocations.load() - start, 0);
    EXPECT_TRUE(it.Rewind());
    long before = gAllocations.load();
    while (it.Next()) table.AddNewCase();
    long after = gAllocations.load();
    table.CompleteCases();
    return after - before;
}

TEST(EngineAllocation, CountsAndPercentagesWithTotalsAndLayer)
{
    Data d;
    DatasetIterator it(d.ds, d.w);
    AggregationTable table(it, true, false, d.w);
    AggregationVariable region(d.region, "region"), gender(d.gender, "gender"), age(d.age, "age");
    AggregationCube* cube = TwoWayCube(table, region, gender);
    cube->AddCategoricalVariable(&age, TableEncryptionCodes::kLayer);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kCountPct0),
                                 AggregationStatistic(TEC::kCountPct1), AggregationStatistic(TEC::kCountPct4),
                                 AggregationStatistic(TEC::kCountPct1LCL)},
                                &gender);
    EXPECT_EQ(SecondPassAllocations(table, it), 0);
}

TEST(EngineAllocation, ScaleStatisticsWithAMedian)
{
    Data d;
    DatasetIterator it(d.ds, d.w);
    AggregationTable table(it, true, false, d.w);
    AggregationVariable region(d.region, "region"), gender(d.gender, "gender");
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&region, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddScaleStatistics({AggregationStatistic(d.income, TEC::kMean), AggregationStatistic(d.income, TEC::kStdDev),
                              AggregationStatistic(d.income, TEC::kMedian)});
    // Every income value has been seen in every cell after the first pass.
    EXPECT_EQ(SecondPassAllocations(table, it), 0);
}

TEST(EngineAllocation, MultipleCategorySet)
{
    Data d;
    DatasetIterator it(d.ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationMCSet set({d.m[0], d.m[1], d.m[2]}, "$m");
    AggregationVariable gender(d.gender, "gender");
    set.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&set, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&gender, TableEncryptionCodes::kColumn);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kResponses),
                                 AggregationStatistic(TEC::kCountPct1)},
                                &set);
    EXPECT_EQ(SecondPassAllocations(table, it), 0);
}

}  // namespace
