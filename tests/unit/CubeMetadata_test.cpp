// Cube metadata: key enumeration over the cells a case produces, and the
// dimensions each percentage base holds fixed under every label option.
#include <gtest/gtest.h>

#include <vector>

#include "AggregationCategory.h"
#include "CubeMetadata.h"
#include "TestSupport.h"

using namespace TableEncryptionCodes;

namespace {

// A dimension whose cells for the current case are set by the test.
class ScriptedDimension : public TableDimension {
public:
    ScriptedDimension() : TableDimension(8, kCVariable) {}
    void Set(std::vector<int> cells, bool valid = true)
    {
        _lastCatCell = -1;
        for (int c : cells) AddCategoryCell(c);
        _caseValid = valid;
    }
    bool EncodeValue() override { return true; }
    const std::vector<AggregationCategory*>& GetCategoryPointers() override { return _categories; }
    std::vector<int> VariableIndex() const override { return {0}; }
    std::vector<KvAggrCaseValueReader*> GetCaseValues() const override { return {}; }
    void SetIterator(VESK_InputCaseIterator&) override {}
    int GetCategoryEncoding(const OBS*) const override { return kNoCategory; }
    int GetNumberOfValues() const override { return 0; }
    void ResetDimension() override {}
};

std::vector<int> Entries(const CellKey& k)
{
    std::vector<int> v;
    for (int i = 0; i < static_cast<int>(k.length()); ++i) v.push_back(k[i]);
    return v;
}

std::vector<std::vector<int>> AllKeys(const CubeMetadata& m, bool* firstStored = nullptr)
{
    CellKey key(m.NumberOfDimensions());
    bool noCategory, allValid, hasTotal;
    bool stored = m.MakeCVarCellKey(key, noCategory, allValid, hasTotal);
    if (firstStored) *firstStored = stored;
    std::vector<std::vector<int>> keys{Entries(key)};
    while (m.NewCellKey(key)) keys.push_back(Entries(key));
    return keys;
}

}  // namespace

TEST(CubeMetadata, EnumeratesEveryCombinationDimensionZeroFastest)
{
    ScriptedDimension row, col;
    row.Set({3});
    col.Set({2, -100});
    CubeMetadata m;
    m.AddDimension(&row, kRow);
    m.AddDimension(&col, kColumn);
    CellKey key(2);
    bool noCategory, allValid, hasTotal;
    ASSERT_TRUE(m.MakeCVarCellKey(key, noCategory, allValid, hasTotal));
    EXPECT_EQ(Entries(key), (std::vector<int>{3, 2}));
    EXPECT_FALSE(hasTotal);
    EXPECT_FALSE(noCategory);
    EXPECT_TRUE(allValid);
    ASSERT_TRUE(m.NewCellKey(key));
    EXPECT_EQ(Entries(key), (std::vector<int>{3, -100}));
    EXPECT_FALSE(m.NewCellKey(key));

    // Two multi-cell dimensions: 2 x 3 keys, each once, row changing fastest.
    row.Set({1, -100});
    col.Set({4, 5, -100});
    std::vector<std::vector<int>> want = {{1, 4}, {-100, 4}, {1, 5}, {-100, 5}, {1, -100}, {-100, -100}};
    EXPECT_EQ(AllKeys(m), want);
    // A second case starts afresh.
    row.Set({2});
    col.Set({6});
    EXPECT_EQ(AllKeys(m), (std::vector<std::vector<int>>{{2, 6}}));
}

