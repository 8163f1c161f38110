// Reading the JSON files people write for the host and its tools (data
// dictionaries, table requests) with one strictness and one message grammar:
//
// - `//` line comments and `/* */` block comments are allowed, so that a file
//   can explain itself.
// - A key given twice in one object is an error, and so is a key the reader
//   does not know: either would otherwise lose a value without a word.
// - Every message is a HostError of one line. Syntax (and a duplicate key, at
//   its second occurrence): "FILE:LINE:COLUMN: invalid JSON: what", with the
//   1-based line and column (in characters) of the offending character.
//   Content: "FILE: /json/pointer: what", the pointer escaped as JSON pointers
//   are ("~0" for "~", "~1" for "/") and "/" for the whole document. The
//   "what" says what was expected and what was found:
//   "expected a string, found a number", "unknown key \"colums\" (known keys:
//   title, rows, ...)".
#ifndef KVHOST_JSONREADER_H
#define KVHOST_JSONREADER_H

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

// One value of a document and its place in it. Typed accessors check the
// value and fail with a message at that place. A node refers into its
// document, which must outlive it.
class JsonNode {
public:
    JsonNode(const std::string& file, const nlohmann::json& value, std::string pointer)
        : _file(&file), _value(&value), _pointer(std::move(pointer))
    {
    }

    const nlohmann::json& Value() const { return *_value; }
    // Empty for the whole document.
    const std::string& Pointer() const { return _pointer; }

    [[noreturn]] void Fail(const std::string& what) const;
    // Fails with "expected <expected>, found <what the value is>" unless `ok`.
    void Expect(bool ok, const std::string& expected) const;
    // What a value is, for messages: "a string", "an array", "true", ...
    static std::string Describe(const nlohmann::json& value);

    // An object all of whose keys are `known`; the message lists them.
    const JsonNode& Object(std::initializer_list<const char*> known) const;
    // A key of an object, when present.
    std::optional<JsonNode> Find(const char* key) const;
    // A key the object must have; `why` is added to the message.
    JsonNode Get(const char* key, const char* why = nullptr) const;
    // The members of an object in the order the parser keeps them (for
    // objects keyed by the user's names).
    std::vector<std::pair<std::string, JsonNode>> Members() const;
    // The items of an array; `expected` names the array in the message.
    std::vector<JsonNode> Array(const std::string& expected = "an array") const;

    std::string String() const;
    std::string NonEmptyString() const;
    double Number() const;
    // A whole number in [min, max]; 8.0 counts as 8.
    long long Integer(long long min, long long max) const;
    bool Boolean() const;
    // One of `words`; returns its index.
    size_t Choice(std::initializer_list<const char*> words) const;

private:
    JsonNode Child(const std::string& key, const nlohmann::json& value) const;

    const std::string* _file;
    const nlohmann::json* _value;
    std::string _pointer;
};

// A parsed document. Nodes point into it, so it neither copies nor moves.
class JsonDocument {
public:
    // `file` names the text in messages.
    JsonDocument(std::string file, const std::string& text);
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    JsonNode Root() const { return JsonNode(_file, _root, ""); }

private:
    std::string _file;
    nlohmann::json _root;
};

// The text of a file; HostError "path: cannot open the file: reason".
std::string ReadTextFile(const std::string& path);

#endif
