// The values of the category model: comparisons of numbers and blank-padded
// strings, categories and their storage, copy and equality, and the items of
// a category list with their membership tests.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

#include "CategoryTestSupport.h"
#include "TestSupport.h"
#include "kvaggr.h"

using kvtest::Num;
using kvtest::Str;

namespace {

// A value from text: a number when `width` is 0, else a blank-padded string.
std::vector<OBS> Val(const char* text, int width)
{
    return width == 0 ? std::vector<OBS>{Num(std::stod(text))} : Str(text, width);
}

int Sign(int x) { return (x > 0) - (x < 0); }

AggregationCategory* NumCat(double value)
{
    AggregationCategory* c = new AggregationCategory(AggregationCategory::kValue, 0);
    c->SetCatValue(value);
    return c;
}

}  // namespace

TEST(AggregationCategoryCompare, NumbersBeforeStringsAndTrailingBlanksInsignificant)
{
    struct Case {
        const char* a;
        int aType;
        const char* b;
        int bType;
        int sign;
    } cases[] = {
        {"5", 0, "A", 1, -1},        {"A", 1, "5", 0, 1},      {"1e300", 0, "", 8, -1},  // any number first
        {"2", 0, "10", 0, -1},       {"2", 0, "-3.5", 0, 1},   {"2", 0, "2", 0, 0},     {"0", 0, "-0", 0, 0},
        {"AB", 2, "AB", 4, 0},       {"AB", 4, "AB", 2, 0},    {"AB", 2, "ABC", 3, -1}, {"ABC", 3, "AB", 2, 1},
        {"AB", 2, "AB", 16, 0},      {"AB", 2, "AB       X", 16, -1},  // across word boundaries
        {"A", 1, "A", 16, 0},        {"A", 16, "A", 1, 0},     {"A", 12, "A", 16, 0},  // 12 and 16: two words each
        {"A", 1, "A              B", 16, -1}, {"B", 1, "A              B", 16, 1},
    };
    for (const Case& c : cases) {
        std::vector<OBS> a = Val(c.a, c.aType), b = Val(c.b, c.bType);
        SCOPED_TRACE(std::string(c.a) + "/" + std::to_string(c.aType) + " vs " + c.b + "/" + std::to_string(c.bType));
        EXPECT_EQ(Sign(AggregationCategory::OBSCompare(a[0], c.aType, b[0], c.bType)), c.sign);
        EXPECT_EQ(AggregationCategory::OBSCompareEqual(a[0], c.aType, b[0], c.bType), c.sign == 0);
    }
}

TEST(AggregationCategory, EncodingFromADoubleRoundsHalfAwayFromZero)
{
    AggregationCategory c(AggregationCategory::kValue);
    for (auto io : std::vector<std::pair<double, int>>{{2.5, 3}, {-2.5, -3}, {2.49, 2}, {-2.49, -2}, {-101.0, -101}}) {
        c.SetCatEncoding(io.first);
        EXPECT_EQ(c.GetCatEncoding(), io.second) << io.first;
    }
}

TEST(AggregationCategory, ValuesAreStoredBlankPaddedAndNegativeZeroAsZero)
{
    AggregationCategory num(AggregationCategory::kValue, 0);
    OBS minusZero = Num(-0.0);
    for (const std::function<void()>& set : std::vector<std::function<void()>>{
             [&] { num.SetCatValue(-0.0); }, [&] { num.SetCatValue(minusZero); },
             [&] { num.SetCatValue(minusZero, 0); }}) {
        set();
        EXPECT_FALSE(std::signbit(num.GetCatValue().num));
    }
    // Width 12 occupies two words; copying 3 bytes blanks the remaining 13.
    AggregationCategory c(AggregationCategory::kValue, 12);
    c.SetCatValue(Str("XYZQQQQQ", 8)[0], 3);
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "XYZ             ", 16), 0);
    c.SetCatValue(Str("ABCDEFGHIJKL", 12)[0]);  // the category's own width
    EXPECT_EQ(std::memcmp(c.GetCatValue().str, "ABCDEFGHIJKL    ", 16), 0);
    // Text longer than the type widens it; shorter text keeps the width.
    AggregationCategory t(AggregationCategory::kValue, 4);
    t.SetCatValue("ABCDEFGHIJ");
    EXPECT_EQ(t.GetValueType(), 10);
    t.SetCatValue("XY");
    EXPECT_EQ(t.GetValueType(), 10);
    EXPECT_EQ(std::memcmp(t.GetCatValue().str, "XY              ", 16), 0);
    // The buffer never shrinks: back to the wider type, the value is still there.
    AggregationCategory w(AggregationCategory::kValue, 20);
    w.SetValueType(4);
    w.SetCatValue(Str("ABCD", 4)[0]);
    w.SetValueType(20);
    EXPECT_EQ(std::memcmp(w.GetCatValue().str, "ABCD", 4), 0);
    EXPECT_EQ(std::memcmp(AggregationCategory::Blanks()->str, "        ", 8), 0);
}

