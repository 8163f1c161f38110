#include "TableBuilder.h"

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <cstring>

#include "AggregationCube.h"
#include "AggregationMCSet.h"
#include "AggregationMDSet.h"
#include "AggregationStatistic.h"
#include "CellStatistics.h"
#include "CsvLoader.h"
#include "CubeAggregator.h"
#include "HashtablePair.h"
#include "CaseCombiner.h"
#include "DataAccess.h"
#include "HostError.h"
#include "KvAssert.h"
#include "ResultSet.h"
#include "TableDimension.h"
#include "TableState.h"
#include "UserError.h"

namespace kvtables {

namespace {

namespace TEC = TableEncryptionCodes;

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

}  // namespace

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

// The data with one variable more, a constant that every case holds: a total
// element of a stacked axis is a dimension over it with a single category,
// so that its sub-tables are computed exactly as tables of their own. The
// variable lives in a copy of the dictionary; the data are not touched.
class TotalVariableCases : public ProcDSIterator {
public:
    explicit TotalVariableCases(VESK_InputCaseIterator& cases)
        : _cases(cases), _weighted(dynamic_cast<const ProcDSIterator*>(&cases))
    {
        const VESK_DataSource& source = cases.GetDataSource();
        for (int i = 0; i < source.GetNumVariables(); ++i)
            _source.AddVariable(std::make_unique<VESK_Variable>(*source.GetVariable(i)));
        // A NUL cannot stand in a column's name: the name is nobody's.
        _index = _source.AddVariable(std::make_unique<VESK_Variable>(std::string("\0total", 6), 0));
        _one.num = 1.0;
    }

