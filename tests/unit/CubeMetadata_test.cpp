// Cube metadata: the keys a case's cells make, the enumeration of every
// combination, the inner row and column, and the dimensions each percentage
// base holds fixed (tests/data/categories/percent-bases.tsv).
#include <gtest/gtest.h>

#include <deque>
#include <functional>

#include "CategoryTestSupport.h"
#include "CubeMetadata.h"
#include "TestSupport.h"

using namespace TableEncryptionCodes;

namespace {

std::vector<int> Entries(const CellKey& k)
{
    std::vector<int> v;
    for (int i = 0; i < static_cast<int>(k.length()); ++i) v.push_back(k[i]);
    return v;
}

// A cube of scripted dimensions laid out by letters: R row, C column, L layer,
// E the extra dimension.
struct Cube {
    std::deque<kvtest::ScriptedDimension> dims;
    CubeMetadata meta;
    explicit Cube(const std::string& layout, int option = 0)
    {
        for (char p : layout) {
            dims.emplace_back();
            meta.AddDimension(&dims.back(), p == 'R' ? kRow : p == 'C' ? kColumn : p == 'L' ? kLayer : kExtraDimension);
        }
        meta.SetClabelOption(static_cast<CLabelOption>(option));
    }
    void Set(const std::vector<std::vector<int>>& cells, size_t invalid = 99)
    {
        for (size_t k = 0; k < cells.size(); ++k) dims[k].Set(cells[k], k != invalid);
    }
    int Index(const TableDimension* d) const
    {
        for (size_t k = 0; k < dims.size(); ++k)
            if (&dims[k] == d) return static_cast<int>(k);
        return -1;
    }
};

}  // namespace

TEST(CubeMetadata, EnumeratesEveryCombinationOnceDimensionZeroFastest)
{
    Cube r("R"), rc("RC"), rcl("RCL");
    struct Case {
        Cube& cube;
        std::vector<std::vector<int>> cells, keys;
    } cases[] = {
        {r, {{1, -100}}, {{1}, {-100}}},
        {rc, {{3}, {2, -100}}, {{3, 2}, {3, -100}}},
        {rc, {{1, -100}, {4, 5, -100}}, {{1, 4}, {-100, 4}, {1, 5}, {-100, 5}, {1, -100}, {-100, -100}}},
        {rcl, {{1, 2}, {3}, {4, 5}}, {{1, 3, 4}, {2, 3, 4}, {1, 3, 5}, {2, 3, 5}}},
        // The next case starts afresh.
        {rc, {{2}, {6}}, {{2, 6}}},
        {rcl, {{7}, {8, 9}, {1}}, {{7, 8, 1}, {7, 9, 1}}},
    };
    for (Case& c : cases) {
        c.cube.Set(c.cells);
        CellKey key(c.cube.meta.NumberOfDimensions());
        bool noCategory, allValid, hasTotal;
        EXPECT_TRUE(c.cube.meta.MakeCVarCellKey(key, noCategory, allValid, hasTotal));
        std::vector<std::vector<int>> keys{Entries(key)};
        while (c.cube.meta.NewCellKey(key)) keys.push_back(Entries(key));
        EXPECT_EQ(keys, c.keys) << &c - cases;
    }
    CubeMetadata empty;
    CellKey none;
    bool noCategory, allValid, hasTotal;
    EXPECT_TRUE(empty.MakeCVarCellKey(none, noCategory, allValid, hasTotal));
    EXPECT_FALSE(empty.NewCellKey(none));
}