TEST(AggregationCategory, CopyLeavesOutComputedFieldsAndLabelDefault)
{
    AggregationCategory pc(AggregationCategory::kPCompute);
    pc.SetPCateName("diff");
    pc.SetPCFormat({TableEncryptionCodes::kCount});
    pc.SetCatLabel("Difference", true);
    pc.SetCatEncoding(7);
    pc.SetVarIndex(4);
    pc.SetEmpty(true);
    pc.SetUseLabelForVar();
    AggregationCategory copy(pc);
    EXPECT_EQ(kvtest::Show({&copy}), "P:Difference");
    EXPECT_EQ(copy.GetCatEncoding(), 7);
    EXPECT_EQ(copy.GetVarIndex(), 4);
    EXPECT_TRUE(copy.IsEmpty());
    EXPECT_TRUE(copy.GetUseLabelForVar());
    EXPECT_EQ(copy.GetPCateName(), "");
    EXPECT_TRUE(copy.GetPCFormat().empty());
    EXPECT_FALSE(copy.GetIsLabelDefault());

    AggregationCategory assigned;
    assigned.SetCatLabel("x", true);
    assigned.SetPCateName("keep");
    assigned = pc;
    EXPECT_EQ(assigned.GetCatLabel(), "Difference");
    EXPECT_EQ(assigned.GetPCateName(), "keep");  // the target's own computed fields stay
    EXPECT_TRUE(assigned.GetIsLabelDefault());

    // Assignment grows the buffer for a wider source; self-assignment keeps it.
    AggregationCategory wide(AggregationCategory::kValue, 20), narrow(AggregationCategory::kValue, 0);
    wide.SetCatValue("ABCDEFGHIJKLMNOPQRST");
    narrow = wide;
    narrow = narrow;
    EXPECT_EQ(narrow.GetValueType(), 20);
    EXPECT_EQ(std::memcmp(narrow.GetCatValue().str, "ABCDEFGHIJKLMNOPQRST    ", 24), 0);
}

TEST(AggregationCategory, EqualityByType)
{
    // Per type: totals always equal, values by value, subtotals by encoding,
    // members by variable, computed categories by label.
    auto make = [](AggregationCategory::CategoryType type, const char* value, int encoding, int var,
                   const char* label) {
        std::unique_ptr<AggregationCategory> c(new AggregationCategory(type, value ? 16 : 0));
        if (value) c->SetCatValue(value);
        c->SetCatEncoding(encoding);
        c->SetVarIndex(var);
        c->SetCatLabel(label, false);
        return c;
    };
    using C = AggregationCategory;
    struct Case {
        std::unique_ptr<C> a, b;
        bool equal;
    } cases[] = {
        {make(C::kTotal, nullptr, 0, 0, "Total"), make(C::kTotal, nullptr, 1, 2, "All"), true},
        {make(C::kDummy, nullptr, 0, 0, ""), make(C::kDummy, nullptr, 3, 0, "x"), true},
        {make(C::kValue, "A", 1, 0, "a"), make(C::kValue, "A", 2, 1, "b"), true},
        {make(C::kValue, "A", 1, 0, "a"), make(C::kValue, "B", 1, 0, "a"), false},
        {make(C::kSubtotal, nullptr, -101, 0, "a"), make(C::kSubtotal, nullptr, -101, 1, "b"), true},
        {make(C::kSubtotal, nullptr, -101, 0, "a"), make(C::kSubtotal, nullptr, -102, 0, "a"), false},
        {make(C::kSubtotal, nullptr, -101, 0, "a"), make(C::kHSubtotal, nullptr, -101, 0, "a"), false},
        {make(C::kVariable, nullptr, 1, 3, "a"), make(C::kVariable, nullptr, 2, 3, "b"), true},
        {make(C::kVariable, nullptr, 1, 3, "a"), make(C::kVariable, nullptr, 1, 4, "a"), false},
        {make(C::kPCompute, nullptr, 1, 3, "a"), make(C::kPCompute, nullptr, 2, 4, "a"), true},
        {make(C::kPCompute, nullptr, 1, 3, "a"), make(C::kPCompute, nullptr, 1, 3, "b"), false},
    };
    for (const Case& c : cases) EXPECT_EQ(*c.a == *c.b, c.equal) << kvtest::Show({c.a.get(), c.b.get()});
    // Values of different widths: "A" and "A" blank-padded to 16 are one value.
    AggregationCategory v1(AggregationCategory::kValue, 1);
    v1.SetCatValue("A");
    EXPECT_TRUE(v1 == *cases[2].a);
}

