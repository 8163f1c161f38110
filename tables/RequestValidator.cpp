#include "RequestValidator.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "AggregationStatistic.h"
#include "UserError.h"

namespace kvtables {

namespace {

std::string TypeWord(int valueType) { return valueType == 0 ? "numeric" : "string"; }

// Trailing blanks are insignificant in string values, so they do not count
// against a variable's width.
size_t SignificantLength(const std::string& s)
{
    size_t n = s.size();
    while (n > 0 && s[n - 1] == ' ') --n;
    return n;
}

class Validator {
public:
    Validator(Request& req, const VESK_DataSource& dict, const WhyText& whyText)
        : _req(req), _dict(dict), _whyText(whyText)
    {
    }

    void Run()
    {
        ValidateWeight();
        for (auto& set : _req.sets) ValidateSet(set);
        for (auto& table : _req.tables) ValidateTable(table);
    }

private:
    [[noreturn]] void Fail(const std::string& path, const std::string& what) const
    {
        throw UserError(_req.file, path, what);
    }

    const VESK_Variable* Variable(const std::string& name, const std::string& path, const char* what = "variable") const
    {
        int index = _dict.FindVariable(name);
        if (index < 0) Fail(path, std::string("unknown ") + what + " " + Quote(name));
        return _dict.GetVariable(index);
    }

    // A variable typed from the data is text because of some value: name it,
    // since a missing-value marker such as "NA" is the usual cause.
    void RequireNumeric(const VESK_Variable* v, const std::string& path, const std::string& what) const
    {
        if (!v->IsString()) return;
        const std::string why = _whyText ? _whyText(_dict.FindVariable(v->GetName())) : std::string();
        Fail(path, what + " is not numeric" + (why.empty() ? "" : ": " + why));
    }

    void ValidateWeight()
    {
        if (_req.weight.empty()) return;
        const VESK_Variable* v = Variable(_req.weight, "/weight");
        RequireNumeric(v, "/weight", "weight variable " + Quote(_req.weight));
        _req.weightIndex = _dict.FindVariable(_req.weight);
    }

    void ValidateSet(SetDef& set)
    {
        const std::string npath = set.path + "/name";
        if (_dict.FindVariable(set.name) >= 0)
            Fail(npath, "set name " + Quote(set.name) + " is already the name of a variable");
        if (&_req.sets[static_cast<size_t>(_req.FindSet(set.name))] != &set)
            Fail(npath, "set name " + Quote(set.name) + " is used twice");

        std::set<std::string> seen;
        set.indices.clear();
        set.valueType = -1;
        for (size_t i = 0; i < set.variables.size(); ++i) {
            const std::string& name = set.variables[i];
            const std::string vpath = set.path + "/variables/" + std::to_string(i);
            const VESK_Variable* v = Variable(name, vpath);
            if (!seen.insert(name).second) Fail(vpath, "variable " + Quote(name) + " is listed twice");
            if (i > 0 && (set.valueType == 0) != (v->GetType() == 0))
                Fail(vpath, "set " + Quote(set.name) + " mixes numeric and string variables (" + Quote(name) +
                                " is " + TypeWord(v->GetType()) + ", " + Quote(set.variables[0]) + " is " +
                                TypeWord(set.valueType) + ")");
            set.valueType = std::max(set.valueType, v->GetType());
            set.indices.push_back(_dict.FindVariable(name));
        }

        if (set.type == SetType::Categories) {
            set.missingVariableIndex = set.indices.front();
            if (!set.missingVariable.empty()) {
                auto it = std::find(set.variables.begin(), set.variables.end(), set.missingVariable);
                if (it == set.variables.end())
                    Fail(set.path + "/missingVariable",
                         "variable " + Quote(set.missingVariable) + " is not a member of set " + Quote(set.name));
                set.missingVariableIndex = set.indices[static_cast<size_t>(it - set.variables.begin())];
            }
            return;
        }
        const std::string cpath = set.path + "/countedValue";
        const Literal& counted = set.countedValue;
        if (counted.isString != (set.valueType > 0))
            Fail(cpath, "counted value " + counted.Describe() + " is " + (counted.isString ? "a string" : "a number") +
                            " but the variables of set " + Quote(set.name) + " are " + TypeWord(set.valueType));
        if (counted.isString) {
            for (size_t i = 0; i < set.indices.size(); ++i) {
                const VESK_Variable* v = _dict.GetVariable(set.indices[i]);
                if (SignificantLength(counted.text) > static_cast<size_t>(v->GetType()))
                    Fail(cpath, "counted value " + counted.Describe() + " is wider than variable " +
                                    Quote(set.variables[i]) + " (width " + std::to_string(v->GetType()) + ")");
            }
        }
    }

