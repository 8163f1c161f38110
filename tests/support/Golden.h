// Tests driven by files: cases found by their names in a directory, read
// whole, and programs run on them with their output captured.
#ifndef KVAGGR_TESTS_GOLDEN_H
#define KVAGGR_TESTS_GOLDEN_H

#include <filesystem>
#include <string>
#include <vector>

namespace kvtest {

// The whole file; empty when it cannot be read.
std::string ReadText(const std::filesystem::path& path);

// Writes `text` to `name` in this process's temp directory; returns the path.
std::string WriteTempFile(const std::string& name, const std::string& text);

// The names of the files of `dir` that end in `suffix`, without it, sorted.
std::vector<std::string> CaseNames(const std::filesystem::path& dir, const std::string& suffix);

struct ProgramRun {
    int status = -1;  // the exit status; -1 when killed
    std::string out;  // standard output
    std::string err;  // standard error
};

// Runs `program` with the (shell-quoted) `args` in the directory `dir`.
ProgramRun RunProgram(const std::filesystem::path& program, const std::filesystem::path& dir, const std::string& args);

}  // namespace kvtest

#endif
