// The table-wide metadata: shared dimensions, scale readers with their valid
// counts, case rejection and the case weight; and the reader of one variable
// of the current case.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <new>

#include "CategoryTestSupport.h"
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

TEST(TableMetadata, AVariableUsedSeveralTimesSharesOneDimension)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    AggregationVariable var(t.cat, "cat"), other(t.cat, "cat");
    // The same description, as two cubes (or one cube twice) would pass it.
    TableDimension* first = new TableCVariable(var);
    EXPECT_EQ(md.AddDimension(first), first);
    EXPECT_EQ(first->GetIterator(), &it);  // bound when registered
    std::unique_ptr<TableDimension> again(new TableCVariable(var));
    EXPECT_EQ(md.AddDimension(again.get()), first);
    // A separate description of the same variable may differ in layout later.
    TableDimension* separate = new TableCVariable(other);
    EXPECT_EQ(md.AddDimension(separate), separate);
    // Description-less dimensions share by variable index.
    TableDimension* byIndex = new TableCVariable(t.score);
    EXPECT_EQ(md.AddDimension(byIndex), byIndex);
    std::unique_ptr<TableDimension> byIndexAgain(new TableCVariable(t.score));
    EXPECT_EQ(md.AddDimension(byIndexAgain.get()), byIndex);
    EXPECT_EQ(md.NumberOfDimensions(), 3);

    std::vector<int> indices = {t.cat, t.score, t.cat};
    TableMetadata fromList(indices, it, false, -1);
    ASSERT_EQ(fromList.NumberOfDimensions(), 2);
    EXPECT_EQ(fromList.GetDimension(1)->VariableIndex(), std::vector<int>{t.score});
}

TEST(TableMetadata, OneReaderPerScaleVariableCountingValidValues)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    EXPECT_EQ(md.GetCaseIndex(Stats({t.score, t.wt, t.score})), (std::vector<int>{0, 1, 0}));
    EXPECT_EQ(md.GetCaseIndex(Stats({t.wt, t.wt2})), (std::vector<int>{1, 2}));
    EXPECT_EQ(md.GetCaseReaderVarIndex(2), static_cast<unsigned>(t.wt2));
    // score: 10 valid, 99 user-missing, system-missing, 7 valid -> 2 valid
    // cases; wt and wt2 are always valid -> 4. No dimensions: every case counts.
    std::vector<bool> scoreValid;
    while (it.Next()) {
        ASSERT_TRUE(md.EncodeCase());
        scoreValid.push_back(md.GetCaseReaders()[0]->IsValid());
    }
    EXPECT_EQ(scoreValid, (std::vector<bool>{true, false, false, true}));
    EXPECT_EQ(md.GetValidCount(), (std::vector<double>{2.0, 4.0, 4.0}));
    md.ResetMetadata();
    EXPECT_EQ(md.GetValidCount(), (std::vector<double>{0.0, 0.0, 0.0}));

    // Clear forgets readers (and dimensions, not destroying them) but keeps the
    // variable map: score keeps position 0, wt2 is still the map's third entry.
    std::unique_ptr<TableDimension> dim(new TableCVariable(t.cat));
    md.AddDimension(dim.get());
    md.Clear();
    EXPECT_EQ(md.NumberOfDimensions(), 0);
    EXPECT_TRUE(md.GetValidCount().empty());
    EXPECT_EQ(md.GetCaseIndex(Stats({t.score, t.wt2})), (std::vector<int>{0, 2}));
    md.AddDimension(new TableCVariable(t.cat));
    md.ClearDeep();
    EXPECT_EQ(md.NumberOfDimensions(), 0);
    EXPECT_TRUE(md.GetCaseReaders().empty());
}

TEST(TableMetadata, ACaseRejectedByEveryDimensionLeavesTheCountsAndWeightAlone)
{
    Table t;
    DatasetIterator it(t.ds, t.wt);
    TableMetadata md(it, true, -1);
    // cat lists only the value 1: the cases with 2 and 3 fall outside.
    ParsedCategory item(kvtest::Num(1), 0);
    AggregationVariable var(t.cat, "cat");
    var.SetParsedCategories({&item});
    md.AddDimension(new TableCVariable(var));
    md.GetCaseIndex(Stats({t.wt2}));
    md.AddSortAggregator(nullptr);  // ignored: nothing to feed
    std::vector<bool> accepted;
    std::vector<double> weights;
    while (it.Next()) {
        accepted.push_back(md.EncodeCase());
        weights.push_back(*md.GetCaseWeight());
    }
    EXPECT_EQ(accepted, (std::vector<bool>{true, false, false, true}));
    EXPECT_EQ(weights, (std::vector<double>{2.0, 2.0, 2.0, 5.0}));  // the last accepted one's
    EXPECT_EQ(md.GetValidCount(), std::vector<double>{2.0});
    EXPECT_TRUE(md.GetSortAggregators().empty());
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
    auto weights = [](VESK_InputCaseIterator& it, int baseWeightIndex) {
        TableMetadata md(it, true, baseWeightIndex);
        std::vector<double> w;
        while (it.Next()) {
            md.EncodeCase();
            w.push_back(*md.GetCaseWeight());
        }
        return w;
    };
    DatasetIterator weighted(t.ds, t.wt), unweighted(t.ds);
    PlainDatasetIterator plain(t.ds);
    EXPECT_EQ(weights(weighted, -1), (std::vector<double>{2.0, 3.0, 4.0, 5.0}));
    weighted.Rewind();
    EXPECT_EQ(weights(weighted, t.wt2), (std::vector<double>{0.5, 1.5, 2.5, 3.5}));
    EXPECT_EQ(weights(unweighted, -1), (std::vector<double>{1.0, 1.0, 1.0, 1.0}));
    // Not a procedure iterator: 1.0 whatever the weight index says.
    EXPECT_EQ(weights(plain, t.wt), (std::vector<double>{1.0, 1.0, 1.0, 1.0}));
}

