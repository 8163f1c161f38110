#include "RequestParser.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "AggregationStatistic.h"
#include "UserError.h"

namespace kvtables {

namespace {

using json = nlohmann::json;

// One JSON pointer step; "~" and "/" inside a key are escaped as the pointer
// syntax wants, so the path can be pasted into a JSON tool.
std::string Child(const std::string& path, const std::string& key)
{
    std::string out = path + "/";
    for (char c : key) {
        if (c == '~') out += "~0";
        else if (c == '/') out += "~1";
        else out += c;
    }
    return out;
}

std::string Child(const std::string& path, size_t index) { return path + "/" + std::to_string(index); }

const char* Kind(const json& j)
{
    switch (j.type()) {
    case json::value_t::null: return "null";
    case json::value_t::boolean: return "true/false";
    case json::value_t::string: return "a string";
    case json::value_t::array: return "an array";
    case json::value_t::object: return "an object";
    default: return "a number";
    }
}

std::string FormatNumber(double v) { return Literal::Number(v).Describe(); }

class Parser {
public:
    Parser(std::string file, std::string baseDir) : _file(std::move(file)), _baseDir(std::move(baseDir)) {}

    Request Parse(const std::string& text);

private:
    [[noreturn]] void Fail(const std::string& path, const std::string& what) const
    {
        throw UserError(_file, path.empty() ? std::string("/") : path, what);
    }

    void Expect(bool ok, const json& j, const std::string& path, const char* expected) const
    {
        if (!ok) Fail(path, std::string("expected ") + expected + ", got " + Kind(j));
    }

    void CheckKeys(const json& obj, const std::string& path, std::initializer_list<const char*> allowed) const
    {
        Expect(obj.is_object(), obj, path, "an object");
        for (const auto& item : obj.items()) {
            bool known = false;
            for (const char* k : allowed) known = known || item.key() == k;
            if (known) continue;
            std::string list;
            for (const char* k : allowed) list += std::string(list.empty() ? "" : ", ") + k;
            Fail(Child(path, item.key()), "unknown key " + Quote(item.key()) + " (known keys: " + list + ")");
        }
    }

    const json* Find(const json& obj, const char* key) const
    {
        auto it = obj.find(key);
        return it == obj.end() ? nullptr : &*it;
    }

    const json& Require(const json& obj, const std::string& path, const char* key) const
    {
        const json* j = Find(obj, key);
        if (!j) Fail(path, std::string("missing key ") + Quote(key));
        return *j;
    }

    std::string String(const json& j, const std::string& path, bool nonEmpty = false) const
    {
        Expect(j.is_string(), j, path, "a string");
        std::string s = j.get<std::string>();
        if (nonEmpty && s.empty()) Fail(path, "must not be empty");
        return s;
    }

    bool Bool(const json& j, const std::string& path) const
    {
        Expect(j.is_boolean(), j, path, "true or false");
        return j.get<bool>();
    }

    double Number(const json& j, const std::string& path) const
    {
        Expect(j.is_number(), j, path, "a number");
        return j.get<double>();
    }

    // One of the listed words; the message lists them.
    std::string Choice(const json& j, const std::string& path, std::initializer_list<const char*> words) const
    {
        std::string s = String(j, path);
        std::string list;
        for (const char* w : words) {
            if (s == w) return s;
            list += std::string(list.empty() ? "" : ", ") + Quote(w);
        }
        Fail(path, "unknown value " + Quote(s) + " (expected one of " + list + ")");
    }

    std::vector<std::string> Names(const json& j, const std::string& path, bool nonEmpty) const
    {
        Expect(j.is_array(), j, path, "an array of names");
        if (nonEmpty && j.empty()) Fail(path, "must list at least one name");
        std::vector<std::string> out;
        for (size_t i = 0; i < j.size(); ++i) out.push_back(String(j[i], Child(path, i), true));
        return out;
    }

