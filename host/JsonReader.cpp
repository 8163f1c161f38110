#include "JsonReader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "HostError.h"

using nlohmann::json;

namespace {

// Walks the text for the parser and keeps how far it has read: the parse
// callback, which is the only one to see a duplicate key, is told no position.
class TrackingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TrackingIterator(const char* p, const char** read) : _p(p), _read(read) {}
    reference operator*() const { return *_p; }
    TrackingIterator& operator++()
    {
        *_read = ++_p;
        return *this;
    }
    TrackingIterator operator++(int)
    {
        TrackingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const TrackingIterator& other) const { return _p == other._p; }
    bool operator!=(const TrackingIterator& other) const { return _p != other._p; }

private:
    const char* _p;
    const char** _read;
};

// "FILE:LINE:COLUMN: invalid JSON: " for the character at `at` (the column
// counts characters, not the bytes of their UTF-8 encoding).
std::string SyntaxPlace(const std::string& file, const std::string& text, size_t at)
{
    at = std::min(at, text.size());
    long long line = 1;
    size_t lineStart = 0;
    for (size_t i = 0; i < at; ++i) {
        if (text[i] == '\n') {
            ++line;
            lineStart = i + 1;
        }
    }
    long long column = 1;
    for (size_t i = lineStart; i < at; ++i) column += (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": invalid JSON: ";
}

// The opening quote of the string whose closing quote is at `close`: the
// nearest quote before it that no backslash escapes.
size_t StringStart(const std::string& text, size_t close)
{
    for (size_t at = close; at-- > 0;) {
        if (text[at] != '"') continue;
        size_t backslashes = 0;
        while (backslashes < at && text[at - 1 - backslashes] == '\\') ++backslashes;
        if (backslashes % 2 == 0) return at;
    }
    return close;
}

// The parser's message without its tag ("[json.exception.parse_error.101]")
// and without its own idea of the place ("parse error at line 2, column 3:").
std::string Reason(const json::exception& e)
{
    std::string what = e.what();
    size_t tag = what.find("] ");
    if (tag != std::string::npos) what.erase(0, tag + 2);
    if (what.rfind("parse error", 0) == 0) {
        size_t colon = what.find(": ");
        if (colon != std::string::npos) what.erase(0, colon + 2);
    }
    return what;
}

void AppendPointerStep(std::string& pointer, const std::string& key)
{
    pointer += '/';
    for (char c : key) {
        if (c == '~') pointer += "~0";
        else if (c == '/') pointer += "~1";
        else if (static_cast<unsigned char>(c) < 0x20) pointer += QuoteForMessage(std::string(1, c)).substr(1, 2);
        else pointer += c;
    }
}

std::string WordList(std::initializer_list<const char*> words, bool quoted)
{
    std::string list;
    for (const char* w : words) list += (list.empty() ? "" : ", ") + (quoted ? QuoteForMessage(w) : std::string(w));
    return list;
}

}  // namespace

std::string ReadTextFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw HostError(path + ": cannot open the file: " + std::strerror(errno));
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw HostError(path + ": read error");
    return text.str();
}

JsonDocument::JsonDocument(std::string file, const std::string& text) : _file(std::move(file))
{
    const char* read = text.data();
    std::vector<std::set<std::string>> open;  // the keys of each object being read
    auto callback = [&](int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::object_start) {
            open.emplace_back();
        } else if (event == json::parse_event_t::object_end) {
            open.pop_back();
        } else if (event == json::parse_event_t::key) {
            const std::string& key = parsed.get_ref<const std::string&>();
            if (!open.back().insert(key).second) {
                const size_t closingQuote = static_cast<size_t>(read - text.data()) - 1;
                throw HostError(SyntaxPlace(_file, text, StringStart(text, closingQuote)) + "key " +
                                QuoteForMessage(key) + " is given twice in this object");
            }
        }
        return true;
    };
    try {
        _root = json::parse(TrackingIterator(text.data(), &read), TrackingIterator(text.data() + text.size(), &read),
                            callback, true, true);
    } catch (const json::parse_error& e) {
        throw HostError(SyntaxPlace(_file, text, e.byte > 0 ? e.byte - 1 : 0) + Reason(e));
    } catch (const json::exception& e) {
        // A number too large for a double: the parser has read one character
        // past it; the message points at its first digit.
        size_t at = static_cast<size_t>(read - text.data());
        at -= at > 0;
        while (at > 0 && text[at - 1] != '\0' && std::strchr("0123456789+-.eE", text[at - 1])) --at;
        throw HostError(SyntaxPlace(_file, text, at) + Reason(e));
    }
}

