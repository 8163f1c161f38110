#include "ResultSet.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "Request.h"

namespace kvtables {

const char* CategoryKindName(CategoryKind kind)
{
    switch (kind) {
    case CategoryKind::Value: return "value";
    case CategoryKind::Subtotal: return "subtotal";
    case CategoryKind::Total: return "total";
    case CategoryKind::Variable: return "variable";
    case CategoryKind::Computed: return "computed";
    case CategoryKind::None: return "none";
    }
    return "none";
}

double SystemMissing() { return -DBL_MAX; }

bool IsMissingValue(double v) { return v == -DBL_MAX || std::isnan(v); }

ResultCell::ResultCell() : value(SystemMissing()), value2(SystemMissing()), value3(SystemMissing()) {}

std::string ResultStatistic::Heading() const
{
    std::string h = name;
    for (const auto* p : {&cut, &lower, &upper, &level})
        if (*p) h += " " + FormatShortest(**p);
    return h;
}

int ResultStatistic::Decimals() const
{
    if (decimals >= 0) return decimals;
    if (stats::IsCount(code)) return 0;
    if (stats::IsPercentage(code)) return 1;
    return 2;
}

int DisplayDecimals(int code, int weightDecimals, int variableDecimals)
{
    if (stats::IsPercentage(code)) return 1;
    if (stats::IsCount(code)) return stats::IsUnweighted(code) ? 0 : weightDecimals;
    using namespace TableEncryptionCodes;
    // The moments and their errors and limits carry two more digits.
    switch (code) {
    case kMaximum: case kMinimum: case kRange:
    case kMedian: case kMedianLCL: case kMedianUCL:
    case kUMedian: case kUMedianLCL: case kUMedianUCL:
    case kGroupedMedian: case kUGroupedMedian: case kMode: case kUMode:
    case kMedianCI: case kUMedianCI:
    case kPtile: case kPtileLCL: case kPtileUCL:
    case kUPtile: case kUPtileLCL: case kUPtileUCL:
    case kGroupedPtile: case kUGroupedPtile:
    case kSum: case kUSum:
        return variableDecimals;
    default:
        return variableDecimals + 2;
    }
}

std::string FormatFixed(double v, int decimals)
{
    if (IsMissingValue(v)) return ".";
    if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
    char buf[400];
    std::snprintf(buf, sizeof buf, "%.*f", decimals < 0 ? 0 : decimals, v);
    std::string s = buf;
    // A value that rounds to zero is shown without a sign.
    if (s[0] == '-' && s.find_first_not_of("-0.") == std::string::npos) s.erase(0, 1);
    return s;
}

std::string FormatShortest(double v)
{
    char buf[64];
    auto res = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, res.ptr);
}

namespace {

// Every combination of category indices, the last variable varying fastest;
// no variables give one empty combination.
std::vector<std::vector<int>> Combos(const std::vector<ResultAxisVariable>& vars)
{
    std::vector<std::vector<int>> out{{}};
    for (const auto& v : vars) {
        std::vector<std::vector<int>> next;
        for (const auto& prefix : out)
            for (size_t c = 0; c < v.categories.size(); ++c) {
                next.push_back(prefix);
                next.back().push_back(static_cast<int>(c));
            }
        out = std::move(next);
    }
    return out;
}

// Position of a combination in Combos' order, or -1 when out of range.
long long ComboIndex(const std::vector<ResultAxisVariable>& vars, const std::vector<int>& combo)
{
    if (combo.size() != vars.size()) return -1;
    long long index = 0;
    for (size_t i = 0; i < vars.size(); ++i) {
        long long n = static_cast<long long>(vars[i].categories.size());
        if (combo[i] < 0 || combo[i] >= n) return -1;
        index = index * n + combo[i];
    }
    return index;
}

}  // namespace

TableGrid::TableGrid(const ResultTable& table)
    : _table(table), _rows(Combos(table.rows)), _columns(Combos(table.columns)), _layers(Combos(table.layers))
{
    for (const auto& cell : table.cells) {
        long long l = ComboIndex(table.layers, cell.layers);
        long long r = ComboIndex(table.rows, cell.rows);
        long long c = ComboIndex(table.columns, cell.columns);
        if (l < 0 || r < 0 || c < 0 || cell.statistic < 0 ||
            cell.statistic >= static_cast<int>(table.statistics.size()))
            continue;
        _cells.emplace(Key(static_cast<size_t>(l), static_cast<size_t>(r), static_cast<size_t>(c),
                           static_cast<size_t>(cell.statistic)),
                       &cell);
    }
}

size_t TableGrid::Key(size_t layer, size_t row, size_t column, size_t statistic) const
{
    return ((layer * _rows.size() + row) * _columns.size() + column) * _table.statistics.size() + statistic;
}

const ResultCell* TableGrid::Cell(size_t layer, size_t row, size_t column, size_t statistic) const
{
    auto it = _cells.find(Key(layer, row, column, statistic));
    return it == _cells.end() ? nullptr : it->second;
}

}  // namespace kvtables
