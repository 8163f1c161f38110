// The table-wide metadata: shared dimensions, scale readers with their valid
// counts, case rejection, and the case weight.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdlib>
#include <new>

#include "InMemoryDataset.h"
#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

// The replacement pair below is malloc/free on both sides; the compiler only
// sees the library's new expressions meet free().
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// Counts every allocation of this test program, so that a test can check
// that the per-case path allocates nothing once its values have been seen.
static long gAllocations = 0;
void* operator new(std::size_t size)
{
    ++gAllocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

const double kSysmis = -DBL_MAX;

// Variables: cat (numeric), score (numeric, 99 user-missing), wt, wt2.
struct Table {
    InMemoryDataset ds;
    int cat = ds.AddNumeric("cat");
    int score = ds.AddNumeric("score");
    int wt = ds.AddNumeric("wt");
    int wt2 = ds.AddNumeric("wt2");
    Table()
    {
        ds.GetVariable(score)->SetMissingValues({99});
        // cat, score, wt, wt2
        const double rows[][4] = {{1, 10, 2.0, 0.5}, {2, 99, 3.0, 1.5}, {3, kSysmis, 4.0, 2.5}, {1, 7, 5.0, 3.5}};
        for (const auto& r : rows) {
            int row = ds.AppendCase();
            for (int v = 0; v < 4; ++v) ds.SetNumeric(row, v, r[v]);
        }
    }
};

std::vector<AggregationStatistic> Stats(std::initializer_list<int> vars)
{
    std::vector<AggregationStatistic> stats;
    for (int v : vars) stats.emplace_back(v, kMean);
    return stats;
}

}  // namespace

TEST(TableMetadata, ConstructionRecordsTheSettingsAndTheProcedureIterator)
{
    Table t;
    DatasetIterator proc(t.ds);
    PlainDatasetIterator plain(t.ds);
    TableMetadata a(proc, true, -1);
    TableMetadata b(plain, false, 2);
    EXPECT_EQ(a.GetProcIterator(), &proc);
    EXPECT_EQ(b.GetProcIterator(), nullptr);
    EXPECT_EQ(b.GetIterator(), &plain);
    EXPECT_TRUE(a.GetListwise());
    EXPECT_FALSE(b.GetListwise());
    EXPECT_EQ(b.GetBaseWeightIndex(), 2);
    EXPECT_EQ(a.GetClabelOption(), kDefault);
    a.SetClabelOption(kColLabelsLayer);
    EXPECT_EQ(a.GetClabelOption(), kColLabelsLayer);
    EXPECT_EQ(a.NumberOfDimensions(), 0);
}

TEST(TableMetadata, AVariableUsedSeveralTimesSharesOneDimension)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    AggregationVariable var(t.cat, "cat");

    // The same description, as two cubes (or one cube twice) would pass it.
    TableDimension* first = new TableCVariable(var);
    EXPECT_EQ(md.AddDimension(first), first);
    EXPECT_EQ(first->GetIterator(), &it);  // bound when registered
    TableDimension* again = new TableCVariable(var);
    EXPECT_EQ(md.AddDimension(again), first);
    delete again;

    // A separate description of the same variable may differ in layout later.
    AggregationVariable other(t.cat, "cat");
    TableDimension* separate = new TableCVariable(other);
    EXPECT_EQ(md.AddDimension(separate), separate);

    // Description-less dimensions share by variable index.
    TableDimension* byIndex = new TableCVariable(t.score);
    EXPECT_EQ(md.AddDimension(byIndex), byIndex);
    TableDimension* byIndexAgain = new TableCVariable(t.score);
    EXPECT_EQ(md.AddDimension(byIndexAgain), byIndex);
    delete byIndexAgain;
    EXPECT_EQ(md.NumberOfDimensions(), 3);
    EXPECT_EQ(md.GetDimension(2), byIndex);

    std::vector<int> indices = {t.cat, t.score, t.cat};
    TableMetadata fromList(indices, it, false, -1);
    ASSERT_EQ(fromList.NumberOfDimensions(), 2);
    EXPECT_EQ(fromList.GetDimension(0)->VariableIndex(), std::vector<int>{t.cat});
    EXPECT_EQ(fromList.GetDimension(1)->VariableIndex(), std::vector<int>{t.score});
}

