#include "DataDictionary.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "CsvReader.h"
#include "HostError.h"

using nlohmann::json;

namespace {

std::string FormatNumber(double x)
{
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, x);
    return std::string(buf, r.ptr);
}

class DictionaryParser {
public:
    explicit DictionaryParser(const std::string& path) : _path(path) {}

    [[noreturn]] void Fail(const std::string& pointer, const std::string& what) const
    {
        throw HostError(_path + ": " + (pointer.empty() ? "/" : pointer) + ": " + what);
    }

    static const char* KindOf(const json& j)
    {
        switch (j.type()) {
        case json::value_t::null: return "null";
        case json::value_t::boolean: return "a boolean";
        case json::value_t::string: return "a string";
        case json::value_t::array: return "an array";
        case json::value_t::object: return "an object";
        default: return "a number";
        }
    }

    void CheckKeys(const json& object, const std::string& pointer, std::initializer_list<const char*> known) const
    {
        for (auto it = object.begin(); it != object.end(); ++it) {
            bool ok = false;
            for (const char* k : known) ok = ok || it.key() == k;
            if (!ok) Fail(pointer + "/" + it.key(), "unknown key");
        }
    }

    const std::string& String(const json& j, const std::string& pointer) const
    {
        if (!j.is_string()) Fail(pointer, std::string("expected a string, found ") + KindOf(j));
        return j.get_ref<const std::string&>();
    }

    double Number(const json& j, const std::string& pointer) const
    {
        if (!j.is_number()) Fail(pointer, std::string("expected a number, found ") + KindOf(j));
        return j.get<double>();
    }

    long long Integer(const json& j, const std::string& pointer) const
    {
        if (j.is_number_float()) {
            double d = j.get<double>();
            if (d == std::floor(d) && std::fabs(d) < 1e15) return static_cast<long long>(d);
        }
        if (j.is_number_unsigned()) {
            auto u = j.get<unsigned long long>();
            return u > (1ULL << 62) ? (1LL << 62) : static_cast<long long>(u);
        }
        if (!j.is_number_integer()) Fail(pointer, std::string("expected an integer, found ") + KindOf(j));
        return j.get<long long>();
    }

    // A string value for a variable of `width`: trailing blanks do not count.
    std::string StringValue(const json& j, const std::string& pointer, int width) const
    {
        std::string_view v = TrimTrailingSpaces(String(j, pointer));
        if (static_cast<long long>(v.size()) > width)
            Fail(pointer, QuoteForMessage(v) + " is " + std::to_string(v.size()) + " bytes, wider than the width " +
                              std::to_string(width));
        return std::string(v);
    }

    VESK_Variable Variable(const json& j, const std::string& p)
    {
        if (!j.is_object()) Fail(p, std::string("expected an object, found ") + KindOf(j));
        CheckKeys(j, p, {"name", "type", "label", "width", "format", "valueLabels", "missing"});
        if (!j.contains("name")) Fail(p + "/name", "missing (every variable needs a name)");
        const std::string& name = String(j["name"], p + "/name");
        if (name.empty()) Fail(p + "/name", "the name is empty");
        if (name.find_first_of("\r\n") != std::string::npos) Fail(p + "/name", "the name holds a line break");
        if (!j.contains("type")) Fail(p + "/type", "missing (\"numeric\" or \"string\")");
        const std::string& type = String(j["type"], p + "/type");
        int width = 0;
        if (type == "string") {
            if (!j.contains("width")) Fail(p + "/width", "missing (a string variable needs a width of 1 to 32767)");
            long long w = Integer(j["width"], p + "/width");
            if (w < 1 || w > VESK_Variable::kMaxStringWidth)
                Fail(p + "/width", "width " + std::to_string(w) + " is outside 1 to 32767");
            width = static_cast<int>(w);
        } else if (type == "numeric") {
            if (j.contains("width")) Fail(p + "/width", "only string variables have a width (use \"format\")");
        } else {
            Fail(p + "/type", "unknown type " + QuoteForMessage(type) + " (expected \"numeric\" or \"string\")");
        }

        VESK_Variable v(name, width);
        if (j.contains("label")) v.SetLabel(String(j["label"], p + "/label"));
        if (j.contains("format")) v.SetFormat(Format(j["format"], p + "/format", width));
        if (j.contains("valueLabels")) ValueLabels(j["valueLabels"], p + "/valueLabels", v);
        if (j.contains("missing")) Missing(j["missing"], p + "/missing", v);
        return v;
    }

