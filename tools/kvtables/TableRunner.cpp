#include "TableRunner.h"

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <memory>

#include "AggregationCategory.h"
#include "AggregationCube.h"
#include "AggregationMCSet.h"
#include "AggregationMDSet.h"
#include "AggregationStatistic.h"
#include "AggregationTable.h"
#include "AggregationVariable.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "CsvLoader.h"
#include "CubeAggregator.h"
#include "CubeMetadata.h"
#include "HostError.h"
#include "ParsedCategory.h"
#include "StatValues.h"
#include "TableDimension.h"
#include "Terminal.h"
#include "UserError.h"
#include "VESK_ValueLabelMap.h"

namespace kvtables {

namespace {

namespace TEC = TableEncryptionCodes;

// A value as the engine stores it: one word for a number, blank-padded words
// for a string of `width` bytes.
std::vector<OBS> MakeValue(const Literal& v, int width)
{
    std::vector<OBS> words(static_cast<size_t>(ObsWords(width)));
    if (width <= 0) {
        words[0].num = v.number;
        return words;
    }
    char* bytes = words[0].str;
    std::memset(bytes, ' ', words.size() * sizeof(OBS));
    std::memcpy(bytes, v.text.data(), std::min(v.text.size(), static_cast<size_t>(width)));
    return words;
}

std::string TrimRight(std::string s)
{
    while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
    return s;
}

AggregationStatistic MakeStatistic(const StatisticRequest& s, int varIndex)
{
    AggregationStatistic stat(varIndex, static_cast<TEC::StatisticCodes>(s.code));
    if (s.cut) stat.SetPTileCutPoint(*s.cut);
    if (s.lower) stat.SetLowerLimit(*s.lower);
    if (s.upper) stat.SetUpperLimit(*s.upper);
    if (s.level) stat.SetCIMedian(*s.level);
    return stat;
}

bool SameRequest(const StatisticRequest& a, const StatisticRequest& b)
{
    return a.code == b.code && a.cut == b.cut && a.lower == b.lower && a.upper == b.upper && a.level == b.level;
}

// The percentage base type (0 to 6) of a percentage whose base is a group of
// cells, or -1 (counts, summary statistics, within-cell percentages).
int PercentBaseType(int code)
{
    const std::string name = AggregationStatistic::GetStatisticName(code);
    const size_t pos = name.find("Pct");
    if (pos == std::string::npos || pos == 0 || pos + 3 >= name.size()) return -1;
    const char digit = name[pos + 3];
    if (digit < '0' || digit > '6') return -1;
    // Only the value itself, not its limits or standard error.
    return name.size() == pos + 4 ? digit - '0' : -1;
}

// What one table request became in the engine.
struct TableBuild {
    const TableRequest* request = nullptr;
    AggregationCube* cube = nullptr;
    // One description per axis entry, rows then columns then layers.
    std::vector<std::unique_ptr<AggregationVariable>> descriptions;
    std::vector<AggregationVariable*> rows, columns, layers;
    std::vector<const AxisEntry*> rowEntries, columnEntries, layerEntries;
    AggregationVariable* statisticsVariable = nullptr;
    std::vector<StatisticRequest> shown;           // statistics then the extra total statistics
    std::vector<int> cellStats, totalStats;        // indices into `shown`, in the engine's order
    bool scale = false;
};

class Runner {
public:
    Runner(const Request& request, VESK_InputCaseIterator& cases)
        : _request(request), _cases(cases), _source(cases.GetDataSource())
    {
    }

    ResultSet Run(Progress* progress);

private:
    AggregationVariable* Describe(TableBuild& build, const AxisEntry& entry);
    void SetItems(AggregationVariable& desc, const AxisEntry& entry, const CategoryOptions& options);
    void BuildCube(TableBuild& build);
    void SetSorting(TableBuild& build);
    long long Feed(Progress* progress);
    ResultTable Read(TableBuild& build);
    ResultAxisVariable ReadAxis(AggregationVariable* desc, const AxisEntry& entry,
                                std::vector<const AggregationCategory*>& categories);
    bool BaseHasCases(const TableBuild& build, const std::vector<const AggregationCategory*>& key, int baseType);

