// The shared codes: AggregationResult and the statistic code table.
#include <gtest/gtest.h>

#include <cfloat>

#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

TEST(AggregationResult, DefaultIsSystemMissingAndAssignmentTouchesOnlyTheFirstValue)
{
    AggregationResult r;
    EXPECT_EQ(static_cast<double>(r), -1.7976931348623157e+308);
    EXPECT_EQ(r.GetValue2(), -DBL_MAX);
    r.SetValue2(2.0);
    r.SetValue3(3.0);
    r = 7.5;
    EXPECT_EQ(r.GetValue1(), 7.5);
    EXPECT_EQ(r.GetValue2(), 2.0);
    EXPECT_EQ(r.GetValue3(), 3.0);

    AggregationResult copy(r);
    copy.SetValue3(9.0);
    EXPECT_EQ(r.GetValue3(), 3.0);  // independent blocks
    r = r;                          // self-assignment keeps the values
    EXPECT_EQ(r.GetValue2(), 2.0);
    AggregationResult one(4.0);
    EXPECT_EQ(one.GetValue1(), 4.0);
    EXPECT_EQ(one.GetValue2(), -DBL_MAX);
}

TEST(KvAssert, MessageCarriesExpressionFileLineAndFunction)
{
    EXPECT_DEATH(KV_ASSERT(1 + 1 == 3), "assertion \"1 \\+ 1 == 3\" failed: file .*Foundation_test\\.cpp.*line [0-9]+.*TestBody");
}

TEST(CategoryIndexConstants, RetrievalKeyElementInvariant)
{
    // The invariant that every key element handed back for retrieval satisfies.
    auto ok = [](int cell) {
        return cell >= kMinCategory || cell == kNoCategory ||
               (cell >= kLowerSubtotal && cell <= kMaxSubtotal) || cell == kTotalCategory;
    };
    for (int bad : {-99, -50, -1, -98, -10002, -20000}) EXPECT_FALSE(ok(bad)) << bad;
    for (int good : {-100, -101, -10001, -5000, 0, 1, 12345}) EXPECT_TRUE(ok(good)) << good;
    EXPECT_EQ(kUnlistedCategory, -99);
    EXPECT_EQ(kTotalCategory, -100);
}
