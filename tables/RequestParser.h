// Reading a request file through the host's JSON reader (JsonReader.h: its
// strictness, comments and messages), then what only a request means:
// enumerations, statistic names and their parameters, the CSV options. What
// needs the data's dictionary is checked afterwards by ValidateRequest
// (RequestValidator.h).
#ifndef KVTABLES_REQUESTPARSER_H
#define KVTABLES_REQUESTPARSER_H

#include <string>

#include "Request.h"

namespace kvtables {

// Parses request text. `file` names the request in messages; relative data and
// dictionary paths are resolved against `baseDir`. A front end that hands
// the data over itself (a data frame) passes `dataRequired` false: "data" may
// then be left out, and Request::data stays empty. Throws UserError.
Request ParseRequest(const std::string& text, const std::string& file, const std::string& baseDir,
                     bool dataRequired = true);

// Reads and parses a request file (paths relative to the file's directory).
Request LoadRequest(const std::string& path, bool dataRequired = true);

}  // namespace kvtables

#endif