    VESK_Format Format(const json& j, const std::string& p, int width) const
    {
        if (!j.is_object()) Fail(p, std::string("expected an object, found ") + KindOf(j));
        CheckKeys(j, p, {"type", "width", "decimals"});
        VESK_Format f;
        if (width > 0) {
            f.type = 'A';
            f.width = width;
            f.decimals = 0;
        }
        if (j.contains("type")) {
            const std::string& t = String(j["type"], p + "/type");
            bool known = t == "F" || t == "E" || t == "N" || t == "A";
            if (!known) Fail(p + "/type", "unknown format " + QuoteForMessage(t) + " (expected F, E, N or A)");
            if ((t == "A") != (width > 0))
                Fail(p + "/type", width > 0 ? "a string variable takes the format A"
                                            : "the format A is for string variables");
            f.type = t[0];
        }
        int maxWidth = width > 0 ? VESK_Variable::kMaxStringWidth : 40;
        if (j.contains("width")) {
            long long w = Integer(j["width"], p + "/width");
            if (w < 1 || w > maxWidth)
                Fail(p + "/width", "format width " + std::to_string(w) + " is outside 1 to " + std::to_string(maxWidth));
            f.width = static_cast<int>(w);
        }
        if (j.contains("decimals")) {
            long long d = Integer(j["decimals"], p + "/decimals");
            if (d < 0 || d > 16) Fail(p + "/decimals", "decimals " + std::to_string(d) + " is outside 0 to 16");
            if (width > 0 && d != 0) Fail(p + "/decimals", "a string format has no decimals");
            f.decimals = static_cast<int>(d);
        }
        if (width == 0 && f.decimals >= f.width)
            Fail(p, "decimals " + std::to_string(f.decimals) + " do not fit the width " + std::to_string(f.width));
        return f;
    }

    void ValueLabels(const json& j, const std::string& p, VESK_Variable& v) const
    {
        if (!j.is_array()) Fail(p, std::string("expected an array, found ") + KindOf(j));
        std::map<std::string, size_t> seenStrings;
        std::map<double, size_t> seenNumbers;
        for (size_t i = 0; i < j.size(); ++i) {
            std::string pi = p + "/" + std::to_string(i);
            const json& item = j[i];
            if (!item.is_object()) Fail(pi, std::string("expected an object, found ") + KindOf(item));
            CheckKeys(item, pi, {"value", "label"});
            if (!item.contains("value")) Fail(pi + "/value", "missing");
            if (!item.contains("label")) Fail(pi + "/label", "missing");
            const std::string& label = String(item["label"], pi + "/label");
            if (v.IsString()) {
                if (!item["value"].is_string())
                    Fail(pi + "/value", std::string("expected a string (the variable is a string), found ") +
                                            KindOf(item["value"]));
                std::string value = StringValue(item["value"], pi + "/value", v.GetType());
                auto [it, fresh] = seenStrings.emplace(value, i);
                if (!fresh)
                    Fail(pi + "/value", "the value " + QuoteForMessage(value) + " is labelled twice (also " + p + "/" +
                                            std::to_string(it->second) + ")");
                v.GetValueLabels().Add(value, label);
            } else {
                if (!item["value"].is_number())
                    Fail(pi + "/value", std::string("expected a number (the variable is numeric), found ") +
                                            KindOf(item["value"]));
                double value = item["value"].get<double>() + 0.0;
                auto [it, fresh] = seenNumbers.emplace(value, i);
                if (!fresh)
                    Fail(pi + "/value", "the value " + FormatNumber(value) + " is labelled twice (also " + p + "/" +
                                            std::to_string(it->second) + ")");
                v.GetValueLabels().Add(value, label);
            }
        }
    }