TEST(ParsedCategory, ContainsByTypeWidthAndMissingness)
{
    std::vector<OBS> b = Str("B", 1), d = Str("D", 1), ab = Str("AB", 4);
    ParsedCategory range(Num(2), Num(5), 0), lo(Num(3), 0, ParsedCategory::kLoRange),
        hi(Num(3), 0, ParsedCategory::kHiRange), missing(ParsedCategory::kMissing), other(ParsedCategory::kOtherNM),
        all(ParsedCategory::kLoHiRange), subtotal("Sub", false, -101, true), strRange(b[0], d[0], 1),
        strValue(ab[0], 4), strLo(b[0], 1, ParsedCategory::kLoRange);
    struct Case {
        const ParsedCategory& item;
        const char* value;
        int width;  // -1: the item's own width (the two-argument test)
        bool missing;
        bool want;
    } cases[] = {
        {range, "2", 0, false, true},      {range, "3.5", 0, false, true}, {range, "5", 0, false, true},
        {range, "1.999", 0, false, false}, {range, "5.001", 0, false, false}, {range, "5", -1, false, true},
        {range, "6", -1, false, false},    {lo, "3", 0, false, true},       {lo, "-1e9", 0, false, true},
        {lo, "3.5", 0, false, false},      {hi, "3", 0, false, true},       {hi, "1e9", -1, false, true},
        {hi, "2.5", 0, false, false},      {missing, "0", 0, true, true},   {missing, "0", 0, false, false},
        {other, "99", 0, false, true},     {other, "99", 0, true, false},   {all, "-5", 0, true, true},
        {subtotal, "1", 0, false, false},  {subtotal, "1", -1, false, false}, {missing, "A", -1, true, true},
        // Strings of other widths compare blank-padded; a number is below every string.
        {strRange, "C", 12, false, true},  {strRange, "B", 3, false, true}, {strRange, "E", 3, false, false},
        {strRange, "1", 0, false, false},  {strValue, "AB", 16, false, true}, {strValue, "ABC", 4, false, false},
        {strValue, "AB", -1, false, true}, {strValue, "ABC", -1, false, false}, {strLo, "1e300", 0, false, true},
    };
    for (const Case& c : cases) {
        std::vector<OBS> v = Val(c.value, c.width < 0 ? (std::isdigit(c.value[0]) ? 0 : 8) : c.width);
        bool got = c.width < 0 ? c.item.Contains(v[0], c.missing) : c.item.Contains(v[0], c.width, c.missing);
        EXPECT_EQ(got, c.want) << &c - cases << ": " << c.value;
    }
}