    std::string ResolvePath(const std::string& p) const
    {
        std::filesystem::path fp(p);
        if (fp.is_absolute() || _baseDir.empty()) return p;
        return (std::filesystem::path(_baseDir) / fp).string();
    }

    SetDef ParseSet(const json& j, const std::string& path) const;
    TableRequest ParseTable(const json& j, const std::string& path, size_t index) const;
    StatisticRequest ParseStatistic(const json& j, const std::string& path) const;
    std::vector<StatisticRequest> ParseStatistics(const json& j, const std::string& path) const;
    CategoryOptions ParseCategories(const json& j, const std::string& path) const;
    CategoryItem ParseItem(const json& j, const std::string& path) const;

    std::string _file;
    std::string _baseDir;
};

Request Parser::Parse(const std::string& text)
{
    // Duplicate keys would silently keep the last value: the parse callback
    // sees every key with its object, so they are caught here.
    std::vector<std::set<std::string>> open;
    std::string duplicate;
    auto callback = [&](int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::object_start) open.emplace_back();
        else if (event == json::parse_event_t::object_end && !open.empty()) open.pop_back();
        else if (event == json::parse_event_t::key && !open.empty() && duplicate.empty()) {
            std::string key = parsed.get<std::string>();
            if (!open.back().insert(key).second) duplicate = key;
        }
        return true;
    };
    json root;
    try {
        root = json::parse(text, callback);
    } catch (const json::parse_error& e) {
        // The library's message starts with its own tag; keep what follows it.
        std::string what = e.what();
        auto pos = what.find("] ");
        if (pos != std::string::npos) what.erase(0, pos + 2);
        throw UserError(_file + ": invalid JSON: " + what);
    }
    if (!duplicate.empty()) throw UserError(_file + ": invalid JSON: key " + Quote(duplicate) + " is given twice in one object");

