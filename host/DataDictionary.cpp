#include "DataDictionary.h"

#include <charconv>
#include <map>

#include "CsvReader.h"
#include "HostError.h"
#include "JsonReader.h"

namespace {

std::string FormatNumber(double x)
{
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, x);
    return std::string(buf, r.ptr);
}

// A string value for a variable of `width`: trailing blanks do not count.
std::string StringValue(const JsonNode& j, int width)
{
    j.Expect(j.Value().is_string(), "a string (the variable is a string)");
    std::string_view v = TrimTrailingSpaces(j.Value().get_ref<const std::string&>());
    if (static_cast<long long>(v.size()) > width)
        j.Fail(QuoteForMessage(v) + " is " + std::to_string(v.size()) + " bytes, wider than the width " +
               std::to_string(width));
    return std::string(v);
}

// -0 and 0 are one value.
double NumericValue(const JsonNode& j)
{
    j.Expect(j.Value().is_number(), "a number (the variable is numeric)");
    return j.Value().get<double>() + 0.0;
}

VESK_Format ReadFormat(const JsonNode& j, int width)
{
    j.Object({"type", "width", "decimals"});
    VESK_Format f;
    if (width > 0) f = VESK_Format{'A', width, 0};
    if (auto type = j.Find("type")) {
        static const char letters[] = "FENA";
        f.type = letters[type->Choice({"F", "E", "N", "A"})];
        if ((f.type == 'A') != (width > 0))
            type->Fail(width > 0 ? "a string variable takes the format A" : "the format A is for string variables");
    }
    if (auto w = j.Find("width"))
        f.width = static_cast<int>(w->Integer(1, width > 0 ? VESK_Variable::kMaxStringWidth : 40));
    if (auto d = j.Find("decimals")) {
        f.decimals = static_cast<int>(d->Integer(0, 16));
        if (width > 0 && f.decimals != 0) d->Fail("a string format has no decimals");
    }
    if (width == 0 && f.decimals >= f.width)
        j.Fail("decimals " + std::to_string(f.decimals) + " do not fit the width " + std::to_string(f.width));
    return f;
}

void ReadValueLabels(const JsonNode& j, VESK_Variable& v)
{
    std::map<std::string, std::string> seenStrings;  // value -> pointer of its first label
    std::map<double, std::string> seenNumbers;
    for (const JsonNode& item : j.Array("an array of value labels")) {
        item.Object({"value", "label"});
        const JsonNode value = item.Get("value");
        const std::string label = item.Get("label").String();
        std::string described;
        std::string first;
        if (v.IsString()) {
            std::string s = StringValue(value, v.GetType());
            first = seenStrings.emplace(s, value.Pointer()).first->second;
            described = QuoteForMessage(s);
            v.GetValueLabels().Add(s, label);
        } else {
            double x = NumericValue(value);
            first = seenNumbers.emplace(x, value.Pointer()).first->second;
            described = FormatNumber(x);
            v.GetValueLabels().Add(x, label);
        }
        if (first != value.Pointer()) value.Fail("the value " + described + " is labelled twice (also " + first + ")");
    }
}

void ReadMissing(const JsonNode& j, VESK_Variable& v)
{
    j.Object({"values", "range"});
    const std::optional<JsonNode> range = j.Find("range");
    if (range) {
        if (v.IsString()) range->Fail("a string variable takes discrete missing values only");
        range->Expect(range->Value().is_array() && range->Value().size() == 2, "an array [low, high]");
        const std::vector<JsonNode> ends = range->Array();
        double low = ends[0].Number(), high = ends[1].Number();
        if (!(low <= high)) range->Fail("low " + FormatNumber(low) + " is above high " + FormatNumber(high));
        v.SetMissingRange(low, high);
    }
    if (auto values = j.Find("values")) {
        const std::vector<JsonNode> items = values->Array("an array of values");
        if (items.size() > (range ? 1u : 3u))
            values->Fail(range ? "at most one discrete missing value beside a range"
                               : "at most three discrete missing values");
        std::vector<std::string> strings;
        std::vector<double> numbers;
        for (const JsonNode& item : items) {
            if (v.IsString()) strings.push_back(StringValue(item, v.GetType()));
            else numbers.push_back(NumericValue(item));
        }
        if (v.IsString()) v.SetMissingStrings(strings);
        else v.SetMissingValues(numbers);
    }
}

VESK_Variable ReadVariable(const JsonNode& j)
{
    j.Object({"name", "type", "label", "width", "format", "valueLabels", "missing"});
    const JsonNode nameNode = j.Get("name");
    const std::string name = nameNode.NonEmptyString();
    if (name.find_first_of("\r\n") != std::string::npos) nameNode.Fail("the name holds a line break");
    const bool isString = j.Get("type").Choice({"numeric", "string"}) == 1;
    const int maxWidth = VESK_Variable::kMaxStringWidth;
    int width = 0;
    if (isString) width = static_cast<int>(j.Get("width", "a string variable needs one").Integer(1, maxWidth));
    else if (auto w = j.Find("width")) w->Fail("only string variables have a width (use \"format\")");

    VESK_Variable v(name, width);
    if (auto label = j.Find("label")) v.SetLabel(label->String());
    if (auto format = j.Find("format")) v.SetFormat(ReadFormat(*format, width));
    if (auto labels = j.Find("valueLabels")) ReadValueLabels(*labels, v);
    if (auto missing = j.Find("missing")) ReadMissing(*missing, v);
    return v;
}

}  // namespace

int DataDictionary::Find(const std::string& name) const
{
    for (size_t i = 0; i < variables.size(); ++i)
        if (name == variables[i].GetName()) return static_cast<int>(i);
    return -1;
}

DataDictionary ParseDictionary(const std::string& text, const std::string& path)
{
    const JsonDocument document(path, text);
    DataDictionary d;
    d.path = path;
    std::map<std::string, std::string> seen;  // name -> pointer of its variable
    const JsonNode variables = document.Root().Object({"variables"}).Get("variables");
    for (const JsonNode& item : variables.Array("an array of variables")) {
        VESK_Variable v = ReadVariable(item);
        auto [it, fresh] = seen.emplace(v.GetName(), item.Pointer());
        if (!fresh)
            item.Get("name").Fail("duplicate name " + QuoteForMessage(v.GetName()) + " (also " + it->second + ")");
        d.variables.push_back(std::move(v));
    }
    return d;
}

DataDictionary LoadDictionary(const std::string& path) { return ParseDictionary(ReadTextFile(path), path); }
