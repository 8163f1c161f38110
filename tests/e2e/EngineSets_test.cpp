// Multiple-category and multiple-dichotomy sets by a categorical variable:
// counts, responses and every kind of response percentage, derived by hand.
#include <gtest/gtest.h>

#include "EngineTables.h"

using namespace kvtest;
using TEC = TableEncryptionCodes::StatisticCodes;

namespace {

std::vector<AggregationStatistic> SetStats()
{
    return {AggregationStatistic(TEC::kCount),           AggregationStatistic(TEC::kResponses),
            AggregationStatistic(TEC::kCountPct1),       AggregationStatistic(TEC::kResponsesPct1),
            AggregationStatistic(TEC::kResponsesCountPct1), AggregationStatistic(TEC::kCountResponsesPct1),
            AggregationStatistic(TEC::kCountPct2),       AggregationStatistic(TEC::kCountPct0),
            AggregationStatistic(TEC::kResponsesPct0),   AggregationStatistic(TEC::kResponsesCountPct0),
            AggregationStatistic(TEC::kCountResponsesPct0)};
}

// Expected per cell: count, responses, count %, responses %, responses % of count,
// count % of responses (all over the gender column), count % of the table, then
// the four percentages over the row (the row holds the set itself, so its base
// counts each case once per category and the set's total row counts every response).
void ExpectSetCell(CubeAggregator* agg, std::vector<const AggregationCategory*> cats, const std::vector<double>& e,
                   const std::vector<double>& rowPcts)
{
    ASSERT_EQ(e.size(), 7u);
    ASSERT_EQ(rowPcts.size(), 4u);
    for (int k = 0; k < 7; ++k) {
        SCOPED_TRACE(testing::Message() << "statistic " << k);
        EXPECT_CELL(Stat(agg, cats, k), e[k]);
    }
    for (int k = 0; k < 4; ++k) {
        SCOPED_TRACE(testing::Message() << "row statistic " << k);
        EXPECT_CELL(Stat(agg, cats, 7 + k), rowPcts[k]);
    }
}

// q1..q3 of a multiple-category set, gender; unit weights (NaN: system-missing).
//   c1: 1 2 .  gender 1      hits {1, 2}
//   c2: 1 1 3  gender 1      hits {1, 3}   (the second 1 is a duplicate and ignored)
//   c3: 2 3 .  gender 2      hits {2, 3}
//   c4: . . .  gender 2      no value: counted towards total N only
//   c5: 3 . 1  gender 2      hits {1, 3}
// Cases per column: 2 and 2 (c4 has no valid value), 4 in all; responses 4, 4, 8.
TEST(EngineSets, MultipleCategorySetByGender)
{
    InMemoryDataset ds;
    FillSetCases(ds);
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationMCSet set({0, 1, 2}, "$q");
    AggregationVariable gender(3, "gender");
    AggregationCube* cube = TwoWayCube(table, set, gender);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics(SetStats(), &set);
    Feed(table, it);
    // A reset and a second pass over the same cases must give the same table.
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(testing::Message() << "pass " << pass);
        if (pass == 1) {
            ASSERT_TRUE(FeedAgain(table, it));
        }
        CubeAggregator* a = table.GetCubeAggregators()[0];
        auto q = [&](double v) { return Val(set, v); };
        auto g = [&](double v) { return Val(gender, v); };
        const double third = 100.0 / 3;
        // Row bases: q1 3 cases, q2 2, q3 3; the total row 4 cases and 8 responses.
        //                                 count resp  cnt%   resp%  resp/cnt  cnt/resp  table%
        ExpectSetCell(a, {q(1), g(1)}, {2, 2, 100, 50, 100, 50, 50},
                      {2 * third, 2 * third, 2 * third, 2 * third});
        ExpectSetCell(a, {q(2), g(1)}, {1, 1, 50, 25, 50, 25, 25},
                      {50, 50, 50, 50});
        ExpectSetCell(a, {q(3), g(1)}, {1, 1, 50, 25, 50, 25, 25},
                      {third, third, third, third});
        ExpectSetCell(a, {Tot(set), g(1)}, {2, 4, 100, 100, 200, 50, 50},
                      {50, 50, 100, 25});
        ExpectSetCell(a, {q(1), g(2)}, {1, 1, 50, 25, 50, 25, 25},
                      {third, third, third, third});
        ExpectSetCell(a, {q(2), g(2)}, {1, 1, 50, 25, 50, 25, 25},
                      {50, 50, 50, 50});
        ExpectSetCell(a, {q(3), g(2)}, {2, 2, 100, 50, 100, 50, 50},
                      {2 * third, 2 * third, 2 * third, 2 * third});
        ExpectSetCell(a, {Tot(set), g(2)}, {2, 4, 100, 100, 200, 50, 50},
                      {50, 50, 100, 25});
        ExpectSetCell(a, {q(1), Tot(gender)}, {3, 3, 75, 37.5, 75, 37.5, 75},
                      {100, 100, 100, 100});
        ExpectSetCell(a, {q(2), Tot(gender)}, {2, 2, 50, 25, 50, 25, 50},
                      {100, 100, 100, 100});
        ExpectSetCell(a, {q(3), Tot(gender)}, {3, 3, 75, 37.5, 75, 37.5, 75},
                      {100, 100, 100, 100});
        ExpectSetCell(a, {Tot(set), Tot(gender)}, {4, 8, 100, 100, 200, 50, 100},
                      {100, 100, 200, 50});
    }
}