    // Resolves an axis name to a set or a variable.
    void ResolveEntry(AxisEntry& e)
    {
        e.setIndex = _req.FindSet(e.name);
        if (e.setIndex >= 0) return;
        e.varIndex = _dict.FindVariable(e.name);
        if (e.varIndex < 0) Fail(e.path, "unknown variable or set " + Quote(e.name));
    }

    bool IsDichotomySet(const AxisEntry& e) const
    {
        return e.IsSet() && _req.sets[static_cast<size_t>(e.setIndex)].type == SetType::Dichotomies;
    }

    // Value type of an axis entry's categories (a categories set: its members').
    int ValueTypeOf(const AxisEntry& e) const
    {
        if (e.IsSet()) return _req.sets[static_cast<size_t>(e.setIndex)].valueType;
        return _dict.GetVariable(e.varIndex)->GetType();
    }

    void ValidateTable(TableRequest& t)
    {
        // A name may stand in several elements of one axis, but only once in
        // any sub-table: once in an element, never on both axes or a layer.
        std::set<std::string> used, onRows, onColumns;
        bool hasSet = false;
        auto resolve = [&](AxisEntry& e, std::set<std::string>& inElement, const std::set<std::string>& elsewhere) {
            ResolveEntry(e);
            if (!inElement.insert(e.name).second || elsewhere.count(e.name))
                Fail(e.path, Quote(e.name) + " is used twice on this table");
            used.insert(e.name);
            hasSet = hasSet || e.IsSet();
        };
        for (auto [axis, names, other] : {std::tuple{&t.rows, &onRows, &onColumns}, {&t.columns, &onColumns, &onRows}}) {
            for (StackElement& element : *axis) {
                std::set<std::string> inElement;
                for (AxisEntry& e : element.nest) resolve(e, inElement, *other);
                names->insert(inElement.begin(), inElement.end());
            }
        }
        std::set<std::string> inLayers;
        for (AxisEntry& e : t.layers) {
            std::set<std::string> onAxes = onRows;
            onAxes.insert(onColumns.begin(), onColumns.end());
            resolve(e, inLayers, onAxes);
        }

        if (!t.summary.empty()) {
            const std::string spath = t.path + "/summary";
            if (_req.FindSet(t.summary) >= 0)
                Fail(spath, "summary " + Quote(t.summary) + " is a set; summary statistics need a numeric variable");
            const VESK_Variable* v = Variable(t.summary, spath, "summary variable");
            RequireNumeric(v, spath, "summary variable " + Quote(t.summary));
            t.summaryIndex = _dict.FindVariable(t.summary);
        }

        if (!t.statisticsVariable.empty() && !used.count(t.statisticsVariable))
            Fail(t.path + "/statisticsVariable",
                 Quote(t.statisticsVariable) + " is not on this table's rows, columns or layers");

        for (auto* list : {&t.statistics, &t.totalStatistics})
            for (const auto& s : *list) ValidateStatistic(t, s, hasSet);

        for (auto& [name, options] : t.categories) {
            const AxisEntry* entry = nullptr;
            for (const AxisEntry* e : t.AllEntries())
                if (e->name == name) entry = e;
            if (!entry) Fail(options.path, Quote(name) + " is not on this table's rows, columns or layers");
            ValidateCategories(*entry, options);
        }
        ValidateTests(t);
    }

