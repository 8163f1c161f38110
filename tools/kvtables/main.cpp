// kvtables REQUEST.json [--format text|json|csv|html] [--output FILE]
//
// Reads a table request, checks it against the data's dictionary, computes
// the tables and writes them. Every mistake in the user's input ends with a
// one-line message on standard error and exit status 2; nothing is written to
// the output file then.
#include <cstdio>
#include <iostream>

#include <CLI/CLI.hpp>

#include "DataAccess.h"
#include "Output.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "UserError.h"

namespace {

constexpr int kUserErrorStatus = 2;
constexpr int kNotAvailableStatus = 3;

int Run(int argc, char** argv)
{
    CLI::App app{"kvtables: multi-dimensional tables of a CSV dataset"};
    std::string requestPath;
    std::string format = "text";
    std::string output;
    app.add_option("request", requestPath, "the table request (JSON)")->required();
    app.add_option("--format", format, "output format")
        ->check(CLI::IsMember({"text", "json", "csv", "html"}));
    app.add_option("--output", output, "write to this file instead of standard output");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "kvtables: " << e.what() << " (try --help)\n";
        return kUserErrorStatus;
    }

    try {
        kvtables::Request request = kvtables::LoadRequest(requestPath);
        std::unique_ptr<VESK_DataSource> dictionary = kvtables::LoadDataDictionary(request);
        kvtables::ValidateRequest(request, *dictionary);
        // The engine binding (TableRunner.h: a validated request and a case
        // iterator in, a ResultSet out) comes next; with it the tail is
        //   WriteOutput(Render(RunTables(request, cases, &progress), format,
        //                      TerminalWidth(STDOUT_FILENO)), output);
        // Until then a valid request stops here.
        std::cerr << "kvtables: " << requestPath
                  << ": the request is valid, but computing tables is not available yet (no engine binding)\n";
        return kNotAvailableStatus;
    } catch (const kvtables::UserError& e) {
        std::cerr << e.what() << "\n";
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