// d1..d3 of a dichotomy set counting the value 1, gender, weight.
//   c1: 1 0 1  gender 1  w 2     hits d1, d3
//   c2: 0 1 0  gender 1  w 1     hits d2
//   c3: 1 1 1  gender 2  w 1     hits d1, d2, d3
//   c4: 0 0 0  gender 2  w 3     no hit: total N only
//   c5: 0 0 1  gender 2  w 2     hits d3
// Weighted cases per column 3 and 3 (6 in all); responses 2*2+1 = 5 and 3+2 = 5 (10).
TEST(EngineSets, MultipleDichotomySetByGenderWeighted)
{
    InMemoryDataset ds;
    FillDataset(ds, {"d1", "d2", "d3", "gender", "w"},
                {{1, 0, 1, 1, 2}, {0, 1, 0, 1, 1}, {1, 1, 1, 2, 1}, {0, 0, 0, 2, 3}, {0, 0, 1, 2, 2}});
    DatasetIterator it(ds, 4);
    AggregationTable table(it, true, false, 4);
    OBS counted;
    counted.num = 1;
    AggregationMDSet set({0, 1, 2}, "$d", &counted, 0, false);
    AggregationVariable gender(3, "gender");
    AggregationCube* cube = TwoWayCube(table, set, gender);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics(SetStats(), &set);
    Feed(table, it);
    // A reset and a second pass over the same cases must give the same table.
    for (int pass = 0; pass < 2; ++pass) {
        SCOPED_TRACE(testing::Message() << "pass " << pass);
        if (pass == 1) {
            ASSERT_TRUE(FeedAgain(table, it));
        }
        CubeAggregator* a = table.GetCubeAggregators()[0];
        auto d = [&](int i) { return Var(set, i); };
        auto g = [&](double v) { return Val(gender, v); };
        // Categories are numbered by first hit: d1, d3, d2; displayed in set order.
        ASSERT_NE(d(0), nullptr);
        EXPECT_EQ(d(0)->GetCatEncoding(), 1);
        EXPECT_EQ(d(2)->GetCatEncoding(), 2);
        EXPECT_EQ(d(1)->GetCatEncoding(), 3);
        const double third = 100.0 / 3;
        // Row bases: d1 3 (weighted cases), d2 2, d3 5; the total row 6 cases and 10 responses.
        //                               count resp cnt%      resp% resp/cnt   cnt/resp table%
        ExpectSetCell(a, {d(0), g(1)}, {2, 2, 2 * third, 40, 2 * third, 40, 2 * 100.0 / 6},
                      {2 * third, 2 * third, 2 * third, 2 * third});
        ExpectSetCell(a, {d(1), g(1)}, {1, 1, third, 20, third, 20, 100.0 / 6},
                      {50, 50, 50, 50});
        ExpectSetCell(a, {d(2), g(1)}, {2, 2, 2 * third, 40, 2 * third, 40, 2 * 100.0 / 6},
                      {40, 40, 40, 40});
        ExpectSetCell(a, {Tot(set), g(1)}, {3, 5, 100, 100, 5 * third, 60, 50},
                      {50, 50, 5 * 100.0 / 6, 30});
        ExpectSetCell(a, {d(0), g(2)}, {1, 1, third, 20, third, 20, 100.0 / 6},
                      {third, third, third, third});
        ExpectSetCell(a, {d(1), g(2)}, {1, 1, third, 20, third, 20, 100.0 / 6},
                      {50, 50, 50, 50});
        ExpectSetCell(a, {d(2), g(2)}, {3, 3, 100, 60, 100, 60, 50},
                      {60, 60, 60, 60});
        ExpectSetCell(a, {Tot(set), g(2)}, {3, 5, 100, 100, 5 * third, 60, 50},
                      {50, 50, 5 * 100.0 / 6, 30});
        ExpectSetCell(a, {d(0), Tot(gender)}, {3, 3, 50, 30, 50, 30, 50},
                      {100, 100, 100, 100});
        ExpectSetCell(a, {d(1), Tot(gender)}, {2, 2, 2 * 100.0 / 6, 20, 2 * 100.0 / 6, 20, 2 * 100.0 / 6},
                      {100, 100, 100, 100});
        ExpectSetCell(a, {d(2), Tot(gender)}, {5, 5, 5 * 100.0 / 6, 50, 5 * 100.0 / 6, 50, 5 * 100.0 / 6},
                      {100, 100, 100, 100});
        ExpectSetCell(a, {Tot(set), Tot(gender)}, {6, 10, 100, 100, 5 * third, 60, 100},
                      {100, 100, 10 * 100.0 / 6, 60});
    }
}

