#include "TestSupport.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace kvtest {

std::string AssertRegex(const std::string& expression)
{
    std::string out;
    for (char c : expression) {
        if (std::string(".[]{}()\\*+?^$|").find(c) != std::string::npos) out += '\\';
        out += c;
    }
    return out;
}

std::string ProcessTempDir()
{
    static const std::string dir = [] {
        std::string d = testing::TempDir() + "kvtest-" + std::to_string(getpid()) + "/";
        std::filesystem::create_directories(d);
        return d;
    }();
    return dir;
}

OutputCapture::OutputCapture()
{
    _previous = BP_SetOutputSink([this](long kind, const std::string& text) { _writes.emplace_back(kind, text); });
}

OutputCapture::~OutputCapture() { BP_SetOutputSink(std::move(_previous)); }

std::string OutputCapture::Text() const
{
    std::string all;
    for (const auto& w : _writes) all += w.second;
    return all;
}

}  // namespace kvtest