void JsonNode::Fail(const std::string& what) const
{
    throw HostError(*_file + ": " + (_pointer.empty() ? "/" : _pointer) + ": " + what);
}

std::string JsonNode::Describe(const json& value)
{
    switch (value.type()) {
    case json::value_t::null: return "null";
    case json::value_t::boolean: return value.get<bool>() ? "true" : "false";
    case json::value_t::string: return "a string";
    case json::value_t::array: return "an array";
    case json::value_t::object: return "an object";
    default: return "a number";
    }
}

void JsonNode::Expect(bool ok, const std::string& expected) const
{
    if (!ok) Fail("expected " + expected + ", found " + Describe(*_value));
}

JsonNode JsonNode::Child(const std::string& key, const json& value) const
{
    std::string pointer = _pointer;
    AppendPointerStep(pointer, key);
    return JsonNode(*_file, value, std::move(pointer));
}

const JsonNode& JsonNode::Object(std::initializer_list<const char*> known) const
{
    Expect(_value->is_object(), "an object");
    for (const auto& item : _value->items()) {
        bool isKnown = false;
        for (const char* k : known) isKnown = isKnown || item.key() == k;
        if (!isKnown)
            Child(item.key(), item.value())
                .Fail("unknown key " + QuoteForMessage(item.key()) + " (known keys: " + WordList(known, false) + ")");
    }
    return *this;
}

std::optional<JsonNode> JsonNode::Find(const char* key) const
{
    if (!_value->is_object()) return std::nullopt;
    auto it = _value->find(key);
    if (it == _value->end()) return std::nullopt;
    return Child(key, *it);
}

JsonNode JsonNode::Get(const char* key, const char* why) const
{
    std::optional<JsonNode> node = Find(key);
    if (!node) Fail("missing key " + QuoteForMessage(key) + (why ? std::string(" (") + why + ")" : std::string()));
    return *node;
}

std::vector<std::pair<std::string, JsonNode>> JsonNode::Members() const
{
    std::vector<std::pair<std::string, JsonNode>> members;
    for (const auto& item : _value->items()) members.emplace_back(item.key(), Child(item.key(), item.value()));
    return members;
}

std::vector<JsonNode> JsonNode::Array(const std::string& expected) const
{
    Expect(_value->is_array(), expected);
    std::vector<JsonNode> items;
    for (size_t i = 0; i < _value->size(); ++i) items.push_back(Child(std::to_string(i), (*_value)[i]));
    return items;
}

std::string JsonNode::String() const
{
    Expect(_value->is_string(), "a string");
    return _value->get<std::string>();
}

std::string JsonNode::NonEmptyString() const
{
    std::string s = String();
    if (s.empty()) Fail("expected a non-empty string, found \"\"");
    return s;
}

double JsonNode::Number() const
{
    Expect(_value->is_number(), "a number");
    return _value->get<double>();
}

long long JsonNode::Integer(long long min, long long max) const
{
    const std::string expected = "an integer from " + std::to_string(min) + " to " + std::to_string(max);
    Expect(_value->is_number(), expected);
    const double d = _value->get<double>();
    if (d != std::floor(d) || d < static_cast<double>(min) || d > static_cast<double>(max))
        Fail("expected " + expected + ", found " + _value->dump());
    return static_cast<long long>(d);
}

bool JsonNode::Boolean() const
{
    Expect(_value->is_boolean(), "true or false");
    return _value->get<bool>();
}

size_t JsonNode::Choice(std::initializer_list<const char*> words) const
{
    Expect(_value->is_string(), "one of " + WordList(words, true));
    const std::string& s = _value->get_ref<const std::string&>();
    size_t index = 0;
    for (const char* w : words) {
        if (s == w) return index;
        ++index;
    }
    Fail("unknown value " + QuoteForMessage(s) + " (expected one of " + WordList(words, true) + ")");
}
