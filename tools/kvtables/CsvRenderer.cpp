// The result as a tidy table: one row per cell, the same columns for every
// table of the result (an axis that is shallower than the deepest one leaves
// its extra columns empty), so the file loads straight into a data frame.
#include <algorithm>

#include "Renderers.h"

namespace kvtables {

namespace {

// A field quoted when it holds a separator, a quote or a line break, or
// starts or ends with blanks a reader might trim.
std::string Field(const std::string& s)
{
    bool quote = s.find_first_of(",\"\r\n") != std::string::npos ||
                 (!s.empty() && (s.front() == ' ' || s.back() == ' '));
    if (!quote) return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

std::string Number(double v) { return IsMissingValue(v) ? std::string() : FormatShortest(v); }

std::string Value(const CategoryValue& v)
{
    if (const double* d = std::get_if<double>(&v)) return Number(*d);
    if (const std::string* s = std::get_if<std::string>(&v)) return *s;
    return std::string();
}

void AxisFields(std::vector<std::string>& row, const std::vector<ResultAxisVariable>& vars,
                const std::vector<int>& combo, size_t depth)
{
    for (size_t i = 0; i < depth; ++i) {
        if (i < vars.size() && i < combo.size()) {
            const ResultCategory& c = vars[i].categories.at(static_cast<size_t>(combo[i]));
            row.insert(row.end(), {vars[i].name, CategoryKindName(c.kind), Value(c.value), c.label});
        } else {
            row.insert(row.end(), 4, std::string());
        }
    }
}

}  // namespace

std::string RenderCsv(const ResultSet& results)
{
    size_t depth[3] = {0, 0, 0};  // layers, rows, columns
    for (const auto& t : results.tables) {
        depth[0] = std::max(depth[0], t.layers.size());
        depth[1] = std::max(depth[1], t.rows.size());
        depth[2] = std::max(depth[2], t.columns.size());
    }
    std::vector<std::string> header{"table", "title"};
    const char* axisNames[3] = {"layer", "row", "column"};
    for (int a = 0; a < 3; ++a)
        for (size_t i = 1; i <= depth[a]; ++i)
            for (const char* part : {"_variable", "_category", "_value", "_label"})
                header.push_back(axisNames[a] + std::to_string(i) + part);
    for (const char* h : {"statistic", "cut", "lower", "upper", "level", "value", "value2", "value3"})
        header.push_back(h);

    std::string out;
    auto emit = [&out](const std::vector<std::string>& fields) {
        for (size_t i = 0; i < fields.size(); ++i) out += (i ? "," : "") + Field(fields[i]);
        out += "\n";
    };
    emit(header);
    for (size_t t = 0; t < results.tables.size(); ++t) {
        const ResultTable& table = results.tables[t];
        for (const auto& cell : table.cells) {
            const ResultStatistic& stat = table.statistics.at(static_cast<size_t>(cell.statistic));
            std::vector<std::string> row{std::to_string(t + 1), table.title};
            AxisFields(row, table.layers, cell.layers, depth[0]);
            AxisFields(row, table.rows, cell.rows, depth[1]);
            AxisFields(row, table.columns, cell.columns, depth[2]);
            row.push_back(stat.name);
            for (const auto* p : {&stat.cut, &stat.lower, &stat.upper, &stat.level})
                row.push_back(*p ? FormatShortest(**p) : std::string());
            row.insert(row.end(), {Number(cell.value), Number(cell.value2), Number(cell.value3)});
            emit(row);
        }
    }
    return out;
}

}  // namespace kvtables
