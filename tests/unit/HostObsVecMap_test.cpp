// ObsVecMap: key equality, growth, Sort order, Clear, and no allocation on the
// lookup of a present key.
#include <gtest/gtest.h>

#include <atomic>
#include <cfloat>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "ObsVecMap.h"

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

std::vector<OBS> Str(const std::string& text, int width)
{
    std::vector<OBS> words(static_cast<size_t>(ObsWords(width)));
    std::memset(words.data(), ' ', words.size() * 8);
    std::memcpy(words.data(), text.data(), std::min<size_t>(text.size(), words.size() * 8));
    return words;
}

TEST(HostObsVecMap, NumericZeroAndNegativeZeroAreOneKey)
{
    ObsVecMap map(ObsKeySpec{0, 1}, 2);
    OBS zero = Num(0.0), negZero = Num(-0.0);
    double* v = map.Insert(&negZero);
    v[0] = 5;
    EXPECT_EQ(map.Insert(&zero), v);
    EXPECT_EQ(map.Contains(&zero), v);
    EXPECT_EQ(map.Size(), 1);
    EXPECT_FALSE(std::signbit(map.Key(0)->num));  // stored as 0.0
    OBS tiny = Num(DBL_MIN);
    EXPECT_EQ(map.Contains(&tiny), nullptr);
    OBS sysmis = Num(-DBL_MAX);
    double* s = map.Insert(&sysmis);
    EXPECT_EQ(s[0], 0.0);  // zero-filled
    EXPECT_EQ(s[1], 0.0);
    EXPECT_EQ(map.Size(), 2);
}

TEST(HostObsVecMap, WideStringsDifferingOnlyInTheirLastWord)
{
    const int width = 20;  // three words
    ObsVecMap map(ObsKeySpec{width, ObsWords(width)}, 1);
    auto a = Str("aaaaaaaaaaaaaaaaaaaX", width), b = Str("aaaaaaaaaaaaaaaaaaaY", width);
    auto trailing = Str("aaaaaaaaaaaaaaaaaaa", width);  // same text, blank where X was
    map.Insert(a.data())[0] = 1;
    map.Insert(b.data())[0] = 2;
    map.Insert(trailing.data())[0] = 3;
    EXPECT_EQ(map.Size(), 3);
    EXPECT_EQ(map.Contains(a.data())[0], 1);
    EXPECT_EQ(map.Contains(b.data())[0], 2);
    EXPECT_EQ(map.Contains(trailing.data())[0], 3);
    EXPECT_EQ(map.Contains(Str("aaaaaaaaaaaaaaaaaaaZ", width).data()), nullptr);
    // A key copied elsewhere is found by content, not address.
    std::vector<OBS> copy(a);
    EXPECT_EQ(map.Contains(copy.data())[0], 1);
}

TEST(HostObsVecMap, GrowthKeepsEveryKeyAndItsValues)
{
    ObsVecMap map(ObsKeySpec{0, 1}, 3);
    std::mt19937 rng(7);
    std::vector<double> keys;
    for (int i = 0; i < 20000; ++i) keys.push_back(static_cast<double>(rng() % 1000000) / 8.0 - 5000);
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
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
        EXPECT_EQ(v[0], k);
        EXPECT_EQ(v[1], 0.0);
        EXPECT_EQ(v[2], -k);
    }
    OBS absent = Num(0.01);
    EXPECT_EQ(map.Contains(&absent), nullptr);
}

TEST(HostObsVecMap, SortFollowsObsLexCompareAndInsertionOrderReturnsAfterInsert)
{
    ObsVecMap nums(ObsKeySpec{0, 1}, 1);
    for (double x : {10.0, -3.0, 2.0, -DBL_MAX, 0.5}) {
        OBS o = Num(x);
        nums.Insert(&o)[0] = x * 2;
    }
    nums.Sort();
    std::vector<double> order, values;
    for (int i = 0; i < nums.Size(); ++i) {
        order.push_back(nums.Key(i)->num);
        values.push_back(nums.Value(i)[0]);
    }
    EXPECT_EQ(order, (std::vector<double>{-DBL_MAX, -3.0, 0.5, 2.0, 10.0}));  // numeric, not textual
    EXPECT_EQ(values, (std::vector<double>{-2 * DBL_MAX, -6.0, 1.0, 4.0, 20.0}));
    OBS one = Num(1.0);
    nums.Insert(&one);
    EXPECT_EQ(nums.Key(0)->num, 10.0);  // insertion order again
    EXPECT_EQ(nums.Key(5)->num, 1.0);

    // Strings: unsigned bytes over the width, blanks significant.
    const int width = 9;
    ObsVecMap strs(ObsKeySpec{width, ObsWords(width)}, 1);
    for (const char* s : {"b", "\xC3\xA9t\xC3\xA9", "B", "a ", "a!", "abcdefghi", "abcdefghZ"})
        strs.Insert(Str(s, width).data());
    strs.Sort();
    std::vector<std::string> texts;
    for (int i = 0; i < strs.Size(); ++i) {
        std::string t(strs.Key(i)->str, width);
        t.erase(t.find_last_not_of(' ') + 1);
        texts.push_back(t);
    }
    // "a" padded (blank 0x20) < "a!" (0x21) < "abcdefghZ" < "abcdefghi"; upper
    // case before lower case; the UTF-8 lead byte 0xC3 last.
    EXPECT_EQ(texts, (std::vector<std::string>{"B", "a", "a!", "abcdefghZ", "abcdefghi", "b", "\xC3\xA9t\xC3\xA9"}));
}

TEST(HostObsVecMap, ClearEmptiesAndTheMapIsReusable)
{
    ObsVecMap map(ObsKeySpec{0, 1}, 1);
    for (int i = 0; i < 100; ++i) {
        OBS o = Num(i);
        map.Insert(&o)[0] = 7;
    }
    map.Sort();
    map.Clear();
    EXPECT_EQ(map.Size(), 0);
    OBS five = Num(5);
    EXPECT_EQ(map.Contains(&five), nullptr);
    double* v = map.Insert(&five);
    EXPECT_EQ(v[0], 0.0);  // not the old value
    EXPECT_EQ(map.Size(), 1);
    EXPECT_EQ(map.Key(0)->num, 5.0);  // no stale sorted order
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
    long before = allocations.load();
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

}  // namespace
