// Helpers for the end-to-end tests of whole tables: finding a dimension's
// categories by what they stand for, and reading one statistic of one cell.
#ifndef KVAGGR_TESTS_ENGINETABLES_H
#define KVAGGR_TESTS_ENGINETABLES_H

#include <cfloat>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "kvaggr.h"
#include "InMemoryDataset.h"

namespace kvtest {

inline constexpr double kSysmis = -DBL_MAX;
// What Stat answers for a cell that does not exist (no case fell into it).
inline constexpr double kNoCell = std::numeric_limits<double>::infinity();

inline const std::vector<AggregationCategory*>& Cats(AggregationVariable& v)
{
    return v.GetTableDimension()->GetCategoryPointers();
}

// The ordinary category of a numeric value.
inline const AggregationCategory* Val(AggregationVariable& v, double value)
{
    for (const AggregationCategory* c : Cats(v))
        if (c->GetCatType() == AggregationCategory::kValue && c->GetValueType() == 0 && c->GetCatValue().num == value)
            return c;
    return nullptr;
}

inline const AggregationCategory* Tot(AggregationVariable& v)
{
    for (const AggregationCategory* c : Cats(v))
        if (c->GetCatType() == AggregationCategory::kTotal) return c;
    return nullptr;
}

inline const AggregationCategory* Sub(AggregationVariable& v, int encoding)
{
    for (const AggregationCategory* c : Cats(v))
        if ((c->GetCatType() == AggregationCategory::kSubtotal || c->GetCatType() == AggregationCategory::kHSubtotal) &&
            c->GetCatEncoding() == encoding)
            return c;
    return nullptr;
}

// The category of a member variable of a dichotomy set.
inline const AggregationCategory* Var(AggregationVariable& v, int varIndex)
{
    for (const AggregationCategory* c : Cats(v))
        if (c->GetCatType() == AggregationCategory::kVariable && c->GetVarIndex() == varIndex) return c;
    return nullptr;
}

// Statistic k of the cell named by `cats`; kNoCell when the cell is absent.
inline double Stat(CubeAggregator* agg, std::vector<const AggregationCategory*> cats, int k, int lookup = -1)
{
    StatValues* sv = agg->GetStatValues(cats, lookup);
    if (!sv) return kNoCell;
    return sv->GetStatValue(k).GetValue1();
}

inline AggregationResult Result(CubeAggregator* agg, std::vector<const AggregationCategory*> cats, int k)
{
    StatValues* sv = agg->GetStatValues(cats, -1);
    if (!sv) return AggregationResult(kNoCell);
    return sv->GetStatValue(k);
}

// A dataset built from rows of numbers; NaN in a row stands for system-missing.
inline void FillDataset(InMemoryDataset& ds, const std::vector<const char*>& names,
                        const std::vector<std::vector<double>>& rows)
{
    std::vector<int> idx;
    for (const char* n : names) idx.push_back(ds.AddNumeric(n));
    for (const auto& row : rows) {
        int r = ds.AppendCase();
        for (size_t j = 0; j < row.size(); ++j)
            if (!std::isnan(row[j])) ds.SetNumeric(r, idx[j], row[j]);
    }
}

// A new cube of `table` with `row` by `column`, each with its total.
inline AggregationCube* TwoWayCube(AggregationTable& table, AggregationVariable& row, AggregationVariable& column)
{
    row.SetIsTotalNo(false);
    column.SetIsTotalNo(false);
    AggregationCube* cube = table.CreateCube();
    cube->AddCategoricalVariable(&row, TableEncryptionCodes::kRow);
    cube->AddCategoricalVariable(&column, TableEncryptionCodes::kColumn);
    return cube;
}

inline void Feed(AggregationTable& table, DatasetIterator& it)
{
    while (it.Next()) table.AddNewCase();
    table.CompleteCases();
}

// region, gender, weight: the ten cases of the oracle's region_gender dataset
// (tests/support/engine_oracle.py, which puts the weight first).
// Weighted rows 1, 2, 3 = (2, 3), (2, 4), (3, 1); unweighted (2, 2), (1, 2), (2, 1).
inline const std::vector<std::vector<double>> kRegionGender = {
    {1, 1, 1}, {1, 2, 2}, {1, 1, 1}, {2, 2, 3}, {2, 2, 1},
    {2, 1, 2}, {3, 1, 1}, {3, 2, 1}, {1, 2, 1}, {3, 1, 2},
};

// A table over kRegionGender, weighted or not, whose region and gender show
// their totals; the test adds the cubes it needs.
struct RegionGenderFixture {
    InMemoryDataset ds;
    std::unique_ptr<DatasetIterator> it;
    std::unique_ptr<AggregationTable> table;
    AggregationVariable region{0, "region"}, gender{1, "gender"}, weight{2, "w"};

    explicit RegionGenderFixture(bool weighted)
    {
        FillDataset(ds, {"region", "gender", "w"}, kRegionGender);
        it = std::make_unique<DatasetIterator>(ds, weighted ? 2 : -1);
        table = std::make_unique<AggregationTable>(*it, weighted, false, weighted ? 2 : -1);
        region.SetIsTotalNo(false);
        gender.SetIsTotalNo(false);
    }
    // A new cube of region by gender, its aggregator made.
    AggregationCube* TwoWay()
    {
        AggregationCube* cube = TwoWayCube(*table, region, gender);
        cube->CreateCubeAggregator();
        return cube;
    }
    CubeAggregator* Agg() const { return table->GetCubeAggregators()[0]; }
};

}  // namespace kvtest

#define EXPECT_CELL(actual, expected) EXPECT_NEAR((actual), (expected), 1e-9 * (1.0 + std::fabs(expected)))

#endif
