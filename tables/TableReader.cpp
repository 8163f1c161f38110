#include "TableReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "AggregationCategory.h"
#include "AggregationCube.h"
#include "AggregationStatistic.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "CubeAggregator.h"
#include "CubeMetadata.h"
#include "KvAssert.h"
#include "StatValues.h"
#include "TableDimension.h"
#include "UserError.h"
#include "VESK_ValueLabelMap.h"

namespace kvtables {

namespace {

namespace TEC = TableEncryptionCodes;

std::string TrimRight(std::string s)
{
    while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
    return s;
}

// Odometer over a list of category counts, outermost first.
bool Advance(std::vector<size_t>& at, const std::vector<size_t>& sizes)
{
    for (size_t i = at.size(); i-- > 0;) {
        if (++at[i] < sizes[i]) return true;
        at[i] = 0;
    }
    return false;
}

std::vector<std::vector<int>> Combinations(const std::vector<size_t>& sizes)
{
    std::vector<std::vector<int>> out;
    for (size_t s : sizes)
        if (s == 0) return out;
    std::vector<size_t> at(sizes.size(), 0);
    do {
        out.emplace_back(at.begin(), at.end());
    } while (Advance(at, sizes));
    return out;
}


// Values or weights so large that a sum leaves the range of doubles: an
// infinity (or what it turns into) is no answer to print, nor a missing one.
[[noreturn]] void Overflow(const ResultTable& table, const ResultCell& cell)
{
    std::string where;
    auto name = [&where](const std::vector<ResultAxisVariable>& axis, const std::vector<int>& at) {
        for (size_t i = 0; i < axis.size(); ++i)
            where += (where.empty() ? "" : ", ") + axis[i].categories[static_cast<size_t>(at[i])].label;
    };
    name(table.layers, cell.layers);
    name(table.rows[cell.rowElement], cell.rows);
    name(table.columns[cell.columnElement], cell.columns);
    throw UserError("table " + Quote(table.title) + ": " + table.statistics[static_cast<size_t>(cell.statistic)].name +
                    " of " + Quote(where) + " is beyond the range of numbers (values or weights too large)");
}

class Reader {
public:
    Reader(const TableBuilder& builder, const TableBuild& build, const MemoryLimit& limit)
        : _request(builder.GetRequest()), _source(builder.GetDataSource()), _build(build), _limit(limit)
    {
    }

    ResultTable Read();

private:
    ResultAxisVariable ReadAxis(AggregationVariable* desc, const AxisEntry& entry,
                                std::vector<const AggregationCategory*>& categories);
    bool BaseHasCases(const std::vector<const AggregationCategory*>& key, int baseType);
    void CheckSize(const std::string& title, const std::vector<std::vector<const AggregationCategory*>>& dimCats,
                   size_t nr, size_t nc) const;