    // Tests compare the categories of one variable: the innermost of every
    // column element (and, for chi-square, of every row element). A total
    // element has nothing to compare and is passed over.
    void ValidateTests(const TableRequest& t) const
    {
        const TestsRequest& tests = t.tests;
        if (tests.means.on && t.summary.empty())
            Fail(tests.means.path, "the means test needs a \"summary\" variable on the table");
        auto check = [&](const std::vector<StackElement>& axis, const char* side, const std::string& path,
                         const char* test) {
            bool any = false;
            for (const StackElement& element : axis) {
                if (element.total) continue;
                if (element.nest.empty()) break;
                const AxisEntry& inner = element.nest.back();
                if (inner.IsSet())
                    Fail(path, "tests compare the categories of the innermost " + std::string(side) + " variable, and " +
                                   Quote(inner.name) + " is a multiple-response set");
                any = true;
            }
            if (!any) Fail(path, std::string("the ") + test + " test needs a " + side + " variable on the table");
        };
        if (tests.proportions.on) check(t.columns, "column", tests.proportions.path, "proportions");
        if (tests.means.on) check(t.columns, "column", tests.means.path, "means");
        if (tests.chiSquare) {
            check(t.rows, "row", tests.path + "/chiSquare", "chi-square");
            check(t.columns, "column", tests.path + "/chiSquare", "chi-square");
        }
    }

    void ValidateStatistic(const TableRequest& t, const StatisticRequest& s, bool hasSet) const
    {
        if (stats::NeedsSummary(s.code) && t.summary.empty())
            Fail(s.path, "statistic " + Quote(s.name) + " needs a \"summary\" variable on the table");
        if (stats::IsResponses(s.code) && !hasSet)
            Fail(s.path, "statistic " + Quote(s.name) + " needs a multiple-response set on the table");
    }

    void CheckValue(const AxisEntry& e, const Literal& value, const std::string& path, int valueType) const
    {
        if (value.isString != (valueType > 0))
            Fail(path, "value " + value.Describe() + " is " + (value.isString ? "a string" : "a number") + " but " +
                           Quote(e.name) + " is " + TypeWord(valueType));
        if (value.isString && SignificantLength(value.text) > static_cast<size_t>(valueType))
            Fail(path, "value " + value.Describe() + " is wider than " + Quote(e.name) + " (width " +
                           std::to_string(valueType) + ")");
    }

    void ValidateCategories(const AxisEntry& e, CategoryOptions& options) const
    {
        const bool dichotomies = IsDichotomySet(e);
        const int valueType = ValueTypeOf(e);
        WarnEmptySubtotals(options);
        for (auto& item : options.items) {
            if (item.kind == ItemKind::Subtotal || item.kind == ItemKind::HiddenSubtotal) continue;
            if (item.kind == ItemKind::Computed) continue;
            if (dichotomies) {
                // A dichotomy set's categories are its member variables.
                const SetDef& set = _req.sets[static_cast<size_t>(e.setIndex)];
                if (item.kind != ItemKind::Value || !item.value.isString)
                    Fail(item.path, "the categories of dichotomy set " + Quote(e.name) +
                                        " are its variables: give member names or subtotals");
                auto it = std::find(set.variables.begin(), set.variables.end(), item.value.text);
                if (it == set.variables.end())
                    Fail(item.path, Quote(item.value.text) + " is not a member of set " + Quote(e.name));
                item.kind = ItemKind::Variable;
                item.variable = item.value.text;
                item.varIndex = set.indices[static_cast<size_t>(it - set.variables.begin())];
                continue;
            }
            switch (item.kind) {
            case ItemKind::Value:
                CheckValue(e, item.value, item.path, valueType);
                break;
            case ItemKind::Range:
                if (!item.openLow) CheckValue(e, item.value, item.path + "/range/0", valueType);
                if (!item.openHigh) CheckValue(e, item.high, item.path + "/range/1", valueType);
                break;
            default:
                break;
            }
        }
        for (const auto& item : options.items)
            if (item.kind == ItemKind::Computed)
                for (const FormulaRef& r : item.formula.References()) CheckReference(e, options, item, r, valueType);
    }

