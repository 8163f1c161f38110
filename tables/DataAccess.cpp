#include "DataAccess.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>

#include "HostError.h"
#include "UserError.h"

namespace kvtables {

std::vector<std::string> NamesUsed(const Request& request)
{
    std::set<std::string> names;
    if (!request.weight.empty()) names.insert(request.weight);
    for (const SetDef& s : request.sets) {
        names.insert(s.variables.begin(), s.variables.end());
        if (!s.missingVariable.empty()) names.insert(s.missingVariable);
    }
    for (const TableRequest& t : request.tables) {
        for (const AxisEntry* e : t.AllEntries()) names.insert(e->name);
        if (!t.summary.empty()) names.insert(t.summary);
        if (!t.statisticsVariable.empty()) names.insert(t.statisticsVariable);
    }
    // A set's name is not a column (unless a column has the same name, which
    // validation decides about); asking for it anyway costs nothing.
    return {names.begin(), names.end()};
}

namespace {

// A header of one column whose name holds another usual delimiter was almost
// certainly written with that delimiter: say so at line 1, rather than let
// every name the request uses be unknown.
void CheckDelimiter(const Request& request, const std::vector<std::string>& header)
{
    if (header.size() != 1) return;
    for (char d : {',', ';', '\t'}) {
        if (d == request.csv.delimiter || header[0].find(d) == std::string::npos) continue;
        const std::string quoted = QuoteForMessage(std::string(1, d));
        throw HostError(request.dataPath + ":1: the file looks separated by " + quoted + ", not " +
                        QuoteForMessage(std::string(1, request.csv.delimiter)) + " (add \"csv\": {\"delimiter\": " +
                        quoted + "} to the request)");
    }
}

}  // namespace

std::optional<DataDictionary> RequestDictionary(const Request& request)
{
    try {
        if (!request.dictionaryPath.empty()) return LoadDictionary(request.dictionaryPath);
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
    return std::nullopt;
}

DataInput OpenData(const Request& request) { return OpenData(request, RequestDictionary(request)); }

ResultSet RunOverData(const Request& parsed, const std::optional<DataDictionary>& dictionary, const DataRun& run,
                      std::size_t inferenceBytes)
{
    {
        Request request = parsed;
        DataInput data = OpenData(request, dictionary, inferenceBytes);
        try {
            return run(request, data, false);
        } catch (const CsvTypeContradicted&) {
            // Typed from the whole file, the data hold no such contradiction.
        }
    }
    Request request = parsed;
    DataInput data = OpenData(request, dictionary);
    return run(request, data, true);
}

DataInput OpenData(const Request& request, std::optional<DataDictionary> dictionary, std::size_t inferenceBytes)
{
    DataInput input;
    input.dictionary = std::move(dictionary);
    try {
        const std::vector<std::string> header = ReadCsvHeader(request.dataPath, request.csv);
        CheckDelimiter(request, header);
        // Header names are unique (the reader refuses a repeated one).
        std::unordered_map<std::string_view, int> column;
        column.reserve(header.size());
        for (size_t c = 0; c < header.size(); ++c) column.emplace(header[c], static_cast<int>(c));
        std::vector<int> needed;
        for (const std::string& name : NamesUsed(request)) {
            auto it = column.find(name);
            if (it != column.end()) needed.push_back(it->second);
        }
        std::sort(needed.begin(), needed.end());
        CsvOptions options = request.csv;
        options.inferenceBytes = inferenceBytes;
        input.cases = std::make_unique<CsvCaseIterator>(request.dataPath,
                                                        input.dictionary ? &*input.dictionary : nullptr,
                                                        CsvColumns::Indices(needed), options);
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
    return input;
}

}  // namespace kvtables