TEST(CubeMetadata, FirstKeyFlagsNoCategoryUnlistedTotalAndValidity)
{
    ScriptedDimension a, b, c;
    CubeMetadata m;
    m.AddDimension(&a, kRow);
    m.AddDimension(&b, kColumn);
    m.AddDimension(&c, kLayer);
    CellKey key(3);
    bool noCategory, allValid, hasTotal;

    // A 0 in dimension 1 stops at once: dimension 2's element is not written.
    a.Set({1});
    b.Set({0});
    c.Set({7});
    key[2] = 99;
    EXPECT_FALSE(m.MakeCVarCellKey(key, noCategory, allValid, hasTotal));
    EXPECT_TRUE(noCategory);
    EXPECT_EQ(key[2], 99);

    // -99 anywhere: not stored, but the key is filled and noCategory stays false.
    b.Set({-99});
    EXPECT_FALSE(m.MakeCVarCellKey(key, noCategory, allValid, hasTotal));
    EXPECT_FALSE(noCategory);
    EXPECT_EQ(Entries(key), (std::vector<int>{1, -99, 7}));
    EXPECT_FALSE(m.MakeCVarPctKey(key));
    EXPECT_FALSE(m.MakeScaleCellKey(key));

    // A first cell of -100: stored, hasTotal; a scale key refuses it, a percentage key takes it.
    b.Set({-100}, false);
    EXPECT_TRUE(m.MakeCVarCellKey(key, noCategory, allValid, hasTotal));
    EXPECT_TRUE(hasTotal);
    EXPECT_FALSE(allValid);
    EXPECT_FALSE(m.MakeScaleCellKey(key));
    EXPECT_TRUE(m.MakeCVarPctKey(key));
    b.Set({-101});
    EXPECT_FALSE(m.MakeScaleCellKey(key));
    EXPECT_TRUE(m.MakeCVarPctKey(key));
    b.Set({0});
    EXPECT_TRUE(m.MakeCVarPctKey(key));  // no category is allowed in a percentage key
    b.Set({2});
    EXPECT_TRUE(m.MakeScaleCellKey(key));

    CubeMetadata empty;
    CellKey none;
    EXPECT_TRUE(empty.MakeCVarCellKey(none, noCategory, allValid, hasTotal));
    EXPECT_FALSE(empty.NewCellKey(none));
}

TEST(CubeMetadata, InnerRowAndColumn)
{
    ScriptedDimension r0, r1, c0, c1, l0;
    CubeMetadata rowsOnly;
    rowsOnly.AddDimension(&r0, kRow);
    rowsOnly.AddDimension(&r1, kRow);
    EXPECT_EQ(rowsOnly.GetInnerRow(), &r1);
    EXPECT_EQ(rowsOnly.GetInnerColumn(), nullptr);

    CubeMetadata full;
    full.AddDimension(&r0, kRow);
    full.AddDimension(&c0, kColumn);
    full.AddDimension(&c1, kColumn);
    full.AddDimension(&l0, kLayer);
    EXPECT_EQ(full.GetInnerRow(), &r0);
    EXPECT_EQ(full.GetInnerColumn(), &c1);

    CubeMetadata columnsOnly;
    columnsOnly.AddDimension(&c0, kColumn);
    EXPECT_EQ(columnsOnly.GetInnerRow(), nullptr);
    EXPECT_EQ(columnsOnly.GetInnerColumn(), &c0);
    EXPECT_EQ(CubeMetadata().GetInnerRow(), nullptr);
}

TEST(CubeMetadataDeathTest, Assertions)
{
    ScriptedDimension r, c;
    CubeMetadata m;
    m.AddDimension(&c, kColumn);
    EXPECT_DEATH(m.AddDimension(&r, kRow), kvtest::AssertRegex("lastPosition <= dimPosition"));
    EXPECT_DEATH(m.GetDimPosition(1), kvtest::AssertRegex("nDims > iDim"));
    m.SetClabelOption(kColLabelsOpposite);
    EXPECT_DEATH(m.GetInnerRow(), kvtest::AssertRegex("_cLabelOption == TableEncryptionCodes::kDefault"));
    EXPECT_DEATH(m.GetInnerColumn(), kvtest::AssertRegex("_cLabelOption == TableEncryptionCodes::kDefault"));
}

namespace {

struct BaseCase {
    int option;
    int type;
    std::vector<int> want;
};

}  // namespace

