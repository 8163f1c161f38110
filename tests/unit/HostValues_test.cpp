// The platform's value rules: missing values, string padding and comparison,
// collation, fixed-width copies, value labels, the value map of the per-case
// path (key equality, growth, order, no allocation for a present key) and the
// output channel.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "BP_Character.h"
#include "CaseValue.h"
#include "InMemoryDataset.h"
#include "ObsVecMap.h"
#include "TestSupport.h"

// Counts every allocation of this test program. The replacements pair
// malloc with free; the compiler cannot see that through inlined containers.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
static std::atomic<long> allocations{0};
void* operator new(std::size_t n)
{
    ++allocations;
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    ++allocations;
    return std::malloc(n ? n : 1);
}
void* operator new[](std::size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

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

std::string Trimmed(const OBS* value, int width)
{
    std::string t(value->str, static_cast<size_t>(width));
    return t.erase(t.find_last_not_of(' ') + 1);
}

TEST(HostMissing, NumericDiscreteValuesAndRanges)
{
    VESK_Variable v("q1", 0);
    auto missing = [&v](double x) {
        OBS o = Num(x);
        return v.IsMissing(&o) != 0;
    };
    EXPECT_TRUE(missing(-DBL_MAX));  // always, without any definition
    v.SetMissingValues({-1.0, 0.0, 99.0});
    for (double x : {-1.0, 0.0, -0.0, 99.0}) EXPECT_TRUE(missing(x)) << x;
    for (double x : {1.0, 98.999, -DBL_MAX / 2, DBL_MAX}) EXPECT_FALSE(missing(x)) << x;
    EXPECT_THROW(v.SetMissingValues({1, 2, 3, 4}), std::invalid_argument);
    EXPECT_THROW(v.SetMissingRange(5, 6), std::invalid_argument);  // a range beside more than one value
    v.SetMissingValues({-1});
    v.SetMissingRange(97, 99);  // inclusive
    for (double x : {97.0, 98.5, 99.0, -1.0, -DBL_MAX}) EXPECT_TRUE(missing(x)) << x;
    for (double x : {96.999, 99.001, 0.0}) EXPECT_FALSE(missing(x)) << x;
    EXPECT_THROW(v.SetMissingValues({-1, -2}), std::invalid_argument);
    EXPECT_THROW(v.SetMissingRange(6, 5), std::invalid_argument);
    v.ClearMissing();
    EXPECT_FALSE(missing(98));
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
    EXPECT_EQ(v.IsMissing(Str("abcdefghijXl", 12).data()), 0);
    EXPECT_THROW(v.SetMissingStrings({"abcdefghijklm"}), std::invalid_argument);
    EXPECT_THROW(v.SetMissingStrings({"a", "b", "c", "d"}), std::invalid_argument);
    EXPECT_THROW(v.SetMissingRange(1, 2), std::invalid_argument);
    EXPECT_THROW(v.SetMissingValues({1}), std::invalid_argument);
    // A string that happens to hold the bytes of -DBL_MAX is not system-missing.
    OBS bits = Num(-DBL_MAX);
    EXPECT_EQ(VESK_Variable("s8", 8).IsMissing(&bits), 0);
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
    OBS a = Num(-2), b = Num(1), nan = Num(std::nan(""));
    EXPECT_LT(ObsLexCompare(a, b, 0), 0);
    EXPECT_GT(ObsLexCompare(b, a, 0), 0);
    EXPECT_EQ(ObsLexCompare(Num(0.0), Num(-0.0), 0), 0);
    EXPECT_GT(ObsLexCompare(nan, Num(DBL_MAX), 0), 0);  // NaN after every number
    EXPECT_LT(ObsLexCompare(Num(-DBL_MAX), a, 0), 0);
    EXPECT_EQ(ObsLexCompare(nan, nan, 0), 0);
    // Bytes compare unsigned: a UTF-8 lead byte sorts after ASCII.
    EXPECT_GT(ObsLexCompare(Str("\xC3\xA9", 8)[0], Str("z", 8)[0], 8), 0);
    // Widths over 8 bytes: the difference sits in the second word.
    EXPECT_LT(ObsLexCompare(Str("abcdefghij", 10)[0], Str("abcdefghik", 10)[0], 10), 0);
    // Padding is significant: "ab" padded with blanks sorts before "ab!" ('!' is
    // 0x21 > blank 0x20) but after "ab\x1F".
    EXPECT_LT(ObsLexCompare(Str("ab", 3)[0], Str("ab!", 3)[0], 3), 0);
    EXPECT_GT(ObsLexCompare(Str("ab", 3)[0], Str("ab\x1F", 3)[0], 3), 0);
    EXPECT_EQ(ObsLexCompare(Str("abX", 2)[0], Str("abY", 2)[0], 2), 0);  // only `width` bytes count
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
    const std::vector<std::string> expected = {"", "\x03", "\xC3", "a", "Apple", "apple", "Banana", "cherry",
                                               "eclair", "Éclair", "écrin", "zebra", "α", "Ω", "а", "Б"};
    EXPECT_EQ(labels, expected);
    EXPECT_EQ(VESKMBstrcoll_A("abc", "abc"), 0);
    EXPECT_LT(VESKMBstrcoll_A("ab", "abc"), 0);  // a prefix first
    EXPECT_EQ(VESKMBstrcoll_A(nullptr, ""), 0);
    EXPECT_GT(VESKMBstrcoll_A("a", "A"), 0);
}

TEST(HostCopyToFixed, NeverSplitsACharacterAndPadsWithBlanks)
{
    auto copy = [](int width, const char* src) {
        char buf[16];
        std::memset(buf, '#', sizeof buf);
        int n = VESKMBCopyToFixed_A(buf, width, src);
        return std::make_pair(n, std::string(buf, static_cast<size_t>(std::max(width, 0)) + 1));
    };
    // "hé" is h (1 byte) + é (2 bytes); U+1F600 takes 4 bytes, whole or not at
    // all; a lead byte without its continuation bytes is one malformed byte,
    // and the ASCII after it is not swallowed into it.
    EXPECT_EQ(copy(2, "h\xC3\xA9"), std::make_pair(1, std::string("h #")));
    EXPECT_EQ(copy(3, "h\xC3\xA9"), std::make_pair(3, std::string("h\xC3\xA9#")));
    EXPECT_EQ(copy(5, "h\xC3\xA9"), std::make_pair(3, std::string("h\xC3\xA9  #")));
    EXPECT_EQ(copy(4, "a\xF0\x9F\x98\x80"), std::make_pair(1, std::string("a   #")));
    EXPECT_EQ(copy(5, "a\xF0\x9F\x98\x80"), std::make_pair(5, std::string("a\xF0\x9F\x98\x80#")));
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
    EXPECT_EQ(map.GetLabel(Str("abcdefghijkX", 12).data()), nullptr);
    EXPECT_EQ(map.GetLabel(Str("LD", 12).data()), nullptr);
    auto walk = [](VESK_ValueLabelMap& m, auto take) {
        const OBS* value;
        const char* label;
        m.Reset();
        while (m.GetNextPair(value, label)) take(value, label);
    };
    std::vector<std::string> order;  // ascending bytes: upper case first
    walk(map, [&](const OBS*, const char* label) { order.push_back(label); });
    EXPECT_EQ(order, (std::vector<std::string>{"London, UK", "Manchester", "Twelve"}));

    VESK_Variable region("region", 0);
    for (auto [value, label] : {std::pair{10.0, "ten"}, {-0.0, "zero"}, {2.0, "two"}})
        region.GetValueLabels().Add(value, label);
    VESK_ValueLabelMap rmap(region.GetValueLabels());
    OBS zero = Num(0.0);
    EXPECT_STREQ(rmap.GetLabel(&zero), "zero");
    std::vector<double> values;
    walk(rmap, [&](const OBS* value, const char*) { values.push_back(value->num); });
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

TEST(HostObsVecMap, NumericZeroAndNegativeZeroAreOneKey)
{
    ObsVecMap map(ObsKeySpec{0, 1}, 2);
    OBS zero = Num(0.0), negZero = Num(-0.0), tiny = Num(DBL_MIN), sysmis = Num(-DBL_MAX);
    double* v = map.Insert(&negZero);
    v[0] = 5;
    EXPECT_EQ(map.Insert(&zero), v);
    EXPECT_EQ(map.Contains(&zero), v);
    EXPECT_FALSE(std::signbit(map.Key(0)->num));  // stored as 0.0
    EXPECT_EQ(map.Contains(&tiny), nullptr);
    double* s = map.Insert(&sysmis);
    EXPECT_EQ(s[0] + s[1], 0.0);  // zero-filled
    EXPECT_EQ(map.Size(), 2);
}

TEST(HostObsVecMap, WideStringsDifferingOnlyInTheirLastWord)
{
    const int width = 20;  // three words
    ObsVecMap map(ObsKeySpec{width, ObsWords(width)}, 1);
    const std::vector<std::string> keys = {"aaaaaaaaaaaaaaaaaaaX", "aaaaaaaaaaaaaaaaaaaY", "aaaaaaaaaaaaaaaaaaa"};
    for (size_t i = 0; i < keys.size(); ++i) map.Insert(Str(keys[i], width).data())[0] = static_cast<double>(i);
    EXPECT_EQ(map.Size(), 3);
    for (size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(map.Contains(Str(keys[i], width).data())[0], i);  // by content
    EXPECT_EQ(map.Contains(Str("aaaaaaaaaaaaaaaaaaaZ", width).data()), nullptr);
}

TEST(HostObsVecMap, GrowthKeepsEveryKeyAndSortFollowsObsLexCompare)
{
    ObsVecMap map(ObsKeySpec{0, 1}, 3);
    std::mt19937 rng(7);
    std::vector<double> keys;
    for (int i = 0; i < 20000; ++i) keys.push_back(static_cast<double>(rng() % 1000000) / 8.0 - 5000);
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    std::vector<double> sorted = keys;
    std::shuffle(keys.begin(), keys.end(), rng);
    for (double k : keys) {
        OBS o = Num(k);
        double* v = map.Insert(&o);
        v[0] = k;
        v[2] = -k;
    }
    ASSERT_EQ(map.Size(), static_cast<int>(keys.size()));
    for (double k : keys) {
        OBS o = Num(k);
        const double* v = map.Contains(&o);
        ASSERT_NE(v, nullptr) << k;
        EXPECT_EQ(v[0] - v[1] + v[2], 0.0) << k;
    }
    map.Sort();
    for (int i = 0; i < map.Size(); ++i) {
        ASSERT_EQ(map.Key(i)->num, sorted[static_cast<size_t>(i)]);  // numeric, not textual
        ASSERT_EQ(map.Value(i)[0], sorted[static_cast<size_t>(i)]);  // the values move with their keys
    }
    OBS one = Num(0.01);
    map.Insert(&one);
    EXPECT_EQ(map.Key(0)->num, keys[0]);  // insertion order again
    map.Clear();
    EXPECT_EQ(map.Contains(&one), nullptr);
    EXPECT_EQ(map.Insert(&one)[0], 0.0);  // not the old value
    EXPECT_EQ(map.Key(0)->num, 0.01);     // no stale sorted order

    // Strings: unsigned bytes over the width, blanks significant.
    const int width = 9;
    ObsVecMap strs(ObsKeySpec{width, ObsWords(width)}, 1);
    for (const char* s : {"b", "\xC3\xA9t\xC3\xA9", "B", "a ", "a!", "abcdefghi", "abcdefghZ"})
        strs.Insert(Str(s, width).data());
    strs.Sort();
    std::vector<std::string> texts;
    for (int i = 0; i < strs.Size(); ++i) texts.push_back(Trimmed(strs.Key(i), width));
    // "a" padded (blank 0x20) < "a!" (0x21) < "abcdefghZ" < "abcdefghi"; upper
    // case before lower case; the UTF-8 lead byte 0xC3 last.
    EXPECT_EQ(texts, (std::vector<std::string>{"B", "a", "a!", "abcdefghZ", "abcdefghi", "b", "\xC3\xA9t\xC3\xA9"}));
}

TEST(HostObsVecMap, LookupOfAPresentKeyDoesNotAllocate)
{
    ObsVecMap nums(ObsKeySpec{0, 1}, 4);
    ObsVecMap strs(ObsKeySpec{40, 5}, 4);
    std::vector<std::vector<OBS>> strKeys;
    for (int i = 0; i < 1000; ++i) {
        OBS o = Num(i * 0.25);
        nums.Insert(&o);
        strKeys.push_back(Str("key number " + std::to_string(i), 40));
        strs.Insert(strKeys.back().data());
    }
    const long before = allocations.load();
    double sum = 0;
    for (int i = 0; i < 1000; ++i) {
        OBS o = Num(i * 0.25);
        sum += nums.Contains(&o)[0] + nums.Insert(&o)[1];
        sum += strs.Contains(strKeys[static_cast<size_t>(i)].data())[0];
        sum += strs.Insert(strKeys[static_cast<size_t>(i)].data())[0];
    }
    EXPECT_EQ(allocations.load(), before);
    EXPECT_EQ(sum, 0.0);
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
