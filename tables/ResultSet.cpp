#include "ResultSet.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "Request.h"
#include "StatisticCatalogue.h"

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

const char* TestKindName(TestKind kind)
{
    switch (kind) {
    case TestKind::Proportions: return "proportions";
    case TestKind::Means: return "means";
    case TestKind::ChiSquare: return "chiSquare";
    }
    return "proportions";
}

TestRecord::TestRecord() : df(SystemMissing()), adjustedPValue(SystemMissing()) {}

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
    using Digits = StatisticCatalogue::Digits;
    const StatisticCatalogue::Entry* e = StatisticCatalogue::Find(code);
    switch (e ? e->digits : Digits::kVariablePlusTwo) {
    case Digits::kWeight: return weightDecimals;
    case Digits::kNone: return 0;
    case Digits::kOne: return 1;
    case Digits::kVariable: return variableDecimals;
    case Digits::kVariablePlusTwo: return variableDecimals + 2;
    }
    return variableDecimals + 2;
}

// Halves are rounded away from zero on the number as it reads, its shortest
// decimal form: 494.5 shows as 495 and 2.675 as 2.68, as people round, where
// rounding the binary value would give 494 (a tie, to even) and 2.67 (the
// double just below 2.675).
std::string FormatFixed(double v, int decimals)
{
    if (IsMissingValue(v)) return ".";
    if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
    const size_t places = static_cast<size_t>(std::max(decimals, 0));
    char buf[400];
    const auto res = std::to_chars(buf, buf + sizeof buf, std::fabs(v), std::chars_format::fixed);
    const std::string shortest(buf, res.ptr);
    const size_t point = shortest.find('.');
    std::string digits = shortest.substr(0, point);  // the integer part, then the kept decimals
    std::string fraction = point == std::string::npos ? std::string() : shortest.substr(point + 1);
    const bool up = fraction.size() > places && fraction[places] >= '5';
    fraction.resize(places, '0');
    digits += fraction;
    size_t i = digits.size();
    for (bool carry = up; carry && i-- > 0;) {
        carry = digits[i] == '9';
        digits[i] = carry ? '0' : static_cast<char>(digits[i] + 1);
        if (carry && i == 0) digits.insert(digits.begin(), '1');
    }
    const size_t integer = digits.size() - places;
    std::string s = digits.substr(0, integer);
    if (places > 0) s += "." + digits.substr(integer);
    // A value that rounds to zero is shown without a sign.
    if (v < 0 && s.find_first_not_of("0.") != std::string::npos) s.insert(s.begin(), '-');
    return s;
}

std::string ResultSet::Note() const
{
    std::string note;
    if (!weight.empty()) note = "Weighted by " + weight;
    if (skippedCases > 0) {
        note += note.empty() ? "" : "; ";
        note += FormatGrouped(static_cast<double>(skippedCases), 0) + (skippedCases == 1 ? " case" : " cases") +
                " skipped for a missing, zero or negative weight";
    }
    return note.empty() ? note : note + ".";
}

namespace {

// Commas between the groups of three digits before the point.
std::string GroupThousands(std::string s)
{
    const size_t begin = s[0] == '-' ? 1 : 0;
    size_t end = s.find('.');
    if (end == std::string::npos) end = s.size();
    if (s.find_first_not_of("0123456789", begin) < end) return s;  // inf
    for (size_t at = end; at > begin + 3; at -= 3) s.insert(at - 3, 1, ',');
    return s;
}

}  // namespace

std::string FormatGrouped(double v, int decimals) { return GroupThousands(FormatFixed(v, decimals)); }

std::string FormatCount(unsigned long long n) { return GroupThousands(std::to_string(n)); }

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

// The lines of a stacked axis, and where each element's lines begin.
std::vector<AxisCombo> StackCombos(const std::vector<ResultNest>& stack, std::vector<size_t>& start)
{
    std::vector<AxisCombo> out;
    for (size_t e = 0; e < stack.size(); ++e) {
        start.push_back(out.size());
        for (std::vector<int>& combo : Combos(stack[e])) out.push_back(AxisCombo{e, std::move(combo)});
    }
    return out;
}

}  // namespace

namespace {

size_t Depth(const std::vector<ResultNest>& stack)
{
    size_t depth = 0;
    for (const ResultNest& n : stack) depth = std::max(depth, n.size());
    return depth;
}

}  // namespace

size_t ResultTable::RowDepth() const { return Depth(rows); }

size_t ResultTable::ColumnDepth() const { return Depth(columns); }

TableGrid::TableGrid(const ResultTable& table)
    : _table(table),
      _rows(StackCombos(table.rows, _rowStart)),
      _columns(StackCombos(table.columns, _columnStart)),
      _layers(Combos(table.layers))
{
    for (const auto& cell : table.cells) {
        if (cell.rowElement >= table.rows.size() || cell.columnElement >= table.columns.size()) continue;
        long long l = ComboIndex(table.layers, cell.layers);
        long long r = ComboIndex(table.rows[cell.rowElement], cell.rows);
        long long c = ComboIndex(table.columns[cell.columnElement], cell.columns);
        if (l < 0 || r < 0 || c < 0 || cell.statistic < 0 ||
            cell.statistic >= static_cast<int>(table.statistics.size()))
            continue;
        _cells.emplace(Key(static_cast<size_t>(l), _rowStart[cell.rowElement] + static_cast<size_t>(r),
                           _columnStart[cell.columnElement] + static_cast<size_t>(c),
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