TEST(CubeMetadata, PercentBasesOfTwoRowsTwoColumnsOneLayer)
{
    // Dimensions 0, 1 rows; 2, 3 columns; 4 a layer. Each expectation is
    // stepped through the rules by hand (take/drop/skip/append).
    ScriptedDimension d[5];
    const std::vector<BaseCase> cases = {
        // default: row %, column %, table %, subtable %, layer %, rows+layers, columns+layers
        {0, 0, {0, 1, 2, 4}}, {0, 1, {0, 2, 3, 4}}, {0, 2, {}}, {0, 3, {0, 2, 4}},
        {0, 4, {4}}, {0, 5, {0, 1, 4}}, {0, 6, {2, 3, 4}}, {0, 7, {}},
        // option 1 (row labels opposite)
        {1, 0, {0, 2, 3, 4}}, {1, 1, {1, 2, 3, 4}}, {1, 3, {2, 3, 4}}, {1, 4, {4}},
        {1, 5, {0, 4}}, {1, 6, {1, 2, 3, 4}},
        // option 2 (column labels opposite)
        {2, 0, {0, 1, 3, 4}}, {2, 1, {0, 1, 2, 4}}, {2, 3, {0, 1, 4}}, {2, 5, {0, 1, 3, 4}},
        {2, 6, {2, 4}},
        // option 3 (row labels in the layer)
        {3, 1, {1, 2, 3, 4}}, {3, 3, {1, 2, 4}}, {3, 4, {1, 4}}, {3, 6, {1, 2, 3, 4}},
        // option 4 (column labels in the layer)
        {4, 0, {0, 1, 3, 4}}, {4, 3, {0, 3, 4}}, {4, 4, {3, 4}}, {4, 5, {0, 1, 3, 4}},
    };
    for (const BaseCase& c : cases) {
        CubeMetadata m;
        m.AddDimension(&d[0], kRow);
        m.AddDimension(&d[1], kRow);
        m.AddDimension(&d[2], kColumn);
        m.AddDimension(&d[3], kColumn);
        m.AddDimension(&d[4], kLayer);
        m.SetClabelOption(static_cast<CLabelOption>(c.option));
        std::vector<int> dims{42};
        m.GetPercentBase(dims, c.type);
        EXPECT_EQ(dims, c.want) << "option " << c.option << " type " << c.type;
    }
}

TEST(CubeMetadata, PercentBasesOfSingleRowAndColumn)
{
    // One row (0), one column (1): under options 2 and 4 a single column is
    // never dropped by the row-percentage base.
    ScriptedDimension r, c;
    auto base = [&](int option, int type) {
        CubeMetadata m;
        m.AddDimension(&r, kRow);
        m.AddDimension(&c, kColumn);
        m.SetClabelOption(static_cast<CLabelOption>(option));
        std::vector<int> dims;
        m.GetPercentBase(dims, type);
        return dims;
    };
    EXPECT_EQ(base(0, 0), (std::vector<int>{0}));
    EXPECT_EQ(base(0, 1), (std::vector<int>{1}));
    EXPECT_EQ(base(2, 0), (std::vector<int>{0, 1}));
    EXPECT_EQ(base(4, 0), (std::vector<int>{0, 1}));
    EXPECT_EQ(base(1, 1), (std::vector<int>{1}));  // i is 1: a single drop
    EXPECT_EQ(base(2, 1), (std::vector<int>{0}));
    EXPECT_EQ(base(0, 3), (std::vector<int>{}));
}

TEST(CubeMetadata, BaseMetadataKeepsPositionsAndOption)
{
    ScriptedDimension d[5];
    CubeMetadata m;
    m.AddDimension(&d[0], kRow);
    m.AddDimension(&d[1], kRow);
    m.AddDimension(&d[2], kColumn);
    m.AddDimension(&d[3], kColumn);
    m.AddDimension(&d[4], kLayer);
    std::vector<int> dims = {0, 2, 4};
    CubeMetadata base = m.GetBaseMetadata(dims, 7);
    ASSERT_EQ(base.NumberOfDimensions(), 3);
    EXPECT_EQ(base.GetDimension(1), &d[2]);
    EXPECT_EQ(base.GetDimPosition(1), kColumn);
    EXPECT_EQ(base.GetDimPosition(2), kLayer);
}