// A category set by a dichotomy set, both with totals; the category set carries
// the statistics. Cases (q1, q2 | d1, d2, counting 1):
//   c1: 1 2 | 1 0     q {1, 2}, d {d1}
//   c2: 1 . | 1 1     q {1},    d {d1, d2}
//   c3: 2 . | 0 1     q {2},    d {d2}
//   c4: 1 2 | 0 0     no d hit: total N only
// Column bases (the d categories; q responses per case): d1 2 cases 3 responses,
// d2 2 and 2, total 3 and 4.
TEST(EngineSets, CategorySetByDichotomySet)
{
    InMemoryDataset ds;
    FillDataset(ds, {"q1", "q2", "d1", "d2"}, {{1, 2, 1, 0}, {1, NAN, 1, 1}, {2, NAN, 0, 1}, {1, 2, 0, 0}});
    DatasetIterator it(ds, -1);
    AggregationTable table(it, false, false, -1);
    AggregationMCSet q({0, 1}, "$q");
    OBS one;
    one.num = 1;
    AggregationMDSet d({2, 3}, "$d", &one, 0, false);
    AggregationCube* cube = TwoWayCube(table, q, d);
    cube->CreateCubeAggregator();
    cube->AddCategoryStatistics({AggregationStatistic(TEC::kCount), AggregationStatistic(TEC::kResponses),
                                 AggregationStatistic(TEC::kCountPct1), AggregationStatistic(TEC::kResponsesPct1)},
                                &q);
    Feed(table, it);
    CubeAggregator* a = table.GetCubeAggregators()[0];
    struct Cell {
        const AggregationCategory *row, *col;
        double count, responses, countPct, responsesPct;
    } cells[] = {
        {Val(q, 1), Var(d, 2), 2, 2, 100, 200.0 / 3},  {Val(q, 2), Var(d, 2), 1, 1, 50, 100.0 / 3},
        {Val(q, 1), Var(d, 3), 1, 1, 50, 50},          {Val(q, 2), Var(d, 3), 1, 1, 50, 50},
        {Tot(q), Var(d, 2), 2, 3, 100, 100},            {Tot(q), Var(d, 3), 2, 2, 100, 100},
        {Val(q, 1), Tot(d), 2, 2, 200.0 / 3, 50},       {Val(q, 2), Tot(d), 2, 2, 200.0 / 3, 50},
        {Tot(q), Tot(d), 3, 4, 100, 100},
    };
    for (const Cell& c : cells) {
        ASSERT_NE(c.row, nullptr);
        ASSERT_NE(c.col, nullptr);
        SCOPED_TRACE(testing::Message() << "cell " << c.row->GetCatEncoding() << ", " << c.col->GetCatEncoding());
        EXPECT_CELL(Stat(a, {c.row, c.col}, 0), c.count);
        EXPECT_CELL(Stat(a, {c.row, c.col}, 1), c.responses);
        EXPECT_CELL(Stat(a, {c.row, c.col}, 2), c.countPct);
        EXPECT_CELL(Stat(a, {c.row, c.col}, 3), c.responsesPct);
    }
}

}  // namespace
