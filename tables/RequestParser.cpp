#include "RequestParser.h"

#include <cmath>
#include <filesystem>

#include "AggregationStatistic.h"
#include "HostError.h"
#include "JsonReader.h"
#include "UserError.h"

namespace kvtables {

namespace {

std::string FormatNumber(double v) { return Literal::Number(v).Describe(); }

// A number or a text, as the JSON has it.
Literal ReadLiteral(const JsonNode& j)
{
    j.Expect(j.Value().is_number() || j.Value().is_string(), "a number or a string");
    return j.Value().is_number() ? Literal::Number(j.Value().get<double>()) : Literal::Text(j.String());
}

std::vector<std::string> ReadNames(const JsonNode& j, bool nonEmpty)
{
    std::vector<std::string> names;
    for (const JsonNode& item : j.Array("an array of names")) names.push_back(item.NonEmptyString());
    if (nonEmpty && names.empty()) j.Fail("must list at least one name");
    return names;
}

SetDef ReadSet(const JsonNode& j)
{
    j.Expect(j.Value().is_object(), "an object");
    SetDef set;
    set.path = j.Pointer();
    set.type = j.Get("type").Choice({"categories", "dichotomies"}) == 0 ? SetType::Categories : SetType::Dichotomies;
    if (set.type == SetType::Categories)
        j.Object({"name", "type", "variables", "label", "countDuplicates", "missingVariable"});
    else
        j.Object({"name", "type", "variables", "label", "countedValue", "labelSource"});
    set.name = j.Get("name").NonEmptyString();
    set.variables = ReadNames(j.Get("variables"), true);
    set.label = set.name;
    if (auto l = j.Find("label")) set.label = l->String();
    if (set.type == SetType::Categories) {
        if (auto c = j.Find("countDuplicates")) set.countDuplicates = c->Boolean();
        if (auto m = j.Find("missingVariable")) set.missingVariable = m->NonEmptyString();
    } else {
        set.countedValue = ReadLiteral(j.Get("countedValue"));
        if (auto s = j.Find("labelSource"))
            set.labelSource = s->Choice({"variableLabels", "countedValueLabel"}) == 1 ? LabelSource::CountedValueLabel
                                                                                      : LabelSource::VariableLabels;
    }
    return set;
}

StatisticRequest ReadStatistic(const JsonNode& j)
{
    StatisticRequest s;
    s.path = j.Pointer();
    const bool isObject = j.Value().is_object();
    if (isObject) j.Object({"name", "cut", "lower", "upper", "level", "label", "decimals"});
    const JsonNode name = isObject ? j.Get("name") : j;
    if (name.Value().is_string()) {
        s.code = AggregationStatistic::GetStatisticCode(name.String());
        if (s.code < 0) name.Fail("unknown statistic " + Quote(name.String()));
    } else {
        name.Expect(name.Value().is_number(), "a statistic name or code");
        const double v = name.Number();
        if (!(v >= 0 && v <= 100000 && v == std::floor(v))) name.Fail("unknown statistic code " + FormatNumber(v));
        s.code = static_cast<int>(v);
    }
    s.name = AggregationStatistic::GetStatisticName(s.code);
    if (!stats::IsKnown(s.code)) {
        if (s.name.empty()) name.Fail("unknown statistic code " + std::to_string(s.code));
        name.Fail("statistic " + Quote(s.name) + " cannot be requested");
    }

    struct Param {
        const char* key;
        bool takes;
        std::optional<double>* slot;
    };
    const Param params[] = {{"cut", stats::TakesCut(s.code), &s.cut},
                            {"lower", stats::TakesLower(s.code), &s.lower},
                            {"upper", stats::TakesUpper(s.code), &s.upper},
                            {"level", stats::TakesLevel(s.code), &s.level}};
    for (const Param& p : params) {
        const std::optional<JsonNode> v = j.Find(p.key);
        if (!v) {
            // A median interval's level defaults to the request's ciLevel.
            if (p.takes && p.slot != &s.level) j.Fail("statistic " + Quote(s.name) + " needs " + Quote(p.key));
            continue;
        }
        if (!p.takes) v->Fail("statistic " + Quote(s.name) + " takes no " + Quote(p.key));
        *p.slot = v->Number();
        if (p.slot == &s.cut && !(*s.cut >= 0.0 && *s.cut <= 100.0))
            v->Fail("cut " + FormatNumber(*s.cut) + " is outside 0 to 100");
        if (p.slot == &s.level && !(*s.level > 0.0 && *s.level < 100.0))
            v->Fail("level " + FormatNumber(*s.level) + " is outside (0, 100)");
    }
    if (s.lower && s.upper && *s.lower > *s.upper)
        j.Fail("lower " + FormatNumber(*s.lower) + " is greater than upper " + FormatNumber(*s.upper));
    if (!isObject) return s;
    if (auto label = j.Find("label")) s.label = label->NonEmptyString();
    if (auto decimals = j.Find("decimals")) s.decimals = static_cast<int>(decimals->Integer(0, 15));
    return s;
}

std::vector<StatisticRequest> ReadStatistics(const JsonNode& j)
{
    std::vector<StatisticRequest> out;
    for (const JsonNode& item : j.Array("an array of statistics")) out.push_back(ReadStatistic(item));
    if (out.empty()) j.Fail("must list at least one statistic");
    return out;
}

CategoryItem ReadItem(const JsonNode& j)
{
    CategoryItem item;
    item.path = j.Pointer();
    if (j.Value().is_number() || j.Value().is_string()) {
        item.value = ReadLiteral(j);
        return item;
    }
    j.Expect(j.Value().is_object(), "a value or an object");
    if (auto compute = j.Find("compute")) {
        j.Object({"compute", "label"});
        item.kind = ItemKind::Computed;
        try {
            item.formula = Formula::Parse(compute->String());
        } catch (const Formula::SyntaxError& e) {
            compute->Fail(std::string("formula ") + Quote(compute->String()) + ": " + e.what());
        }
        if (auto label = j.Find("label")) item.label = label->String();
        return item;
    }
    j.Object({"range", "keyword", "subtotal", "hiddenSubtotal", "compute"});
    if (j.Value().size() != 1)
        j.Fail("give exactly one of \"range\", \"keyword\", \"subtotal\", \"hiddenSubtotal\", \"compute\"");
    const auto members = j.Members();
    const auto& [key, v] = members[0];
    if (key == "keyword") {
        item.kind = v.Choice({"missing", "other"}) == 0 ? ItemKind::Missing : ItemKind::Other;
    } else if (key == "subtotal" || key == "hiddenSubtotal") {
        item.kind = key == "subtotal" ? ItemKind::Subtotal : ItemKind::HiddenSubtotal;
        item.label = v.String();
    } else {
        item.kind = ItemKind::Range;
        v.Expect(v.Value().is_array() && v.Value().size() == 2, "an array of two ends [low, high]");
        const std::vector<JsonNode> ends = v.Array();
        const Literal lo = ReadLiteral(ends[0]), hi = ReadLiteral(ends[1]);
        item.openLow = lo.isString && lo.text == "lo";
        item.openHigh = hi.isString && hi.text == "hi";
        if (!item.openLow) item.value = lo;
        if (!item.openHigh) item.high = hi;
        if (!item.openLow && !item.openHigh) {
            if (lo.isString != hi.isString) v.Fail("range ends must both be numbers or both be strings");
            if (lo.isString ? lo.text > hi.text : lo.number > hi.number)
                v.Fail("low end " + lo.Describe() + " is above high end " + hi.Describe());
        }
    }
    return item;
}

CategoryOptions ReadCategories(const JsonNode& j)
{
    j.Object({"items", "order", "sortBy", "total", "totalLabel", "totalPosition", "empty", "missing"});
    CategoryOptions c;
    c.path = j.Pointer();
    if (auto items = j.Find("items"))
        for (const JsonNode& item : items->Array("an array of category items")) c.items.push_back(ReadItem(item));
    if (auto o = j.Find("order")) c.ascending = o->Choice({"ascending", "descending"}) == 0;
    if (auto s = j.Find("sortBy")) {
        if (s->Value().is_object()) {
            c.sortBy = SortBy::Statistic;
            c.sortStatistic = ReadStatistic(s->Object({"statistic"}).Get("statistic")).code;
        } else {
            s->Expect(s->Value().is_string(), "\"value\", \"label\", \"none\" or {\"statistic\": NAME}");
            static const SortBy kinds[] = {SortBy::Value, SortBy::Label, SortBy::None};
            c.sortBy = kinds[s->Choice({"value", "label", "none"})];
        }
    }
    if (auto t = j.Find("total")) c.total = t->Boolean();
    if (auto t = j.Find("totalLabel")) {
        c.totalLabel = t->String();
        c.totalLabelDefault = false;
    }
    if (auto t = j.Find("totalPosition")) c.totalAfter = t->Choice({"after", "before"}) == 0;
    if (auto e = j.Find("empty")) c.emptyInclude = e->Choice({"include", "exclude"}) == 0;
    if (auto m = j.Find("missing")) c.missingExclude = m->Choice({"exclude", "include"}) == 0;
    return c;
}

PairTest ReadPairTest(const JsonNode& j, bool proportions)
{
    if (proportions) j.Object({"alpha", "adjust", "compare", "base"});
    else j.Object({"alpha", "adjust", "compare", "variance"});
    PairTest t;
    t.on = true;
    t.path = j.Pointer();
    if (auto a = j.Find("alpha")) {
        t.alpha = a->Number();
        if (!(t.alpha > 0.0 && t.alpha < 1.0)) a->Fail("alpha " + FormatNumber(t.alpha) + " is outside (0, 1)");
    }
    if (auto a = j.Find("adjust")) t.adjust = a->Choice({"bonferroni", "none"}) == 0 ? Adjust::Bonferroni : Adjust::None;
    if (auto c = j.Find("compare")) {
        static const Compare kinds[] = {Compare::Subtable, Compare::FirstColumn, Compare::PreviousColumn};
        t.compare = kinds[c->Choice({"subtable", "firstColumn", "previousColumn"})];
    }
    if (auto b = j.Find("base")) {
        static const ProportionBase kinds[] = {ProportionBase::Weighted, ProportionBase::Effective,
                                               ProportionBase::Unweighted};
        t.base = kinds[b->Choice({"weighted", "effective", "unweighted"})];
    }
    if (auto v = j.Find("variance")) t.pooled = v->Choice({"welch", "pooled"}) == 1;
    return t;
}

TestsRequest ReadTests(const JsonNode& j)
{
    j.Object({"proportions", "means", "chiSquare"});
    TestsRequest t;
    t.path = j.Pointer();
    if (auto p = j.Find("proportions")) t.proportions = ReadPairTest(*p, true);
    if (auto m = j.Find("means")) t.means = ReadPairTest(*m, false);
    if (auto c = j.Find("chiSquare")) {
        c->Object({"alpha"});
        t.chiSquare = true;
        if (auto a = c->Find("alpha")) {
            t.chiSquareAlpha = a->Number();
            if (!(t.chiSquareAlpha > 0.0 && t.chiSquareAlpha < 1.0))
                a->Fail("alpha " + FormatNumber(t.chiSquareAlpha) + " is outside (0, 1)");
        }
    }
    return t;
}

// A list of names is one nest; a list of lists and {"total": label} objects
// is a stack of such elements.
std::vector<StackElement> ReadAxis(const JsonNode& a)
{
    const std::vector<JsonNode> items = a.Array("an array of names, or of name arrays and {\"total\": label}");
    std::vector<StackElement> stack;
    if (!items.empty() && items[0].Value().is_string()) {
        stack.push_back(StackElement{a.Pointer(), {}, false, {}});
        for (const JsonNode& name : items) stack[0].nest.push_back(AxisEntry{name.Pointer(), name.NonEmptyString()});
        return stack;
    }
    for (const JsonNode& item : items) {
        StackElement element{item.Pointer(), {}, false, {}};
        if (item.Value().is_object()) {
            item.Object({"total"});
            element.total = true;
            element.totalLabel = item.Get("total").NonEmptyString();
        } else {
            item.Expect(item.Value().is_array(), "a name array or {\"total\": label}");
            for (const JsonNode& name : item.Array("an array of names"))
                element.nest.push_back(AxisEntry{name.Pointer(), name.NonEmptyString()});
            if (element.nest.empty()) item.Fail("a stacked element needs at least one name");
        }
        stack.push_back(std::move(element));
    }
    return stack;
}

TableRequest ReadTable(const JsonNode& j, size_t index)
{
    j.Object({"title", "rows", "columns", "layers", "statisticsVariable", "statistics", "summary", "totalStatistics",
              "categories", "tests"});
    TableRequest t;
    t.path = j.Pointer();
    t.title = "Table " + std::to_string(index + 1);
    if (auto title = j.Find("title")) t.title = title->String();
    for (auto [key, axis] : {std::pair{"rows", &t.rows}, {"columns", &t.columns}}) {
        if (auto a = j.Find(key)) *axis = ReadAxis(*a);
        if (axis->empty()) axis->push_back(StackElement{j.Pointer() + "/" + key, {}, false, {}});
    }
    if (auto a = j.Find("layers"))
        for (const JsonNode& name : a->Array("an array of names"))
            t.layers.push_back(AxisEntry{name.Pointer(), name.NonEmptyString()});
    if (t.rows[0].nest.empty() && t.columns[0].nest.empty() && !t.rows[0].total && !t.columns[0].total)
        j.Fail("a table needs at least one row or column variable");
    if (auto s = j.Find("statisticsVariable")) t.statisticsVariable = s->NonEmptyString();
    if (auto s = j.Find("summary")) t.summary = s->NonEmptyString();
    if (auto s = j.Find("statistics")) {
        t.statistics = ReadStatistics(*s);
    } else {
        StatisticRequest def;
        def.path = t.path;
        def.code = t.summary.empty() ? TableEncryptionCodes::kCount : TableEncryptionCodes::kMean;
        def.name = AggregationStatistic::GetStatisticName(def.code);
        t.statistics.push_back(def);
    }
    if (auto s = j.Find("totalStatistics")) t.totalStatistics = ReadStatistics(*s);
    if (auto c = j.Find("categories")) {
        c->Expect(c->Value().is_object(), "an object keyed by variable or set name");
        for (const auto& [name, options] : c->Members()) t.categories.emplace_back(name, ReadCategories(options));
    }
    if (auto tests = j.Find("tests")) t.tests = ReadTests(*tests);
    return t;
}

CsvOptions ReadCsvOptions(const JsonNode& j)
{
    j.Object({"delimiter", "na"});
    CsvOptions options;
    if (auto d = j.Find("delimiter")) {
        const std::string s = d->String();
        if (s.size() != 1 || s[0] == '"' || s[0] == '\r' || s[0] == '\n' || s[0] == '\0')
            d->Fail("expected one byte other than a quote, CR, LF or NUL, found " + Quote(s));
        options.delimiter = s[0];
    }
    if (auto na = j.Find("na"))
        for (const JsonNode& text : na->Array("an array of strings")) options.na.push_back(text.String());
    return options;
}

Request Read(const JsonNode& root, const std::string& file, const std::string& baseDir, bool dataRequired)
{
    root.Object({"data", "dictionary", "csv", "weight", "ciLevel", "missing", "labelOption", "sets", "tables"});
    auto resolve = [&](const std::string& p) {
        if (std::filesystem::path(p).is_absolute() || baseDir.empty()) return p;
        return (std::filesystem::path(baseDir) / p).string();
    };
    Request req;
    req.file = file;
    if (dataRequired || root.Find("data")) {
        req.data = root.Get("data").NonEmptyString();
        req.dataPath = resolve(req.data);
    }
    if (auto d = root.Find("dictionary")) {
        req.dictionary = d->NonEmptyString();
        req.dictionaryPath = resolve(req.dictionary);
    }
    if (auto c = root.Find("csv")) req.csv = ReadCsvOptions(*c);
    if (auto w = root.Find("weight")) req.weight = w->NonEmptyString();
    if (auto c = root.Find("ciLevel")) {
        req.ciLevel = c->Number();
        if (!(req.ciLevel > 0.0 && req.ciLevel < 100.0))
            c->Fail("level " + FormatNumber(req.ciLevel) + " is outside (0, 100)");
    }
    if (auto m = root.Find("missing"))
        req.missing = m->Choice({"pairwise", "listwise"}) == 1 ? MissingMode::Listwise : MissingMode::Pairwise;
    if (auto l = root.Find("labelOption"))
        req.labelOption = static_cast<TableEncryptionCodes::CLabelOption>(
            l->Choice({"default", "rowLabelsOpposite", "colLabelsOpposite", "rowLabelsLayer", "colLabelsLayer"}));
    if (auto s = root.Find("sets"))
        for (const JsonNode& set : s->Array("an array of sets")) req.sets.push_back(ReadSet(set));
    const JsonNode tables = root.Get("tables");
    for (const JsonNode& table : tables.Array("an array of tables"))
        req.tables.push_back(ReadTable(table, req.tables.size()));
    if (req.tables.empty()) tables.Fail("must list at least one table");
    return req;
}

}  // namespace

Request ParseRequest(const std::string& text, const std::string& file, const std::string& baseDir, bool dataRequired)
{
    try {
        const JsonDocument document(file, text);
        return Read(document.Root(), file, baseDir, dataRequired);
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
}

Request LoadRequest(const std::string& path, bool dataRequired)
{
    std::string text;
    try {
        text = ReadTextFile(path);
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
    return ParseRequest(text, path, std::filesystem::path(path).parent_path().string(), dataRequired);
}

}  // namespace kvtables
