// Where the data comes from: the dictionary file named by the request (the
// host's format, DataDictionary.h) and a stream over the CSV file that
// converts only the columns the request names. Without a dictionary the
// stream infers the types of those columns from their values.
#ifndef KVTABLES_DATAACCESS_H
#define KVTABLES_DATAACCESS_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CsvLoader.h"
#include "DataDictionary.h"
#include "Request.h"

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
// values), in place of the request's.
DataInput OpenData(const Request& request, std::optional<DataDictionary> dictionary);

}  // namespace kvtables

#endif
