// The command line, driven by data: every case of tests/e2e/cli/cases.json is
// a request, saved beside the data files of that directory and run, with its
// exact standard error and exit status. The annotated request of the tool's
// README must run as pasted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "Golden.h"
#include "TestSupport.h"

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

const fs::path kCases = fs::path(KV_SOURCE_DIR) / "tests" / "e2e" / "cli";
const fs::path kTool = fs::path(KV_BINARY_DIR) / "tools" / "kvtables" / "kvtables";

std::vector<Json> Cases()
{
    return Json::parse(kvtest::ReadText(kCases / "cases.json"))["cases"].get<std::vector<Json>>();
}

// This process's copy of the cases directory: links to its data files, so
// that the requests written next to them find them under the same names.
const fs::path& CaseDir()
{
    static const fs::path dir = [] {
        const fs::path d = kvtest::ProcessTempDir() + "cli";
        fs::create_directories(d);
        for (const auto& entry : fs::directory_iterator(kCases))
            fs::create_symlink(entry.path(), d / entry.path().filename());
        return d;
    }();
    return dir;
}

// Writes the named case's request into CaseDir(); returns its file name.
std::string WriteCase(const std::string& name)
{
    for (const Json& c : Cases()) {
        if (c["name"] != name) continue;
        std::ofstream(CaseDir() / (name + ".request.json")) << (c.contains("text") ? c["text"].get<std::string>()
                                                                                      : c["request"].dump());
        return name + ".request.json";
    }
    ADD_FAILURE() << "no case " << name;
    return "";
}

class CliCase : public ::testing::TestWithParam<Json> {};

TEST_P(CliCase, ExitStatusAndMessage)
{
    const Json& c = GetParam();
    const kvtest::ProgramRun run = kvtest::RunProgram(kTool, CaseDir(), WriteCase(c["name"]));
    const std::string err = c["stderr"];
    EXPECT_EQ(run.status, c.value("exit", 2));
    EXPECT_EQ(run.err, err.empty() ? err : err + "\n");
    EXPECT_TRUE(run.status != 2 || run.out.empty()) << run.out;  // a user error prints no half of a result
}

INSTANTIATE_TEST_SUITE_P(Kvtables, CliCase, ::testing::ValuesIn(Cases()),
                         [](const auto& info) { return info.param["name"].template get<std::string>(); });

TEST(KvtablesCli, CommandLineMistakesAreUserErrors)
{
    const std::string valid = WriteCase("valid");
    const std::pair<std::string, std::string> runs[] = {
        {"", "kvtables: request is required (try --help)\n"},
        {valid + " --format xml", "kvtables: --format: xml not in {text,json,csv,html,xlsx} (try --help)\n"},
        {"nosuch.request.json", "nosuch.request.json: cannot open the file: No such file or directory\n"},
        {valid + " --max-memory 1.5G",
         "--max-memory: \"1.5G\" is not a memory size (a number of bytes, or with K, M, G or T)\n"},
        {valid + " --max-memory 0", "--max-memory: \"0\" is not a memory size (a number of bytes, or with K, M, G or T)\n"}};
    for (const auto& [args, err] : runs) {
        const kvtest::ProgramRun run = kvtest::RunProgram(kTool, CaseDir(), args);
        EXPECT_EQ(run.status, 2) << args;
        EXPECT_EQ(run.err, err);
    }
    EXPECT_EQ(kvtest::RunProgram(kTool, CaseDir(), "--help").status, 0);
    // The statistics a request can name need no request; 0 and the holes of the code table are not among them.
    const kvtest::ProgramRun list = kvtest::RunProgram(kTool, CaseDir(), "--list-statistics");
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, ::testing::ContainsRegex("\nPtile +Percentile \\{cut\\} +cut\n"));
    for (const char* absent : {"NoStatistic", "\nUResponsesPct0 ", "\nResponsesPct0UCL "})
        EXPECT_EQ(list.out.find(absent), std::string::npos) << absent;
}

TEST(KvtablesCli, OutputFileOnlyOnSuccess)
{
    const fs::path target = kvtest::ProcessTempDir() + "out.csv";
    // A request error, and a data error found only while the cases stream in
    // (after the tables were built and some cases aggregated).
    for (const char* name : {"unknown_statistic", "short_row", "valid"}) {
        fs::remove(target);
        const kvtest::ProgramRun run =
            kvtest::RunProgram(kTool, CaseDir(), WriteCase(name) + " --format csv --output '" + target.string() + "'");
        EXPECT_EQ(run.out, "") << name;
        EXPECT_EQ(fs::exists(target), run.status == 0) << name;
    }
    EXPECT_NE(kvtest::ReadText(target).find("statistic"), std::string::npos);
}

