// The shared result value and the fatal assertion.
#include <gtest/gtest.h>

#include <cfloat>

#include "TestSupport.h"
#include "kvaggr.h"

TEST(AggregationResult, DefaultIsSystemMissingAndAssignmentTouchesOnlyTheFirstValue)
{
    AggregationResult r;
    EXPECT_EQ(static_cast<double>(r), -1.7976931348623157e+308);
    EXPECT_EQ(r.GetValue2(), -DBL_MAX);
    EXPECT_EQ(AggregationResult(4.0).GetValue3(), -DBL_MAX);
    r.SetValue2(2.0);
    r.SetValue3(3.0);
    r = 7.5;
    EXPECT_EQ(r.GetValue1(), 7.5);
    EXPECT_EQ(r.GetValue2(), 2.0);
    EXPECT_EQ(r.GetValue3(), 3.0);
    AggregationResult copy(r);
    copy.SetValue3(9.0);
    EXPECT_EQ(r.GetValue3(), 3.0);  // independent blocks
    r = r;
    EXPECT_EQ(r.GetValue2(), 2.0);
}

TEST(KvAssert, MessageCarriesExpressionFileLineAndFunction)
{
    EXPECT_DEATH(KV_ASSERT(1 + 1 == 3),
                 "assertion \"1 \\+ 1 == 3\" failed: file .*Foundation_test\\.cpp.*line [0-9]+.*TestBody");
}
