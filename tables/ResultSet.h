// The tool's result: for each table its axes (the variables of rows, columns
// and layers, outermost first, each with its categories in display order),
// its statistics, and its cells in display order. The engine binding fills
// it; the renderers only read it.
#ifndef KVTABLES_RESULTSET_H
#define KVTABLES_RESULTSET_H

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

namespace kvtables {

enum class CategoryKind { Value, Subtotal, Total, Variable, Computed, None };

// "value", "subtotal", "total", "variable", "computed", "none".
const char* CategoryKindName(CategoryKind kind);

using CategoryValue = std::variant<std::monostate, double, std::string>;

struct ResultCategory {
    CategoryKind kind = CategoryKind::Value;
    CategoryValue value;  // none for subtotals and totals; a member's name for CategoryKind::Variable
    std::string label;    // what people see; the value itself when it has no label
    // A column compared by a significance test: "A", "B", ... in display
    // order, restarting in every sub-table; empty for every other category.
    std::string letter;
};

// A variable or set on an axis.
struct ResultAxisVariable {
    std::string name;
    std::string label;  // empty: shown by name
    std::vector<ResultCategory> categories;

    const std::string& Shown() const { return label.empty() ? name : label; }
};

struct ResultStatistic {
    int code = 0;
    std::string name;
    std::optional<double> cut, lower, upper, level;
    int decimals = -1;  // digits after the point for people; -1: by kind (counts 0, percentages 1, others 2)
    std::string label;  // words for people: "Column %", "Percentile 25"; empty: the heading

    // The name followed by its parameters: "Ptile 25", "CountGELE 1 5".
    std::string Heading() const;
    // What people see: the label, or the heading when there is none.
    std::string Shown() const { return label.empty() ? Heading() : label; }
    int Decimals() const;
};

struct ResultCell {
    size_t rowElement = 0, columnElement = 0;  // the stacked elements the cell belongs to
    std::vector<int> rows, columns, layers;    // a category index per variable of its elements, outermost first
    int statistic = 0;                       // index into ResultTable::statistics
    double value, value2, value3;            // system-missing when there is no value
    // The letters of the columns of its sub-table this cell is significantly
    // greater than, in column order.
    std::vector<std::string> significantOver;

    ResultCell();
};

enum class TestKind { Proportions, Means, ChiSquare };

// "proportions", "means", "chiSquare".
const char* TestKindName(TestKind kind);

// One significance test: a pair of compared columns in a row (proportions,
// means), or one sub-table (chi-square). Categories are indices as in cells;
// a chi-square record names the outer row and column categories only.
struct TestRecord {
    TestKind kind = TestKind::Proportions;
    size_t rowElement = 0, columnElement = 0;
    std::vector<int> layers, rows, columns, versus;  // versus: the second column of a pair
    double statistic = 0.0;  // z, t or the chi-square statistic
    double df;               // system-missing for z
    double pValue = 1.0;
    double adjustedPValue;   // system-missing for chi-square
    bool significant = false;

    TestRecord();
};

// The variables of one element of a stacked axis, outermost first. A total
// element is one variable without a name whose one category is a total.
using ResultNest = std::vector<ResultAxisVariable>;

struct ResultTable {
    std::string title;
    std::vector<ResultNest> rows, columns;  // the elements of each axis: one when it is not stacked
    std::vector<ResultAxisVariable> layers;
    std::vector<ResultStatistic> statistics;
    // Layer by layer, row element by row element and row by row, column
    // element by column element and column by column, statistic innermost.
    std::vector<ResultCell> cells;
    bool tested = false;             // the request asked for significance tests
    std::vector<TestRecord> tests;   // by layer, then in the order of their sub-tables and rows
    // What a reader of this table should know, one sentence each (the tests
    // made, their adjustment and level).
    std::vector<std::string> notes;

    // The most variables any element of the axis nests.
    size_t RowDepth() const;
    size_t ColumnDepth() const;
};

struct ResultSet {
    std::vector<ResultTable> tables;
    long long skippedCases = 0;  // cases left out for a missing, zero or negative weight
    std::string weight;          // the weight variable as people know it ("Weight (wt)"); empty: unweighted

    // What a reader of every table should know: "Weighted by Weight (wt);
    // 15 cases skipped for a missing, zero or negative weight." Empty when
    // there is nothing to say.
    std::string Note() const;
};

// The engine's system-missing value; NaN is treated as missing as well.
double SystemMissing();
bool IsMissingValue(double v);

// Digits after the point for a statistic, for people: counts by the weight's
// precision (unweighted counts none), percentages one, means, deviations and
// their errors two more than the summary variable's format, other summary
// values (sums, extremes, medians, percentiles) as the variable's format.
int DisplayDecimals(int code, int weightDecimals, int variableDecimals);

// A number with `decimals` digits after the point (halves away from zero),
// or "." when missing.
std::string FormatFixed(double v, int decimals);
// The same with thousands separators, for people: "12,345.6".
std::string FormatGrouped(double v, int decimals);
// A whole number with thousands separators: "12,345,678".
std::string FormatCount(unsigned long long n);
// The shortest text that reads back as the same double.
std::string FormatShortest(double v);

// The display grid of one table: the category combinations of each axis in
// display order (the innermost variable varies fastest) and every cell found
// by its position.
// A line of a stacked axis: its element and a category index per variable
// of the element.
struct AxisCombo {
    size_t element = 0;
    std::vector<int> categories;
};

// Whether two lines of an axis belong to one element and agree on its
// categories through `level` (-1: the element alone; levels past the
// element's depth compare as equal).
inline bool SamePrefix(const AxisCombo& a, const AxisCombo& b, int level)
{
    if (a.element != b.element) return false;
    for (size_t k = 0; static_cast<int>(k) <= level && k < a.categories.size(); ++k)
        if (a.categories[k] != b.categories[k]) return false;
    return true;
}

// The lines of an axis from `from` on in one group through `level` (-1: the
// same element): how far a label spanning them reaches.
inline size_t RunLength(const std::vector<AxisCombo>& combos, size_t from, int level)
{
    size_t n = 1;
    while (from + n < combos.size() && SamePrefix(combos[from + n], combos[from], level)) ++n;
    return n;
}

// A total element: one variable without a name.
inline bool IsTotalElement(const ResultNest& nest) { return nest.size() == 1 && nest[0].name.empty(); }

class TableGrid {
public:
    explicit TableGrid(const ResultTable& table);

    // Element by element, each element's combinations in order.
    const std::vector<AxisCombo>& RowCombos() const { return _rows; }
    const std::vector<AxisCombo>& ColumnCombos() const { return _columns; }
    const std::vector<std::vector<int>>& LayerCombos() const { return _layers; }
    // The cell at the given combinations and statistic, or null when none was emitted.
    const ResultCell* Cell(size_t layer, size_t row, size_t column, size_t statistic) const;

private:
    size_t Key(size_t layer, size_t row, size_t column, size_t statistic) const;
    const ResultTable& _table;
    // By element: index of its first combination (filled with the
    // combinations, so declared before them).
    std::vector<size_t> _rowStart, _columnStart;
    std::vector<AxisCombo> _rows, _columns;
    std::vector<std::vector<int>> _layers;
    std::unordered_map<size_t, const ResultCell*> _cells;
};

}  // namespace kvtables

#endif
