// The platform's value rules: missing values, string padding and comparison,
// collation, fixed-width copies, value labels and the output channel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "BP_Character.h"
#include "CaseValue.h"
#include "InMemoryDataset.h"
#include "OBS.h"
#include "TestSupport.h"
#include "VESK_Variable.h"

namespace {

OBS Num(double x)
{
    OBS o;
    o.num = x;
    return o;
}

// A blank-padded string value of `width` bytes in whole words.
std::vector<OBS> Str(const std::string& text, int width)
{
    std::vector<OBS> words(static_cast<size_t>(ObsWords(width)));
    std::memset(words.data(), ' ', words.size() * 8);
    std::memcpy(words.data(), text.data(), std::min<size_t>(text.size(), words.size() * 8));
    return words;
}

TEST(HostMissing, DiscreteNumericValuesAndSystemMissing)
{
    VESK_Variable v("q1", 0);
    OBS sysmis = Num(-DBL_MAX);
    EXPECT_NE(v.IsMissing(&sysmis), 0);  // always, without any definition
    v.SetMissingValues({-1.0, 0.0, 99.0});
    for (double x : {-1.0, 0.0, -0.0, 99.0}) {
        OBS o = Num(x);
        EXPECT_NE(v.IsMissing(&o), 0) << x;
    }
    for (double x : {1.0, 98.999, -DBL_MAX / 2, DBL_MAX}) {
        OBS o = Num(x);
        EXPECT_EQ(v.IsMissing(&o), 0) << x;
    }
    EXPECT_THROW(v.SetMissingValues({1, 2, 3, 4}), std::invalid_argument);
}

TEST(HostMissing, RangeIsInclusiveAndTakesOneDiscreteValueBeside)
{
    VESK_Variable v("income", 0);
    v.SetMissingRange(97, 99);
    v.SetMissingValues({-1});
    for (double x : {97.0, 98.5, 99.0, -1.0, -DBL_MAX}) {
        OBS o = Num(x);
        EXPECT_NE(v.IsMissing(&o), 0) << x;
    }
    for (double x : {96.999, 99.001, 0.0}) {
        OBS o = Num(x);
        EXPECT_EQ(v.IsMissing(&o), 0) << x;
    }
    EXPECT_THROW(v.SetMissingValues({-1, -2}), std::invalid_argument);  // two beside a range
    VESK_Variable w("w", 0);
    w.SetMissingValues({1, 2});
    EXPECT_THROW(w.SetMissingRange(5, 6), std::invalid_argument);  // range after two discrete
    EXPECT_THROW(w.SetMissingRange(6, 5), std::invalid_argument);
    w.ClearMissing();
    OBS one = Num(1);
    EXPECT_EQ(w.IsMissing(&one), 0);
}

TEST(HostMissing, StringsAreDiscreteAndCompareOverTheWholePaddedWidth)
{
    VESK_Variable v("city", 12);
    v.SetMissingStrings({"XX", "n/a         ", ""});  // trailing blanks beyond the width are padding
    EXPECT_NE(v.IsMissing(Str("XX", 12).data()), 0);
    EXPECT_NE(v.IsMissing(Str("n/a", 12).data()), 0);
    EXPECT_NE(v.IsMissing(Str("", 12).data()), 0);     // all blanks
    EXPECT_EQ(v.IsMissing(Str("XXX", 12).data()), 0);  // a prefix is not equal
    EXPECT_EQ(v.IsMissing(Str(" XX", 12).data()), 0);  // leading blanks count
    // A difference in the second word (byte 10) must be seen.
    v.SetMissingStrings({"abcdefghijkl"});
    EXPECT_NE(v.IsMissing(Str("abcdefghijkl", 12).data()), 0);
    EXPECT_EQ(v.IsMissing(Str("abcdefghijXl", 12).data()), 0);
    EXPECT_THROW(v.SetMissingStrings({"abcdefghijklm"}), std::invalid_argument);
    EXPECT_THROW(v.SetMissingStrings({"a", "b", "c", "d"}), std::invalid_argument);
    EXPECT_THROW(v.SetMissingRange(1, 2), std::invalid_argument);
    EXPECT_THROW(v.SetMissingValues({1}), std::invalid_argument);
    // A string that happens to hold the bytes of -DBL_MAX is not system-missing.
    VESK_Variable s8("s8", 8);
    OBS bits = Num(-DBL_MAX);
    EXPECT_EQ(s8.IsMissing(&bits), 0);
}

TEST(HostMissing, CaseValueAppliesTheVariablesDefinitionToTheCurrentCase)
{
    InMemoryDataset ds;
    int a = ds.AddNumeric("a");
    ds.GetVariable(a)->SetMissingValues({9});
    ds.SetNumeric(ds.AppendCase(), a, 9);
    ds.SetNumeric(ds.AppendCase(), a, 1);
    ds.AppendCase();  // left system-missing
    DatasetIterator it(ds);
    CaseValue cv(it, a);
    std::vector<bool> missing;
    while (it.Next()) missing.push_back(cv.IsMissing());
    EXPECT_EQ(missing, (std::vector<bool>{true, false, true}));
}

TEST(HostObsCompare, NumbersStringsAndPadding)
{
    OBS a = Num(-2), b = Num(1), z = Num(0.0), nz = Num(-0.0), nan = Num(std::nan(""));
    EXPECT_LT(ObsLexCompare(a, b, 0), 0);
    EXPECT_GT(ObsLexCompare(b, a, 0), 0);
    EXPECT_EQ(ObsLexCompare(z, nz, 0), 0);
    EXPECT_GT(ObsLexCompare(nan, b, 0), 0);  // NaN after every number, DBL_MAX included
    EXPECT_GT(ObsLexCompare(nan, Num(DBL_MAX), 0), 0);
    EXPECT_LT(ObsLexCompare(Num(-DBL_MAX), a, 0), 0);
    EXPECT_EQ(ObsLexCompare(nan, nan, 0), 0);

    // Bytes compare unsigned: a UTF-8 lead byte sorts after ASCII.
    auto x = Str("\xC3\xA9", 8), y = Str("z", 8);
    EXPECT_GT(ObsLexCompare(x[0], y[0], 8), 0);
    // Widths over 8 bytes: the difference sits in the second word.
    auto p = Str("abcdefghij", 10), q = Str("abcdefghik", 10);
    EXPECT_LT(ObsLexCompare(p[0], q[0], 10), 0);
    // Padding is significant: "ab" padded with blanks sorts before "ab!" ('!' is
    // 0x21 > blank 0x20) but after "ab\x1F".
    auto ab = Str("ab", 3);
    EXPECT_LT(ObsLexCompare(ab[0], Str("ab!", 3)[0], 3), 0);
    EXPECT_GT(ObsLexCompare(ab[0], Str("ab\x1F", 3)[0], 3), 0);
    // Only `width` bytes count.
    EXPECT_EQ(ObsLexCompare(Str("abX", 2)[0], Str("abY", 2)[0], 2), 0);
}

TEST(HostCollation, CaseInsensitiveAccentsBesideTheirLetterAndTotal)
{
    std::vector<std::string> labels = {"cherry", "Banana", "apple", "Éclair", "eclair", "zebra", "Apple", "écrin",
                                       "Ω", "α", "Б", "а", "", "a", "\xC3", "\x03"};
    std::sort(labels.begin(), labels.end(),
              [](const std::string& l, const std::string& r) { return VESKMBstrcoll_A(l.c_str(), r.c_str()) < 0; });
    // Hand order: primary key folds case and Latin-1 accents ("Éclair" and
    // "eclair" tie, "écrin" follows both since 'l' < 'r'); ties broken by code
    // point ('A' < 'a', 'E' < 'e' < 'É'). Greek alpha (U+03B1) < omega (U+03C9
    // folded) < Cyrillic a (U+0430) < be (U+0431 folded). "\x03" and the lone
    // "\xC3" decode alike and are told apart by their bytes.
    std::vector<std::string> expected = {"", "\x03", "\xC3", "a", "Apple", "apple", "Banana", "cherry", "eclair",
                                         "Éclair", "écrin", "zebra", "α", "Ω", "а", "Б"};
    EXPECT_EQ(labels, expected);
    EXPECT_EQ(VESKMBstrcoll_A("abc", "abc"), 0);
    EXPECT_LT(VESKMBstrcoll_A("ab", "abc"), 0);  // a prefix first
    EXPECT_EQ(VESKMBstrcoll_A(nullptr, ""), 0);
    EXPECT_LT(VESKMBstrcoll_A("A", "a"), 0);
    EXPECT_GT(VESKMBstrcoll_A("a", "A"), 0);
}

TEST(HostCopyToFixed, NeverSplitsACharacterAndPadsWithBlanks)
{
    char buf[16];
    auto copy = [&](int width, const char* src) {
        std::memset(buf, '#', sizeof buf);
        int n = VESKMBCopyToFixed_A(buf, width, src);
        return std::make_pair(n, std::string(buf, static_cast<size_t>(std::max(width, 0)) + 1));
    };
    // "hé" is h (1 byte) + é (2 bytes).
    EXPECT_EQ(copy(2, "h\xC3\xA9"), std::make_pair(1, std::string("h #")));
    EXPECT_EQ(copy(3, "h\xC3\xA9"), std::make_pair(3, std::string("h\xC3\xA9#")));
    EXPECT_EQ(copy(5, "h\xC3\xA9"), std::make_pair(3, std::string("h\xC3\xA9  #")));
    // A 4-byte character (U+1F600) either fits whole or is left out.
    EXPECT_EQ(copy(4, "a\xF0\x9F\x98\x80"), std::make_pair(1, std::string("a   #")));
    EXPECT_EQ(copy(5, "a\xF0\x9F\x98\x80"), std::make_pair(5, std::string("a\xF0\x9F\x98\x80#")));
    // A lead byte without its continuation bytes is one malformed byte, and
    // the ASCII after it is not swallowed into it.
    EXPECT_EQ(copy(2, "\xE2" "ab"), std::make_pair(2, std::string("\xE2" "a#")));
    EXPECT_EQ(copy(3, "\xE2\x82"), std::make_pair(2, std::string("\xE2\x82 #")));
    EXPECT_EQ(copy(0, "abc"), std::make_pair(0, std::string("#")));
    EXPECT_EQ(copy(3, nullptr), std::make_pair(0, std::string("   #")));
}

TEST(HostValueLabels, LookupOfPaddedValuesAndAscendingOrder)
{
    VESK_Variable city("city", 12);
    auto& labels = city.GetValueLabels();
    labels.Add("MAN", "Manchester");
    labels.Add("LDN         ", "London");  // padding beyond the width is fine
    labels.Add("abcdefghijkl", "Twelve");
    labels.Add("LDN", "London, UK");  // replaces
    EXPECT_THROW(labels.Add("abcdefghijklm", "too wide"), std::invalid_argument);
    EXPECT_THROW(labels.Add(1.0, "number"), std::invalid_argument);
    VESK_ValueLabelMap map(labels);
    EXPECT_STREQ(map.GetLabel(Str("LDN", 12).data()), "London, UK");
    EXPECT_STREQ(map.GetLabel(Str("abcdefghijkl", 12).data()), "Twelve");
    EXPECT_EQ(map.GetLabel(Str("abcdefghijkX", 12).data()), nullptr);
    EXPECT_EQ(map.GetLabel(Str("LD", 12).data()), nullptr);
    // Ascending byte order: "LDN" < "MAN" < "abc..." (upper case first).
    std::vector<std::string> order;
    const OBS* value;
    const char* label;
    map.Reset();
    while (map.GetNextPair(value, label)) order.push_back(label);
    EXPECT_EQ(order, (std::vector<std::string>{"London, UK", "Manchester", "Twelve"}));

    VESK_Variable region("region", 0);
    region.GetValueLabels().Add(10.0, "ten");
    region.GetValueLabels().Add(-0.0, "zero");
    region.GetValueLabels().Add(2.0, "two");
    VESK_ValueLabelMap rmap(region.GetValueLabels());
    OBS zero = Num(0.0);
    EXPECT_STREQ(rmap.GetLabel(&zero), "zero");
    std::vector<double> values;
    rmap.Reset();
    while (rmap.GetNextPair(value, label)) values.push_back(value->num);
    EXPECT_EQ(values, (std::vector<double>{0.0, 2.0, 10.0}));  // numeric, not textual ("10" < "2")
}

TEST(HostDataset, StringsAreBlankPaddedInWholeWords)
{
    InMemoryDataset ds;
    int s = ds.AddString("s", 10);
    int row = ds.AppendCase();
    const OBS* v = ds.GetValue(row, s);
    EXPECT_EQ(std::string(v->str, 16), std::string(16, ' '));  // a fresh case is blank
    ds.SetString(row, s, "abcdefghi ");
    EXPECT_EQ(std::string(v->str, 16), "abcdefghi       ");
    ds.SetString(row, s, "ab        ");  // longer text overwritten, not merged
    EXPECT_EQ(std::string(v->str, 16), "ab              ");
    ds.SetString(row, s, "abcdefghij   ");  // trailing blanks past the width are padding
    EXPECT_THROW(ds.SetString(row, s, "abcdefghijk"), std::invalid_argument);
    EXPECT_EQ(ds.GetValue(row, ds.AddNumeric("n"))->num, -DBL_MAX);
}

TEST(HostOutput, SinkCapturesAndRestoresStandardError)
{
    {
        kvtest::OutputCapture capture;
        BP_ToFront(2, "hello ");
        BP_ToFront(3, BP_Character(std::string("world")));
        EXPECT_EQ(capture.Text(), "hello world");
        ASSERT_EQ(capture.Writes().size(), 2u);
        EXPECT_EQ(capture.Writes()[1].first, 3);
    }
    testing::internal::CaptureStderr();
    BP_ToFront(1, "to stderr");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to stderr");
}

}  // namespace
