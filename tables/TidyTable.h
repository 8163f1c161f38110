// The result as a tidy table: one row per cell with the same columns for
// every table (an axis shallower than the deepest one leaves its extra columns
// empty), so that it loads straight into a data frame. The CSV output and the
// Python module's frames are both this table.
//
// Columns: table, title, then for each layer, row and column level
// <axis><n>_variable, _category, _value, _label, then statistic,
// statistic_label, cut, lower, upper, level, value, value2, value3, and, when
// a table asks for significance tests, significant_over (the letters of the
// columns a cell is significantly greater than, joined: "BC").
#ifndef KVTABLES_TIDYTABLE_H
#define KVTABLES_TIDYTABLE_H

#include <cstddef>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "ResultSet.h"

namespace kvtables {

// Empty (a missing number, a level the table lacks), a number or a text.
using TidyField = std::variant<std::monostate, double, std::string>;

struct TidyLayout {
    size_t layers = 0, rows = 0, columns = 0;  // levels per axis: the deepest table's
    bool tested = false;                       // some table has significance tests
    std::vector<std::string> header;
};

TidyLayout MakeTidyLayout(const std::vector<const ResultTable*>& tables);

// Calls `row` once per cell of `table` in display order; `number` fills the
// table column.
void ForEachTidyRow(const ResultTable& table, double number, const TidyLayout& layout,
                    const std::function<void(const std::vector<TidyField>&)>& row);

}  // namespace kvtables

#endif
