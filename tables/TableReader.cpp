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
#include "SignificanceTests.h"
#include "StatValues.h"
#include "TableDimension.h"
#include "UserError.h"
#include "VESK_ValueLabelMap.h"

namespace kvtables {

namespace {

namespace TEC = TableEncryptionCodes;

// The base of column percentages, which the proportions test divides by.
constexpr int kColumnPercentBase = 1;

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
    using Key = std::vector<const AggregationCategory*>;
    // A computed category's formula and the category each of its references
    // names (null when the data gave it none).
    struct Computed {
        const Formula* formula = nullptr;
        Key refs;
    };
    // The engine's numbers that the significance tests read from one cell.
    struct TestCell {
        double count = 0.0, ucount = 0.0;                  // the cell's
        double base = 0.0, ubase = 0.0, baseSquares = 0.0;  // its column percentage's base
        significance::MeanSummary summary{0.0, 0.0, 0.0};
    };

    ResultAxisVariable ReadAxis(AggregationVariable* desc, const AxisEntry& entry,
                                std::vector<const AggregationCategory*>& categories);
    void ReadComputed(AggregationVariable* desc, const AxisEntry& entry);
    const std::vector<int>& LayoutOf(const Key& key, StatValues* sv) const;
    double Value(Key& key, int shown);
    double NoCellValue(const Key& key, int code);
    TestCell ReadTestCell(const Key& key);
    void RunTests(ResultTable& out, const std::vector<Key>& dimCats);
    void RunPairTest(ResultTable& out, const PairTest& test, TestKind kind, const std::vector<TestCell>& cells,
                     size_t layer, size_t row, const std::vector<size_t>& columns);
    void ChiSquare(ResultTable& out, const std::vector<Key>& dimCats, size_t layer, size_t firstRow,
                   size_t firstColumn);
    Key KeyOf(const std::vector<Key>& dimCats, size_t layer, size_t row, size_t column) const;
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
    std::map<const AggregationCategory*, Computed> _computed;
    CubeAggregator* _agg = nullptr;
    int _statsDim = -1;  // the statistics dimension's index in the cube
    // Where the cells of each layer, row and column combination begin in the
    // result (one more at the end), for the tests' letters.
    std::vector<size_t> _spans;
    std::vector<std::vector<int>> _rowCombos, _colCombos, _layerCombos;
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
    // A total counted only for a formula's sake is not shown.
    const bool showTotal = _build.request->CategoriesOf(entry.name).total;
    for (const AggregationCategory* c : desc->GetTableDimension()->GetCategoryPointers()) {
        if (c->GetCatType() == AggregationCategory::kTotal && !showTotal) continue;
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
    ReadComputed(desc, entry);
    return axis;
}

void Reader::ReadComputed(AggregationVariable* desc, const AxisEntry& entry)
{
    const CategoryOptions& options = _build.request->CategoriesOf(entry.name);
    TableDimension* dim = desc->GetTableDimension();
    Key candidates = Key(dim->GetCategoryPointers().begin(), dim->GetCategoryPointers().end());
    candidates.insert(candidates.end(), dim->GetHiddenCategories().begin(), dim->GetHiddenCategories().end());
    auto names = [&](const AggregationCategory* c, const FormulaRef& r) {
        switch (c->GetCatType()) {
        case AggregationCategory::kTotal: return r.kind == FormulaRef::Kind::Total;
        case AggregationCategory::kSubtotal:
        case AggregationCategory::kHSubtotal: return r.kind == FormulaRef::Kind::Subtotal && c->GetCatLabel() == r.text;
        case AggregationCategory::kVariable:
            return r.kind == FormulaRef::Kind::Text && r.text == _source.GetVariable(c->GetVarIndex())->GetName();
        case AggregationCategory::kValue:
            if (c->GetValueType() == 0) return r.kind == FormulaRef::Kind::Number && c->GetCatValue().num == r.number;
            return r.kind == FormulaRef::Kind::Text &&
                   TrimRight(std::string(c->GetCatValue().str, static_cast<size_t>(c->GetValueType()))) ==
                       TrimRight(r.text);
        default: return false;
        }
    };
    for (const AggregationCategory* c : dim->GetCategoryPointers()) {
        if (c->GetCatType() != AggregationCategory::kPCompute) continue;
        // The engine names a computed category after its item's JSON path.
        auto item = std::find_if(options.items.begin(), options.items.end(),
                                 [&](const CategoryItem& i) { return i.path == c->GetPCateName(); });
        KV_ASSERT(item != options.items.end());  // only request items make computed categories
        Computed computed{&item->formula, {}};
        for (const FormulaRef& r : item->formula.References()) {
            auto found = std::find_if(candidates.begin(), candidates.end(),
                                      [&](const AggregationCategory* x) { return names(x, r); });
            computed.refs.push_back(found == candidates.end() ? nullptr : *found);
        }
        _computed.emplace(c, std::move(computed));
    }
}

// Which statistics a cell holds, in the engine's order, as indices of the
// shown statistics (-1: kept but not shown). Totals and subtotals of the
// statistics variable show the total statistics; an existing cell says
// which layout it has.
const std::vector<int>& Reader::LayoutOf(const Key& key, StatValues* sv) const
{
    const bool onTotal = _statsDim >= 0 && key[static_cast<size_t>(_statsDim)]->GetCatEncoding() < 0;
    if (_build.scale) return onTotal ? _build.totalStats : _build.cellStats;
    if (sv) return &sv->GetCellValues()->GetCellStats() != _agg->GetCellStats() ? _build.totalStats : _build.cellStats;
    return onTotal && _agg->GetTotalStats() != _agg->GetCellStats() ? _build.totalStats : _build.cellStats;
}

// What a cell that no case made shows: a count of 0, a percentage of 0
// when its base holds cases, nothing otherwise.
double Reader::NoCellValue(const Key& key, int code)
{
    if (stats::IsCount(code)) return 0.0;
    const int base = stats::PercentBaseType(code);
    return base >= 0 && BaseHasCases(key, base) ? 0.0 : SystemMissing();
}

// The shown value of a statistic in a cell: the engine's, or for a cell with
// a computed category, its formula over the same statistic of the cells it
// refers to (the other categories the same).
double Reader::Value(Key& key, int shown)
{
    for (size_t d = 0; d < key.size(); ++d) {
        auto it = _computed.find(key[d]);
        if (it == _computed.end()) continue;
        const AggregationCategory* self = key[d];
        std::vector<double> operands;
        for (const AggregationCategory* ref : it->second.refs) {
            key[d] = ref;
            operands.push_back(ref ? Value(key, shown) : SystemMissing());
        }
        key[d] = self;
        return it->second.formula->Evaluate(operands);
    }
    StatValues* sv = _agg->GetStatValues(key, -1);
    const std::vector<int>& order = LayoutOf(key, sv);
    auto at = std::find(order.begin(), order.end(), shown);
    if (at == order.end()) return SystemMissing();
    if (!sv) return NoCellValue(key, _build.shown[static_cast<size_t>(shown)].code);
    const double v = sv->GetStatValue(static_cast<int>(at - order.begin())).GetValue1();
    return std::isfinite(v) ? v : SystemMissing();
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
    _rowCombos = Combinations(sizesOf(0, nr));
    _colCombos = Combinations(sizesOf(nr, nc));
    _layerCombos = Combinations(sizesOf(nr + nc, nl));
    const auto& rowCombos = _rowCombos;
    const auto& colCombos = _colCombos;
    const auto& layerCombos = _layerCombos;

    // The statistics dimension's index in the cube, for telling total cells.
    for (size_t i = 0; i < build.descriptions.size(); ++i)
        if (build.descriptions[i].get() == build.statisticsVariable) _statsDim = static_cast<int>(i);

    _agg = build.cube->GetCubeAggregator();
    Key key(nr + nc + nl);
    for (const auto& lc : layerCombos) {
        for (const auto& rcombo : rowCombos) {
            for (const auto& cc : colCombos) {
                _spans.push_back(out.cells.size());
                for (size_t i = 0; i < nr; ++i) key[i] = dimCats[i][static_cast<size_t>(rcombo[i])];
                for (size_t i = 0; i < nc; ++i) key[nr + i] = dimCats[nr + i][static_cast<size_t>(cc[i])];
                for (size_t i = 0; i < nl; ++i) key[nr + nc + i] = dimCats[nr + nc + i][static_cast<size_t>(lc[i])];
                const bool computed = std::any_of(key.begin(), key.end(), [this](const AggregationCategory* c) {
                    return _computed.count(c) > 0;
                });
                StatValues* sv = computed ? nullptr : _agg->GetStatValues(key, -1);
                const std::vector<int>& order = LayoutOf(key, sv);
                for (size_t i = 0; i < order.size(); ++i) {
                    const int shownIndex = order[i];
                    if (shownIndex < 0) continue;
                    ResultCell cell;
                    cell.rows = rcombo;
                    cell.columns = cc;
                    cell.layers = lc;
                    cell.statistic = shownIndex;
                    if (computed) {
                        cell.value = Value(key, shownIndex);
                    } else if (sv) {
                        const AggregationResult r = sv->GetStatValue(static_cast<int>(i));
                        cell.value = r.GetValue1();
                        cell.value2 = r.GetValue2();
                        cell.value3 = r.GetValue3();
                        for (double v : {cell.value, cell.value2, cell.value3})
                            if (!std::isfinite(v) && v != SystemMissing()) Overflow(out, cell);
                    } else {
                        cell.value = NoCellValue(key, build.shown[static_cast<size_t>(shownIndex)].code);
                    }
                    out.cells.push_back(std::move(cell));
                }
            }
        }
    }
    _spans.push_back(out.cells.size());
    RunTests(out, dimCats);
    return out;
}


Reader::Key Reader::KeyOf(const std::vector<Key>& dimCats, size_t layer, size_t row, size_t column) const
{
    Key key;
    const size_t nr = _build.rows.size(), nc = _build.columns.size();
    for (size_t i = 0; i < nr; ++i) key.push_back(dimCats[i][static_cast<size_t>(_rowCombos[row][i])]);
    for (size_t i = 0; i < nc; ++i) key.push_back(dimCats[nr + i][static_cast<size_t>(_colCombos[column][i])]);
    for (size_t i = 0; i < _build.layers.size(); ++i)
        key.push_back(dimCats[nr + nc + i][static_cast<size_t>(_layerCombos[layer][i])]);
    return key;
}

Reader::TestCell Reader::ReadTestCell(const Key& key)
{
    TestCell c;
    if (StatValues* sv = _agg->GetStatValues(key, -1)) {
        const double* v = sv->GetCellValues()->GetValues();
        c.count = v[CellValues::kCountPos];
        c.ucount = v[CellValues::kUCountPos];
        if (_build.meanSlots[0] >= 0) {
            auto at = [sv](int slot) { return sv->GetStatValue(slot).GetValue1(); };
            c.summary = {at(_build.meanSlots[0]), at(_build.meanSlots[1]), at(_build.meanSlots[2])};
        }
    }
    if (const CellValues* base = _agg->GetBaseCell(key, kColumnPercentBase)) {
        const double* v = base->GetValues();
        c.base = v[CellValues::kCountPos];
        c.ubase = v[CellValues::kUCountPos];
        c.baseSquares = v[CellValues::kECountPos];
    }
    return c;
}

// Tests compare the value categories of the innermost column variable
// within each sub-table (the same layer and outer column categories), in
// every row whose categories are values, subtotals or set members.
void Reader::RunTests(ResultTable& out, const std::vector<Key>& dimCats)
{
    const TestsRequest& tests = _build.request->tests;
    if (!tests.Any()) return;
    const size_t nr = _build.rows.size(), nc = _build.columns.size();
    const bool columnsTested = nc > 0 && _build.columnEntries.back() != &_build.columnTotal;
    const bool rowsTested = nr > 0 && _build.rowEntries.back() != &_build.rowTotal;
    if (!columnsTested) return;
    const size_t innerColumns = dimCats[nr + nc - 1].size();
    const size_t columnGroups = _colCombos.size() / innerColumns;
    std::vector<ResultCategory>& inner = out.columns[0].back().categories;
    std::vector<size_t> compared;  // positions among the innermost categories
    for (size_t k = 0; k < inner.size(); ++k)
        if (inner[k].kind == CategoryKind::Value) compared.push_back(k);

    for (size_t layer = 0; layer < _layerCombos.size(); ++layer) {
        if (tests.proportions.on || tests.means.on) {
            for (size_t row = 0; row < _rowCombos.size(); ++row) {
                bool tested = true;
                for (size_t i = 0; i < nr; ++i) {
                    const CategoryKind kind = out.rows[0][i].categories[static_cast<size_t>(_rowCombos[row][i])].kind;
                    tested &= kind == CategoryKind::Value || kind == CategoryKind::Subtotal ||
                              kind == CategoryKind::Variable;
                }
                if (!tested) continue;
                for (size_t g = 0; g < columnGroups; ++g) {
                    std::vector<size_t> columns;
                    std::vector<TestCell> cells;
                    for (size_t k : compared) {
                        columns.push_back(g * innerColumns + k);
                        cells.push_back(ReadTestCell(KeyOf(dimCats, layer, row, columns.back())));
                    }
                    if (tests.proportions.on)
                        RunPairTest(out, tests.proportions, TestKind::Proportions, cells, layer, row, columns);
                    if (tests.means.on) RunPairTest(out, tests.means, TestKind::Means, cells, layer, row, columns);
                }
            }
        }
        if (tests.chiSquare && rowsTested) {
            const size_t innerRows = dimCats[nr - 1].size();
            for (size_t r = 0; r < _rowCombos.size(); r += innerRows)
                for (size_t c = 0; c < _colCombos.size(); c += innerColumns) ChiSquare(out, dimCats, layer, r, c);
        }
    }
    if (tests.proportions.on || tests.means.on)
        for (size_t i = 0; i < compared.size(); ++i) inner[compared[i]].letter = significance::Letter(i);
}

void Reader::RunPairTest(ResultTable& out, const PairTest& test, TestKind kind, const std::vector<TestCell>& cells,
                         size_t layer, size_t row, const std::vector<size_t>& columns)
{
    // The proportion (x of n) each compared column shows under the test's base.
    auto proportion = [&test](const TestCell& c) -> std::pair<double, double> {
        switch (test.base) {
        case ProportionBase::Unweighted: return {c.ucount, c.ubase};
        case ProportionBase::Effective: {
            const double n = c.baseSquares > 0.0 ? c.base * c.base / c.baseSquares : c.base;
            return {c.base > 0.0 ? c.count / c.base * n : 0.0, n};
        }
        case ProportionBase::Weighted: break;
        }
        return {c.count, c.base};
    };
    struct Tested {
        size_t i, j;
        significance::Outcome outcome;
    };
    std::vector<Tested> done;
    for (const auto& [i, j] : significance::Pairs(cells.size(), test.compare)) {
        significance::Outcome o;
        if (kind == TestKind::Proportions) {
            const auto [xi, ni] = proportion(cells[i]);
            const auto [xj, nj] = proportion(cells[j]);
            o = significance::Proportions(xi, ni, xj, nj);
        } else {
            o = significance::Means(cells[i].summary, cells[j].summary, test.pooled);
        }
        if (o.tested) done.push_back({i, j, o});
    }
    // Each column's letters of the columns it is significantly greater than.
    std::vector<std::vector<size_t>> greater(cells.size());
    const double m = static_cast<double>(done.size());
    for (const Tested& t : done) {
        TestRecord r;
        r.kind = kind;
        r.layers = _layerCombos[layer];
        r.rows = _rowCombos[row];
        r.columns = _colCombos[columns[t.i]];
        r.versus = _colCombos[columns[t.j]];
        r.statistic = t.outcome.statistic;
        r.df = t.outcome.df;
        r.pValue = t.outcome.p;
        r.adjustedPValue = test.adjust == Adjust::Bonferroni ? std::min(1.0, t.outcome.p * m) : t.outcome.p;
        r.significant = r.adjustedPValue < test.alpha;
        if (r.significant) {
            if (r.statistic > 0.0) greater[t.i].push_back(t.j);
            else greater[t.j].push_back(t.i);
        }
        out.tests.push_back(std::move(r));
    }
    for (size_t a = 0; a < cells.size(); ++a) {
        if (greater[a].empty()) continue;
        std::sort(greater[a].begin(), greater[a].end());
        std::vector<std::string> letters;
        for (size_t b : greater[a]) letters.push_back(significance::Letter(b));
        const size_t at = (layer * _rowCombos.size() + row) * _colCombos.size() + columns[a];
        for (size_t c = _spans[at]; c < _spans[at + 1]; ++c) {
            ResultCell& cell = out.cells[c];
            const int code = out.statistics[static_cast<size_t>(cell.statistic)].code;
            const bool marks = kind == TestKind::Means
                                   ? code == TEC::kMean
                                   : stats::IsCount(code) || stats::PercentBaseType(code) >= 0;
            if (marks) cell.significantOver = letters;
        }
    }
}

// Pearson's chi-square over the weighted counts of the value categories of
// the innermost row and column variables in one sub-table.
void Reader::ChiSquare(ResultTable& out, const std::vector<Key>& dimCats, size_t layer, size_t firstRow,
                       size_t firstColumn)
{
    const size_t nr = _build.rows.size(), nc = _build.columns.size();
    const std::vector<ResultCategory>& rowCats = out.rows[0].back().categories;
    const std::vector<ResultCategory>& colCats = out.columns[0].back().categories;
    std::vector<std::vector<double>> counts;
    for (size_t r = 0; r < rowCats.size(); ++r) {
        if (rowCats[r].kind != CategoryKind::Value) continue;
        counts.emplace_back();
        for (size_t c = 0; c < colCats.size(); ++c)
            if (colCats[c].kind == CategoryKind::Value)
                counts.back().push_back(ReadTestCell(KeyOf(dimCats, layer, firstRow + r, firstColumn + c)).count);
    }
    const significance::Outcome o = significance::ChiSquare(counts);
    if (!o.tested) return;
    TestRecord rec;
    rec.kind = TestKind::ChiSquare;
    rec.layers = _layerCombos[layer];
    rec.rows.assign(_rowCombos[firstRow].begin(), _rowCombos[firstRow].begin() + static_cast<long>(nr - 1));
    rec.columns.assign(_colCombos[firstColumn].begin(), _colCombos[firstColumn].begin() + static_cast<long>(nc - 1));
    rec.statistic = o.statistic;
    rec.df = o.df;
    rec.pValue = o.p;
    rec.significant = o.p < _build.request->tests.chiSquareAlpha;
    out.tests.push_back(std::move(rec));
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
    // Tests, layer by layer, then sub-table by sub-table as read.
    std::vector<std::pair<std::vector<int>, TestRecord>> tests;
    for (size_t p = 0; p < parts.size(); ++p) {
        for (TestRecord& r : parts[p].tests) {
            r.rowElement = p / columnElements;
            r.columnElement = p % columnElements;
            tests.emplace_back(r.layers, std::move(r));
        }
        parts[p].tests.clear();
    }
    std::stable_sort(tests.begin(), tests.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    if (parts.size() == 1) {
        for (auto& t : tests) parts[0].tests.push_back(std::move(t.second));
        return std::move(parts[0]);
    }
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
    for (auto& t : tests) out.tests.push_back(std::move(t.second));
    return out;
}

ResultTable ReadTable(const TableBuilder& builder, const TableBuild& build, const MemoryLimit& limit)
{
    return Reader(builder, build, limit).Read();
}

}  // namespace kvtables