    const Request& _request;
    VESK_InputCaseIterator& _cases;
    VESK_DataSource& _source;
    std::unique_ptr<AggregationTable> _table;
    std::vector<std::unique_ptr<ParsedCategory>> _parsed;   // alive as long as the table
    std::vector<std::unique_ptr<std::vector<OBS>>> _counted;  // counted values of dichotomy sets
    std::vector<TableBuild> _builds;
};

AggregationVariable* Runner::Describe(TableBuild& build, const AxisEntry& entry)
{
    const CategoryOptions& options = build.request->CategoriesOf(entry.name);
    std::unique_ptr<AggregationVariable> desc;
    if (!entry.IsSet()) {
        desc = std::make_unique<AggregationVariable>(entry.varIndex, entry.name);
        desc->SetLabel(_source.GetVariable(entry.varIndex)->GetLabel());
    } else {
        const SetDef& set = _request.sets[static_cast<size_t>(entry.setIndex)];
        if (set.type == SetType::Categories) {
            auto mc = std::make_unique<AggregationMCSet>(set.indices, set.name);
            mc->SetUserMissingVariable(set.missingVariableIndex);
            desc = std::move(mc);
        } else {
            const int width = set.valueType > 0 ? set.valueType : 0;
            _counted.push_back(std::make_unique<std::vector<OBS>>(MakeValue(set.countedValue, width)));
            desc = std::make_unique<AggregationMDSet>(set.indices, set.name, _counted.back()->data(), width,
                                                      set.labelSource == LabelSource::CountedValueLabel);
        }
        desc->SetLabel(set.label);
    }
    desc->SetIsOrderA(options.ascending);
    switch (options.sortBy) {
    case SortBy::Value: desc->SetSortKey(TEC::kValueSort); break;
    case SortBy::Label: desc->SetSortKey(TEC::kLabelSort); break;
    case SortBy::None: desc->SetSortKey(TEC::kNoSort); break;
    case SortBy::Statistic:
        desc->SetSortKey(TEC::kStatisticSort);
        desc->SetSortInfo(static_cast<TEC::StatisticCodes>(options.sortStatistic),
                          stats::NeedsSummary(options.sortStatistic) ? build.request->summaryIndex : entry.varIndex);
        break;
    }
    desc->SetIsTotalNo(!options.total);
    desc->SetTotalLabel(options.totalLabel);
    desc->SetIsTotalLabelDefault(options.totalLabelDefault);
    desc->SetIsTotalPositionAfter(options.totalAfter);
    desc->SetIsEmptyInclude(options.emptyInclude);
    desc->SetIsMissingExclude(options.missingExclude);
    SetItems(*desc, entry, options);
    build.descriptions.push_back(std::move(desc));
    return build.descriptions.back().get();
}

void Runner::SetItems(AggregationVariable& desc, const AxisEntry& entry, const CategoryOptions& options)
{
    if (options.items.empty()) return;
    int width = 0;
    if (entry.IsSet()) width = std::max(0, _request.sets[static_cast<size_t>(entry.setIndex)].valueType);
    else width = _source.GetVariable(entry.varIndex)->GetType();
    std::vector<ParsedCategory*> list;
    int nextSubtotal = TEC::kMaxSubtotal;  // unique per variable: -101, -102, ...
    for (const CategoryItem& item : options.items) {
        std::unique_ptr<ParsedCategory> p;
        switch (item.kind) {
        case ItemKind::Value: {
            auto v = MakeValue(item.value, width);
            p = std::make_unique<ParsedCategory>(v[0], width);
            break;
        }
        case ItemKind::Range: {
            if (item.openLow && item.openHigh) {
                p = std::make_unique<ParsedCategory>(ParsedCategory::kLoHiRange);
            } else if (item.openLow) {
                auto hi = MakeValue(item.high, width);
                p = std::make_unique<ParsedCategory>(hi[0], width, ParsedCategory::kLoRange);
            } else if (item.openHigh) {
                auto lo = MakeValue(item.value, width);
                p = std::make_unique<ParsedCategory>(lo[0], width, ParsedCategory::kHiRange);
            } else {
                auto lo = MakeValue(item.value, width);
                auto hi = MakeValue(item.high, width);
                p = std::make_unique<ParsedCategory>(lo[0], hi[0], width);
            }
            break;
        }
        case ItemKind::Missing: p = std::make_unique<ParsedCategory>(ParsedCategory::kMissing); break;
        case ItemKind::Other: p = std::make_unique<ParsedCategory>(ParsedCategory::kOtherNM); break;
        case ItemKind::Subtotal:
        case ItemKind::HiddenSubtotal:
            p = std::make_unique<ParsedCategory>(item.label, item.label.empty(), nextSubtotal--,
                                                 item.kind == ItemKind::Subtotal);
            break;
        case ItemKind::Variable:
            p = std::make_unique<ParsedCategory>(ParsedCategory::kVariable);
            p->SetVarIndex(item.varIndex);
            break;
        }
        list.push_back(p.get());
        _parsed.push_back(std::move(p));
    }

    // The engine finds a value's subtotal through the item that holds the
    // value, so each item carries the encoding of the subtotal that adds it
    // up: the next subtotal written after it when the total comes after, the
    // nearest one before it when the total comes before (the engine places and
    // hides subtotal categories by the same rule).
    int covering = 0;
    auto cover = [&covering](ParsedCategory* item) {
        ParsedCategory::ParsedCatType type = item->GetCatType();
        if (type == ParsedCategory::kSubtotal || type == ParsedCategory::kHSubtotal) covering = item->GetSubtotalEncoding();
        else item->SetSubtotalEncoding(covering);
    };
    if (options.totalAfter) std::for_each(list.rbegin(), list.rend(), cover);
    else std::for_each(list.begin(), list.end(), cover);
    desc.SetParsedCategories(list);
}

void Runner::BuildCube(TableBuild& build)
{
    const TableRequest& t = *build.request;
    for (const AxisEntry& e : t.rows) build.rowEntries.push_back(&e), build.rows.push_back(Describe(build, e));
    for (const AxisEntry& e : t.columns) build.columnEntries.push_back(&e), build.columns.push_back(Describe(build, e));
    for (const AxisEntry& e : t.layers) build.layerEntries.push_back(&e), build.layers.push_back(Describe(build, e));
    const std::vector<const AxisEntry*> entries = t.AllEntries();
    for (size_t i = 0; i < entries.size(); ++i)
        if (entries[i]->name == t.statisticsVariable) build.statisticsVariable = build.descriptions[i].get();

    build.cube = _table->CreateCube();
    for (AggregationVariable* v : build.rows) build.cube->AddCategoricalVariable(v, TEC::kRow);
    for (AggregationVariable* v : build.columns) build.cube->AddCategoricalVariable(v, TEC::kColumn);
    for (AggregationVariable* v : build.layers) build.cube->AddCategoricalVariable(v, TEC::kLayer);
    build.cube->CreateCubeAggregator();

    build.shown = t.statistics;
    for (const StatisticRequest& s : t.totalStatistics) {
        if (std::none_of(build.shown.begin(), build.shown.end(),
                         [&](const StatisticRequest& x) { return SameRequest(x, s); }))
            build.shown.push_back(s);
    }
    auto indexOf = [&](const StatisticRequest& s) {
        for (size_t i = 0; i < build.shown.size(); ++i)
            if (SameRequest(build.shown[i], s)) return static_cast<int>(i);
        return -1;
    };

    build.scale = t.summaryIndex >= 0;
    auto listed = [](const std::vector<StatisticRequest>& list, const StatisticRequest& s) {
        return std::any_of(list.begin(), list.end(), [&](const StatisticRequest& x) { return SameRequest(x, s); });
    };
    std::vector<AggregationStatistic> stats;
    if (build.scale) {
        // Scale cubes know no separate statistics for totals: the cube
        // computes every statistic shown anywhere, and reading picks the
        // totals' list on total and subtotal cells.
        const bool separate = !t.totalStatistics.empty();
        for (size_t i = 0; i < build.shown.size(); ++i) {
            stats.push_back(MakeStatistic(build.shown[i], t.summaryIndex));
            const int shownIndex = static_cast<int>(i);
            build.cellStats.push_back(!separate || listed(t.statistics, build.shown[i]) ? shownIndex : -1);
            build.totalStats.push_back(!separate || listed(t.totalStatistics, build.shown[i]) ? shownIndex : -1);
        }
        // The engine deletes listwise within a cube, over the variables of
        // the cube's statistics. The request means every summary variable of
        // the request, so each summary table also asks (without showing it)
        // for the valid N of the others.
        if (_request.missing == MissingMode::Listwise) {
            std::vector<int> others;
            for (const TableRequest& o : _request.tables)
                if (o.summaryIndex >= 0 && o.summaryIndex != t.summaryIndex &&
                    std::find(others.begin(), others.end(), o.summaryIndex) == others.end())
                    others.push_back(o.summaryIndex);
            for (int v : others) {
                stats.emplace_back(v, TEC::kValidN);
                build.cellStats.push_back(-1);
                build.totalStats.push_back(-1);
            }
        }
        build.cube->AddScaleStatistics(stats);
    } else {
        for (const StatisticRequest& s : t.statistics) {
            stats.push_back(MakeStatistic(s, -1));
            build.cellStats.push_back(indexOf(s));
        }
        if (t.totalStatistics.empty()) {
            build.cube->AddCategoryStatistics(stats, build.statisticsVariable);
        } else {
            std::vector<AggregationStatistic> totals;
            for (const StatisticRequest& s : t.totalStatistics) totals.push_back(MakeStatistic(s, -1));
            build.cube->AddCategoryAndTotalStatistics(stats, build.statisticsVariable, totals);
        }
        // The total cells' layout, read back from the engine: it may leave
        // out total statistics that the cells compute already.
        const CubeAggregator* agg = build.cube->GetCubeAggregator();
        if (agg->GetTotalStats() != agg->GetCellStats()) {
            const CellStatistics& layout = *agg->GetTotalStats();
            for (int i = 0; i < layout.GetNumStatistics(); ++i) {
                const AggregationStatistic& a = layout.GetStatistic(i);
                int found = -1;
                for (const StatisticRequest& s : t.totalStatistics)
                    if (a.IsSame(MakeStatistic(s, -1), true)) found = indexOf(s);
                build.totalStats.push_back(found);
            }
        } else {
            build.totalStats = build.cellStats;
        }
    }
    build.cube->SetCILevel(_request.ciLevel);

    for (size_t i = 0; i < entries.size(); ++i) {
        if (!entries[i]->IsSet()) continue;
        const SetDef& set = _request.sets[static_cast<size_t>(entries[i]->setIndex)];
        if (set.type == SetType::Categories && set.countDuplicates)
            build.descriptions[i]->GetTableDimension()->SetComputingCounts(true);
    }
}

void Runner::SetSorting(TableBuild& build)
{
    for (auto& desc : build.descriptions) {
        if (desc->GetSortKey() != TEC::kStatisticSort) continue;
        TableDimension* dim = desc->GetTableDimension();
        const auto code = desc->GetSortStatistic();
        if (stats::NeedsSummary(code))
            dim->SetSortByScaleStats(*_table->GetTableMetaData(), AggregationStatistic(build.request->summaryIndex, code));
        else
            dim->SetSortByDimensionStats(*_table->GetTableMetaData(), nullptr, AggregationStatistic(code));
    }
}

long long Runner::Feed(Progress* progress)
{
    long long skipped = 0;
    const int w = _request.weightIndex;
    const VESK_Variable* weight = w >= 0 ? _source.GetVariable(w) : nullptr;
    const auto* csv = dynamic_cast<const CsvCaseIterator*>(&_cases);
    unsigned long long n = 0;
    try {
        while (_cases.Next()) {
            if (weight) {
                const OBS* v = _cases.GetValue(w);
                if (v->num == -DBL_MAX || weight->IsMissing(v) || !(v->num > 0.0)) {
                    ++skipped;
                    continue;
                }
            }
            _table->AddNewCase();
            if (progress && csv && (++n & 0xfff) == 0) progress->Update(static_cast<std::uint64_t>(csv->GetLine()));
        }
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
    if (progress) progress->Finish();
    _table->CompleteCases();
    return skipped;
}

ResultAxisVariable Runner::ReadAxis(AggregationVariable* desc, const AxisEntry& entry,
                                    std::vector<const AggregationCategory*>& categories)
{
    ResultAxisVariable axis;
    axis.name = entry.name;
    axis.label = desc->GetLabel();
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

ResultTable Runner::Read(TableBuild& build)
{
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
    readAxis(build.rows, build.rowEntries, out.rows);
    readAxis(build.columns, build.columnEntries, out.columns);
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
        rs.decimals = DisplayDecimals(s.code, weightDecimals, summaryDecimals);
        out.statistics.push_back(rs);
    }

    auto sizesOf = [&](size_t first, size_t count) {
        std::vector<size_t> sizes;
        for (size_t i = first; i < first + count; ++i) sizes.push_back(dimCats[i].size());
        return sizes;
    };
    const size_t nr = build.rows.size(), nc = build.columns.size(), nl = build.layers.size();
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
                    } else if (stats::IsCount(code)) {
                        cell.value = 0.0;
                    } else {
                        const int base = PercentBaseType(code);
                        if (base >= 0 && BaseHasCases(build, key, base)) cell.value = 0.0;
                    }
                    out.cells.push_back(std::move(cell));
                }
            }
        }
    }
    return out;
}

