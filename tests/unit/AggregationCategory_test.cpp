// Categories and the value comparisons of the category model.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "CategoryTestDimension.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::Num;
using kvtest::Str;

TEST(AggregationCategoryCompare, AnyNumberOrdersBeforeAnyString)
{
    OBS five = Num(5.0);
    std::vector<OBS> a = Str("A", 1);
    EXPECT_EQ(AggregationCategory::OBSCompare(five, 0, a[0], 1), -1);
    EXPECT_EQ(AggregationCategory::OBSCompare(a[0], 1, five, 0), 1);
    // A huge number is still before an empty string.
    OBS huge = Num(1e300);
    std::vector<OBS> blank = Str("", 8);
    EXPECT_EQ(AggregationCategory::OBSCompare(huge, 0, blank[0], 8), -1);
}

TEST(AggregationCategoryCompare, NumbersCompareNumerically)
{
    OBS two = Num(2.0), ten = Num(10.0), minus = Num(-3.5);
    EXPECT_LT(AggregationCategory::OBSCompare(two, 0, ten, 0), 0);
    EXPECT_GT(AggregationCategory::OBSCompare(two, 0, minus, 0), 0);
    EXPECT_EQ(AggregationCategory::OBSCompare(two, 0, two, 0), 0);
}

TEST(AggregationCategoryCompare, TrailingBlanksAreInsignificant)
{
    std::vector<OBS> ab2 = Str("AB", 2), ab4 = Str("AB", 4), abc = Str("ABC", 3);
    EXPECT_EQ(AggregationCategory::OBSCompare(ab2[0], 2, ab4[0], 4), 0);
    EXPECT_EQ(AggregationCategory::OBSCompare(ab4[0], 4, ab2[0], 2), 0);
    EXPECT_EQ(AggregationCategory::OBSCompare(ab2[0], 2, abc[0], 3), -1);
    EXPECT_EQ(AggregationCategory::OBSCompare(abc[0], 3, ab2[0], 2), 1);
    // Across word boundaries: "AB" (2) against "AB" followed by 14 blanks (16).
    std::vector<OBS> ab16 = Str("AB", 16);
    EXPECT_EQ(AggregationCategory::OBSCompare(ab2[0], 2, ab16[0], 16), 0);
    // ... and against a 16-byte value whose 10th byte is not blank.
    std::vector<OBS> abx = Str("AB       X", 16);
    EXPECT_EQ(AggregationCategory::OBSCompare(ab2[0], 2, abx[0], 16), -1);
}

TEST(AggregationCategoryCompare, EqualityIgnoresTrailingBlanksAcrossWords)
{
    std::vector<OBS> a1 = Str("A", 1), a16 = Str("A", 16), a12 = Str("A", 12), b16 = Str("A              B", 16);
    EXPECT_TRUE(AggregationCategory::OBSCompareEqual(a1[0], 1, a16[0], 16));
    EXPECT_TRUE(AggregationCategory::OBSCompareEqual(a16[0], 16, a1[0], 1));
    // Same number of words (12 and 16 both use two).
    EXPECT_TRUE(AggregationCategory::OBSCompareEqual(a12[0], 12, a16[0], 16));
    EXPECT_FALSE(AggregationCategory::OBSCompareEqual(a1[0], 1, b16[0], 16));
    OBS zero = Num(0.0);
    OBS minusZero = Num(-0.0);
    EXPECT_TRUE(AggregationCategory::OBSCompareEqual(zero, 0, minusZero, 0));
    EXPECT_FALSE(AggregationCategory::OBSCompareEqual(zero, 0, a1[0], 1));
    EXPECT_FALSE(AggregationCategory::OBSCompareEqual(a1[0], 1, zero, 0));
}

TEST(AggregationCategory, BlanksIsOneWordOfEightBlanks)
{
    EXPECT_EQ(std::memcmp(AggregationCategory::Blanks()->str, "        ", 8), 0);
    EXPECT_EQ(AggregationCategory::Blanks(), AggregationCategory::Blanks());
    EXPECT_EQ(AggregationCategory::OBSSize, 8);
}

