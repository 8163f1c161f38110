// Shared helpers for the tests.
#ifndef KVAGGR_TESTS_TESTSUPPORT_H
#define KVAGGR_TESTS_TESTSUPPORT_H

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "BP_Character.h"

namespace kvtest {

// |actual - expected| <= rel * |expected|, with both numbers in the message.
// An expected 0 therefore asks for an exact 0.
::testing::AssertionResult RelNear(double actual, double expected, double rel);

// Escapes the characters that are special in a POSIX extended regular
// expression, so that an assertion's expression text can be matched exactly
// in a death test: EXPECT_DEATH(f(), kvtest::AssertRegex("x >= 0")).
std::string AssertRegex(const std::string& expression);

// A directory of this test process's own under the test temp directory
// (ending in '/'). CTest runs the tests of one program as parallel processes,
// so files with fixed names must not share a directory.
std::string ProcessTempDir();

// Captures everything written through BP_ToFront while it lives.
class OutputCapture {
public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;
    // All text written so far, concatenated.
    std::string Text() const;
    // Each write with its kind.
    const std::vector<std::pair<long, std::string>>& Writes() const { return _writes; }

private:
    std::vector<std::pair<long, std::string>> _writes;
    BP_OutputSink _previous;
};

}  // namespace kvtest

#endif
