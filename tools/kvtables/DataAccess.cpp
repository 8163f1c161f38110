#include "DataAccess.h"

#include <algorithm>
#include <set>

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

DataInput OpenData(const Request& request)
{
    DataInput input;
    try {
        if (!request.dictionaryPath.empty()) input.dictionary = LoadDictionary(request.dictionaryPath);
        const std::vector<std::string> header = ReadCsvHeader(request.dataPath);
        std::vector<int> needed;
        for (const std::string& name : NamesUsed(request)) {
            auto it = std::find(header.begin(), header.end(), name);
            if (it != header.end()) needed.push_back(static_cast<int>(it - header.begin()));
        }
        std::sort(needed.begin(), needed.end());
        input.cases = std::make_unique<CsvCaseIterator>(request.dataPath,
                                                        input.dictionary ? &*input.dictionary : nullptr,
                                                        CsvColumns::Indices(needed));
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
    return input;
}

}  // namespace kvtables
