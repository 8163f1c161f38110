// The command line, driven by data: every tests/e2e/cli/NAME.request.json is
// run from that directory and checked against NAME.expect, whose first line
// is "exit N" and whose remaining lines are the exact standard error.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const fs::path kCases = fs::path(KV_SOURCE_DIR) / "tests" / "e2e" / "cli";
const fs::path kTool = fs::path(KV_BINARY_DIR) / "tools" / "kvtables" / "kvtables";

struct Outcome {
    int status = -1;
    std::string out;  // standard output
    std::string err;  // standard error
};

std::string Slurp(const fs::path& p)
{
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Runs the tool in the cases directory with the given arguments.
Outcome RunTool(const std::string& args)
{
    const fs::path tmp = fs::temp_directory_path() / ("kvtables_cli_" + std::to_string(::getpid()));
    fs::create_directories(tmp);
    const std::string cmd = "cd '" + kCases.string() + "' && '" + kTool.string() + "' " + args + " >'" +
                            (tmp / "out").string() + "' 2>'" + (tmp / "err").string() + "'";
    Outcome o;
    int raw = std::system(cmd.c_str());
    o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    o.out = Slurp(tmp / "out");
    o.err = Slurp(tmp / "err");
    fs::remove_all(tmp);
    return o;
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

class CliCase : public ::testing::TestWithParam<std::string> {};

TEST_P(CliCase, ExitStatusAndMessage)
{
    const std::string name = GetParam();
    const std::string expect = Slurp(kCases / (name + ".expect"));
    ASSERT_FALSE(expect.empty()) << "no " << name << ".expect";
    const size_t eol = expect.find('\n');
    const std::string first = expect.substr(0, eol);
    ASSERT_EQ(first.rfind("exit ", 0), 0u) << name << ".expect must start with \"exit N\"";
    const int status = std::stoi(first.substr(5));
    const std::string err = expect.substr(eol + 1);

    Outcome o = RunTool(name + ".request.json");
    EXPECT_EQ(o.status, status);
    EXPECT_EQ(o.err, err);
    // A user error is one line and writes nothing to standard output.
    if (status == 2) {
        EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1);
        EXPECT_EQ(o.out, "");
    }
}

INSTANTIATE_TEST_SUITE_P(Kvtables, CliCase, ::testing::ValuesIn(CaseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

TEST(KvtablesCli, CommandLineMistakesAreUserErrors)
{
    Outcome none = RunTool("");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "kvtables: request is required (try --help)\n");
    Outcome format = RunTool("valid.request.json --format xml");
    EXPECT_EQ(format.status, 2);
    EXPECT_EQ(format.err, "kvtables: --format: xml not in {text,json,csv,html} (try --help)\n");
    Outcome missing = RunTool("nosuch.request.json");
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "nosuch.request.json: cannot read the request file\n");
    EXPECT_EQ(RunTool("--help").status, 0);
}

TEST(KvtablesCli, NoOutputFileOnError)
{
    const fs::path target = fs::temp_directory_path() / ("kvtables_out_" + std::to_string(::getpid()) + ".txt");
    // A request error, and a data error found only while the cases stream in
    // (after the tables were built and some cases aggregated).
    for (const char* request : {"unknown_statistic.request.json", "short_row.request.json"}) {
        fs::remove(target);
        Outcome o = RunTool(std::string(request) + " --output '" + target.string() + "'");
        EXPECT_EQ(o.status, 2) << request;
        EXPECT_FALSE(fs::exists(target)) << request;
    }
}

TEST(KvtablesCli, OutputFileOnSuccess)
{
    const fs::path target = fs::temp_directory_path() / ("kvtables_ok_" + std::to_string(::getpid()) + ".csv");
    fs::remove(target);
    Outcome o = RunTool("valid.request.json --format csv --output '" + target.string() + "'");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "");
    EXPECT_NE(Slurp(target).find("statistic"), std::string::npos);
    fs::remove(target);
}

}  // namespace