    int TotalIndex() const { return _index; }
    const OBS* GetValue(int varIndex) const override { return varIndex == _index ? &_one : _cases.GetValue(varIndex); }
    VESK_DataSource& GetDataSource() const override { return _source; }
    bool Next() override { return _cases.Next(); }
    bool Rewind() override { return _cases.Rewind(); }
    double Weight() const override { return _weighted ? _weighted->Weight() : 1.0; }

private:
    VESK_InputCaseIterator& _cases;
    const ProcDSIterator* _weighted;  // the wrapped iterator's weight, when it knows one
    mutable VESK_DataSource _source;
    int _index = -1;
    OBS _one;
};

TableBuilder::TableBuilder(const Request& request, VESK_InputCaseIterator& cases)
    : _request(request), _cases(cases), _source(cases.GetDataSource())
{
    size_t subTables = 0;
    bool totals = false;
    for (const TableRequest& t : _request.tables) {
        subTables += t.rows.size() * t.columns.size();
        for (const auto* axis : {&t.rows, &t.columns})
            for (const StackElement& e : *axis) totals = totals || e.total;
    }
    if (totals) _withTotal = std::make_unique<TotalVariableCases>(_cases);
    VESK_InputCaseIterator& data = _withTotal ? static_cast<VESK_InputCaseIterator&>(*_withTotal) : _cases;
    // Tables of counts only can take identical cases summed; a summary
    // variable's means and medians cannot.
    const bool counts = std::none_of(_request.tables.begin(), _request.tables.end(),
                                     [](const TableRequest& t) { return t.summaryIndex >= 0; });
    if (counts) {
        std::vector<int> used;
        for (const std::string& name : NamesUsed(_request))
            if (int v = _source.FindVariable(name); v >= 0) used.push_back(v);
        if (_withTotal) used.push_back(_withTotal->TotalIndex());
        _combiner = std::make_unique<CaseCombiner>(data, used, _request.weightIndex);
    }
    VESK_InputCaseIterator& fed = _combiner ? static_cast<VESK_InputCaseIterator&>(*_combiner) : data;
    _table = std::make_unique<AggregationTable>(fed, _request.weightIndex >= 0,
                                                _request.missing != MissingMode::Listwise, _request.weightIndex);
    _table->SetCLabelOption(_request.labelOption);
    // Builds hold pointers into themselves (their total entries): no
    // reallocation once the first is built.
    _builds.reserve(subTables);
    for (size_t i = 0; i < _request.tables.size(); ++i) {
        const TableRequest& t = _request.tables[i];
        for (size_t r = 0; r < t.rows.size(); ++r) {
            for (size_t c = 0; c < t.columns.size(); ++c) {
                _builds.emplace_back();
                TableBuild& b = _builds.back();
                b.request = &t;
                b.table = i;
                b.rowElement = r;
                b.columnElement = c;
                BuildCube(b);
            }
        }
    }
    KV_ASSERT(_builds.size() == subTables);
    for (TableBuild& b : _builds) SetSorting(b);
    if (_combiner && !_table->CountsOnly()) _combiner->PassThrough();
}

TableBuilder::~TableBuilder() = default;

void TableBuilder::PassCasesThrough()
{
    if (_combiner) _combiner->PassThrough();
}

// A total element's one category: the value every case holds.
static const CategoryOptions& TotalOptions()
{
    static const CategoryOptions options = [] {
        CategoryOptions o;
        o.items.push_back(CategoryItem{});
        o.items[0].value = Literal::Number(1.0);
        return o;
    }();
    return options;
}

AggregationVariable* TableBuilder::Describe(TableBuild& build, const AxisEntry& entry)
{
    const bool total = entry.name.empty();
    const CategoryOptions& options = total ? TotalOptions() : build.request->CategoriesOf(entry.name);
    std::unique_ptr<AggregationVariable> desc;
    if (total) {
        desc = std::make_unique<AggregationVariable>(entry.varIndex, entry.name);
    } else if (!entry.IsSet()) {
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
    desc->SetIsTotalNo(!options.total && !options.NeedsTotal());
    desc->SetTotalLabel(options.totalLabel);
    desc->SetIsTotalLabelDefault(options.totalLabelDefault);
    desc->SetIsTotalPositionAfter(options.totalAfter);
    desc->SetIsEmptyInclude(options.emptyInclude);
    desc->SetIsMissingExclude(options.missingExclude);
    SetItems(*desc, entry, options);
    build.descriptions.push_back(std::move(desc));
    return build.descriptions.back().get();
}

void TableBuilder::SetItems(AggregationVariable& desc, const AxisEntry& entry, const CategoryOptions& options)
{
    if (options.items.empty()) return;
    int width = 0;
    if (entry.IsSet()) width = std::max(0, _request.sets[static_cast<size_t>(entry.setIndex)].valueType);
    else if (!entry.name.empty()) width = _source.GetVariable(entry.varIndex)->GetType();
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
        case ItemKind::Computed:
            // Named by its JSON path, unique in the request, so that reading
            // finds the item (and its formula) of each computed category.
            p = std::make_unique<ParsedCategory>(
                item.path, std::vector<std::string>{item.label.empty() ? item.formula.Text() : item.label},
                item.label.empty(), std::vector<TEC::StatisticCodes>{}, std::vector<TEC::DisplayFormat>{},
                std::vector<const VESK_Format*>{}, ParsedCategory::kPCompute, entry.varIndex);
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
        else if (type != ParsedCategory::kPCompute) item->SetSubtotalEncoding(covering);
    };
    if (options.totalAfter) std::for_each(list.rbegin(), list.rend(), cover);
    else std::for_each(list.begin(), list.end(), cover);
    desc.SetParsedCategories(list);
}

void TableBuilder::BuildCube(TableBuild& build)
{
    const TableRequest& t = *build.request;
    auto entriesOf = [&](const StackElement& element, AxisEntry& total) {
        std::vector<const AxisEntry*> list;
        if (element.total) {
            total = AxisEntry{element.path, {}, _withTotal->TotalIndex(), -1};
            list.push_back(&total);
        }
        for (const AxisEntry& e : element.nest) list.push_back(&e);
        return list;
    };
    build.rowEntries = entriesOf(t.rows[build.rowElement], build.rowTotal);
    build.columnEntries = entriesOf(t.columns[build.columnElement], build.columnTotal);
    for (const AxisEntry& e : t.layers) build.layerEntries.push_back(&e);
    for (const AxisEntry* e : build.rowEntries) build.rows.push_back(Describe(build, *e));
    for (const AxisEntry* e : build.columnEntries) build.columns.push_back(Describe(build, *e));
    for (const AxisEntry* e : build.layerEntries) build.layers.push_back(Describe(build, *e));
    std::vector<const AxisEntry*> entries = build.rowEntries;
    entries.insert(entries.end(), build.columnEntries.begin(), build.columnEntries.end());
    entries.insert(entries.end(), build.layerEntries.begin(), build.layerEntries.end());
    // The statistics go on the variable the request names when the sub-table
    // has it, else on the first set, else on the innermost row, else on the
    // innermost column (a total element counts as a variable here).
    auto pick = [&](auto&& accept) {
        for (size_t i = 0; i < entries.size(); ++i)
            if (accept(*entries[i])) return build.descriptions[i].get();
        return static_cast<AggregationVariable*>(nullptr);
    };
    build.statisticsVariable = pick([&](const AxisEntry& e) { return e.name == t.statisticsVariable && !e.name.empty(); });
    if (!build.statisticsVariable) build.statisticsVariable = pick([](const AxisEntry& e) { return e.IsSet(); });
    if (!build.statisticsVariable)
        build.statisticsVariable = build.rows.empty() ? build.columns.back() : build.rows.back();

    build.cube = _table->CreateCube();
    for (AggregationVariable* v : build.rows) build.cube->AddCategoricalVariable(v, TEC::kRow);
    for (AggregationVariable* v : build.columns) build.cube->AddCategoricalVariable(v, TEC::kColumn);
    for (AggregationVariable* v : build.layers) build.cube->AddCategoricalVariable(v, TEC::kLayer);
    build.cube->CreateCubeAggregator();
    SetStatistics(build);

    for (size_t i = 0; i < entries.size(); ++i) {
        if (!entries[i]->IsSet()) continue;
        const SetDef& set = _request.sets[static_cast<size_t>(entries[i]->setIndex)];
        if (set.type == SetType::Categories && set.countDuplicates)
            build.descriptions[i]->GetTableDimension()->SetComputingCounts(true);
    }
}

void TableBuilder::SetStatistics(TableBuild& build)
{
    const TableRequest& t = *build.request;
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
        for (const AggregationStatistic& hidden : TestStatistics(build, stats)) {
            stats.push_back(hidden);
            build.cellStats.push_back(-1);
            build.totalStats.push_back(-1);
        }
        build.cube->AddScaleStatistics(stats);
    } else {
        for (const StatisticRequest& s : t.statistics) {
            stats.push_back(MakeStatistic(s, -1));
            build.cellStats.push_back(indexOf(s));
        }
        for (const AggregationStatistic& hidden : TestStatistics(build, stats)) {
            stats.push_back(hidden);
            build.cellStats.push_back(-1);
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
}

// What the significance tests read that the table may not show: the base of
// column percentages (proportions) and each cell's weighted valid N, mean and
// variance of the summary (means). The positions of the latter are noted.
std::vector<AggregationStatistic> TableBuilder::TestStatistics(TableBuild& build,
                                                               const std::vector<AggregationStatistic>& stats) const
{
    const TableRequest& t = *build.request;
    const int var = build.scale ? t.summaryIndex : -1;
    std::vector<AggregationStatistic> hidden;
    auto kept = [&](TEC::StatisticCodes code) {
        const AggregationStatistic wanted(var, code);
        for (size_t i = 0; i < stats.size(); ++i)
            if (stats[i].IsSame(wanted, true)) return static_cast<int>(i);
        hidden.push_back(wanted);
        return static_cast<int>(stats.size() + hidden.size() - 1);
    };
    if (t.tests.proportions.on &&
        std::none_of(stats.begin(), stats.end(), [](const AggregationStatistic& a) {
            return stats::PercentBaseType(a.GetSummaryStatistic()) == 1;
        }))
        kept(TEC::kCountPct1);
    if (t.tests.means.on) build.meanSlots = {kept(TEC::kValidN), kept(TEC::kMean), kept(TEC::kVariance)};
    return hidden;
}

void TableBuilder::SetSorting(TableBuild& build)
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

long long TableBuilder::Feed(ProgressSink* progress, const MemoryLimit& limit)
{
    FeedPart(progress, limit);
    Complete();
    return _skipped;
}

void TableBuilder::FeedPart(ProgressSink* progress, const MemoryLimit& limit)
{
    long long skipped = 0;
    const int w = _request.weightIndex;
    const VESK_Variable* weight = w >= 0 ? _source.GetVariable(w) : nullptr;
    const auto* csv = dynamic_cast<const CsvCaseIterator*>(&_cases);
    unsigned long long n = 0;
    HeapWatch heap(limit);
    try {
        auto replay = [this] { _combiner->Replay([this] { _table->AddNewCase(); }); };
        while (_cases.Next()) {
            double caseWeight = 1.0;
            if (weight) {
                const OBS* v = _cases.GetValue(w);
                if (v->num == -DBL_MAX || weight->IsMissing(v) || !(v->num > 0.0)) {
                    ++skipped;
                    continue;
                }
                caseWeight = v->num;
            }
            if (!_combiner || _combiner->IsPassingThrough()) _table->AddNewCase();
            else if (!_combiner->Add(caseWeight)) replay();
            ++n;
            if (progress && csv && (n & 0xfff) == 0) progress->Update(static_cast<std::uint64_t>(csv->GetLine()));
            if (heap.Exceeded()) OutOfMemory(limit, n, false);
        }
        if (_combiner && !_combiner->IsPassingThrough()) replay();
    } catch (const CsvTypeContradicted&) {
        throw;  // for the caller that runs again over the data typed from the whole file
    } catch (const HostError& e) {
        throw UserError(e.what());
    } catch (const std::bad_alloc&) {
        // The limit was set above what the machine could give (or one case
        // asked for more than the rest of it): the same answer, said so.
        OutOfMemory(limit, n, true);
    }
    if (progress) progress->Finish();
    _skipped += skipped;
}

void TableBuilder::Complete() { _table->CompleteCases(); }

void TableBuilder::Merge(const TableBuilder& other)
{
    _table->Merge(*other._table);
    _skipped += other._skipped;
}

namespace {

std::string ToText(const std::string& s) { return s; }
std::string ToText(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.17g", v);
    return buf;
}
template <typename T> std::string ToText(T v) { return std::to_string(v); }

// What a table state must agree on beyond the shape the engine checks: the
// request's settings, its category lists and statistic parameters, and the
// data source's variables.
std::uint64_t Fingerprint(const Request& r, const VESK_DataSource& source)
{
    std::string text;
    auto add = [&text](const auto&... parts) { ((text += ToText(parts), text += '\x1f'), ...); };
    add(r.weightIndex, r.ciLevel, static_cast<int>(r.missing), static_cast<int>(r.labelOption));
    for (int v = 0; v < source.GetNumVariables(); ++v)
        add(std::string(source.GetVariable(v)->GetName()), source.GetVariable(v)->GetType());
    for (const SetDef& set : r.sets) {
        add(set.name, static_cast<int>(set.type), set.valueType, set.missingVariableIndex, set.countDuplicates,
            set.countedValue.Describe());
        for (int i : set.indices) add(i);
    }
    for (const TableRequest& t : r.tables) {
        add(t.summaryIndex, t.rows.size(), t.columns.size(), t.statisticsVariable);
        for (const AxisEntry* e : t.AllEntries()) add(e->name, e->varIndex, e->setIndex);
        for (const auto* list : {&t.statistics, &t.totalStatistics})
            for (const StatisticRequest& s : *list)
                add(s.code, s.cut.value_or(-1.0), s.lower.value_or(-1.0), s.upper.value_or(-1.0),
                    s.level.value_or(-1.0));
        for (const auto& [name, o] : t.categories) {
            add(name, static_cast<int>(o.sortBy), o.sortStatistic, o.ascending, o.total, o.totalAfter, o.emptyInclude,
                o.missingExclude);
            for (const CategoryItem& item : o.items)
                add(static_cast<int>(item.kind), item.value.Describe(), item.high.Describe(), item.openLow,
                    item.openHigh, item.varIndex);
        }
    }
    return TableState::Fnv1a(text.data(), text.size());
}

}  // namespace

std::string TableBuilder::SaveState() const
{
    StateWriter skipped;
    skipped.PutU64(static_cast<std::uint64_t>(_skipped));
    return _table->SaveState(Fingerprint(_request, _source), skipped.Bytes());
}

void TableBuilder::LoadState(const std::string& bytes, const std::string& name)
{
    std::string extra, error;
    if (!_table->LoadState(bytes.data(), bytes.size(), Fingerprint(_request, _source), extra, error))
        throw UserError(name + ": " + error);
    StateReader in(extra.data(), extra.size());
    std::uint64_t skipped = 0;
    // The engine checked the bytes; only a state of another program ends here.
    if (!in.GetU64(skipped) || in.Left() != 0) throw UserError(name + ": table state without its skipped cases");
    _skipped += static_cast<long long>(skipped);
}

void TableBuilder::OutOfMemory(const MemoryLimit& limit, unsigned long long cases, bool ranOut) const
{
    const TableBuild* largest = nullptr;
    int most = -1;
    for (const TableBuild& b : _builds) {
        const KvAggrHashtablePair* cells = b.cube->GetCubeAggregator()->GetCells();
        const int count = cells ? cells->size() : 0;
        if (count > most) most = count, largest = &b;
    }
    KV_ASSERT(largest);  // a request holds at least one table
    const std::string where = "after " + FormatCount(cases) + (cases == 1 ? " case" : " cases");
    const std::string what = ranOut ? "memory ran out " + where + ", below " + limit.Describe()
                                    : "the tables reached " + limit.Describe() + " " + where;
    throw UserError(what + ": table " + Quote(largest->request->title) + " holds " +
                    FormatCount(static_cast<unsigned long long>(most)) + (most == 1 ? " cell " : " cells ") +
                    limit.Advice());
}

}  // namespace kvtables
