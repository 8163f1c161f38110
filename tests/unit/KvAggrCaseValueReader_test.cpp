// The reader of one variable of the current case: validity flag, the exact
// system-missing test, and the copy semantics the table relies on.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <new>

#include "InMemoryDataset.h"
#include "TestSupport.h"
#include "kvaggr.h"

namespace {

struct ReaderData {
    InMemoryDataset ds;
    int num = ds.AddNumeric("num");
    int str = ds.AddString("str", 12);
    ReaderData()
    {
        int row = ds.AppendCase();
        ds.SetNumeric(row, num, 3.5);
        ds.SetString(row, str, "hello");
        row = ds.AppendCase();  // every value left system-missing / blank
    }
};

}  // namespace

TEST(KvAggrCaseValueReader, ReadsTheCurrentCaseAndTestsSystemMissingExactly)
{
    ReaderData d;
    DatasetIterator it(d.ds);
    KvAggrCaseValueReader reader(it, static_cast<unsigned>(d.num), true);
    KvAggrCaseValueReader text(it, static_cast<unsigned>(d.str), false);
    EXPECT_FALSE(reader.IsValid());  // nothing decided before the first case
    EXPECT_TRUE(reader.GetSysmisOnly());
    EXPECT_FALSE(text.GetSysmisOnly());

    ASSERT_TRUE(it.Next());
    EXPECT_EQ(reader.GetNumeric(), 3.5);
    EXPECT_FALSE(reader.IsSysmis());
    EXPECT_TRUE(text.IsString());
    EXPECT_EQ(std::string(text.GetValue()->str, 8), "hello   ");

    ASSERT_TRUE(it.Next());
    EXPECT_TRUE(reader.IsSysmis());
    EXPECT_TRUE(reader.IsMissing());
    // -DBL_MAX is system-missing; the next double up is an ordinary value.
    d.ds.SetNumeric(1, d.num, std::nextafter(-DBL_MAX, 0.0));
    EXPECT_FALSE(reader.IsSysmis());
}

TEST(KvAggrCaseValueReader, CopySharesTheCaseValueAndAssignmentCopiesItsContents)
{
    ReaderData d;
    DatasetIterator it(d.ds);
    ASSERT_TRUE(it.Next());
    KvAggrCaseValueReader source(it, static_cast<unsigned>(d.num), true);
    source.SetValid(true);

    // A copy and its source must not both be destroyed: the copy lives in
    // storage whose destructor never runs.
    alignas(KvAggrCaseValueReader) unsigned char storage[sizeof(KvAggrCaseValueReader)];
    KvAggrCaseValueReader* copy = new (storage) KvAggrCaseValueReader(source);
    EXPECT_EQ(copy->GetCaseValue(), source.GetCaseValue());
    EXPECT_TRUE(copy->GetSysmisOnly());
    EXPECT_TRUE(copy->IsValid());

    KvAggrCaseValueReader target(it, static_cast<unsigned>(d.str), false);
    CaseValue* own = target.GetCaseValue();
    target = source;
    EXPECT_EQ(target.GetCaseValue(), own);  // keeps its own case value ...
    EXPECT_EQ(target.GetVarIndex(), d.num);  // ... now reading the source's variable
    EXPECT_EQ(target.GetNumeric(), 3.5);
    EXPECT_TRUE(target.GetSysmisOnly());
    EXPECT_TRUE(target.IsValid());

    target.SetValid(false);
    target = target;  // self-assignment changes nothing
    EXPECT_EQ(target.GetCaseValue(), own);
    EXPECT_FALSE(target.IsValid());
}
