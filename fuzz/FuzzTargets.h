// What each fuzz harness does with one input, shared by the libFuzzer entry
// points (fuzz_*.cpp) and the regression test that replays saved inputs in
// the ordinary build. A user error (kvtables::UserError, HostError) is the
// expected answer to bad input and is swallowed; anything else escapes, and a
// crash, a sanitizer report or a hang is a finding.
#ifndef KVAGGR_FUZZ_FUZZTARGETS_H
#define KVAGGR_FUZZ_FUZZTARGETS_H

#include <cstddef>
#include <cstdint>

namespace kvfuzz {

// The input as request text: parsed, then validated against a fixed
// in-memory dictionary.
void FuzzRequest(const uint8_t* data, size_t size);

// The input as a data dictionary's JSON.
void FuzzDictionary(const uint8_t* data, size_t size);

// The first byte picks the delimiter, the missing-value texts, whether the
// fixed dictionary describes the columns and whether the file is also
// streamed; the rest is a CSV file, read record by record and loaded whole.
void FuzzCsv(const uint8_t* data, size_t size);

// The input as the body of a CSV file under a fixed header, run through a
// fixed request (stream, validation, every table, every output format).
void FuzzRun(const uint8_t* data, size_t size);

}  // namespace kvfuzz

#endif
