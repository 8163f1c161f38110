#include "FuzzTargets.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CsvLoader.h"
#include "CsvReader.h"
#include "DataAccess.h"
#include "DataDictionary.h"
#include "HostError.h"
#include "InMemoryDataset.h"
#include "Renderers.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableRunner.h"
#include "UserError.h"

namespace kvfuzz {
namespace {

// The fixed dictionary and run request (fuzz/data), read once.
std::string DataFile(const char* name)
{
    std::ifstream in(std::string(KVFUZZ_DATA_DIR) + "/" + name, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (text.empty()) std::abort();
    return text;
}

const std::string& DictionaryText()
{
    static const std::string text = DataFile("dictionary.json");
    return text;
}

// A directory of this process's own, removed at exit.
class Scratch {
public:
    Scratch()
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/kvfuzz-XXXXXX";
        if (!mkdtemp(pattern.data())) std::abort();
        _dir = pattern;
        Write("dict.json", DictionaryText().data(), DictionaryText().size());
    }
    ~Scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(_dir, ignored);
    }
    const std::string& Dir() const { return _dir; }
    std::string Path(const char* name) const { return _dir + "/" + name; }
    std::string Write(const char* name, const void* data, size_t size) const
    {
        const std::string path = Path(name);
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
        if (!out.flush()) std::abort();
        return path;
    }

private:
    std::string _dir;
};

const Scratch& TheScratch()
{
    static const Scratch scratch;
    return scratch;
}

const DataDictionary& TheDictionary()
{
    static const DataDictionary dictionary = ParseDictionary(DictionaryText(), "dict.json");
    return dictionary;
}

const InMemoryDataset& TheDataSource()
{
    static const std::unique_ptr<InMemoryDataset> dataset = [] {
        auto ds = std::make_unique<InMemoryDataset>();
        for (const VESK_Variable& v : TheDictionary().variables) ds->AddVariable(std::make_unique<VESK_Variable>(v));
        return ds;
    }();
    return *dataset;
}

std::string Text(const uint8_t* data, size_t size) { return std::string(reinterpret_cast<const char*>(data), size); }

// What a walk over the stream saw: the cases delivered, a digest of their
// values (each variable's first word), and whether a bad record ended it.
struct Walked {
    long long cases = 0;
    uint64_t digest = 0;
    bool failed = false;
    bool operator==(const Walked&) const = default;
};

void Digest(Walked& w, const OBS* value)
{
    uint64_t word;
    std::memcpy(&word, value, sizeof word);
    w.digest = w.digest * 1099511628211u + word;
}

Walked Walk(CsvCaseIterator& cases)
{
    const int n = cases.GetDataSource().GetNumVariables();
    Walked w;
    try {
        for (; cases.Next(); ++w.cases)
            for (int v = 0; v < n; ++v) Digest(w, cases.GetValue(v));
    } catch (const HostError&) {
        w.failed = true;
    }
    return w;
}

Walked Walk(const InMemoryDataset& dataset)
{
    Walked w;
    for (; w.cases < dataset.GetNumCases(); ++w.cases)
        for (int v = 0; v < dataset.GetNumVariables(); ++v)
            Digest(w, dataset.GetValue(static_cast<int>(w.cases), v));
    return w;
}

// A user's mistake ends in one line, naming the file when a file is at fault.
void CheckMessage(const std::exception& e, const std::string& file = "")
{
    const std::string m = e.what();
    if (m.find('\n') != std::string::npos || (!file.empty() && m.rfind(file + ":", 0) != 0)) std::abort();
}

}  // namespace

void FuzzRequest(const uint8_t* data, size_t size)
{
    try {
        kvtables::Request request = kvtables::ParseRequest(Text(data, size), "request.json", TheScratch().Dir());
        kvtables::ValidateRequest(request, TheDataSource());
    } catch (const kvtables::UserError& e) {
        CheckMessage(e, "request.json");
    } catch (const HostError& e) {
        CheckMessage(e, "request.json");
    }
}

void FuzzDictionary(const uint8_t* data, size_t size)
{
    try {
        ParseDictionary(Text(data, size), "dict.json");
    } catch (const HostError& e) {
        CheckMessage(e, "dict.json");
    }
}

void FuzzCsv(const uint8_t* data, size_t size)
{
    if (size == 0) return;
    const uint8_t mode = data[0];
    CsvOptions options;
    options.delimiter = (mode & 1) ? ';' : ',';
    static const std::vector<std::string> naLists[4] = {{}, {"NA"}, {"NA", "-", "."}, {"na", " 9 ", "\""}};
    options.na = naLists[(mode >> 1) & 3];
    const std::string path = TheScratch().Write("fuzz.csv", data + 1, size - 1);
    try {
        CsvRecordReader reader(path, options);
        size_t bytes = 0;
        while (reader.Next())
            for (int i = 0; i < reader.NumFields(); ++i) bytes += reader.Field(i).size();
        if (bytes > size) std::abort();  // unquoting only ever shortens
    } catch (const HostError& e) {
        CheckMessage(e, path);
    }
    const DataDictionary* dictionary = (mode & 8) ? &TheDictionary() : nullptr;
    Walked loaded{0, 0, true};
    try {
        loaded = Walk(dictionary ? *LoadCsv(path, *dictionary, options) : *LoadCsv(path, std::nullopt, options));
    } catch (const HostError& e) {
        CheckMessage(e, dictionary ? "" : path);  // with a dictionary, its file may be at fault
    }
    if (!(mode & 16)) return;
    // The stream's reading thread: it delivers what the loader loads (or
    // fails where the loader fails), and again the same once rewound.
    Walked streamed{0, 0, true};
    try {
        CsvCaseIterator cases(path, dictionary, CsvColumns::All(), options);
        streamed = Walk(cases);
        if (!cases.Rewind() || Walk(cases) != streamed) std::abort();
    } catch (const HostError&) {
    }
    if (streamed.failed != loaded.failed || (!loaded.failed && streamed != loaded)) std::abort();
}

void FuzzRun(const uint8_t* data, size_t size)
{
    const Scratch& scratch = TheScratch();
    static const std::string requestText = DataFile("run.request.json");
    // The header names the dictionary's variables, so every column is described.
    static const std::string header = [] {
        std::string h;
        for (const VESK_Variable& v : TheDictionary().variables) h += std::string(h.empty() ? "" : ",") + v.GetName();
        return h + "\n";
    }();
    std::string csv = header;
    csv.append(reinterpret_cast<const char*>(data), size);
    scratch.Write("data.csv", csv.data(), csv.size());
    try {
        kvtables::Request request = kvtables::ParseRequest(requestText, "request.json", scratch.Dir());
        kvtables::DataInput input = kvtables::OpenData(request);
        CsvCaseIterator& cases = *input.cases;
        kvtables::ValidateRequest(request, cases.GetDataSource(),
                                  [&cases](int varIndex) { return cases.WhyText(varIndex); });
        const kvtables::ResultSet results = kvtables::RunTables(request, cases);
        kvtables::RenderText(results, kvtables::TextOptions{60});
        kvtables::RenderJson(results);
        kvtables::RenderCsv(results);
        kvtables::RenderHtml(results);
    } catch (const kvtables::UserError& e) {
        CheckMessage(e);
    } catch (const HostError& e) {
        CheckMessage(e);
    }
}

}  // namespace kvfuzz