    const Request& _request;
    VESK_DataSource& _source;
    const TableBuild& _build;
    const MemoryLimit& _limit;
    // Whether a percentage base holds cases, by base type and the categories
    // of the dimensions the base holds: empty cells share few bases.
    std::map<std::pair<int, std::vector<const AggregationCategory*>>, bool> _occupied;
    std::map<int, std::vector<int>> _heldDims;  // by base type: the dimensions its bases hold
};

ResultAxisVariable Reader::ReadAxis(AggregationVariable* desc, const AxisEntry& entry,
                                    std::vector<const AggregationCategory*>& categories)
{
    ResultAxisVariable axis;
    axis.name = entry.name;
    axis.label = desc->GetLabel();
    if (&entry == &_build.rowTotal || &entry == &_build.columnTotal) {
        const TableRequest& t = *_build.request;
        axis.label = &entry == &_build.rowTotal ? t.rows[_build.rowElement].totalLabel
                                                : t.columns[_build.columnElement].totalLabel;
        for (const AggregationCategory* c : desc->GetTableDimension()->GetCategoryPointers()) {
            axis.categories.push_back(ResultCategory{CategoryKind::Total, {}, axis.label, {}});
            categories.push_back(c);
        }
        return axis;
    }
    int decimals = 0;
    // Whose value labels name the categories: the variable's own, or a
    // categories set's members' (the first member that labels a value wins).
    std::vector<const VESK_Variable*> labelled;
    if (!entry.IsSet()) {
        labelled.push_back(_source.GetVariable(entry.varIndex));
        decimals = labelled[0]->GetFormat().decimals;
    } else {
        const SetDef& set = _request.sets[static_cast<size_t>(entry.setIndex)];
        if (set.type == SetType::Categories) {
            for (int i : set.indices) labelled.push_back(_source.GetVariable(i));
            decimals = labelled.empty() ? 0 : labelled[0]->GetFormat().decimals;
        }
    }
    auto valueLabel = [&](const Literal& v) -> std::string {
        for (const VESK_Variable* var : labelled) {
            const std::vector<OBS> fitted = MakeValue(v, var->GetType());
            if (const char* label = VESK_ValueLabelMap(var->GetValueLabels()).GetLabel(fitted.data())) return label;
        }
        return {};
    };
    for (const AggregationCategory* c : desc->GetTableDimension()->GetCategoryPointers()) {
        ResultCategory rc;
        rc.label = c->GetCatLabel();
        switch (c->GetCatType()) {
        case AggregationCategory::kValue:
            if (c->GetValueType() == 0) {
                const double v = c->GetCatValue().num;
                rc.value = v;
                if (rc.label.empty()) rc.label = valueLabel(Literal::Number(v));
                if (rc.label.empty()) rc.label = FormatFixed(v, decimals);
            } else {
                const std::string text =
                    TrimRight(std::string(c->GetCatValue().str, static_cast<size_t>(c->GetValueType())));
                rc.value = text;
                if (rc.label.empty()) rc.label = valueLabel(Literal::Text(text));
                if (rc.label.empty()) rc.label = text;
            }
            break;
        case AggregationCategory::kSubtotal:
        case AggregationCategory::kHSubtotal: rc.kind = CategoryKind::Subtotal; break;
        case AggregationCategory::kTotal: rc.kind = CategoryKind::Total; break;
        case AggregationCategory::kVariable: {
            rc.kind = CategoryKind::Variable;
            const VESK_Variable* member = _source.GetVariable(c->GetVarIndex());
            rc.value = std::string(member->GetName());
            if (rc.label.empty()) rc.label = *member->GetLabel() ? member->GetLabel() : member->GetName();
            break;
        }
        case AggregationCategory::kPCompute: rc.kind = CategoryKind::Computed; break;
        case AggregationCategory::kDummy:
            rc.kind = CategoryKind::None;
            if (rc.label.empty()) rc.label = "None valid";
            break;
        }
        axis.categories.push_back(std::move(rc));
        categories.push_back(c);
    }
    return axis;
}


// Every combination of categories is shown, occupied or not, so a table's
// size is the product of its category counts, whatever the data held: refuse
// before laying out more than the memory can take.
void Reader::CheckSize(const std::string& title, const std::vector<std::vector<const AggregationCategory*>>& dimCats,
                       size_t nr, size_t nc) const
{
    // In long double: 22 nested variables overflow any integer.
    auto product = [&dimCats](size_t first, size_t last) {
        long double p = 1;
        for (size_t i = first; i < last; ++i) p *= static_cast<long double>(dimCats[i].size());
        return p;
    };
    const long double rows = product(0, nr), columns = product(nr, nc + nr), layers = product(nr + nc, dimCats.size());
    const size_t statistics = std::max(_build.cellStats.size(), _build.totalStats.size());
    const long double values = rows * columns * layers * static_cast<long double>(statistics);
    // A result cell with its category vectors, and about as much again twice
    // over for the rendered output and its copies.
    const size_t vectors = (nr > 0) + (nc > 0) + (dimCats.size() > nr + nc);
    const long double bytes = values * 3 * static_cast<long double>(sizeof(ResultCell) + 32 * vectors);
    if (bytes + static_cast<long double>(_limit.Used()) <= static_cast<long double>(_limit.bytes)) return;
    auto count = [](long double n) {
        return n < 1e19L ? FormatCount(static_cast<unsigned long long>(n)) : FormatFixed(static_cast<double>(n), 0);
    };
    std::string shape = count(rows) + (rows == 1 ? " row" : " rows") + " by " + count(columns) +
                        (columns == 1 ? " column" : " columns");
    if (dimCats.size() > nr + nc) shape += " in " + count(layers) + (layers == 1 ? " layer" : " layers");
    shape += " by " + count(statistics) + (statistics == 1 ? " statistic" : " statistics");
    const std::string need = bytes < 1e18L ? "about " + FormatMemorySize(static_cast<size_t>(bytes)) : "more than an exabyte";
    throw UserError("table " + Quote(title) + " has " + count(values) + " values to show (" + shape + "), " + need +
                    ": beyond " + _limit.Describe() + " " + _limit.Advice());
}

ResultTable Reader::Read()
{
    const TableBuild& build = _build;
    const TableRequest& t = *build.request;
    ResultTable out;
    out.title = t.title;

    // Categories per cube dimension (rows, columns, layers).
    std::vector<std::vector<const AggregationCategory*>> dimCats;
    auto readAxis = [&](const std::vector<AggregationVariable*>& vars, const std::vector<const AxisEntry*>& entries,
                        std::vector<ResultAxisVariable>& axes) {
        for (size_t i = 0; i < vars.size(); ++i) {
            dimCats.emplace_back();
            axes.push_back(ReadAxis(vars[i], *entries[i], dimCats.back()));
        }
    };
    out.rows.resize(1);
    out.columns.resize(1);
    readAxis(build.rows, build.rowEntries, out.rows[0]);
    readAxis(build.columns, build.columnEntries, out.columns[0]);
    readAxis(build.layers, build.layerEntries, out.layers);

    const int weightDecimals =
        _request.weightIndex >= 0 ? _source.GetVariable(_request.weightIndex)->GetFormat().decimals : 0;
    const int summaryDecimals = t.summaryIndex >= 0 ? _source.GetVariable(t.summaryIndex)->GetFormat().decimals : 0;
    for (const StatisticRequest& s : build.shown) {
        ResultStatistic rs;
        rs.code = s.code;
        rs.name = s.name;
        rs.cut = s.cut;
        rs.lower = s.lower;
        rs.upper = s.upper;
        rs.level = s.level;
        rs.decimals = s.decimals.value_or(DisplayDecimals(s.code, weightDecimals, summaryDecimals));
        rs.label = s.label.empty() ? stats::DefaultLabel(s, _request.ciLevel) : s.label;
        out.statistics.push_back(rs);
    }

    auto sizesOf = [&](size_t first, size_t count) {
        std::vector<size_t> sizes;
        for (size_t i = first; i < first + count; ++i) sizes.push_back(dimCats[i].size());
        return sizes;
    };
    const size_t nr = build.rows.size(), nc = build.columns.size(), nl = build.layers.size();
    CheckSize(out.title, dimCats, nr, nc);
    const auto rowCombos = Combinations(sizesOf(0, nr));
    const auto colCombos = Combinations(sizesOf(nr, nc));
    const auto layerCombos = Combinations(sizesOf(nr + nc, nl));

    // The statistics dimension's index in the cube, for telling total cells.
    int statsDim = -1;
    for (size_t i = 0; i < build.descriptions.size(); ++i)
        if (build.descriptions[i].get() == build.statisticsVariable) statsDim = static_cast<int>(i);

    CubeAggregator* agg = build.cube->GetCubeAggregator();
    std::vector<const AggregationCategory*> key(nr + nc + nl);
    for (const auto& lc : layerCombos) {
        for (const auto& rcombo : rowCombos) {
            for (const auto& cc : colCombos) {
                for (size_t i = 0; i < nr; ++i) key[i] = dimCats[i][static_cast<size_t>(rcombo[i])];
                for (size_t i = 0; i < nc; ++i) key[nr + i] = dimCats[nr + i][static_cast<size_t>(cc[i])];
                for (size_t i = 0; i < nl; ++i) key[nr + nc + i] = dimCats[nr + nc + i][static_cast<size_t>(lc[i])];
                bool pcompute = false;
                for (const AggregationCategory* c : key) pcompute |= c->GetCatType() == AggregationCategory::kPCompute;

                StatValues* sv = pcompute ? nullptr : agg->GetStatValues(key, -1);
                // Totals and subtotals of the statistics variable show the
                // total statistics; an existing cell says which layout it has.
                const bool onTotal = statsDim >= 0 && key[static_cast<size_t>(statsDim)]->GetCatEncoding() < 0;
                const std::vector<int>* order = &build.cellStats;
                if (build.scale) {
                    if (onTotal) order = &build.totalStats;
                } else if (sv) {
                    if (&sv->GetCellValues()->GetCellStats() != agg->GetCellStats()) order = &build.totalStats;
                } else if (onTotal && agg->GetTotalStats() != agg->GetCellStats()) {
                    order = &build.totalStats;
                }
                for (size_t i = 0; i < order->size(); ++i) {
                    const int shownIndex = (*order)[i];
                    if (shownIndex < 0) continue;
                    ResultCell cell;
                    cell.rows = rcombo;
                    cell.columns = cc;
                    cell.layers = lc;
                    cell.statistic = shownIndex;
                    const int code = build.shown[static_cast<size_t>(shownIndex)].code;
                    if (sv) {
                        const AggregationResult r = sv->GetStatValue(static_cast<int>(i));
                        cell.value = r.GetValue1();
                        cell.value2 = r.GetValue2();
                        cell.value3 = r.GetValue3();
                        for (double v : {cell.value, cell.value2, cell.value3})
                            if (!std::isfinite(v) && v != SystemMissing()) Overflow(out, cell);
                    } else if (stats::IsCount(code)) {
                        cell.value = 0.0;
                    } else {
                        const int base = stats::PercentBaseType(code);
                        if (base >= 0 && BaseHasCases(key, base)) cell.value = 0.0;
                    }
                    out.cells.push_back(std::move(cell));
                }
            }
        }
    }
    return out;
}


// Whether the percentage base of type `baseType` that the cell `key` belongs
// to holds any case: some cell that agrees with it on the base's dimensions
// exists. Every other dimension is replaced by its total when it has one;
// otherwise each of its categories is tried.
bool Reader::BaseHasCases(const std::vector<const AggregationCategory*>& key, int baseType)
{
    auto heldAt = _heldDims.find(baseType);
    if (heldAt == _heldDims.end()) {
        CubeMetadata metadata = *_build.cube->GetCubeMetadata();
        metadata.SetClabelOption(_request.labelOption);
        heldAt = _heldDims.emplace(baseType, std::vector<int>()).first;
        metadata.GetPercentBase(heldAt->second, baseType);
    }
    const std::vector<int>& held = heldAt->second;
    auto isHeld = [&held](size_t d) { return std::find(held.begin(), held.end(), static_cast<int>(d)) != held.end(); };

    std::pair<int, std::vector<const AggregationCategory*>> base{baseType, {}};
    for (size_t d = 0; d < key.size(); ++d) base.second.push_back(isHeld(d) ? key[d] : nullptr);
    auto known = _occupied.find(base);
    if (known != _occupied.end()) return known->second;

    std::vector<std::vector<const AggregationCategory*>> choices(key.size());
    size_t d = 0;
    for (auto* v : {&_build.rows, &_build.columns, &_build.layers}) {
        for (AggregationVariable* var : *v) {
            if (isHeld(d)) {
                choices[d] = {key[d]};
            } else {
                for (const AggregationCategory* c : var->GetTableDimension()->GetCategoryPointers())
                    if (c->GetCatType() == AggregationCategory::kValue || c->GetCatType() == AggregationCategory::kVariable ||
                        c->GetCatType() == AggregationCategory::kTotal)
                        choices[d].push_back(c);
            }
            ++d;
        }
    }
    std::vector<size_t> sizes;
    for (const auto& c : choices) sizes.push_back(c.size());
    CubeAggregator* agg = _build.cube->GetCubeAggregator();
    std::vector<const AggregationCategory*> probe(key.size());
    bool found = false;
    // Walked, not listed: the combinations can outnumber the memory.
    std::vector<size_t> at(sizes.size(), 0);
    if (std::find(sizes.begin(), sizes.end(), size_t{0}) == sizes.end()) {
        do {
            for (size_t i = 0; i < probe.size(); ++i) probe[i] = choices[i][at[i]];
            found = agg->GetCellStatus(probe, -1);
        } while (!found && Advance(at, sizes));
    }
    _occupied.emplace(std::move(base), found);
    return found;
}

}  // namespace

ResultTable StackTables(std::vector<ResultTable> parts, size_t rowElements, size_t columnElements)
{
    KV_ASSERT(parts.size() == rowElements * columnElements && !parts.empty());
    if (parts.size() == 1) return std::move(parts[0]);
    ResultTable out;
    out.title = parts[0].title;
    out.layers = parts[0].layers;
    out.statistics = parts[0].statistics;
    for (size_t r = 0; r < rowElements; ++r) out.rows.push_back(parts[r * columnElements].rows[0]);
    for (size_t c = 0; c < columnElements; ++c) out.columns.push_back(parts[c].columns[0]);

    // Position of a category combination among its nest's combinations.
    auto rank = [](const std::vector<ResultAxisVariable>& nest, const std::vector<int>& combo) {
        size_t index = 0;
        for (size_t i = 0; i < nest.size(); ++i) index = index * nest[i].categories.size() + static_cast<size_t>(combo[i]);
        return index;
    };
    struct Placed {
        std::array<size_t, 6> order;  // layer, row element, row, column element, column, as emitted
        ResultCell cell;
    };
    std::vector<Placed> placed;
    for (size_t p = 0; p < parts.size(); ++p) {
        const size_t r = p / columnElements, c = p % columnElements;
        // Every sub-table has the same statistics: they come from one request.
        KV_ASSERT(parts[p].statistics.size() == out.statistics.size());
        for (size_t i = 0; i < parts[p].cells.size(); ++i) {
            ResultCell& cell = parts[p].cells[i];
            cell.rowElement = r;
            cell.columnElement = c;
            placed.push_back(Placed{{rank(out.layers, cell.layers), r, rank(out.rows[r], cell.rows), c,
                                     rank(out.columns[c], cell.columns), i},
                                    std::move(cell)});
        }
    }
    std::sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) { return a.order < b.order; });
    out.cells.reserve(placed.size());
    for (Placed& p : placed) out.cells.push_back(std::move(p.cell));
    return out;
}

ResultTable ReadTable(const TableBuilder& builder, const TableBuild& build, const MemoryLimit& limit)
{
    return Reader(builder, build, limit).Read();
}

}  // namespace kvtables
