// Items of a category list: membership, ordering of the categories they
// collect, equality and the debug print.
#include <gtest/gtest.h>

#include <cstring>

#include "CategoryTestDimension.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::Num;
using kvtest::Str;

namespace {

AggregationCategory* NumCat(double value)
{
    AggregationCategory* c = new AggregationCategory(AggregationCategory::kValue, 0);
    c->SetCatValue(value);
    return c;
}

}  // namespace

TEST(ParsedCategoryContains, RangesIncludeBothEnds)
{
    ParsedCategory range(Num(2.0), Num(5.0), 0);
    EXPECT_EQ(range.GetCatType(), ParsedCategory::kRange);
    for (double v : {2.0, 3.5, 5.0}) EXPECT_TRUE(range.Contains(Num(v), 0, false)) << v;
    for (double v : {1.999, 5.001}) EXPECT_FALSE(range.Contains(Num(v), 0, false)) << v;
    EXPECT_TRUE(range.Contains(Num(5.0), false));
    EXPECT_FALSE(range.Contains(Num(6.0), false));

    ParsedCategory lo(Num(3.0), 0, ParsedCategory::kLoRange);
    EXPECT_TRUE(lo.Contains(Num(3.0), 0, false));
    EXPECT_TRUE(lo.Contains(Num(-1e9), 0, false));
    EXPECT_FALSE(lo.Contains(Num(3.5), 0, false));
    ParsedCategory hi(Num(3.0), 0, ParsedCategory::kHiRange);
    EXPECT_TRUE(hi.Contains(Num(3.0), 0, false));
    EXPECT_TRUE(hi.Contains(Num(1e9), false));
    EXPECT_FALSE(hi.Contains(Num(2.5), 0, false));
}

TEST(ParsedCategoryContains, MissingOtherAndValueFreeItems)
{
    ParsedCategory missing(ParsedCategory::kMissing), other(ParsedCategory::kOtherNM), all(ParsedCategory::kLoHiRange);
    ParsedCategory subtotal("Sub", false, -101, true);
    for (double v : {-5.0, 0.0, 99.0}) {
        EXPECT_TRUE(missing.Contains(Num(v), 0, true));
        EXPECT_FALSE(missing.Contains(Num(v), 0, false));
        EXPECT_TRUE(other.Contains(Num(v), 0, false));
        EXPECT_FALSE(other.Contains(Num(v), 0, true));
        EXPECT_TRUE(all.Contains(Num(v), 0, true));
        EXPECT_FALSE(subtotal.Contains(Num(v), 0, false));
        EXPECT_FALSE(subtotal.Contains(Num(v), false));
    }
    std::vector<OBS> s = Str("A", 8);
    EXPECT_TRUE(missing.Contains(s[0], true));
    EXPECT_TRUE(other.Contains(s[0], false));
}

TEST(ParsedCategoryContains, StringsOfOtherWidthsAndNumbers)
{
    std::vector<OBS> b = Str("B", 1), d = Str("D", 1);
    ParsedCategory range(b[0], d[0], 1);
    std::vector<OBS> c12 = Str("C", 12), e3 = Str("E", 3), b3 = Str("B", 3);
    EXPECT_TRUE(range.Contains(c12[0], 12, false));
    EXPECT_TRUE(range.Contains(b3[0], 3, false));  // "B  " equals "B"
    EXPECT_FALSE(range.Contains(e3[0], 3, false));
    EXPECT_FALSE(range.Contains(Num(1.0), 0, false));  // a number is below every string

    std::vector<OBS> ab = Str("AB", 4);
    ParsedCategory value(ab[0], 4);
    std::vector<OBS> ab16 = Str("AB", 16), abc = Str("ABC", 4);
    EXPECT_TRUE(value.Contains(ab16[0], 16, false));
    EXPECT_FALSE(value.Contains(abc[0], 4, false));
    EXPECT_TRUE(value.Contains(ab[0], false));
    EXPECT_FALSE(value.Contains(abc[0], false));

    // A string LO range against a number: every number is below.
    ParsedCategory lo(b[0], 1, ParsedCategory::kLoRange);
    EXPECT_TRUE(lo.Contains(Num(1e300), 0, false));
}