    // A formula may refer only to what the item list holds (or the total).
    void CheckReference(const AxisEntry& e, const CategoryOptions& options, const CategoryItem& computed,
                        const FormulaRef& r, int valueType) const
    {
        const std::string path = computed.path + "/compute";
        const std::string prefix = "formula " + Quote(computed.formula.Text()) + ": [" + r.Describe() + "] ";
        if (r.kind == FormulaRef::Kind::Total) return;
        int found = 0;
        for (const CategoryItem& item : options.items) {
            switch (r.kind) {
            case FormulaRef::Kind::Subtotal:
                found += (item.kind == ItemKind::Subtotal || item.kind == ItemKind::HiddenSubtotal) &&
                         item.label == r.text;
                break;
            case FormulaRef::Kind::Text:
                if (item.kind == ItemKind::Variable) found += item.variable == r.text;
                else if (item.kind == ItemKind::Value && item.value.isString)
                    found += item.value.text.substr(0, SignificantLength(item.value.text)) ==
                             r.text.substr(0, SignificantLength(r.text));
                else if (item.kind == ItemKind::Range && valueType > 0)
                    found += (item.openLow || item.value.text <= r.text) && (item.openHigh || r.text <= item.high.text);
                break;
            default:
                if (item.kind == ItemKind::Value && !item.value.isString) found += item.value.number == r.number;
                else if (item.kind == ItemKind::Range && valueType == 0)
                    found += (item.openLow || item.value.number <= r.number) &&
                             (item.openHigh || r.number <= item.high.number);
                break;
            }
        }
        if (r.kind == FormulaRef::Kind::Subtotal && found > 1)
            Fail(path, prefix + "is ambiguous: " + std::to_string(found) + " subtotals of " + Quote(e.name) +
                           " have that label");
        if (found == 0) {
            if (r.kind == FormulaRef::Kind::Number && (valueType != 0 || IsDichotomySet(e)))
                Fail(path, prefix + "is a number, but the categories of " + Quote(e.name) + " are " +
                               (IsDichotomySet(e) ? "its member variables" : "strings"));
            if (r.kind == FormulaRef::Kind::Text && valueType == 0 && !IsDichotomySet(e))
                Fail(path, prefix + "is a text, but " + Quote(e.name) + " is numeric");
            Fail(path, prefix + "is not among the items of " + Quote(e.name));
        }
    }

    // A subtotal adds up the items on its far side from the total: those
    // written before it (up to the previous subtotal) when the total comes
    // after, those after it (up to the next subtotal) when the total comes
    // before. One with no items there never shows; the request is still
    // valid, but the user most likely expected otherwise.
    void WarnEmptySubtotals(const CategoryOptions& options) const
    {
        auto isSubtotal = [](const CategoryItem& item) {
            return item.kind == ItemKind::Subtotal || item.kind == ItemKind::HiddenSubtotal;
        };
        const std::vector<CategoryItem>& items = options.items;
        bool covers = false;
        auto visit = [&](const CategoryItem& item) {
            if (!isSubtotal(item)) {
                covers = true;
                return;
            }
            if (!covers)
                _req.warnings.push_back(_req.file + ": " + item.path + ": subtotal " + Quote(item.label) +
                                        " adds up no items and is not shown (with the total " +
                                        (options.totalAfter ? "after, a subtotal adds up the items before it"
                                                            : "before, a subtotal adds up the items after it") +
                                        ")");
            covers = false;
        };
        if (options.totalAfter) std::for_each(items.begin(), items.end(), visit);
        else std::for_each(items.rbegin(), items.rend(), visit);
    }

    Request& _req;
    const VESK_DataSource& _dict;
    const WhyText& _whyText;
};

}  // namespace

void ValidateRequest(Request& request, const VESK_DataSource& dictionary, const WhyText& whyText)
{
    Validator(request, dictionary, whyText).Run();
}

}  // namespace kvtables
