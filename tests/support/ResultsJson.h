// A ResultSet written by hand as JSON, for the renderers' tests (the cases of
// tests/data/kvtables/render.json and xlsx.json):
//   {"skippedCases": 0, "weight": "", "tables": [{"title": "...", "notes": [...],
//     "rows": AXIS, "columns": AXIS, "layers": NEST,
//     "statistics": ["Count", {"name": "Ptile", "cut": 25, "decimals": 1, "label": "..."}],
//     "cells": [[ROWS, COLUMNS, LAYERS, statistic, value (null: missing), value2 or [letters], value3]]}]}
// A NEST is a list of variables {"name", "label", "categories": [[kind, value, label, note?]]}, kind one of
// value, total, subtotal, variable; an AXIS is a NEST or a list of NESTs (stacked). A cell's place on an axis
// is its category indices, or {"element": e, "categories": [...]} on a stacked one.
#ifndef KVAGGR_TESTS_RESULTSJSON_H
#define KVAGGR_TESTS_RESULTSJSON_H

#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "AggregationStatistic.h"
#include "ResultSet.h"

namespace kvtest {

inline kvtables::ResultNest NestFromJson(const nlohmann::json& variables)
{
    static const std::map<std::string, kvtables::CategoryKind> kinds = {
        {"value", kvtables::CategoryKind::Value},
        {"total", kvtables::CategoryKind::Total},
        {"subtotal", kvtables::CategoryKind::Subtotal},
        {"variable", kvtables::CategoryKind::Variable}};
    kvtables::ResultNest nest;
    for (const nlohmann::json& v : variables) {
        nest.push_back({v["name"], v["label"], {}});
        for (const nlohmann::json& c : v["categories"]) {
            kvtables::CategoryValue value;
            if (c[1].is_number()) value = c[1].get<double>();
            else if (c[1].is_string()) value = c[1].get<std::string>();
            nest.back().categories.push_back({kinds.at(c[0]), value, c[2], c.size() > 3 ? c[3].get<std::string>() : ""});
        }
    }
    return nest;
}

inline std::vector<kvtables::ResultNest> AxisFromJson(const nlohmann::json& axis)
{
    if (axis.empty() || !axis[0].is_array()) return {NestFromJson(axis)};
    std::vector<kvtables::ResultNest> stack;
    for (const nlohmann::json& element : axis) stack.push_back(NestFromJson(element));
    return stack;
}

inline kvtables::ResultSet ResultsFromJson(const nlohmann::json& j)
{
    using nlohmann::json;
    auto place = [](const json& p, size_t& element, std::vector<int>& categories) {
        element = p.is_object() ? p["element"].get<size_t>() : 0;
        (p.is_object() ? p["categories"] : p).get_to(categories);
    };
    auto value = [](const json& v) { return v.is_null() ? kvtables::SystemMissing() : v.get<double>(); };
    kvtables::ResultSet rs;
    rs.skippedCases = j.value("skippedCases", 0);
    rs.weight = j.value("weight", "");
    for (const json& t : j.value("tables", json::array())) {
        kvtables::ResultTable& table = rs.tables.emplace_back();
        table.title = t["title"];
        table.rows = AxisFromJson(t.value("rows", json::array()));
        table.columns = AxisFromJson(t.value("columns", json::array()));
        table.layers = NestFromJson(t.value("layers", json::array()));
        table.notes = t.value("notes", std::vector<std::string>{});
        for (const json& s : t.value("statistics", json::array())) {
            const json given = s.is_string() ? json{{"name", s}} : s;
            kvtables::ResultStatistic& stat = table.statistics.emplace_back();
            stat.name = given["name"];
            stat.code = AggregationStatistic::GetStatisticCode(stat.name);
            for (auto [key, slot] : {std::pair{"cut", &stat.cut}, {"lower", &stat.lower}, {"upper", &stat.upper}})
                if (given.contains(key)) *slot = given[key].get<double>();
            stat.decimals = given.value("decimals", -1);
            stat.label = given.value("label", "");
        }
        for (const json& c : t.value("cells", json::array())) {
            kvtables::ResultCell& cell = table.cells.emplace_back();
            place(c[0], cell.rowElement, cell.rows);
            place(c[1], cell.columnElement, cell.columns);
            c[2].get_to(cell.layers);
            cell.statistic = c[3];
            cell.value = value(c[4]);
            if (c.size() > 5 && c[5].is_array()) {
                c[5].get_to(cell.significantOver);
            } else {
                if (c.size() > 5) cell.value2 = value(c[5]);
                if (c.size() > 6) cell.value3 = value(c[6]);
            }
        }
    }
    return rs;
}

}  // namespace kvtest

#endif
