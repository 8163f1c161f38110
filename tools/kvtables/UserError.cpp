#include "UserError.h"

#include <cstdio>

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

std::string Quote(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7f) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

}  // namespace kvtables