TEST(ParsedCategory, SettersFillTheValueBuffers)
{
    ParsedCategory item(ParsedCategory::kRange);
    item.SetValueType(0);
    item.SetCatValue(1.0);
    item.SetRangeTopValue(Num(4.0));
    EXPECT_TRUE(item.Contains(Num(4.0), 0, false));
    EXPECT_FALSE(item.Contains(Num(4.5), 0, false));

    ParsedCategory text(ParsedCategory::kValue);
    text.SetValueType(8);
    text.SetCatValue("XY");
    EXPECT_EQ(std::memcmp(text.GetCatValue()->str, "XY      ", 8), 0);
    std::vector<OBS> z = Str("Z", 1);
    text.SetCatValue(z[0], 1);  // narrower value, blank-padded
    EXPECT_EQ(std::memcmp(text.GetCatValue()->str, "Z       ", 8), 0);
}

TEST(ParsedCategory, AddCategoryKeepsAscendingValuesAndArrivalOrderOfTies)
{
    ParsedCategory item(ParsedCategory::kLoHiRange);
    AggregationCategory* c3 = NumCat(3);
    AggregationCategory* c1 = NumCat(1);
    AggregationCategory* c2a = NumCat(2);
    AggregationCategory* c2b = NumCat(2);
    EXPECT_EQ(item.AddCategory(c3), 1);
    EXPECT_EQ(item.GetValueType(), 0);  // taken from the first category
    EXPECT_EQ(item.AddCategory(c1), 2);
    EXPECT_EQ(item.AddCategory(c2a), 3);
    EXPECT_EQ(item.AddCategory(c2b), 4);
    // Hand-ordered: 1, 2 (first), 2 (second), 3.
    std::vector<AggregationCategory*> expected{c1, c2a, c2b, c3};
    EXPECT_EQ(item.GetCategories(), expected);
    item.ClearCategories();
    EXPECT_FALSE(item.HasCategories());
    for (AggregationCategory* c : expected) delete c;
}

TEST(ParsedCategory, CopyDuplicatesValuesAndSharesCategories)
{
    ParsedCategory item(Num(2.0), Num(5.0), 0);
    AggregationCategory* c = NumCat(3);
    item.AddCategory(c);
    ParsedCategory copy(item);
    item.SetCatValue(4.0);
    EXPECT_TRUE(copy.Contains(Num(2.0), 0, false));
    EXPECT_FALSE(item.Contains(Num(2.0), 0, false));
    ASSERT_EQ(copy.GetCategories().size(), 1u);
    EXPECT_EQ(copy.GetCategories()[0], c);

    ParsedCategory assigned(ParsedCategory::kMissing);
    assigned = item;
    EXPECT_EQ(assigned.GetCatType(), ParsedCategory::kRange);
    EXPECT_TRUE(assigned.Contains(Num(4.0), 0, false));
    EXPECT_TRUE(assigned == item);
    delete c;
}

TEST(ParsedCategory, EqualityByType)
{
    std::vector<OBS> a1 = Str("A", 1), a9 = Str("A", 9), ab = Str("AB", 2);
    EXPECT_TRUE(ParsedCategory(a1[0], 1) == ParsedCategory(a9[0], 9));
    EXPECT_FALSE(ParsedCategory(a1[0], 1) == ParsedCategory(ab[0], 2));
    EXPECT_FALSE(ParsedCategory(Num(0.0), 0) == ParsedCategory(a1[0], 1));
    EXPECT_TRUE(ParsedCategory(Num(1.0), 0) == ParsedCategory(Num(1.0), 0));
    EXPECT_FALSE(ParsedCategory(Num(1.0), 0) == ParsedCategory(Num(1.0), 0, ParsedCategory::kLoRange));
    EXPECT_TRUE(ParsedCategory(Num(1.0), Num(2.0), 0) == ParsedCategory(Num(1.0), Num(2.0), 0));
    EXPECT_FALSE(ParsedCategory(Num(1.0), Num(2.0), 0) == ParsedCategory(Num(1.0), Num(3.0), 0));
    EXPECT_TRUE(ParsedCategory(ParsedCategory::kOtherNM) == ParsedCategory(ParsedCategory::kOtherNM));

    EXPECT_TRUE(ParsedCategory("S", true, -101, true) == ParsedCategory("S", true, -101, true));
    EXPECT_FALSE(ParsedCategory("S", true, -101, true) == ParsedCategory("S", false, -101, true));
    EXPECT_FALSE(ParsedCategory("S", true, -101, true) == ParsedCategory("T", true, -101, true));
    EXPECT_FALSE(ParsedCategory("S", true, -101, true) == ParsedCategory("S", true, -102, true));
    EXPECT_FALSE(ParsedCategory("S", true, -101, true) == ParsedCategory("S", true, -101, false));

    ParsedCategory v1(ParsedCategory::kVariable), v2(ParsedCategory::kVariable);
    v1.SetVarIndex(2);
    v2.SetVarIndex(2);
    EXPECT_TRUE(v1 == v2);
    v2.SetVarIndex(3);
    EXPECT_TRUE(v1 != v2);

    ParsedCategory p1("x", {"one"}, false, {}, {}, {}, ParsedCategory::kPCompute, -1);
    ParsedCategory p2("x", {"two"}, true, {}, {}, {}, ParsedCategory::kPCompute, 5);
    EXPECT_TRUE(p1 == p2);
}

