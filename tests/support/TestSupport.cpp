#include "TestSupport.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>

namespace kvtest {

::testing::AssertionResult RelNear(double actual, double expected, double rel)
{
    const double err = std::fabs(actual - expected);
    if (err <= rel * std::fabs(expected)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "actual " << actual << " expected " << expected << " relative error "
                                         << err / std::fabs(expected) << " > " << rel;
}

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
        // Process ids come round again: what an earlier process of the same
        // id left must not meet this one's files.
        std::filesystem::remove_all(d);
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
