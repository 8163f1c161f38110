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

    // The name followed by its parameters: "Ptile 25", "CountGELE 1 5".
    std::string Heading() const;
    int Decimals() const;
};

struct ResultCell {
    std::vector<int> rows, columns, layers;  // a category index per axis variable, outermost first
    int statistic = 0;                       // index into ResultTable::statistics
    double value, value2, value3;            // system-missing when there is no value

    ResultCell();
};

struct ResultTable {
    std::string title;
    std::vector<ResultAxisVariable> rows, columns, layers;
    std::vector<ResultStatistic> statistics;
    std::vector<ResultCell> cells;  // layer by layer, row by row, column by column, statistic innermost
};

struct ResultSet {
    std::vector<ResultTable> tables;
    long long skippedCases = 0;  // cases left out for a missing, zero or negative weight
};

// The engine's system-missing value; NaN is treated as missing as well.
double SystemMissing();
bool IsMissingValue(double v);

// Digits after the point for a statistic, for people: counts by the weight's
// precision (unweighted counts none), percentages one, means, deviations and
// their errors two more than the summary variable's format, other summary
// values (sums, extremes, medians, percentiles) as the variable's format.
int DisplayDecimals(int code, int weightDecimals, int variableDecimals);

// A number with `decimals` digits after the point, or "." when missing.
std::string FormatFixed(double v, int decimals);
// The shortest text that reads back as the same double.
std::string FormatShortest(double v);

// The display grid of one table: the category combinations of each axis in
// display order (the innermost variable varies fastest) and every cell found
// by its position.
class TableGrid {
public:
    explicit TableGrid(const ResultTable& table);

    const std::vector<std::vector<int>>& RowCombos() const { return _rows; }
    const std::vector<std::vector<int>>& ColumnCombos() const { return _columns; }
    const std::vector<std::vector<int>>& LayerCombos() const { return _layers; }
    // The cell at the given combinations and statistic, or null when none was emitted.
    const ResultCell* Cell(size_t layer, size_t row, size_t column, size_t statistic) const;

private:
    size_t Key(size_t layer, size_t row, size_t column, size_t statistic) const;
    const ResultTable& _table;
    std::vector<std::vector<int>> _rows, _columns, _layers;
    std::unordered_map<size_t, const ResultCell*> _cells;
};

}  // namespace kvtables

#endif