TEST(CubeMetadata, FirstKeysFlagNoCategoryUnlistedTotalsAndValidity)
{
    // A row, a column and a layer; the key starts as 99s, so an element left
    // alone shows. Only the column's cell varies.
    struct Case {
        int cell;
        bool columnValid, stored, noCategory, hasTotal, allValid;
        std::vector<int> key;
        bool pct, scale;
    } cases[] = {
        // No category stops at once: the layer's element is not written.
        {0, true, false, true, false, true, {1, 0, 99}, true, false},
        // -99: not stored, but the key is filled and noCategory stays false.
        {-99, true, false, false, false, true, {1, -99, 7}, false, false},
        {-100, false, true, false, true, false, {1, -100, 7}, true, false},
        {-101, true, true, false, false, true, {1, -101, 7}, true, false},
        {2, true, true, false, false, true, {1, 2, 7}, true, true},
    };
    Cube cube("RCL");
    for (const Case& c : cases) {
        cube.Set({{1}, {c.cell}, {7}}, c.columnValid ? 99 : 1);
        CellKey key(3);
        for (int k = 0; k < 3; ++k) key[k] = 99;
        bool noCategory = true, allValid = false, hasTotal = true;
        EXPECT_EQ(cube.meta.MakeCVarCellKey(key, noCategory, allValid, hasTotal), c.stored) << c.cell;
        EXPECT_EQ(noCategory, c.noCategory) << c.cell;
        EXPECT_EQ(hasTotal, c.hasTotal) << c.cell;
        EXPECT_EQ(allValid, c.allValid) << c.cell;
        EXPECT_EQ(Entries(key), c.key) << c.cell;
        EXPECT_EQ(cube.meta.MakeCVarPctKey(key), c.pct) << c.cell;
        EXPECT_EQ(cube.meta.MakeScaleCellKey(key), c.scale) << c.cell;
    }
    cube.Set({{-99}, {0}, {7}});
    CellKey key(3);
    key[1] = 99;
    EXPECT_FALSE(cube.meta.MakeCVarPctKey(key));
    EXPECT_EQ(key[1], 99);  // stopped at the first dimension
}

TEST(CubeMetadata, InnerRowAndColumn)
{
    struct Case {
        const char* layout;
        int row, column;  // -1: none
    } cases[] = {{"RR", 1, -1}, {"RCCL", 0, 2}, {"C", -1, 0},   {"", -1, -1},
                 {"RL", 0, -1}, {"RCCE", 0, 2}, {"LL", -1, -1}};
    for (const Case& c : cases) {
        Cube cube(c.layout);
        EXPECT_EQ(cube.Index(cube.meta.GetInnerRow()), c.row) << c.layout;
        EXPECT_EQ(cube.Index(cube.meta.GetInnerColumn()), c.column) << c.layout;
    }
}

TEST(CubeMetadata, PercentBases)
{
    const auto rows = kvtest::ReadTable(KV_SOURCE_DIR "/tests/data/categories/percent-bases.tsv");
    ASSERT_GE(rows.size(), 30u);
    for (const auto& r : rows) {
        Cube cube(r[0], std::stoi(r[1]));
        std::vector<int> dims{42}, want;
        for (const std::string& w : kvtest::Words(r[3])) want.push_back(std::stoi(w));
        cube.meta.GetPercentBase(dims, std::stoi(r[2]));
        EXPECT_EQ(dims, want) << r[0] << " option " << r[1] << " type " << r[2];
    }
}

TEST(CubeMetadata, BaseMetadataKeepsPositionsAndOption)
{
    Cube cube("RRCCL", 2);
    std::vector<int> dims = {0, 2, 4};
    CubeMetadata base = cube.meta.GetBaseMetadata(dims, 7);
    ASSERT_EQ(base.NumberOfDimensions(), 3);
    EXPECT_EQ(base.GetDimension(1), &cube.dims[2]);
    EXPECT_EQ(base.GetDimPosition(1), kColumn);
    EXPECT_EQ(base.GetDimPosition(2), kLayer);
    std::vector<int> pct;
    base.GetPercentBase(pct, 0);  // option 2 came along: the single column is kept
    EXPECT_EQ(pct, (std::vector<int>{0, 1, 2}));
}

TEST(CubeMetadataDeathTest, Assertions)
{
    Cube column("C"), labels("RC", 2);
    kvtest::ScriptedDimension row;
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { column.meta.AddDimension(&row, kRow); }, "lastPosition <= dimPosition"},
        {[&] { column.meta.GetDimPosition(1); }, "nDims > iDim"},
        {[&] { labels.meta.GetInnerRow(); }, "_cLabelOption == TableEncryptionCodes::kDefault"},
        {[&] { labels.meta.GetInnerColumn(); }, "_cLabelOption == TableEncryptionCodes::kDefault"},
    };
    for (const auto& c : cases) EXPECT_DEATH(c.first(), "\"" + kvtest::AssertRegex(c.second) + "\"") << c.second;
}
