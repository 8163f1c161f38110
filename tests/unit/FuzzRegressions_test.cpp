// Replays, in the ordinary build, every input the fuzzers once crashed on
// (fuzz/regressions/<harness>/) and their seed corpora, through the
// harnesses' own entry code: bad input must end in a user error or a result,
// never in another exception (a crash ends the test program).
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "FuzzTargets.h"

namespace {

namespace fs = std::filesystem;

struct Harness {
    const char* name;
    void (*run)(const uint8_t*, size_t);
};

const Harness kHarnesses[] = {{"request", kvfuzz::FuzzRequest},
                              {"dictionary", kvfuzz::FuzzDictionary},
                              {"csv", kvfuzz::FuzzCsv},
                              {"run", kvfuzz::FuzzRun}};

void PrintTo(const Harness& h, std::ostream* os) { *os << h.name; }

class FuzzReplay : public ::testing::TestWithParam<Harness> {};

TEST_P(FuzzReplay, SavedInputsEndInResultsOrUserErrors)
{
    const Harness& h = GetParam();
    const fs::path fuzzDir = fs::path(KV_SOURCE_DIR) / "fuzz";
    int replayed = 0;
    for (const char* kind : {"regressions", "corpus"}) {
        const fs::path dir = fuzzDir / kind / h.name;
        if (!fs::is_directory(dir)) continue;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
            std::ifstream in(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
            SCOPED_TRACE(entry.path().string());
            EXPECT_NO_THROW(h.run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
            ++replayed;
        }
    }
    // The seed corpus is always there: an empty walk means a wrong path.
    EXPECT_GT(replayed, 0);
}

INSTANTIATE_TEST_SUITE_P(Fuzz, FuzzReplay, ::testing::ValuesIn(kHarnesses),
                         [](const ::testing::TestParamInfo<Harness>& info) { return std::string(info.param.name); });

}  // namespace