TEST(AggregationCategory, EncodingFromADoubleRoundsHalfAwayFromZero)
{
    AggregationCategory c(AggregationCategory::kValue);
    c.SetCatEncoding(2.5);
    EXPECT_EQ(c.GetCatEncoding(), 3);
    c.SetCatEncoding(-2.5);
    EXPECT_EQ(c.GetCatEncoding(), -3);
    c.SetCatEncoding(2.49);
    EXPECT_EQ(c.GetCatEncoding(), 2);
    c.SetCatEncoding(-101.0);
    EXPECT_EQ(c.GetCatEncoding(), -101);
}

TEST(AggregationCategory, NegativeZeroIsStoredAsPositiveZero)
{
    AggregationCategory c(AggregationCategory::kValue, 0);
    c.SetCatValue(-0.0);
    EXPECT_FALSE(std::signbit(c.GetCatValue().num));
    OBS minusZero = Num(-0.0);
    c.SetCatValue(minusZero);
    EXPECT_FALSE(std::signbit(c.GetCatValue().num));
    c.SetCatValue(minusZero, 0);
    EXPECT_FALSE(std::signbit(c.GetCatValue().num));
}

TEST(AggregationCategory, StringValuesAreKeptBlankPadded)
{
    // Width 12 occupies two words; copying 3 bytes blanks the remaining 13.
    AggregationCategory c(AggregationCategory::kValue, 12);
    std::vector<OBS> xyz = Str("XYZQQQQQ", 8);
    c.SetCatValue(xyz[0], 3);
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "XYZ             ", 16), 0);
    // The one-argument form copies the category's own width.
    std::vector<OBS> long12 = Str("ABCDEFGHIJKL", 12);
    c.SetCatValue(long12[0]);
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "ABCDEFGHIJKL    ", 16), 0);
}

TEST(AggregationCategory, TextLongerThanTheTypeWidensIt)
{
    AggregationCategory c(AggregationCategory::kValue, 4);
    c.SetCatValue("ABCDEFGHIJ");
    EXPECT_EQ(c.GetValueType(), 10);
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "ABCDEFGHIJ      ", 16), 0);
    c.SetCatValue("XY");  // shorter text keeps the width, blank-padded
    EXPECT_EQ(c.GetValueType(), 10);
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "XY              ", 16), 0);
}

TEST(AggregationCategory, ValueTypeBufferNeverShrinks)
{
    AggregationCategory c(AggregationCategory::kValue, 20);
    c.SetValueType(4);
    EXPECT_EQ(c.GetValueType(), 4);
    std::vector<OBS> v = Str("ABCD", 4);
    c.SetCatValue(v[0]);
    c.SetValueType(20);  // back to the wider type without reallocating
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "ABCD", 4), 0);
}

TEST(AggregationCategory, CopyLeavesOutComputedFieldsAndLabelDefault)
{
    AggregationCategory pc(AggregationCategory::kPCompute);
    pc.SetPCateName("diff");
    pc.SetPCFormat({TableEncryptionCodes::kCount});
    pc.SetPCDisplayFormat({TableEncryptionCodes::kDisplayCount});
    VESK_Format format;
    pc.SetPCDecimal({&format});
    pc.SetCatLabel("Difference", true);
    pc.SetCatEncoding(7);
    pc.SetVarIndex(4);
    pc.SetEmpty(true);
    pc.SetUseLabelForVar();

    AggregationCategory copy(pc);
    EXPECT_EQ(copy.GetCatType(), AggregationCategory::kPCompute);
    EXPECT_EQ(copy.GetCatLabel(), "Difference");
    EXPECT_EQ(copy.GetCatEncoding(), 7);
    EXPECT_EQ(copy.GetVarIndex(), 4);
    EXPECT_TRUE(copy.IsEmpty());
    EXPECT_TRUE(copy.GetUseLabelForVar());
    EXPECT_EQ(copy.GetPCateName(), "");
    EXPECT_TRUE(copy.GetPCFormat().empty());
    EXPECT_TRUE(copy.GetPCDisplayFormat().empty());
    EXPECT_TRUE(copy.GetPCDecimal().empty());
    EXPECT_FALSE(copy.GetIsLabelDefault());

    AggregationCategory assigned;
    assigned.SetCatLabel("x", true);
    assigned.SetPCateName("keep");
    assigned = pc;
    EXPECT_EQ(assigned.GetCatLabel(), "Difference");
    EXPECT_EQ(assigned.GetPCateName(), "keep");  // assignment leaves the target's own computed fields
    EXPECT_TRUE(assigned.GetIsLabelDefault());
}

