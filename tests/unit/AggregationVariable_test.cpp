// Variable and set descriptions.
#include <gtest/gtest.h>

#include "CategoryTestDimension.h"
#include "TestSupport.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;

TEST(AggregationVariable, DefaultsOfBothConstructors)
{
    AggregationVariable def;
    AggregationVariable named(4, "age");
    EXPECT_EQ(def.GetIndex(), -1);
    EXPECT_EQ(named.GetIndex(), 4);
    EXPECT_EQ(named.GetNameToken(), "age");
    for (const AggregationVariable* v : {&def, &named}) {
        EXPECT_EQ(v->GetLabel(), "");
        EXPECT_EQ(v->GetTableDimension(), nullptr);
        EXPECT_TRUE(v->GetParsedCategories().empty());
        EXPECT_EQ(v->GetSortKey(), kValueSort);
        EXPECT_TRUE(v->GetIsOrderA());
        EXPECT_TRUE(v->GetIsMissingExclude());
        EXPECT_TRUE(v->GetIsTotalNo());
        EXPECT_EQ(v->GetTotalLabel(), "Total");
        EXPECT_TRUE(v->GetIsTotalLabelDefault());
        EXPECT_TRUE(v->GetIsTotalPositionAfter());
        EXPECT_TRUE(v->GetIsEmptyInclude());
    }
}

TEST(AggregationVariable, SortInfoLeavesTheSortKeyAlone)
{
    AggregationVariable v(1, "x");
    v.SetSortInfo(kCountPct0, 9);
    EXPECT_EQ(v.GetSortKey(), kValueSort);
    EXPECT_EQ(v.GetSortStatistic(), kCountPct0);
    EXPECT_EQ(v.GetSortVariableIndex(), 9);
    v.SetSortKey(kStatisticSort);
    EXPECT_EQ(v.GetSortKey(), kStatisticSort);
    EXPECT_EQ(v.GetSortStatistic(), kCountPct0);
}

TEST(AggregationVariable, ParsedCategoriesAreCopiedAsPointers)
{
    ParsedCategory a(ParsedCategory::kMissing), b(ParsedCategory::kOtherNM);
    std::vector<ParsedCategory*> hostList{&a};
    AggregationVariable v(0, "x");
    v.SetParsedCategories(hostList);
    hostList.push_back(&b);  // the host's later change does not reach the variable
    ASSERT_EQ(v.GetParsedCategories().size(), 1u);
    EXPECT_EQ(v.GetParsedCategories()[0], &a);
    v.SetParsedCategories({&b});  // replaces, not appends
    ASSERT_EQ(v.GetParsedCategories().size(), 1u);
    EXPECT_EQ(v.GetParsedCategories()[0], &b);
}

TEST(AggregationVariable, CopyIsDeepButSharesCategoriesAndDimension)
{
    ParsedCategory a(ParsedCategory::kMissing);
    kvtest::CategoryTestDimension dim({0});
    AggregationVariable source(3, "x");
    source.SetParsedCategories({&a});
    source.SetTableDimension(&dim);
    source.SetSortInfo(kCount, 2);
    source.SetIsTotalNo(false);

    AggregationVariable copy(source);
    copy.SetTotalLabel("All");
    EXPECT_EQ(source.GetTotalLabel(), "Total");
    EXPECT_EQ(copy.GetParsedCategories()[0], &a);
    EXPECT_EQ(copy.GetTableDimension(), &dim);
    EXPECT_EQ(copy.GetSortStatistic(), kCount);
    EXPECT_EQ(copy.GetSortVariableIndex(), 2);
    EXPECT_FALSE(copy.GetIsTotalNo());

    AggregationVariable assigned;
    assigned = copy;
    EXPECT_EQ(assigned.GetTotalLabel(), "All");
    EXPECT_EQ(assigned.GetIndex(), 3);
    assigned = assigned;
    EXPECT_EQ(assigned.GetNameToken(), "x");
}

TEST(AggregationSets, EverySetReportsIndexMinus100)
{
    AggregationMRSet mr({1, 2}, "$mr");
    AggregationMCSet mc({}, "$mc");
    OBS one;
    one.num = 1.0;
    AggregationMDSet md({7, 3, 5}, "$md", &one, 0, true);
    for (const AggregationVariable* v : std::vector<const AggregationVariable*>{&mr, &mc, &md})
        EXPECT_EQ(v->GetIndex(), -100);
    EXPECT_EQ(md.GetNameToken(), "$md");
    EXPECT_EQ(*md.GetIndexList(), (std::vector<int>{7, 3, 5}));
    EXPECT_EQ(md.GetIndexListCount(), 3);
    EXPECT_EQ(md.GetCountedOBS(), &one);
    EXPECT_EQ(md.GetCountedOBSSize(), 0);
    EXPECT_TRUE(md.UseLabelFromValue());
    const AggregationMRSet& asSet = md;  // virtual through the base
    EXPECT_EQ(asSet.GetIndexListCount(), 3);
}

TEST(AggregationSets, UserMissingMemberDefaultsToTheFirstAndSticks)
{
    AggregationMCSet set({5, 7}, "$s");
    EXPECT_EQ(set.GetUserMissingVariable(), 5);
    set.SetUserMissingVariable(7);
    EXPECT_EQ(set.GetUserMissingVariable(), 7);
    set.SetUserMissingVariable(-1);  // back to "none chosen": the first member again
    EXPECT_EQ(set.GetUserMissingVariable(), 5);

    AggregationMCSet empty({}, "$e");
    EXPECT_EQ(empty.GetUserMissingVariable(), -1);
    empty.SetUserMissingVariable(-1);
    EXPECT_EQ(empty.GetUserMissingVariable(), -1);
}

TEST(AggregationSetsDeathTest, UserMissingMemberMustBelongToTheSet)
{
    AggregationMCSet set({5, 7}, "$s");
    EXPECT_DEATH(set.SetUserMissingVariable(9),
                 kvtest::AssertRegex("found && \"Missing Value Variable must be present in the set.\""));
    AggregationMCSet empty({}, "$e");
    EXPECT_DEATH(empty.SetUserMissingVariable(0), kvtest::AssertRegex("Missing Value Variable must be present"));
}