TEST(ParsedCategoryDisplay, PrintsHeaderTypeAndEncoding)
{
    kvtest::OutputCapture out;
    ParsedCategory(Num(2.5), 0).Display(1);
    std::vector<OBS> b = Str("B", 3), d = Str("DD", 3);
    ParsedCategory(b[0], d[0], 3).Display(2);
    ParsedCategory("Sub", false, -103, true).Display(3);
    ParsedCategory(Num(7.0), 0, ParsedCategory::kLoRange).Display(4);
    ParsedCategory(Num(1e6), 0, ParsedCategory::kHiRange).Display(5);
    ParsedCategory(ParsedCategory::kOtherNM).Display(6);
    EXPECT_EQ(out.Text(),
              "\nParsed Category 1: Type: kValue, value: 2.5, Subtotal encoding = 0\n"
              "\nParsed Category 2: Type: kRange, range: [ B  , DD  ], Subtotal encoding = 0\n"
              "\nParsed Category 3: Type: kSubtotal, label = Sub, default=0, Subtotal encoding = -103\n"
              "\nParsed Category 4: Type: kLoRange, range: [ LO, 7 ], Subtotal encoding = 0\n"
              "\nParsed Category 5: Type: kHiRange, range: [ 1e+06, HI ], Subtotal encoding = 0\n"
              "\nParsed Category 6: Type: kOtherNM, Subtotal encoding = 0\n");
    // Three writes per item.
    EXPECT_EQ(out.Writes().size(), 18u);
}

TEST(ParsedCategoryDisplay, ComputedItemRepeatsTheHeader)
{
    kvtest::OutputCapture out;
    ParsedCategory("c", {}, false, {}, {}, {}, ParsedCategory::kPCompute, -1).Display(12);
    ASSERT_EQ(out.Writes().size(), 3u);
    EXPECT_EQ(out.Writes()[0].second, "\nParsed Category 12: ");
    EXPECT_EQ(out.Writes()[1].second, "\nParsed Category 12: ");
    EXPECT_EQ(out.Writes()[2].second, "Subtotal encoding = 0\n");
}

TEST(ParsedCategoryDisplay, OtherTypes)
{
    kvtest::OutputCapture out;
    ParsedCategory v(ParsedCategory::kVariable);
    v.SetVarIndex(4);
    v.Display(0);
    ParsedCategory("H", true, -101, false).Display(1);
    ParsedCategory(ParsedCategory::kMissing).Display(2);
    ParsedCategory(ParsedCategory::kLoHiRange).Display(3);
    std::vector<OBS> s = Str("abc", 3);
    ParsedCategory(s[0], 3).Display(4);
    EXPECT_EQ(out.Text(),
              "\nParsed Category 0: Type: kVariable, variable index = 4, Subtotal encoding = 0\n"
              "\nParsed Category 1: Type: kHSubtotal, label = H, default=1, Subtotal encoding = -101\n"
              "\nParsed Category 2: Type: kMissing, Subtotal encoding = 0\n"
              "\nParsed Category 3: Type: kLoHiRange, Subtotal encoding = 0\n"
              "\nParsed Category 4: Type: kValue, value: abc, Subtotal encoding = 0\n");
}

TEST(ParsedCategoryDeathTest, ValueSettersCheckTheirBuffers)
{
    std::vector<OBS> s = Str("ABCDEFGHI", 9);
    ParsedCategory text(s[0], 8);
    EXPECT_DEATH(text.SetCatValue(1.0), kvtest::AssertRegex("_valType == 0"));
    EXPECT_DEATH(text.SetCatValue(s[0], 9), kvtest::AssertRegex("_catValue && valueType <= _valType"));
    EXPECT_DEATH(text.SetRangeTopValue(s[0]), kvtest::AssertRegex("_rangeTopValue"));
    EXPECT_DEATH(text.SetRangeTopValue(s[0], 1), kvtest::AssertRegex("_rangeTopValue && valueType <= _valType"));
    ParsedCategory none(ParsedCategory::kMissing);
    EXPECT_DEATH(none.SetCatValue(s[0], 0), kvtest::AssertRegex("_catValue && valueType <= _valType"));
}