TEST(AggregationCategory, AssignmentGrowsForAWiderSource)
{
    AggregationCategory wide(AggregationCategory::kValue, 20);
    wide.SetCatValue("ABCDEFGHIJKLMNOPQRST");
    AggregationCategory narrow(AggregationCategory::kValue, 0);
    narrow = wide;
    EXPECT_EQ(narrow.GetValueType(), 20);
    EXPECT_TRUE(narrow == wide);
    narrow = narrow;
    EXPECT_EQ(std::memcmp(narrow.GetCatValue().str, "ABCDEFGHIJKLMNOPQRST    ", 24), 0);
}

TEST(AggregationCategory, EqualityByType)
{
    AggregationCategory t1(AggregationCategory::kTotal), t2(AggregationCategory::kTotal);
    t1.SetCatLabel("Total", true);
    t2.SetCatLabel("All", false);
    EXPECT_TRUE(t1 == t2);
    EXPECT_TRUE(AggregationCategory() == AggregationCategory());

    AggregationCategory v1(AggregationCategory::kValue, 1), v2(AggregationCategory::kValue, 16);
    v1.SetCatValue("A");
    v2.SetCatValue("A");
    EXPECT_TRUE(v1 == v2);
    v2.SetCatValue("B");
    EXPECT_FALSE(v1 == v2);

    AggregationCategory s1(AggregationCategory::kSubtotal), s2(AggregationCategory::kSubtotal);
    s1.SetCatEncoding(-101);
    s2.SetCatEncoding(-101);
    s2.SetCatLabel("other label", false);
    EXPECT_TRUE(s1 == s2);
    s2.SetCatEncoding(-102);
    EXPECT_FALSE(s1 == s2);
    AggregationCategory h1(AggregationCategory::kHSubtotal);
    h1.SetCatEncoding(-101);
    EXPECT_FALSE(s1 == h1);  // different types

    AggregationCategory m1(AggregationCategory::kVariable), m2(AggregationCategory::kVariable);
    m1.SetVarIndex(3);
    m2.SetVarIndex(3);
    EXPECT_TRUE(m1 == m2);
    m2.SetVarIndex(4);
    EXPECT_FALSE(m1 == m2);

    AggregationCategory p1(AggregationCategory::kPCompute), p2(AggregationCategory::kPCompute);
    p1.SetCatLabel("a", false);
    p2.SetCatLabel("a", true);
    p1.SetPCateName("x");
    p2.SetPCateName("y");
    EXPECT_TRUE(p1 == p2);  // computed categories are known by their label
    p2.SetCatLabel("b", true);
    EXPECT_FALSE(p1 == p2);
}

TEST(AggregationCategoryDeathTest, MisuseIsFatal)
{
    AggregationCategory c(AggregationCategory::kValue, 8);
    EXPECT_DEATH(c.SetValueType(-1), kvtest::AssertRegex("valueType >= 0"));
    EXPECT_DEATH(c.SetCatValue(1.0), kvtest::AssertRegex("_valType == 0"));
    std::vector<OBS> v = Str("ABCDEFGHIJ", 10);
    EXPECT_DEATH(c.SetCatValue(v[0], 10), kvtest::AssertRegex("_catValue && valueType <= (int) _valType"));
}