TEST(TableMetadata, EncodingSeenValuesAllocatesNothing)
{
    // A dimension of every kind over values met in the first pass.
    InMemoryDataset ds;
    std::vector<int> v;
    for (const char* name : {"c", "m1", "m2", "m3", "d1", "d2"}) v.push_back(ds.AddNumeric(name));
    const double rows[][6] = {{1, 4, 4, 7, 1, 0}, {2, 7, 5, kSysmis, 1, 1}, {1, 5, 4, 4, 0, 0}};
    for (const auto& r : rows) {
        int row = ds.AppendCase();
        for (size_t i = 0; i < 6; ++i) ds.SetNumeric(row, v[i], r[i]);
    }
    DatasetIterator it(ds);
    TableMetadata md(it, true, -1);
    AggregationVariable c(v[0], "c");
    AggregationMCSet mc({v[1], v[2], v[3]}, "$m");
    OBS one = kvtest::Num(1);
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

TEST(KvAggrCaseValueReader, ReadsTheCurrentCaseAndTestsSystemMissingExactly)
{
    InMemoryDataset ds;
    int num = ds.AddNumeric("num"), str = ds.AddString("str", 12);
    int row = ds.AppendCase();
    ds.SetNumeric(row, num, 3.5);
    ds.SetString(row, str, "hello");
    ds.AppendCase();  // system-missing and blank
    DatasetIterator it(ds);
    KvAggrCaseValueReader reader(it, static_cast<unsigned>(num), true), text(it, static_cast<unsigned>(str), false);
    EXPECT_FALSE(reader.IsValid());  // nothing decided before the first case
    ASSERT_TRUE(it.Next());
    EXPECT_EQ(reader.GetNumeric(), 3.5);
    EXPECT_FALSE(reader.IsSysmis());
    EXPECT_TRUE(text.IsString());
    EXPECT_EQ(std::string(text.GetValue()->str, 8), "hello   ");
    ASSERT_TRUE(it.Next());
    EXPECT_TRUE(reader.IsSysmis());
    EXPECT_TRUE(reader.IsMissing());
    // -DBL_MAX is system-missing; the next double up is an ordinary value.
    ds.SetNumeric(1, num, std::nextafter(-DBL_MAX, 0.0));
    EXPECT_FALSE(reader.IsSysmis());

    // A copy shares the case value (so a copy and its source must not both be
    // destroyed: the copy lives in storage whose destructor never runs);
    // assignment copies the contents into the target's own case value.
    reader.SetValid(true);
    alignas(KvAggrCaseValueReader) unsigned char storage[sizeof(KvAggrCaseValueReader)];
    KvAggrCaseValueReader* copy = new (storage) KvAggrCaseValueReader(reader);
    EXPECT_EQ(copy->GetCaseValue(), reader.GetCaseValue());
    EXPECT_TRUE(copy->GetSysmisOnly());
    EXPECT_TRUE(copy->IsValid());
    CaseValue* own = text.GetCaseValue();
    text = reader;
    text = text;  // self-assignment changes nothing
    EXPECT_EQ(text.GetCaseValue(), own);
    EXPECT_EQ(text.GetVarIndex(), num);  // now reading the source's variable
    EXPECT_TRUE(text.GetSysmisOnly());
    EXPECT_TRUE(text.IsValid());
}

TEST(TableMetadataDeathTest, ReaderPositionOutOfRange)
{
    Table t;
    DatasetIterator it(t.ds);
    TableMetadata md(it, true, -1);
    md.GetCaseIndex(Stats({t.score, t.wt}));
    for (int pos : {-1, 2})
        EXPECT_DEATH(md.GetCaseReaderVarIndex(pos), kvtest::AssertRegex("pos >=0 && pos < (int) _caseValues.size()"));
}
