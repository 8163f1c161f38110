#include "Golden.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "TestSupport.h"

namespace kvtest {

std::string ReadText(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string WriteTempFile(const std::string& name, const std::string& text)
{
    const std::string path = ProcessTempDir() + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::vector<std::string> CaseNames(const std::filesystem::path& dir, const std::string& suffix)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        const std::string f = entry.path().filename().string();
        if (f.size() > suffix.size() && f.compare(f.size() - suffix.size(), suffix.size(), suffix) == 0)
            names.push_back(f.substr(0, f.size() - suffix.size()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

ProgramRun RunProgram(const std::filesystem::path& program, const std::filesystem::path& dir, const std::string& args)
{
    const std::string out = ProcessTempDir() + "run.out", err = ProcessTempDir() + "run.err";
    const std::string command = "cd '" + dir.string() + "' && '" + program.string() + "' " + args + " >'" + out +
                                "' 2>'" + err + "'";
    const int raw = std::system(command.c_str());
    return ProgramRun{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadText(out), ReadText(err)};
}

}  // namespace kvtest
