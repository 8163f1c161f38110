// The result for programs: one object per cell, every cell on a line of its
// own so that large results stay readable and diffable.
#include <cmath>

#include <nlohmann/json.hpp>

#include "Renderers.h"

namespace kvtables {

namespace {

using ojson = nlohmann::ordered_json;

// Integral values are written without a fraction (1, not 1.0); missing is null.
ojson Number(double v)
{
    if (IsMissingValue(v) || std::isinf(v)) return nullptr;
    if (v == std::floor(v) && std::fabs(v) < 9007199254740992.0) return static_cast<long long>(v);
    return v;
}

ojson Categories(const std::vector<ResultAxisVariable>& vars, const std::vector<int>& combo)
{
    ojson list = ojson::array();
    for (size_t i = 0; i < vars.size() && i < combo.size(); ++i) {
        const ResultCategory& c = vars[i].categories.at(static_cast<size_t>(combo[i]));
        ojson j;
        if (vars[i].name.empty()) j["variable"] = nullptr;  // a total element
        else j["variable"] = vars[i].name;
        j["category"] = CategoryKindName(c.kind);
        if (const double* d = std::get_if<double>(&c.value)) j["value"] = Number(*d);
        else if (const std::string* s = std::get_if<std::string>(&c.value)) j["value"] = *s;
        else j["value"] = nullptr;
        j["label"] = c.label;
        if (!c.letter.empty()) j["letter"] = c.letter;
        list.push_back(std::move(j));
    }
    return list;
}

}  // namespace

std::string RenderJson(const ResultSet& results)
{
    const auto dump = [](const ojson& j) { return j.dump(-1, ' ', false, ojson::error_handler_t::replace); };
    std::string out = "{\"tables\": [";
    for (size_t t = 0; t < results.tables.size(); ++t) {
        const ResultTable& table = results.tables[t];
        out += t ? ",\n" : "\n";
        out += "  {\"title\": " + dump(table.title) + ",\n   \"cells\": [";
        for (size_t i = 0; i < table.cells.size(); ++i) {
            const ResultCell& cell = table.cells[i];
            const ResultStatistic& stat = table.statistics.at(static_cast<size_t>(cell.statistic));
            ojson j;
            j["rows"] = Categories(table.rows.at(cell.rowElement), cell.rows);
            j["columns"] = Categories(table.columns.at(cell.columnElement), cell.columns);
            j["layers"] = Categories(table.layers, cell.layers);
            j["statistic"] = stat.name;
            j["statisticLabel"] = stat.Shown();
            if (stat.cut) j["cut"] = Number(*stat.cut);
            if (stat.lower) j["lower"] = Number(*stat.lower);
            if (stat.upper) j["upper"] = Number(*stat.upper);
            if (stat.level) j["level"] = Number(*stat.level);
            j["value"] = Number(cell.value);
            j["value2"] = Number(cell.value2);
            j["value3"] = Number(cell.value3);
            if (!cell.significantOver.empty()) j["significantOver"] = cell.significantOver;
            out += (i ? ",\n    " : "\n    ") + dump(j);
        }
        out += table.cells.empty() ? "]" : "\n   ]";
        if (table.tested) {
            out += ",\n   \"tests\": [";
            for (size_t i = 0; i < table.tests.size(); ++i) {
                const TestRecord& r = table.tests[i];
                ojson j;
                j["test"] = TestKindName(r.kind);
                j["layers"] = Categories(table.layers, r.layers);
                j["rows"] = Categories(table.rows.at(r.rowElement), r.rows);
                j["columns"] = Categories(table.columns.at(r.columnElement), r.columns);
                if (r.kind != TestKind::ChiSquare) j["versus"] = Categories(table.columns.at(r.columnElement), r.versus);
                j["statistic"] = Number(r.statistic);
                j["df"] = Number(r.df);
                j["pValue"] = Number(r.pValue);
                j["adjustedPValue"] = Number(r.adjustedPValue);
                j["significant"] = r.significant;
                out += (i ? ",\n    " : "\n    ") + dump(j);
            }
            out += table.tests.empty() ? "]" : "\n   ]";
        }
        out += "}";
    }
    out += results.tables.empty() ? "]" : "\n]";
    out += ", \"skippedCases\": " + std::to_string(results.skippedCases) + "}\n";
    return out;
}

}  // namespace kvtables
