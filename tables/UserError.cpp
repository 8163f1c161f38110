#include "UserError.h"

#include "HostError.h"

namespace kvtables {

namespace {
std::string Compose(const std::string& file, const std::string& where, const std::string& what)
{
    std::string message = file;
    if (!where.empty()) message += ": " + where;
    return message + ": " + what;
}
}  // namespace

UserError::UserError(const std::string& file, const std::string& where, const std::string& what)
    : std::runtime_error(Compose(file, where, what))
{
}

std::string Quote(const std::string& text) { return QuoteForMessage(text, text.size()); }

}  // namespace kvtables
