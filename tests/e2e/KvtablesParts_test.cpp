// The data cut into parts, aggregated apart and merged, against one pass: every table request of
// tests/e2e/tables (and tests/data/parts, whose CSV holds quoted commas and line breaks in most records)
// cut at random byte offsets into k = 1, 2 and 7 parts, merged in memory and through the parts' saved
// states. The tables must match: every category and its order, counts, extremes, percentiles and modes
// exactly; in a weighted request, and for moments, within 1e-12 relative.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <random>

#include <nlohmann/json.hpp>

#include "DataAccess.h"
#include "Golden.h"
#include "Renderers.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableRunner.h"
#include "UserError.h"

namespace fs = std::filesystem;
using json = nlohmann::json;
using namespace kvtables;

namespace {

const fs::path kSource(KV_SOURCE_DIR);
const fs::path kTool = fs::path(KV_BINARY_DIR) / "tools" / "kvtables" / "kvtables";

struct Opened {
    Request request;
    DataInput data;
};

std::unique_ptr<Opened> Open(const fs::path& path)
{
    auto o = std::make_unique<Opened>();
    o->request = LoadRequest(path.string(), true);
    o->data = OpenData(o->request);
    ValidateRequest(o->request, o->data.cases->GetDataSource(), [](int) { return std::string(); });
    o->data.cases->SetWeightIndex(o->request.weightIndex);
    return o;
}

// Numbers agree exactly, or within 1e-12 relative where `loose` says so (by the cell's statistic).
void ExpectSame(const json& got, const json& want, bool loose, const std::string& where)
{
    if (want.is_number() && got.is_number()) {
        const double a = got.get<double>(), b = want.get<double>();
        EXPECT_TRUE(loose ? std::fabs(a - b) <= 1e-12 * std::fabs(b) : a == b) << where << ": " << a << " != " << b;
    } else if (want.is_structured() && got.type() == want.type() && got.size() == want.size()) {
        // A cell names its statistic; a test record holds its test statistic, formed from moments.
        if (want.contains("statistic") && want["statistic"].is_string()) {
            const std::string s = want["statistic"];
            for (const char* m : {"Mean", "Sum", "Variance", "StdDev", "SE"}) loose = loose || s.find(m) != s.npos;
        } else if (want.contains("statistic")) {
            loose = true;
        }
        for (auto it = want.begin(); it != want.end(); ++it)
            ExpectSame(want.is_object() ? got[it.key()] : got[it - want.begin()], *it, loose,
                       where + "/" + (want.is_object() ? it.key() : std::to_string(it - want.begin())));
    } else {
        EXPECT_EQ(got, want) << where;
    }
}

json AsJson(const ResultSet& results) { return json::parse(RenderJson(results)); }

std::vector<fs::path> Requests()
{
    std::vector<fs::path> out{kSource / "tests" / "data" / "parts" / "quoted.request.json"};
    for (const std::string& name : kvtest::CaseNames(kSource / "tests" / "e2e" / "tables", ".request.json"))
        out.push_back(kSource / "tests" / "e2e" / "tables" / (name + ".request.json"));
    return out;
}

class PartsCase : public testing::TestWithParam<fs::path> {};

TEST_P(PartsCase, MergedPartsGiveTheTablesOfOnePass)
{
    auto whole = Open(GetParam());
    const json want = AsJson(RunTables(whole->request, *whole->data.cases));
    const bool weighted = whole->request.weightIndex >= 0;
    std::mt19937 random(static_cast<unsigned>(GetParam().string().size()));
    for (int k : {1, 2, 7}) {
        std::vector<double> at;
        for (int i = 1; i < k; ++i) at.push_back(std::uniform_real_distribution<double>(0, 1)(random));
        std::sort(at.begin(), at.end());
        auto o = Open(GetParam());
        auto parts = o->data.cases->Split(at);
        std::vector<VESK_InputCaseIterator*> cases;
        for (auto& p : parts) cases.push_back(p.get());
        ExpectSame(AsJson(RunTablesInParts(o->request, cases)), want, weighted, std::to_string(k) + " parts");

        // Through bytes: each part's state loaded into a fresh builder, merged in order.
        TableBuilder merged(o->request, *cases[0]);
        for (auto& p : o->data.cases->Split(at)) {
            TableBuilder part(o->request, *p);
            part.FeedPart(nullptr, MemoryLimit());
            TableBuilder loaded(o->request, *p);
            loaded.LoadState(part.SaveState(), "part");
            merged.Merge(loaded);
        }
        merged.Complete();
        ExpectSame(AsJson(ReadResults(merged, MemoryLimit())), want, weighted, std::to_string(k) + " states");
    }
}

// Identical cases summed before the engine (tables of counts) against every case on its own.
TEST_P(PartsCase, CombinedCasesGiveTheTablesOfOneCaseAtATime)
{
    json tables[2];
    for (int combined = 0; combined < 2; ++combined) {
        auto o = Open(GetParam());
        TableBuilder builder(o->request, *o->data.cases);
        if (!combined) builder.PassCasesThrough();
        builder.Feed(nullptr, MemoryLimit());
        tables[combined] = AsJson(ReadResults(builder, MemoryLimit()));
    }
    ExpectSame(tables[1], tables[0], Open(GetParam())->request.weightIndex >= 0, "combined");
}

INSTANTIATE_TEST_SUITE_P(Kvtables, PartsCase, testing::ValuesIn(Requests()),
                         [](const testing::TestParamInfo<fs::path>& info) {
                             const std::string name = info.param.filename().string();
                             return name.substr(0, name.find('.'));
                         });

// A state refused: one line naming the blob, whether it is truncated, damaged or another request's.
TEST(KvtablesParts, ForeignTruncatedAndDamagedStatesAreRefused)
{
    auto o = Open(kSource / "tests" / "e2e" / "tables" / "counts.request.json");
    TableBuilder part(o->request, *o->data.cases);
    part.FeedPart(nullptr, MemoryLimit());
    const std::string blob = part.SaveState();
    auto other = Open(kSource / "tests" / "e2e" / "tables" / "summary.request.json");
    std::string damaged = blob;
    damaged[blob.size() / 2] ^= 0x10;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {blob.substr(0, blob.size() - 3), "blob: truncated table state: "},
        {blob.substr(0, 20), "blob: truncated table state: 20 bytes, shorter than its header"},
        {damaged, "blob: damaged table state: its checksum does not match"},
        {"{\"tables\": []}", "blob: not a table state (it does not start as one)"},
        {TableBuilder(other->request, *other->data.cases).SaveState(), "blob: table state of another request"}};
    for (const auto& [bytes, message] : cases) {
        TableBuilder fresh(o->request, *o->data.cases);
        try {
            fresh.LoadState(bytes, "blob");
            ADD_FAILURE() << "accepted: " << message;
        } catch (const UserError& e) {
            EXPECT_EQ(std::string(e.what()).substr(0, message.size()), message);
            EXPECT_EQ(std::string(e.what()).find('\n'), std::string::npos);
        }
    }
}

// The command line: --threads 2 writes what --threads 1 writes, byte for byte: files under the least part size
// are read as one part (the cut at quoted line breaks is the property test's above).
TEST(KvtablesParts, TwoThreadsWriteWhatOneWrites)
{
    const std::vector<std::pair<fs::path, std::string>> runs = {
        {kSource / "tests" / "data" / "parts", "quoted"}, {kSource / "examples", "demo"},
        {kSource / "examples", "income"}, {kSource / "examples", "media"}, {kSource / "examples", "region_gender"}};
    for (const auto& [dir, name] : runs) {
        const std::string args = name + ".request.json --format json --threads ";
        const auto one = kvtest::RunProgram(kTool, dir, args + "1");
        const auto two = kvtest::RunProgram(kTool, dir, args + "2");
        ASSERT_EQ(one.status, 0) << one.err;
        EXPECT_EQ(two.out, one.out) << name;
    }
}

}  // namespace
