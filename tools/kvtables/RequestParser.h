// Reading a request file: JSON syntax, the shape of every object (unknown keys
// are errors, so a typo never passes silently), value types, enumerations,
// statistic names and their parameters. What needs the data's dictionary is
// checked afterwards by ValidateRequest (RequestValidator.h).
#ifndef KVTABLES_REQUESTPARSER_H
#define KVTABLES_REQUESTPARSER_H

#include <string>

#include "Request.h"

namespace kvtables {

// Parses request text. `file` names the request in messages; relative data and
// dictionary paths are resolved against `baseDir`. Throws UserError.
Request ParseRequest(const std::string& text, const std::string& file, const std::string& baseDir);

// Reads and parses a request file (paths relative to the file's directory).
Request LoadRequest(const std::string& path);

}  // namespace kvtables

#endif