TEST(ParsedCategory, SettersAddedCategoriesAndCopies)
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
    text.SetCatValue(Str("Z", 1)[0], 1);  // narrower, blank-padded
    EXPECT_EQ(std::memcmp(text.GetCatValue()->str, "Z       ", 8), 0);

    // Categories are kept ascending, ties in arrival order; the first sets the type.
    ParsedCategory any(ParsedCategory::kLoHiRange);
    std::unique_ptr<AggregationCategory> c3(NumCat(3)), c1(NumCat(1)), c2a(NumCat(2)), c2b(NumCat(2));
    for (AggregationCategory* c : {c3.get(), c1.get(), c2a.get()}) any.AddCategory(c);
    EXPECT_EQ(any.AddCategory(c2b.get()), 4);
    EXPECT_EQ(any.GetValueType(), 0);
    EXPECT_EQ(any.GetCategories(), (std::vector<AggregationCategory*>{c1.get(), c2a.get(), c2b.get(), c3.get()}));

    // A copy duplicates the values and shares the categories.
    ParsedCategory copy(any), range(Num(2.0), Num(5.0), 0);
    copy.ClearCategories();
    EXPECT_EQ(any.GetCategories().size(), 4u);
    range.AddCategory(c1.get());
    ParsedCategory rangeCopy(range);
    range.SetCatValue(4.0);
    EXPECT_TRUE(rangeCopy.Contains(Num(2.0), 0, false));
    EXPECT_FALSE(range.Contains(Num(2.0), 0, false));
    EXPECT_EQ(rangeCopy.GetCategories(), std::vector<AggregationCategory*>{c1.get()});
    ParsedCategory assigned(ParsedCategory::kMissing);
    assigned = range;
    EXPECT_TRUE(assigned == range);
    EXPECT_TRUE(assigned.Contains(Num(4.0), 0, false));
}

TEST(ParsedCategory, EqualityByType)
{
    std::vector<OBS> a1 = Str("A", 1), a9 = Str("A", 9), ab = Str("AB", 2);
    ParsedCategory v1(ParsedCategory::kVariable), v2(ParsedCategory::kVariable), v3(ParsedCategory::kVariable);
    v1.SetVarIndex(2);
    v2.SetVarIndex(2);
    v3.SetVarIndex(3);
    using P = ParsedCategory;
    struct Case {
        P a, b;
        bool equal;
    } cases[] = {
        {P(a1[0], 1), P(a9[0], 9), true},
        {P(a1[0], 1), P(ab[0], 2), false},
        {P(Num(0.0), 0), P(a1[0], 1), false},
        {P(Num(1.0), 0), P(Num(1.0), 0, P::kLoRange), false},
        {P(Num(1.0), Num(2.0), 0), P(Num(1.0), Num(2.0), 0), true},
        {P(Num(1.0), Num(2.0), 0), P(Num(1.0), Num(3.0), 0), false},
        {P(P::kOtherNM), P(P::kOtherNM), true},
        {P("S", true, -101, true), P("S", true, -101, true), true},
        {P("S", true, -101, true), P("S", false, -101, true), false},
        {P("S", true, -101, true), P("T", true, -101, true), false},
        {P("S", true, -101, true), P("S", true, -102, true), false},
        {P("S", true, -101, true), P("S", true, -101, false), false},
        {v1, v2, true},
        {v1, v3, false},
        // Computed items are known by their name.
        {P("x", {"one"}, false, {}, {}, {}, P::kPCompute, -1), P("x", {"two"}, true, {}, {}, {}, P::kPCompute, 5),
         true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.a == c.b, c.equal) << &c - cases;
        EXPECT_EQ(c.a != c.b, !c.equal) << &c - cases;
    }
}

TEST(CategoryValuesDeathTest, ValueSettersCheckTheirBuffers)
{
    AggregationCategory c(AggregationCategory::kValue, 8);
    std::vector<OBS> s = Str("ABCDEFGHIJ", 10);
    ParsedCategory text(s[0], 8), none(ParsedCategory::kMissing);
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { c.SetValueType(-1); }, "valueType >= 0"},
        {[&] { c.SetCatValue(1.0); }, "_valType == 0"},
        {[&] { c.SetCatValue(s[0], 10); }, "_catValue && valueType <= (int) _valType"},
        {[&] { text.SetCatValue(1.0); }, "_valType == 0"},
        {[&] { text.SetCatValue(s[0], 9); }, "_catValue && valueType <= _valType"},
        {[&] { text.SetRangeTopValue(s[0]); }, "_rangeTopValue"},
        {[&] { text.SetRangeTopValue(s[0], 1); }, "_rangeTopValue && valueType <= _valType"},
        {[&] { none.SetCatValue(s[0], 0); }, "_catValue && valueType <= _valType"},
    };
    for (const auto& k : cases) EXPECT_DEATH(k.first(), "\"" + kvtest::AssertRegex(k.second) + "\"") << k.second;
}