// Whether the percentage base of type `baseType` that the cell `key` belongs
// to holds any case: some cell that agrees with it on the base's dimensions exists.
bool Runner::BaseHasCases(const TableBuild& build, const std::vector<const AggregationCategory*>& key, int baseType)
{
    CubeMetadata metadata = *build.cube->GetCubeMetadata();
    metadata.SetClabelOption(_request.labelOption);
    std::vector<int> dims;
    metadata.GetPercentBase(dims, baseType);
    // Every other dimension is replaced by its total when it has one;
    // otherwise each of its categories is tried.
    std::vector<std::vector<const AggregationCategory*>> choices(key.size());
    size_t d = 0;
    for (auto* v : {&build.rows, &build.columns, &build.layers}) {
        for (AggregationVariable* var : *v) {
            if (std::find(dims.begin(), dims.end(), static_cast<int>(d)) != dims.end()) {
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
    CubeAggregator* agg = build.cube->GetCubeAggregator();
    std::vector<const AggregationCategory*> probe(key.size());
    for (const auto& combo : Combinations(sizes)) {
        for (size_t i = 0; i < probe.size(); ++i) probe[i] = choices[i][static_cast<size_t>(combo[i])];
        if (agg->GetCellStatus(probe, -1)) return true;
    }
    return false;
}

ResultSet Runner::Run(Progress* progress)
{
    _table = std::make_unique<AggregationTable>(_cases, _request.weightIndex >= 0,
                                                _request.missing != MissingMode::Listwise, _request.weightIndex);
    _table->SetCLabelOption(_request.labelOption);
    _builds.resize(_request.tables.size());
    for (size_t i = 0; i < _request.tables.size(); ++i) {
        _builds[i].request = &_request.tables[i];
        BuildCube(_builds[i]);
    }
    for (TableBuild& b : _builds) SetSorting(b);

    ResultSet result;
    result.skippedCases = Feed(progress);
    for (TableBuild& b : _builds) result.tables.push_back(Read(b));
    return result;
}

}  // namespace

ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, Progress* progress)
{
    Runner runner(request, cases);
    return runner.Run(progress);
}

}  // namespace kvtables