TEST(TableMetadata, OneReaderPerScaleVariableCountingValidValuesListwise)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    EXPECT_EQ(md.GetCaseIndex(Stats({t.score, t.wt, t.score})), (std::vector<int>{0, 1, 0}));
    EXPECT_EQ(md.GetCaseIndex(Stats({t.wt, t.wt2})), (std::vector<int>{1, 2}));
    ASSERT_EQ(md.GetCaseReaders().size(), 3u);
    EXPECT_EQ(md.GetCaseReaderVarIndex(0), static_cast<unsigned>(t.score));
    EXPECT_EQ(md.GetCaseReaderVarIndex(2), static_cast<unsigned>(t.wt2));

    // score: 10 valid, 99 user-missing, system-missing, 7 valid -> 2 valid
    // cases; wt and wt2 are always valid -> 4.
    std::vector<bool> scoreValid;
    while (it.Next()) {
        ASSERT_TRUE(md.EncodeCase());  // no dimensions: every case is accepted
        scoreValid.push_back(md.GetCaseReaders()[0]->IsValid());
    }
    EXPECT_EQ(scoreValid, (std::vector<bool>{true, false, false, true}));
    EXPECT_EQ(md.GetValidCount(), (std::vector<double>{2.0, 4.0, 4.0}));

    md.ResetMetadata();
    EXPECT_EQ(md.GetValidCount(), (std::vector<double>{0.0, 0.0, 0.0}));
}

TEST(TableMetadata, ACaseRejectedByEveryDimensionLeavesTheCountsAndWeightAlone)
{
    Table t;
    DatasetIterator it(t.ds, t.wt);
    TableMetadata md(it, true, -1);
    // cat lists only the value 1: the cases with 2 and 3 fall outside.
    OBS one;
    one.num = 1.0;
    ParsedCategory item(one, 0);
    AggregationVariable var(t.cat, "cat");
    var.SetParsedCategories({&item});
    md.AddDimension(new TableCVariable(var));
    md.GetCaseIndex(Stats({t.wt2}));

    std::vector<bool> accepted;
    std::vector<double> weights;
    while (it.Next()) {
        accepted.push_back(md.EncodeCase());
        weights.push_back(*md.GetCaseWeight());
    }
    EXPECT_EQ(accepted, (std::vector<bool>{true, false, false, true}));
    // The rejected cases keep the weight of the last accepted one.
    EXPECT_EQ(weights, (std::vector<double>{2.0, 2.0, 2.0, 5.0}));
    EXPECT_EQ(md.GetValidCount(), std::vector<double>{2.0});

    // One accepting dimension is enough for the whole table.
    md.AddDimension(new TableCVariable(t.score));
    it.Rewind();
    int n = 0;
    while (it.Next()) n += md.EncodeCase() ? 1 : 0;
    EXPECT_EQ(n, 4);
}

TEST(TableMetadata, TheWeightComesFromTheIteratorOrFromAWeightVariable)
{
    Table t;
    auto weights = [&t](VESK_InputCaseIterator& it, int baseWeightIndex) {
        TableMetadata md(it, true, baseWeightIndex);
        std::vector<double> w;
        while (it.Next()) {
            md.EncodeCase();
            w.push_back(*md.GetCaseWeight());
        }
        return w;
    };
    DatasetIterator weighted(t.ds, t.wt);
    EXPECT_EQ(weights(weighted, -1), (std::vector<double>{2.0, 3.0, 4.0, 5.0}));
    weighted.Rewind();
    EXPECT_EQ(weights(weighted, t.wt2), (std::vector<double>{0.5, 1.5, 2.5, 3.5}));
    DatasetIterator unweighted(t.ds);
    EXPECT_EQ(weights(unweighted, -1), (std::vector<double>{1.0, 1.0, 1.0, 1.0}));
    // Not a procedure iterator: 1.0 whatever the weight index says.
    PlainDatasetIterator plain(t.ds);
    EXPECT_EQ(weights(plain, t.wt), (std::vector<double>{1.0, 1.0, 1.0, 1.0}));
}

