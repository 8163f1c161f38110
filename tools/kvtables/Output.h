// Rendering a result in the chosen format and writing it out. The document is
// rendered in full before anything is written, and a regular file is replaced
// only once it has been written completely (keeping its mode; through a
// symbolic link, the file it names), so an error leaves no partial output.
// Devices and pipes are written straight through. Every write is checked.
#ifndef KVTABLES_OUTPUT_H
#define KVTABLES_OUTPUT_H

#include <string>

#include "ResultSet.h"

namespace kvtables {

// `format` is text, json, csv, html or xlsx; `width` is the text width (0: no limit).
std::string Render(const ResultSet& results, const std::string& format, int width);

// Writes to `path`, or to standard output when it is empty; throws UserError
// ("path: cannot write the output: reason") when any write fails.
void WriteOutput(const std::string& text, const std::string& path);

}  // namespace kvtables

#endif
