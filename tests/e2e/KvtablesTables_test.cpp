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
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {

const fs::path kCases = fs::path(KV_SOURCE_DIR) / "tests" / "e2e" / "tables";
const fs::path kTool = fs::path(KV_BINARY_DIR) / "tools" / "kvtables" / "kvtables";

std::string Slurp(const fs::path& p)
{
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Runs the tool on a request of the cases directory; returns its status and
// standard output.
int RunJson(const std::string& request, std::string& out, std::string& err)
{
    const fs::path tmp = fs::temp_directory_path() / ("kvtables_tables_" + std::to_string(::getpid()));
    fs::create_directories(tmp);
    const std::string cmd = "cd '" + kCases.string() + "' && '" + kTool.string() + "' " + request +
                            " --format json >'" + (tmp / "out").string() + "' 2>'" + (tmp / "err").string() + "'";
    const int raw = std::system(cmd.c_str());
    out = Slurp(tmp / "out");
    err = Slurp(tmp / "err");
    fs::remove_all(tmp);
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

std::string Number(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

std::string Labels(const json& axis)
{
    std::string s;
    for (size_t i = 0; i < axis.size(); ++i) s += (i ? " / " : "") + axis[i]["label"].get<std::string>();
    return s;
}

std::string CellName(const json& cell)
{
    std::string stat = cell["statistic"].get<std::string>();
    std::vector<std::string> params;
    for (const char* p : {"cut", "lower", "upper", "level"})
        if (cell.contains(p) && cell[p].is_number()) params.push_back(Number(cell[p].get<double>()));
    if (!params.empty()) {
        stat += "(";
        for (size_t i = 0; i < params.size(); ++i) stat += (i ? "," : "") + params[i];
        stat += ")";
    }
    return Labels(cell["rows"]) + " | " + Labels(cell["columns"]) + " | " + Labels(cell["layers"]) + " | " + stat;
}

bool Close(const json& actual, const json& expected)
{
    if (expected.is_null()) return actual.is_null();
    if (!actual.is_number()) return false;
    const double a = actual.get<double>(), e = expected.get<double>();
    return std::fabs(a - e) <= 1e-9 * std::max(std::fabs(e), 1e-3);
}

std::vector<std::string> CaseNames()
{
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(kCases)) {
        const std::string f = e.path().filename().string();
        const std::string suffix = ".request.json";
        if (f.size() > suffix.size() && f.compare(f.size() - suffix.size(), suffix.size(), suffix) == 0)
            names.push_back(f.substr(0, f.size() - suffix.size()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

class TableCase : public ::testing::TestWithParam<std::string> {};

TEST_P(TableCase, MatchesTheIndependentResult)
{
    const std::string name = GetParam();
    const std::string expectedText = Slurp(kCases / (name + ".expected.json"));
    ASSERT_FALSE(expectedText.empty()) << "no " << name << ".expected.json";
    const json expected = json::parse(expectedText);

    std::string out, err;
    ASSERT_EQ(RunJson(name + ".request.json", out, err), 0) << err;
    const json actual = json::parse(out);

    if (expected.contains("skippedCases")) {
        EXPECT_EQ(actual["skippedCases"], expected["skippedCases"]);
    }
    const json& et = expected["tables"];
    const json& at = actual["tables"];
    ASSERT_EQ(at.size(), et.size());
    for (size_t t = 0; t < et.size(); ++t) {
        SCOPED_TRACE("table " + std::to_string(t));
        if (et[t].contains("title")) {
            EXPECT_EQ(at[t]["title"], et[t]["title"]);
        }
        const json& ec = et[t]["cells"];
        const json& ac = at[t]["cells"];
        std::string listing;
        for (const json& c : ac) listing += "  " + CellName(c) + "\n";
        ASSERT_EQ(ac.size(), ec.size()) << "cells of the output:\n" << listing;
        for (size_t i = 0; i < ec.size(); ++i) {
            const std::string want = ec[i][0].get<std::string>();
            ASSERT_EQ(CellName(ac[i]), want) << "cell " << i << "; cells of the output:\n" << listing;
            EXPECT_TRUE(Close(ac[i]["value"], ec[i][1])) << want << ": " << ac[i]["value"] << " != " << ec[i][1];
            if (ec[i].size() >= 4) {
                EXPECT_TRUE(Close(ac[i]["value2"], ec[i][2])) << want << " value2: " << ac[i]["value2"] << " != " << ec[i][2];
                EXPECT_TRUE(Close(ac[i]["value3"], ec[i][3])) << want << " value3: " << ac[i]["value3"] << " != " << ec[i][3];
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kvtables, TableCase, ::testing::ValuesIn(CaseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
