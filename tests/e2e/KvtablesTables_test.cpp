// The tables themselves, driven by data: every tests/e2e/tables/NAME.request.json
// is run from that directory with --format json and compared with
// NAME.expected.json. The expected numbers are derived independently of the
// tool: by hand (the derivation is in the file's "_comment") or by
// tests/e2e/tables/oracle.py, which computes them from the CSV with
// pandas/scipy and writes the file once.
//
// Expected file:
//   {"skippedCases": 2,
//    "tables": [{"title": "...",
//                "cells": [["North | Female |  | Count", 3],
//                          ["North | Female |  | CountPct1LCL", 12.5, null, null], ...]}]}
// A cell is named by its row, column and layer labels (nested labels joined
// by " / ") and its statistic with parameters in brackets ("Ptile(25)").
// Every cell of the output must be listed, in display order; a value is
// compared with a relative tolerance of 1e-9, null means system-missing.
// Only value is compared unless value2 and value3 are given.
//
// A table with significance tests may instead list "someCells" (only those
// are checked; ["name", "over", "BC"] checks the letters a cell is greater
// than, every other cell of those statistics must have none), "letters"
// (each compared column's letter by its label, "" for none) and "tests":
// ["test | layers | rows | columns | versus", statistic, df, p, adjusted p,
// significant], every record of the output listed in order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "Golden.h"

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {

const fs::path kCases = fs::path(KV_SOURCE_DIR) / "tests" / "e2e" / "tables";
const fs::path kTool = fs::path(KV_BINARY_DIR) / "tools" / "kvtables" / "kvtables";

std::string Labels(const json& axis)
{
    std::string s;
    for (size_t i = 0; i < axis.size(); ++i) s += (i ? " / " : "") + axis[i]["label"].get<std::string>();
    return s;
}

std::string CellName(const json& cell)
{
    std::string params;
    for (const char* p : {"cut", "lower", "upper", "level"}) {
        if (!cell.contains(p) || !cell[p].is_number()) continue;
        char buf[32];
        std::snprintf(buf, sizeof buf, "%s%g", params.empty() ? "(" : ",", cell[p].get<double>());
        params += buf;
    }
    return Labels(cell["rows"]) + " | " + Labels(cell["columns"]) + " | " + Labels(cell["layers"]) + " | " +
           cell["statistic"].get<std::string>() + (params.empty() ? "" : params + ")");
}

bool Close(const json& actual, const json& expected)
{
    if (expected.is_null()) return actual.is_null();
    if (!actual.is_number()) return false;
    const double a = actual.get<double>(), e = expected.get<double>();
    return std::fabs(a - e) <= 1e-9 * std::max(std::fabs(e), 1e-3);
}

std::string Letters(const json& cell)
{
    std::string s;
    for (const json& l : cell.value("significantOver", json::array())) s += l.get<std::string>();
    return s;
}

std::string TestName(const json& t)
{
    std::string name = t["test"].get<std::string>() + " | " + Labels(t["layers"]) + " | " + Labels(t["rows"]) +
                       " | " + Labels(t["columns"]);
    return t.contains("versus") ? name + " | " + Labels(t["versus"]) : name;
}

void CheckTests(const json& actual, const json& expected)
{
    std::map<std::string, const json*> byName;
    for (const json& c : actual["cells"]) byName[CellName(c)] = &c;
    std::set<std::string> lettered;
    for (const json& want : expected.value("someCells", json::array())) {
        const std::string name = want[0].get<std::string>();
        ASSERT_TRUE(byName.count(name)) << "no cell " << name;
        const json& cell = *byName[name];
        if (want[1] == "over") {
            EXPECT_EQ(Letters(cell), want[2].get<std::string>()) << name;
            lettered.insert(name);
        } else {
            EXPECT_TRUE(Close(cell["value"], want[1])) << name << ": " << cell["value"] << " != " << want[1];
        }
    }
    for (const json& c : actual["cells"]) {
        if (!lettered.count(CellName(c)) && !lettered.empty()) {
            EXPECT_EQ(Letters(c), "") << CellName(c);
        }
    }
    const json letters = expected.value("letters", json::object());
    for (const auto& [label, letter] : letters.items()) {
        for (const json& c : actual["cells"]) {
            if (c["columns"].back()["label"] == label) {
                EXPECT_EQ(c["columns"].back().value("letter", ""), letter.get<std::string>()) << label;
            }
        }
    }
    const json& et = expected["tests"];
    const json& at = actual["tests"];
    ASSERT_EQ(at.size(), et.size());
    for (size_t i = 0; i < et.size(); ++i) {
        SCOPED_TRACE(et[i][0].get<std::string>());
        EXPECT_EQ(TestName(at[i]), et[i][0].get<std::string>());
        int v = 1;
        for (const char* key : {"statistic", "df", "pValue", "adjustedPValue"}) {
            EXPECT_TRUE(Close(at[i][key], et[i][v])) << key << ": " << at[i][key] << " != " << et[i][v];
            ++v;
        }
        EXPECT_EQ(at[i]["significant"], et[i][5]);
    }
}

class TableCase : public ::testing::TestWithParam<std::string> {};

TEST_P(TableCase, MatchesTheIndependentResult)
{
    const std::string name = GetParam();
    const json expected = json::parse(kvtest::ReadText(kCases / (name + ".expected.json")));
    const kvtest::ProgramRun run = kvtest::RunProgram(kTool, kCases, name + ".request.json --format json");
    ASSERT_EQ(run.status, 0) << run.err;
    const json actual = json::parse(run.out);

    EXPECT_EQ(actual["skippedCases"], expected.value("skippedCases", actual["skippedCases"]));
    const json& et = expected["tables"];
    const json& at = actual["tables"];
    ASSERT_EQ(at.size(), et.size());
    for (size_t t = 0; t < et.size(); ++t) {
        SCOPED_TRACE("table " + std::to_string(t));
        EXPECT_EQ(at[t]["title"], et[t].value("title", at[t]["title"]));
        if (et[t].contains("tests")) {
            CheckTests(at[t], et[t]);
            continue;
        }
        const json& ec = et[t]["cells"];
        const json& ac = at[t]["cells"];
        std::string listing;
        for (const json& c : ac) listing += "  " + CellName(c) + "\n";
        ASSERT_EQ(ac.size(), ec.size()) << "cells of the output:\n" << listing;
        for (size_t i = 0; i < ec.size(); ++i) {
            const std::string want = ec[i][0].get<std::string>();
            ASSERT_EQ(CellName(ac[i]), want) << "cell " << i << "; cells of the output:\n" << listing;
            for (size_t v = 1; v < ec[i].size(); ++v) {
                const char* key = v == 1 ? "value" : v == 2 ? "value2" : "value3";
                EXPECT_TRUE(Close(ac[i][key], ec[i][v])) << want << " " << key << ": " << ac[i][key] << " != "
                                                         << ec[i][v];
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kvtables, TableCase, ::testing::ValuesIn(kvtest::CaseNames(kCases, ".request.json")),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
