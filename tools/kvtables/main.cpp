// kvtables REQUEST.json [--format text|json|csv|html|xlsx] [--output FILE] [--max-memory SIZE] [--threads N]
// kvtables --list-statistics
//
// Reads a table request, checks it against the data's dictionary, computes
// the tables and writes them. Every mistake in the user's input ends with a
// one-line message on standard error and exit status 2; nothing is written to
// the output file then.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "DataAccess.h"
#include "HostError.h"
#include "MemoryLimit.h"
#include "Output.h"
#include "Renderers.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "StatisticCatalogue.h"
#include "TableRunner.h"
#include "Terminal.h"
#include "UserError.h"

namespace {

constexpr int kUserErrorStatus = 2;

// Lines of a file, for the progress line; only counted when someone watches.
// A part smaller than this gains less from a thread of its own than its
// start and its merge cost; and a file read as one part gives the same output,
// to the last bit of a weighted sum, whatever --threads says.
constexpr std::uintmax_t kMinPartBytes = 16u << 20;

int PartsFor(const std::string& path, int threads)
{
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) return 1;  // the reader names the file when it fails to open it
    return static_cast<int>(std::min<std::uintmax_t>(static_cast<std::uintmax_t>(threads),
                                                     std::max<std::uintmax_t>(1, size / kMinPartBytes)));
}

std::uint64_t CountLines(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> buf(1 << 16);
    std::uint64_t lines = 0;
    while (in.read(buf.data(), static_cast<std::streamsize>(buf.size())) || in.gcount() > 0)
        lines += static_cast<std::uint64_t>(std::count(buf.data(), buf.data() + in.gcount(), '\n'));
    return lines;
}

// Every statistic a request can name: its name, its words and the parameters
// it takes, in columns.
std::string StatisticList()
{
    struct Line {
        std::string name, label, params;
    };
    std::vector<Line> lines{{"NAME", "LABEL", "PARAMETERS"}};
    for (int code = TableEncryptionCodes::kFirstStatisticCode; code <= TableEncryptionCodes::kLastStatisticCode;
         ++code) {
        const StatisticCatalogue::Entry& e = *StatisticCatalogue::Find(code);
        if (!e.requestable) continue;
        std::string params;
        for (auto [bit, word] : {std::pair{StatisticCatalogue::kCut, "cut"}, {StatisticCatalogue::kLower, "lower"},
                                 {StatisticCatalogue::kUpper, "upper"}, {StatisticCatalogue::kLevel, "level"}})
            if (e.params & bit) params += (params.empty() ? "" : " ") + std::string(word);
        lines.push_back({e.name, e.label, params});
    }
    size_t nameWidth = 0, labelWidth = 0;
    for (const Line& l : lines) {
        nameWidth = std::max(nameWidth, l.name.size());
        labelWidth = std::max(labelWidth, l.label.size());
    }
    std::string out;
    for (const Line& l : lines) {
        std::string line = l.name + std::string(nameWidth - l.name.size() + 2, ' ') + l.label;
        if (!l.params.empty()) line += std::string(labelWidth - l.label.size() + 2, ' ') + l.params;
        out += line + "\n";
    }
    return out;
}

int Run(int argc, char** argv)
{
    CLI::App app{"kvtables: multi-dimensional tables of a CSV dataset"};
    std::string requestPath;
    std::string format = "text";
    std::string output;
    app.add_option("request", requestPath, "the table request (JSON)");
    bool listStatistics = false;
    app.add_flag("--list-statistics", listStatistics, "list the statistics a request can ask for, and stop");
    app.add_option("--format", format, "output format")
        ->check(CLI::IsMember({"text", "json", "csv", "html", "xlsx"}));
    app.add_option("--output", output, "write to this file instead of standard output");
    std::string maxMemory;
    app.add_option("--max-memory", maxMemory,
                   "stop when the tables need more memory than this (bytes, or with K, M, G, T; default: "
                   "three quarters of the memory available)");
    const unsigned cores = std::thread::hardware_concurrency();
    int threads = cores > 0 ? static_cast<int>(cores) : 1;
    app.add_option("--threads", threads,
                   "aggregate the data in this many parts at once, each on its own core, and merge them "
                   "(default: the machine's cores)")
        ->check(CLI::Range(1, 1024));
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "kvtables: " << e.what() << " (try --help)\n";
        return kUserErrorStatus;
    }

    if (listStatistics) {
        std::cout << StatisticList();
        return 0;
    }
    if (requestPath.empty()) {
        std::cerr << "kvtables: request is required (try --help)\n";
        return kUserErrorStatus;
    }
    // Said before the run, not after it: a workbook is no text for a terminal.
    if (format == "xlsx" && output.empty() && isatty(STDOUT_FILENO)) {
        std::cerr << "kvtables: --format xlsx writes a workbook: give --output FILE or redirect standard output\n";
        return kUserErrorStatus;
    }

    kvtables::MemoryLimit limit;
    try {
        if (!maxMemory.empty()) limit.bytes = kvtables::ParseMemorySize(maxMemory, "--max-memory");
        const kvtables::Request parsed = kvtables::LoadRequest(requestPath);
        const std::uint64_t lines = isatty(STDERR_FILENO) ? CountLines(parsed.dataPath) : 0;
        const int parts = PartsFor(parsed.dataPath, threads);
        auto run = [&](kvtables::Request& request, kvtables::DataInput& data, bool again) {
            kvtables::ValidateRequest(request, data.cases->GetDataSource(),
                                      [&data](int varIndex) { return data.cases->WhyText(varIndex); });
            if (!again)
                for (const std::string& warning : request.warnings) std::cerr << "warning: " << warning << "\n";
            data.cases->SetWeightIndex(request.weightIndex);
            kvtables::Progress progress("reading " + kvtables::Printable(request.data), lines);
            if (parts == 1) return kvtables::RunTables(request, *data.cases, &progress, limit);
            // One heap for all parts: the C library would give each thread
            // that allocates an arena of its own, reserving 64 MiB of address
            // space apiece, and under an address-space cap (ulimit -v) the
            // reservations run out before the memory limit is reached. A cell
            // allocates once, and the tables people make have far fewer cells
            // than cases, so the parts seldom meet at the heap's lock.
            mallopt(M_ARENA_MAX, 1);
            std::vector<std::unique_ptr<CsvCaseIterator>> streams;
            try {
                streams = data.cases->Split(parts);
            } catch (const HostError& e) {
                throw kvtables::UserError(e.what());
            }
            std::vector<VESK_InputCaseIterator*> cases;
            for (auto& stream : streams) cases.push_back(stream.get());
            return kvtables::RunTablesInParts(request, cases, &progress, limit);
        };
        const kvtables::ResultSet results = kvtables::RunOverData(parsed, kvtables::RequestDictionary(parsed), run);
        // Rendered in full before the output file is opened, so that a
        // failure leaves no half-written file behind.
        const std::string text = kvtables::Render(results, format, kvtables::TerminalWidth(STDOUT_FILENO));
        kvtables::WriteOutput(text, output);
        return 0;
    } catch (const kvtables::UserError& e) {
        std::cerr << e.what() << "\n";
        return kUserErrorStatus;
    } catch (const std::bad_alloc&) {
        std::cerr << "kvtables: memory ran out below " << limit.Describe() << " " << limit.Advice() << "\n";
        return kUserErrorStatus;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::exception& e) {
        std::cerr << "kvtables: internal error: " << e.what() << "\n";
        return 1;
    }
}
