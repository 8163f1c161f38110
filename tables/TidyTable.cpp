#include "TidyTable.h"

#include <algorithm>

namespace kvtables {

namespace {

TidyField Number(double v) { return IsMissingValue(v) ? TidyField() : TidyField(v); }

TidyField Value(const CategoryValue& v)
{
    if (const double* d = std::get_if<double>(&v)) return *d;
    if (const std::string* s = std::get_if<std::string>(&v)) return *s;
    return {};
}

void AxisFields(std::vector<TidyField>& row, const std::vector<ResultAxisVariable>& vars,
                const std::vector<int>& combo, size_t depth)
{
    for (size_t i = 0; i < depth; ++i) {
        if (i < vars.size() && i < combo.size()) {
            const ResultCategory& c = vars[i].categories.at(static_cast<size_t>(combo[i]));
            const TidyField name = vars[i].name.empty() ? TidyField() : TidyField(vars[i].name);  // a total element
            row.insert(row.end(), {name, std::string(CategoryKindName(c.kind)), Value(c.value), c.label});
        } else {
            row.insert(row.end(), 4, TidyField());
        }
    }
}

}  // namespace

TidyLayout MakeTidyLayout(const std::vector<const ResultTable*>& tables)
{
    TidyLayout layout;
    for (const ResultTable* t : tables) {
        layout.layers = std::max(layout.layers, t->layers.size());
        layout.rows = std::max(layout.rows, t->RowDepth());
        layout.columns = std::max(layout.columns, t->ColumnDepth());
        layout.tested = layout.tested || t->tested;
    }
    layout.header = {"table", "title"};
    const std::pair<const char*, size_t> axes[3] = {
        {"layer", layout.layers}, {"row", layout.rows}, {"column", layout.columns}};
    for (const auto& [axis, depth] : axes)
        for (size_t i = 1; i <= depth; ++i)
            for (const char* part : {"_variable", "_category", "_value", "_label"})
                layout.header.push_back(axis + std::to_string(i) + part);
    for (const char* h : {"statistic", "statistic_label", "cut", "lower", "upper", "level", "value", "value2", "value3"})
        layout.header.push_back(h);
    if (layout.tested) layout.header.push_back("significant_over");
    return layout;
}

void ForEachTidyRow(const ResultTable& table, double number, const TidyLayout& layout,
                    const std::function<void(const std::vector<TidyField>&)>& row)
{
    std::vector<TidyField> fields;
    for (const ResultCell& cell : table.cells) {
        const ResultStatistic& stat = table.statistics.at(static_cast<size_t>(cell.statistic));
        fields.assign({number, table.title});
        AxisFields(fields, table.layers, cell.layers, layout.layers);
        AxisFields(fields, table.rows.at(cell.rowElement), cell.rows, layout.rows);
        AxisFields(fields, table.columns.at(cell.columnElement), cell.columns, layout.columns);
        fields.push_back(stat.name);
        fields.push_back(stat.Shown());
        for (const auto* p : {&stat.cut, &stat.lower, &stat.upper, &stat.level})
            fields.push_back(*p ? TidyField(**p) : TidyField());
        fields.insert(fields.end(), {Number(cell.value), Number(cell.value2), Number(cell.value3)});
        if (layout.tested) {
            std::string letters;
            for (const std::string& l : cell.significantOver) letters += l;
            fields.push_back(letters.empty() ? TidyField() : TidyField(letters));
        }
        row(fields);
    }
}

}  // namespace kvtables
