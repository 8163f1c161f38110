#include "DataAccess.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "UserError.h"

namespace kvtables {

namespace {

using json = nlohmann::json;

std::string ReadFile(const std::string& path, const std::string& shownAs)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw UserError(shownAs + ": cannot read the file");
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// "F8.2" -> {'F', 8, 2}; false when malformed.
bool ParseFormat(const std::string& s, VESK_Format& f)
{
    if (s.size() < 2 || !std::isalpha(static_cast<unsigned char>(s[0]))) return false;
    char* end = nullptr;
    long width = std::strtol(s.c_str() + 1, &end, 10);
    long decimals = 0;
    if (*end == '.') decimals = std::strtol(end + 1, &end, 10);
    if (*end != '\0' || width <= 0 || decimals < 0 || decimals > 16) return false;
    f = VESK_Format{s[0], static_cast<int>(width), static_cast<int>(decimals)};
    return true;
}

std::unique_ptr<VESK_DataSource> FromDictionary(const std::string& path, const std::string& shownAs)
{
    json root;
    try {
        root = json::parse(ReadFile(path, shownAs));
    } catch (const json::parse_error& e) {
        std::string what = e.what();
        auto pos = what.find("] ");
        if (pos != std::string::npos) what.erase(0, pos + 2);
        throw UserError(shownAs + ": invalid JSON: " + what);
    }
    auto fail = [&](const std::string& where, const std::string& what) { throw UserError(shownAs, where, what); };
    if (!root.is_object() || !root.contains("variables") || !root["variables"].is_array())
        fail("/", "expected an object with an array \"variables\"");
    auto dict = std::make_unique<VESK_DataSource>();
    const json& vars = root["variables"];
    for (size_t i = 0; i < vars.size(); ++i) {
        const std::string p = "/variables/" + std::to_string(i);
        const json& v = vars[i];
        if (!v.is_object() || !v.contains("name") || !v["name"].is_string()) fail(p, "expected an object with a \"name\"");
        const std::string name = v["name"].get<std::string>();
        const std::string type = v.value("type", std::string("numeric"));
        if (type != "numeric" && type != "string") fail(p + "/type", "expected \"numeric\" or \"string\"");
        int width = 0;
        if (type == "string") {
            if (!v.contains("width") || !v["width"].is_number_integer()) fail(p + "/width", "a string variable needs an integer width");
            width = v["width"].get<int>();
        }
        try {
            auto var = std::make_unique<VESK_Variable>(name, width);
            if (v.contains("label") && v["label"].is_string()) var->SetLabel(v["label"].get<std::string>());
            VESK_Format f{width ? 'A' : 'F', width ? width : 8, width ? 0 : 2};
            if (v.contains("format") && !(v["format"].is_string() && ParseFormat(v["format"].get<std::string>(), f)))
                fail(p + "/format", "expected a format such as \"F8.2\"");
            var->SetFormat(f);
            var->GetValueLabels().SetValueType(width);
            if (v.contains("valueLabels")) {
                const json& labels = v["valueLabels"];
                for (size_t k = 0; k < labels.size(); ++k) {
                    const json& pair = labels[k];
                    const std::string lp = p + "/valueLabels/" + std::to_string(k);
                    if (!pair.is_array() || pair.size() != 2 || !pair[1].is_string()) fail(lp, "expected [value, label]");
                    if (width == 0 && pair[0].is_number()) var->GetValueLabels().Add(pair[0].get<double>(), pair[1].get<std::string>());
                    else if (width > 0 && pair[0].is_string()) var->GetValueLabels().Add(pair[0].get<std::string>(), pair[1].get<std::string>());
                    else fail(lp, "the value does not match the variable's type");
                }
            }
            if (v.contains("missingValues")) {
                const json& mv = v["missingValues"];
                if (width == 0) var->SetMissingValues(mv.get<std::vector<double>>());
                else var->SetMissingStrings(mv.get<std::vector<std::string>>());
            }
            if (v.contains("missingRange")) {
                auto r = v["missingRange"].get<std::vector<double>>();
                if (r.size() != 2) fail(p + "/missingRange", "expected [low, high]");
                var->SetMissingRange(r[0], r[1]);
            }
            dict->AddVariable(std::move(var));
        } catch (const json::exception&) {
            fail(p, "malformed variable description");
        } catch (const std::invalid_argument& e) {
            fail(p, e.what());
        }
    }
    return dict;
}

// Splits one CSV record (quotes doubled inside quoted fields).
std::vector<std::string> SplitCsv(const std::string& line)
{
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (quoted) {
            if (c == '"' && i + 1 < line.size() && line[i + 1] == '"') fields.back() += line[++i];
            else if (c == '"') quoted = false;
            else fields.back() += c;
        } else if (c == '"') quoted = true;
        else if (c == ',') fields.emplace_back();
        else if (c != '\r') fields.back() += c;
    }
    return fields;
}

// Without a dictionary: the header names the variables; a column whose every
// non-empty value is a number is numeric, any other is a string as wide as
// its widest value.
std::unique_ptr<VESK_DataSource> FromCsv(const std::string& path, const std::string& shownAs)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw UserError(shownAs + ": cannot read the file");
    std::string line;
    if (!std::getline(in, line)) throw UserError(shownAs + ": line 1: the file has no header");
    std::vector<std::string> names = SplitCsv(line);
    std::vector<int> widths(names.size(), 0);
    std::vector<bool> numeric(names.size(), true);
    while (std::getline(in, line)) {
        std::vector<std::string> f = SplitCsv(line);
        for (size_t i = 0; i < f.size() && i < names.size(); ++i) {
            if (f[i].empty()) continue;
            char* end = nullptr;
            std::strtod(f[i].c_str(), &end);
            if (*end != '\0') numeric[i] = false;
            widths[i] = std::max(widths[i], static_cast<int>(f[i].size()));
        }
    }
    auto dict = std::make_unique<VESK_DataSource>();
    for (size_t i = 0; i < names.size(); ++i) {
        try {
            dict->AddVariable(std::make_unique<VESK_Variable>(names[i], numeric[i] ? 0 : std::max(widths[i], 1)));
        } catch (const std::invalid_argument& e) {
            throw UserError(shownAs, "line 1", "column " + std::to_string(i + 1) + ": " + e.what());
        }
    }
    return dict;
}

}  // namespace

std::unique_ptr<VESK_DataSource> LoadDataDictionary(const Request& request)
{
    if (!request.dictionaryPath.empty()) return FromDictionary(request.dictionaryPath, request.dictionaryPath);
    return FromCsv(request.dataPath, request.dataPath);
}

}  // namespace kvtables