TEST(TableMetadata, ClearForgetsReadersButKeepsTheVariableMap)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    TableDimension* dim = new TableCVariable(t.cat);
    md.AddDimension(dim);
    md.GetCaseIndex(Stats({t.score, t.wt}));
    md.Clear();
    EXPECT_EQ(md.NumberOfDimensions(), 0);
    EXPECT_TRUE(md.GetCaseReaders().empty());
    EXPECT_TRUE(md.GetValidCount().empty());
    // score keeps position 0; wt2 is the map's third entry.
    EXPECT_EQ(md.GetCaseIndex(Stats({t.score, t.wt2})), (std::vector<int>{0, 2}));
    delete dim;  // Clear did not destroy it

    md.AddDimension(new TableCVariable(t.cat));
    md.ClearDeep();
    EXPECT_EQ(md.NumberOfDimensions(), 0);
    EXPECT_TRUE(md.GetCaseReaders().empty());
}

TEST(TableMetadata, SortAggregatorsAreKeptButNotOwned)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    md.AddSortAggregator(nullptr);
    EXPECT_TRUE(md.GetSortAggregators().empty());
    // Never dereferenced: only registered.
    CubeAggregator* fake = reinterpret_cast<CubeAggregator*>(&t);
    md.AddSortAggregator(fake);
    ASSERT_EQ(md.GetSortAggregators().size(), 1u);
    EXPECT_EQ(md.GetSortAggregators()[0], fake);
}

TEST(TableMetadataDeathTest, ReaderPositionOutOfRange)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    md.GetCaseIndex(Stats({t.score, t.wt}));
    const char* text = "pos >=0 && pos < (int) _caseValues.size()";
    EXPECT_DEATH(md.GetCaseReaderVarIndex(-1), kvtest::AssertRegex(text));
    EXPECT_DEATH(md.GetCaseReaderVarIndex(2), kvtest::AssertRegex(text));
}

TEST(TableMetadata, EncodingSeenValuesAllocatesNothing)
{
    // Three dimensions of every kind over values met in the first pass.
    InMemoryDataset ds;
    std::vector<int> v;
    for (const char* name : {"c", "m1", "m2", "m3", "d1", "d2"}) v.push_back(ds.AddNumeric(name));
    const double rows[][6] = {{1, 4, 4, 7, 1, 0}, {2, 7, 5, kSysmis, 1, 1}, {1, 5, 4, 4, 0, 0}};
    for (const auto& r : rows) {
        int row = ds.AppendCase();
        for (int i = 0; i < 6; ++i) ds.SetNumeric(row, v[static_cast<size_t>(i)], r[i]);
    }
    DatasetIterator it(ds);
    TableMetadata md(it, true, -1);
    AggregationVariable c(v[0], "c");
    AggregationMCSet mc({v[1], v[2], v[3]}, "$m");
    OBS one;
    one.num = 1.0;
    AggregationMDSet mdSet({v[4], v[5]}, "$d", &one, 0, false);
    md.AddDimension(new TableCVariable(c))->SetComputingCounts();
    md.AddDimension(new TableMCSet(mc))->SetComputingCounts(true);
    md.AddDimension(new TableMDSet(mdSet))->SetComputingCounts();
    md.GetDimension(1)->SetTotal(true);
    md.GetCaseIndex(Stats({v[3]}));
    while (it.Next()) md.EncodeCase();

    it.Rewind();
    long before = gAllocations;
    while (it.Next()) md.EncodeCase();
    EXPECT_EQ(gAllocations, before);
}
