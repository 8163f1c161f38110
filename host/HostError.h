// The one exception type of the host's loaders. Its message is a single line
// that names the file and where in it the problem is, in the form people know
// from compilers: "data.csv:17: expected 6 fields, found 5",
// "survey.dict.json:3:1: invalid JSON: ..." or "survey.dict.json:
// /variables/3/width: expected an integer from 1 to 32767, found 40000"
// (JsonReader.h).
#ifndef KVHOST_HOSTERROR_H
#define KVHOST_HOSTERROR_H

#include <stdexcept>
#include <string>
#include <string_view>

class HostError : public std::runtime_error {
public:
    explicit HostError(const std::string& message) : std::runtime_error(message) {}
};

// Renders a piece of input for an error message: in double quotes, at most
// `maxBytes` bytes (cut on a character boundary, then "..."), control
// characters escaped, so that the message stays on one line.
std::string QuoteForMessage(std::string_view text, size_t maxBytes = 40);

#endif
