// The dataset over columns held elsewhere: borrowed numbers read in place at
// their stride with NaN as system-missing, owned numbers and strings, unread
// variables, and the iterator's walk, weight and rewind.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "ColumnDataset.h"

namespace {

const double kNaN = std::nan("");

std::string Text(const OBS* value, int width)
{
    return std::string(value->str, static_cast<size_t>(ObsWords(width)) * sizeof(OBS));
}

struct Frame {
    // Three rows of a row-major block of two doubles per row: column 1 is read at a 16-byte stride.
    std::vector<double> block{0.0, 1.5, 0.0, kNaN, 0.0, -2.0};
    ColumnDataset ds{3};
    int borrowed, owned, text, unreadNumber, unreadText;

    Frame()
    {
        borrowed = ds.AddBorrowedNumeric(std::make_unique<VESK_Variable>("x", 0), &block[1], 2 * sizeof(double));
        owned = ds.AddNumeric(std::make_unique<VESK_Variable>("n", 0), {7.0, kNaN, -DBL_MAX});
        text = ds.AddString(std::make_unique<VESK_Variable>("s", 10));
        unreadNumber = ds.AddVariable(std::make_unique<VESK_Variable>("u", 0));
        unreadText = ds.AddVariable(std::make_unique<VESK_Variable>("t", 3));
        EXPECT_TRUE(ds.SetString(text, 0, "ab"));
        EXPECT_TRUE(ds.SetString(text, 2, "0123456789   "));  // trailing blanks are padding
    }
};

TEST(ColumnDataset, ReadsEveryKindOfColumnRowByRow)
{
    Frame f;
    const std::vector<std::vector<double>> numbers = {{1.5, 7.0}, {-DBL_MAX, -DBL_MAX}, {-2.0, -DBL_MAX}};
    const char* const texts[] = {"ab              ", "                ", "0123456789      "};
    ASSERT_EQ(f.ds.GetNumCases(), 3u);
    for (size_t row = 0; row < 3; ++row) {
        SCOPED_TRACE(row);
        EXPECT_EQ(f.ds.GetValue(row, f.borrowed)->num, numbers[row][0]);
        EXPECT_EQ(f.ds.GetValue(row, f.owned)->num, numbers[row][1]);
        EXPECT_EQ(Text(f.ds.GetValue(row, f.text), 10), texts[row]);
        EXPECT_EQ(f.ds.GetValue(row, f.unreadNumber)->num, -DBL_MAX);
        EXPECT_EQ(Text(f.ds.GetValue(row, f.unreadText), 3), "        ");
    }
    // Borrowed means read in place: a change in the owner's memory shows.
    f.block[3] = 4.0;
    EXPECT_EQ(f.ds.GetValue(1, f.borrowed)->num, 4.0);
    EXPECT_EQ(f.ds.GetValue(0, f.borrowed), reinterpret_cast<const OBS*>(&f.block[1]));
}

TEST(ColumnDataset, RefusesWhatDoesNotFit)
{
    Frame f;
    EXPECT_FALSE(f.ds.SetString(f.text, 1, "0123456789x"));
    EXPECT_EQ(Text(f.ds.GetValue(1, f.text), 10), std::string(16, ' '));  // nothing written
    EXPECT_THROW(f.ds.SetString(f.unreadText, 0, "a"), std::invalid_argument);
    EXPECT_THROW(f.ds.SetString(f.text, 3, "a"), std::invalid_argument);
    EXPECT_THROW(f.ds.AddNumeric(std::make_unique<VESK_Variable>("short", 0), {1.0}), std::invalid_argument);
    EXPECT_THROW(f.ds.AddBorrowedNumeric(std::make_unique<VESK_Variable>("str", 2), f.block.data(), 8),
                 std::invalid_argument);
}

TEST(ColumnIterator, WalksEveryCaseOnceAndAgainAfterRewind)
{
    Frame f;
    ColumnIterator it(f.ds, f.borrowed);
    for (int pass = 0; pass < 2; ++pass) {
        // No case is current before the first and after the last: empty values.
        EXPECT_EQ(it.GetValue(f.borrowed)->num, -DBL_MAX);
        EXPECT_EQ(Text(it.GetValue(f.text), 10), std::string(16, ' '));
        std::vector<double> weights;
        while (it.Next()) weights.push_back(it.Weight());
        EXPECT_EQ(weights, (std::vector<double>{1.5, -DBL_MAX, -2.0}));
        EXPECT_FALSE(it.Next());
        EXPECT_EQ(it.GetValue(f.owned)->num, -DBL_MAX);
        EXPECT_TRUE(it.Rewind());
    }
    ColumnDataset empty(0);
    empty.AddBorrowedNumeric(std::make_unique<VESK_Variable>("x", 0), nullptr, 8);
    ColumnIterator none(empty);
    EXPECT_FALSE(none.Next());
    EXPECT_EQ(none.GetValue(0)->num, -DBL_MAX);
}

}  // namespace