    void Missing(const json& j, const std::string& p, VESK_Variable& v) const
    {
        if (!j.is_object()) Fail(p, std::string("expected an object, found ") + KindOf(j));
        CheckKeys(j, p, {"values", "range"});
        bool hasRange = j.contains("range");
        if (hasRange) {
            if (v.IsString()) Fail(p + "/range", "a string variable takes discrete missing values only");
            const json& r = j["range"];
            if (!r.is_array() || r.size() != 2) Fail(p + "/range", "expected [low, high]");
            double low = Number(r[0], p + "/range/0");
            double high = Number(r[1], p + "/range/1");
            if (!(low <= high))
                Fail(p + "/range", "low " + FormatNumber(low) + " is above high " + FormatNumber(high));
            v.SetMissingRange(low, high);
        }
        if (j.contains("values")) {
            const json& vals = j["values"];
            if (!vals.is_array()) Fail(p + "/values", std::string("expected an array, found ") + KindOf(vals));
            size_t limit = hasRange ? 1 : 3;
            if (vals.size() > limit)
                Fail(p + "/values", hasRange ? "at most one discrete missing value beside a range"
                                             : "at most three discrete missing values");
            if (v.IsString()) {
                std::vector<std::string> values;
                for (size_t i = 0; i < vals.size(); ++i) {
                    std::string pi = p + "/values/" + std::to_string(i);
                    if (!vals[i].is_string())
                        Fail(pi, std::string("expected a string (the variable is a string), found ") + KindOf(vals[i]));
                    values.push_back(StringValue(vals[i], pi, v.GetType()));
                }
                v.SetMissingStrings(values);
            } else {
                std::vector<double> values;
                for (size_t i = 0; i < vals.size(); ++i) {
                    std::string pi = p + "/values/" + std::to_string(i);
                    if (!vals[i].is_number())
                        Fail(pi, std::string("expected a number (the variable is numeric), found ") + KindOf(vals[i]));
                    values.push_back(vals[i].get<double>());
                }
                v.SetMissingValues(values);
            }
        }
    }

    DataDictionary Parse(const std::string& text)
    {
        json root;
        try {
            root = json::parse(text);
        } catch (const json::parse_error& e) {
            // Turn the byte offset into a line and column people can find.
            size_t at = std::min<size_t>(e.byte > 0 ? e.byte - 1 : 0, text.size());
            long long line = 1 + std::count(text.begin(), text.begin() + static_cast<long>(at), '\n');
            size_t lineStart = text.rfind('\n', at == 0 ? 0 : at - 1);
            size_t column = lineStart == std::string::npos || at == 0 ? at + 1 : at - lineStart;
            std::string what = e.what();
            size_t colon = what.find(": ", what.find("parse error"));
            std::string reason = colon == std::string::npos ? what : what.substr(colon + 2);
            throw HostError(_path + ":" + std::to_string(line) + ":" + std::to_string(column) + ": invalid JSON: " +
                            reason);
        }
        if (!root.is_object()) Fail("", std::string("expected an object with a \"variables\" array, found ") + KindOf(root));
        CheckKeys(root, "", {"variables"});
        if (!root.contains("variables")) Fail("/variables", "missing");
        const json& vars = root["variables"];
        if (!vars.is_array()) Fail("/variables", std::string("expected an array, found ") + KindOf(vars));
        DataDictionary d;
        d.path = _path;
        std::map<std::string, size_t> seen;
        for (size_t i = 0; i < vars.size(); ++i) {
            std::string p = "/variables/" + std::to_string(i);
            VESK_Variable v = Variable(vars[i], p);
            auto [it, fresh] = seen.emplace(v.GetName(), i);
            if (!fresh)
                Fail(p + "/name", "duplicate name " + QuoteForMessage(v.GetName()) + " (also /variables/" +
                                      std::to_string(it->second) + ")");
            d.variables.push_back(std::move(v));
        }
        return d;
    }

private:
    std::string _path;
};

}  // namespace

int DataDictionary::Find(const std::string& name) const
{
    for (size_t i = 0; i < variables.size(); ++i)
        if (name == variables[i].GetName()) return static_cast<int>(i);
    return -1;
}

DataDictionary ParseDictionary(const std::string& text, const std::string& path)
{
    try {
        return DictionaryParser(path).Parse(text);
    } catch (const HostError&) {
        throw;
    } catch (const std::exception& e) {
        // Anything the checks above let through (a library limit) still
        // reaches the caller as a HostError naming the file.
        throw HostError(path + ": " + e.what());
    }
}

DataDictionary LoadDictionary(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw HostError(path + ": cannot open the file");
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw HostError(path + ": read error");
    return ParseDictionary(text.str(), path);
}