    Request req;
    req.file = _file;
    const std::string path;
    CheckKeys(root, path, {"data", "dictionary", "weight", "ciLevel", "missing", "labelOption", "sets", "tables"});
    req.data = String(Require(root, path, "data"), "/data", true);
    req.dataPath = ResolvePath(req.data);
    if (const json* d = Find(root, "dictionary")) {
        req.dictionary = String(*d, "/dictionary", true);
        req.dictionaryPath = ResolvePath(req.dictionary);
    }
    if (const json* w = Find(root, "weight")) req.weight = String(*w, "/weight", true);
    if (const json* c = Find(root, "ciLevel")) {
        req.ciLevel = Number(*c, "/ciLevel");
        if (!(req.ciLevel > 0.0 && req.ciLevel < 100.0))
            Fail("/ciLevel", "level " + FormatNumber(req.ciLevel) + " is outside (0, 100)");
    }
    if (const json* m = Find(root, "missing"))
        req.missing = Choice(*m, "/missing", {"pairwise", "listwise"}) == "listwise" ? MissingMode::Listwise
                                                                                     : MissingMode::Pairwise;
    if (const json* l = Find(root, "labelOption")) {
        static const char* const names[] = {"default", "rowLabelsOpposite", "colLabelsOpposite", "rowLabelsLayer",
                                            "colLabelsLayer"};
        std::string s = Choice(*l, "/labelOption", {names[0], names[1], names[2], names[3], names[4]});
        for (int i = 0; i < 5; ++i)
            if (s == names[i]) req.labelOption = static_cast<TableEncryptionCodes::CLabelOption>(i);
    }
    if (const json* s = Find(root, "sets")) {
        Expect(s->is_array(), *s, "/sets", "an array of sets");
        for (size_t i = 0; i < s->size(); ++i) req.sets.push_back(ParseSet((*s)[i], Child("/sets", i)));
    }
    const json& tables = Require(root, path, "tables");
    Expect(tables.is_array(), tables, "/tables", "an array of tables");
    if (tables.empty()) Fail("/tables", "must list at least one table");
    for (size_t i = 0; i < tables.size(); ++i) req.tables.push_back(ParseTable(tables[i], Child("/tables", i), i));
    return req;
}

SetDef Parser::ParseSet(const json& j, const std::string& path) const
{
    Expect(j.is_object(), j, path, "an object");
    SetDef set;
    set.path = path;
    const std::string type = Choice(Require(j, path, "type"), Child(path, "type"), {"categories", "dichotomies"});
    set.type = type == "categories" ? SetType::Categories : SetType::Dichotomies;
    if (set.type == SetType::Categories)
        CheckKeys(j, path, {"name", "type", "variables", "label", "countDuplicates", "missingVariable"});
    else
        CheckKeys(j, path, {"name", "type", "variables", "label", "countedValue", "labelSource"});
    set.name = String(Require(j, path, "name"), Child(path, "name"), true);
    set.variables = Names(Require(j, path, "variables"), Child(path, "variables"), true);
    set.label = set.name;
    if (const json* l = Find(j, "label")) set.label = String(*l, Child(path, "label"));
    if (set.type == SetType::Categories) {
        if (const json* c = Find(j, "countDuplicates")) set.countDuplicates = Bool(*c, Child(path, "countDuplicates"));
        if (const json* m = Find(j, "missingVariable")) set.missingVariable = String(*m, Child(path, "missingVariable"), true);
    } else {
        const std::string cpath = Child(path, "countedValue");
        const json& c = Require(j, path, "countedValue");
        Expect(c.is_number() || c.is_string(), c, cpath, "a number or a string");
        set.countedValue = c.is_number() ? Literal::Number(c.get<double>()) : Literal::Text(c.get<std::string>());
        if (const json* s = Find(j, "labelSource"))
            set.labelSource = Choice(*s, Child(path, "labelSource"), {"variableLabels", "countedValueLabel"}) ==
                                      "countedValueLabel"
                                  ? LabelSource::CountedValueLabel
                                  : LabelSource::VariableLabels;
    }
    return set;
}

TableRequest Parser::ParseTable(const json& j, const std::string& path, size_t index) const
{
    CheckKeys(j, path, {"title", "rows", "columns", "layers", "statisticsVariable", "statistics", "summary",
                        "totalStatistics", "categories"});
    TableRequest t;
    t.path = path;
    t.title = "Table " + std::to_string(index + 1);
    if (const json* title = Find(j, "title")) t.title = String(*title, Child(path, "title"));
    auto axis = [&](const char* key, std::vector<AxisEntry>& out) {
        const json* a = Find(j, key);
        if (!a) return;
        const std::string apath = Child(path, key);
        std::vector<std::string> names = Names(*a, apath, false);
        for (size_t i = 0; i < names.size(); ++i) out.push_back(AxisEntry{Child(apath, i), names[i]});
    };
    axis("rows", t.rows);
    axis("columns", t.columns);
    axis("layers", t.layers);
    if (t.rows.empty() && t.columns.empty()) Fail(path, "a table needs at least one row or column variable");
    if (const json* s = Find(j, "statisticsVariable"))
        t.statisticsVariable = String(*s, Child(path, "statisticsVariable"), true);
    if (const json* s = Find(j, "summary")) t.summary = String(*s, Child(path, "summary"), true);
    if (const json* s = Find(j, "statistics")) {
        t.statistics = ParseStatistics(*s, Child(path, "statistics"));
    } else {
        StatisticRequest def;
        def.path = path;
        def.code = t.summary.empty() ? TableEncryptionCodes::kCount : TableEncryptionCodes::kMean;
        def.name = AggregationStatistic::GetStatisticName(def.code);
        t.statistics.push_back(def);
    }
    if (const json* s = Find(j, "totalStatistics")) t.totalStatistics = ParseStatistics(*s, Child(path, "totalStatistics"));
    if (const json* c = Find(j, "categories")) {
        const std::string cpath = Child(path, "categories");
        Expect(c->is_object(), *c, cpath, "an object keyed by variable or set name");
        for (const auto& item : c->items())
            t.categories.emplace_back(item.key(), ParseCategories(item.value(), Child(cpath, item.key())));
    }
    return t;
}

std::vector<StatisticRequest> Parser::ParseStatistics(const json& j, const std::string& path) const
{
    Expect(j.is_array(), j, path, "an array of statistics");
    if (j.empty()) Fail(path, "must list at least one statistic");
    std::vector<StatisticRequest> out;
    for (size_t i = 0; i < j.size(); ++i) out.push_back(ParseStatistic(j[i], Child(path, i)));
    return out;
}

StatisticRequest Parser::ParseStatistic(const json& j, const std::string& path) const
{
    StatisticRequest s;
    s.path = path;
    const json* nameNode = &j;
    std::string namePath = path;
    if (j.is_object()) {
        CheckKeys(j, path, {"name", "cut", "lower", "upper", "level"});
        nameNode = &Require(j, path, "name");
        namePath = Child(path, "name");
    }
    if (nameNode->is_string()) {
        const std::string name = nameNode->get<std::string>();
        s.code = AggregationStatistic::GetStatisticCode(name);
        if (s.code < 0) Fail(namePath, "unknown statistic " + Quote(name));
    } else if (nameNode->is_number()) {
        double v = nameNode->get<double>();
        if (!(v >= 0 && v <= 100000 && v == std::floor(v))) Fail(namePath, "unknown statistic code " + FormatNumber(v));
        s.code = static_cast<int>(v);
    } else {
        Expect(false, *nameNode, namePath, "a statistic name or code");
    }
    s.name = AggregationStatistic::GetStatisticName(s.code);
    if (!stats::IsKnown(s.code)) {
        if (s.name.empty()) Fail(namePath, "unknown statistic code " + std::to_string(s.code));
        Fail(namePath, "statistic " + Quote(s.name) + " cannot be requested");
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
        const json* v = j.is_object() ? Find(j, p.key) : nullptr;
        if (!v) {
            // A median interval's level defaults to the request's ciLevel.
            if (p.takes && p.slot != &s.level)
                Fail(path, "statistic " + Quote(s.name) + " needs " + Quote(p.key));
            continue;
        }
        const std::string ppath = Child(path, p.key);
        if (!p.takes) Fail(ppath, "statistic " + Quote(s.name) + " takes no " + Quote(p.key));
        *p.slot = Number(*v, ppath);
    }
    if (s.cut && !(*s.cut >= 0.0 && *s.cut <= 100.0))
        Fail(Child(path, "cut"), "cut " + FormatNumber(*s.cut) + " is outside 0 to 100");
    if (s.level && !(*s.level > 0.0 && *s.level < 100.0))
        Fail(Child(path, "level"), "level " + FormatNumber(*s.level) + " is outside (0, 100)");
    if (s.lower && s.upper && *s.lower > *s.upper)
        Fail(path, "lower " + FormatNumber(*s.lower) + " is greater than upper " + FormatNumber(*s.upper));
    return s;
}

CategoryOptions Parser::ParseCategories(const json& j, const std::string& path) const
{
    CheckKeys(j, path, {"items", "order", "sortBy", "total", "totalLabel", "totalPosition", "empty", "missing"});
    CategoryOptions c;
    c.path = path;
    if (const json* items = Find(j, "items")) {
        const std::string ipath = Child(path, "items");
        Expect(items->is_array(), *items, ipath, "an array of category items");
        for (size_t i = 0; i < items->size(); ++i) c.items.push_back(ParseItem((*items)[i], Child(ipath, i)));
    }
    if (const json* o = Find(j, "order")) c.ascending = Choice(*o, Child(path, "order"), {"ascending", "descending"}) == "ascending";
    if (const json* s = Find(j, "sortBy")) {
        const std::string spath = Child(path, "sortBy");
        if (s->is_object()) {
            CheckKeys(*s, spath, {"statistic"});
            StatisticRequest stat = ParseStatistic(Require(*s, spath, "statistic"), Child(spath, "statistic"));
            c.sortBy = SortBy::Statistic;
            c.sortStatistic = stat.code;
        } else {
            Expect(s->is_string(), *s, spath, "\"value\", \"label\", \"none\" or {\"statistic\": NAME}");
            const std::string by = Choice(*s, spath, {"value", "label", "none"});
            c.sortBy = by == "value" ? SortBy::Value : by == "label" ? SortBy::Label : SortBy::None;
        }
    }
    if (const json* t = Find(j, "total")) c.total = Bool(*t, Child(path, "total"));
    if (const json* t = Find(j, "totalLabel")) {
        c.totalLabel = String(*t, Child(path, "totalLabel"));
        c.totalLabelDefault = false;
    }
    if (const json* t = Find(j, "totalPosition"))
        c.totalAfter = Choice(*t, Child(path, "totalPosition"), {"after", "before"}) == "after";
    if (const json* e = Find(j, "empty")) c.emptyInclude = Choice(*e, Child(path, "empty"), {"include", "exclude"}) == "include";
    if (const json* m = Find(j, "missing"))
        c.missingExclude = Choice(*m, Child(path, "missing"), {"exclude", "include"}) == "exclude";
    return c;
}

CategoryItem Parser::ParseItem(const json& j, const std::string& path) const
{
    CategoryItem item;
    item.path = path;
    if (j.is_number()) {
        item.value = Literal::Number(j.get<double>());
        return item;
    }
    if (j.is_string()) {
        item.value = Literal::Text(j.get<std::string>());
        return item;
    }
    Expect(j.is_object(), j, path, "a value or an object");
    CheckKeys(j, path, {"range", "keyword", "subtotal", "hiddenSubtotal"});
    if (j.size() != 1) Fail(path, "give exactly one of \"range\", \"keyword\", \"subtotal\", \"hiddenSubtotal\"");
    const auto first = j.begin();
    const std::string key = first.key();
    const json& v = first.value();
    const std::string vpath = Child(path, key);
    if (key == "keyword") {
        item.kind = Choice(v, vpath, {"missing", "other"}) == "missing" ? ItemKind::Missing : ItemKind::Other;
    } else if (key == "subtotal" || key == "hiddenSubtotal") {
        item.kind = key == "subtotal" ? ItemKind::Subtotal : ItemKind::HiddenSubtotal;
        item.label = String(v, vpath);
    } else {
        item.kind = ItemKind::Range;
        Expect(v.is_array() && v.size() == 2, v, vpath, "an array of two ends [low, high]");
        const json& lo = v[0];
        const json& hi = v[1];
        item.openLow = lo.is_string() && lo.get<std::string>() == "lo";
        item.openHigh = hi.is_string() && hi.get<std::string>() == "hi";
        for (size_t k = 0; k < 2; ++k)
            Expect(v[k].is_number() || v[k].is_string(), v[k], Child(vpath, k), "a number or a string");
        if (!item.openLow) item.value = lo.is_number() ? Literal::Number(lo.get<double>()) : Literal::Text(lo.get<std::string>());
        if (!item.openHigh) item.high = hi.is_number() ? Literal::Number(hi.get<double>()) : Literal::Text(hi.get<std::string>());
        if (!item.openLow && !item.openHigh) {
            if (item.value.isString != item.high.isString)
                Fail(vpath, "range ends must both be numbers or both be strings");
            if (!item.value.isString && item.value.number > item.high.number)
                Fail(vpath, "low end " + item.value.Describe() + " is above high end " + item.high.Describe());
            if (item.value.isString && item.value.text > item.high.text)
                Fail(vpath, "low end " + item.value.Describe() + " is above high end " + item.high.Describe());
        }
    }
    return item;
}

}  // namespace

Request ParseRequest(const std::string& text, const std::string& file, const std::string& baseDir)
{
    return Parser(file, baseDir).Parse(text);
}

Request LoadRequest(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw UserError(path + ": cannot read the request file");
    std::ostringstream text;
    text << in.rdbuf();
    return ParseRequest(text.str(), path, std::filesystem::path(path).parent_path().string());
}

}  // namespace kvtables
