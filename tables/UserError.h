// A mistake in what the user gave the tool (request, data, dictionary, command
// line). The message is one line that names the file and the place in it; the
// tool prints it and exits with status 2. Anything else that is thrown is a
// fault of the tool itself.
#ifndef KVTABLES_USERERROR_H
#define KVTABLES_USERERROR_H

#include <stdexcept>
#include <string>

namespace kvtables {

class UserError : public std::runtime_error {
public:
    explicit UserError(const std::string& message) : std::runtime_error(message) {}
    // "file: where: what"; an empty `where` is left out.
    UserError(const std::string& file, const std::string& where, const std::string& what);
};

// Quotes a user's text for a message as the host's messages do
// (QuoteForMessage), whole: "text", with control characters and quotes
// escaped so that the message stays on one line.
std::string Quote(const std::string& text);

}  // namespace kvtables

#endif
