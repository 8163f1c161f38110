// Where the data comes from: the dictionary file named by the request (the
// host's format, DataDictionary.h) and a stream over the CSV file that
// converts only the columns the request names. Without a dictionary the
// stream infers the types of those columns from their values.
#ifndef KVTABLES_DATAACCESS_H
#define KVTABLES_DATAACCESS_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CsvLoader.h"
#include "DataDictionary.h"
#include "Request.h"
#include "ResultSet.h"

namespace kvtables {

struct DataInput {
    std::optional<DataDictionary> dictionary;
    std::unique_ptr<CsvCaseIterator> cases;  // its data source is what the request is checked against
};

// Every name the parsed (not yet validated) request refers to that could be a
// data column: axis names, set members, the summary and statistics
// variables, the weight. Unknown names are left for validation to report.
std::vector<std::string> NamesUsed(const Request& request);

// Reads the dictionary, then opens the stream over the columns of NamesUsed
// that the CSV header has, with the request's CSV options. Throws UserError
// (the host's message) on any problem with either file, and at line 1 when
// the header looks written with another delimiter.
DataInput OpenData(const Request& request);
// The same with a dictionary the caller already has (none: types from the
// values), in place of the request's; undescribed columns typed from the
// file's first `inferenceBytes` when they hold numbers there (CsvLoader.h).
DataInput OpenData(const Request& request, std::optional<DataDictionary> dictionary,
                   std::size_t inferenceBytes = static_cast<std::size_t>(-1));

// How much of a file types its undescribed columns before a run: a prefix
// spares a whole pass over the file when its numeric columns stay numbers.
constexpr std::size_t kInferenceBytes = std::size_t{2} << 20;

// `run` validates a copy of the parsed request against the data opened for it
// and runs it (`again`: the second time). The data are opened with types from
// the first `inferenceBytes`; when a later value contradicts them, the run is
// abandoned and made again over the data typed from the whole file, which is
// what a run without the prefix gives: at most one extra partial run.
using DataRun = std::function<ResultSet(Request& request, DataInput& data, bool again)>;
ResultSet RunOverData(const Request& parsed, const std::optional<DataDictionary>& dictionary, const DataRun& run,
                      std::size_t inferenceBytes = kInferenceBytes);
// The dictionary the request names, if any. Throws UserError.
std::optional<DataDictionary> RequestDictionary(const Request& request);

}  // namespace kvtables

#endif