// Where the output goes decides how it is written; a failed write is a user
// error whatever the target.
TEST(KvtablesCli, OutputIsWrittenWholeOrNotAtAll)
{
    const std::string valid = CaseDir() / WriteCase("valid");
    const fs::path dir = kvtest::ProcessTempDir() + "out";
    fs::create_directories(dir);
    auto run = [&](const std::string& redirect) {
        const std::string command = "'" + kTool.string() + "' '" + valid + "' " + redirect + " 2>'" +
                                    (dir / "err").string() + "'";
        const int raw = std::system(command.c_str());
        return std::make_pair(WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, kvtest::ReadText(dir / "err"));
    };
    EXPECT_EQ(run("> /dev/full"), std::make_pair(2, std::string("standard output: cannot write the output: "
                                                               "No space left on device\n")));
    EXPECT_EQ(run("--output /dev/full"), std::make_pair(2, std::string("/dev/full: cannot write the output: "
                                                                      "No space left on device\n")));
    EXPECT_EQ(run("--output /dev/null").first, 0);
    // A link to a device is written through, and stays a link.
    const fs::path toDevice = dir / "device.link";
    fs::create_symlink("/dev/null", toDevice);
    EXPECT_EQ(run("--output '" + toDevice.string() + "'").first, 0);
    EXPECT_TRUE(fs::is_symlink(toDevice));
    fs::remove(toDevice);

    // A private file keeps its mode; a link keeps pointing at its file, which
    // gets the output; nothing is left beside them.
    const fs::path file = dir / "private.txt", link = dir / "link.txt";
    std::ofstream(file) << "old";
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(file, link);
    for (const fs::path& target : {file, link}) {
        std::ofstream(file) << "old";
        EXPECT_EQ(run("--output '" + target.string() + "'").first, 0) << target;
        EXPECT_TRUE(fs::is_symlink(link));
        EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_NE(kvtest::ReadText(file).find("Region"), std::string::npos);
    }
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir)) left.push_back(entry.path().filename());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"err", "link.txt", "private.txt"}));
}

// A table's size is up to the data: the run stops, naming the table, before
// it takes more memory than it may, while the cases stream in (cells) or
// before it lays out a table too large to show.
TEST(KvtablesCli, TablesStopAtTheMemoryLimit)
{
    const fs::path dir = kvtest::ProcessTempDir() + "size";
    fs::create_directories(dir);
    {
        std::ofstream ids(dir / "ids.csv");
        ids << "id,x,y\n";
        for (int i = 0; i < 600000; ++i) ids << i << ',' << i % 1000 << ',' << i * 7 % 1000 << '\n';
    }
    std::ofstream(dir / "ids.request.json")
        << R"({"data": "ids.csv", "tables": [{"title": "Ids", "rows": ["id"], "statistics": ["Count"]}]})";
    std::ofstream(dir / "square.request.json")
        << R"({"data": "ids.csv", "tables": [{"title": "Square", "rows": ["x"], "columns": ["y"]}]})";
    const std::string cells = "the tables reached the memory limit of 1.0 MB after [0-9,]+ cases: table \"Ids\" holds "
                              "[0-9,]+ cells \\(ask for fewer categories or variables, or set --max-memory\\)\n";
    const std::string layout = "table \"Square\" has 1,000,000 values to show \\(1,000 rows by 1,000 columns by 1 "
                               "statistic\\), about [0-9.]+ MB: beyond the memory limit of 10.0 MB \\(ask.*\\)\n";
    // Under an address-space cap the default limit answers first.
    const std::string capped = "the tables reached the memory limit of 100.0 MB after [0-9,]+ cases: table \"Ids\".*\n";
    struct Run {
        std::string prefix, args, expected;
    };
    std::vector<Run> runs = {{"", "ids.request.json --max-memory 1M", cells},
                             {"", "square.request.json --max-memory 10M", layout}};
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // The sanitizers reserve far more address space than any cap allows.
    runs.push_back({"ulimit -v 204800 && ", "ids.request.json", capped});
#endif
    for (const Run& r : runs) {
        const std::string command = "cd '" + dir.string() + "' && " + r.prefix + "'" + kTool.string() + "' " + r.args +
                                    " >out 2>err";
        const int raw = std::system(command.c_str());
        EXPECT_EQ(WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, 2) << r.args;
        EXPECT_EQ(kvtest::ReadText(dir / "out"), "") << r.args;
        EXPECT_THAT(kvtest::ReadText(dir / "err"), ::testing::MatchesRegex(r.expected)) << r.args;
    }
}

TEST(KvtablesCli, ReadmeRequestRunsAsPasted)
{
    // The indented block after "## Request", comments and all, on the bundled
    // people data (written with ";" and NA): only the file and the variable
    // names the data lack change.
    std::istringstream readme(kvtest::ReadText(fs::path(KV_SOURCE_DIR) / "tools" / "kvtables" / "README.md"));
    std::string line, request;
    while (std::getline(readme, line) && line != "## Request") {}
    while (std::getline(readme, line) && (line.empty() || line.rfind("    ", 0) == 0)) request += line + "\n";
    ASSERT_NE(request.find("//"), std::string::npos) << request;
    const std::string tables = std::string(KV_SOURCE_DIR) + "/tests/e2e/tables/";
    for (const auto& [from, to] : {std::pair<std::string, std::string>{"survey.csv", tables + "people_dialect.csv"},
                                   {"survey.dict.json", tables + "people.dict.json"},
                                   {"\"gender\"", "\"sex\""}, {", \"b3\"", ""}, {", \"radio\"", ""}})
        for (size_t at; (at = request.find(from)) != std::string::npos;) request.replace(at, from.size(), to);
    const kvtest::ProgramRun run =
        kvtest::RunProgram(kTool, kvtest::ProcessTempDir(), kvtest::WriteTempFile("readme.request.json", request));
    EXPECT_EQ(run.status, 0) << run.err << request;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("Region by gender"), std::string::npos);
}

}  // namespace
