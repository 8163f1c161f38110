// kvshow: prints the data dictionary and the first cases of a CSV file.
//
//   kvshow DATA.csv [DICTIONARY.json] [--cases N] [--delimiter C]
//
// The file is read as a stream (only the first cases are converted, but the
// whole file is checked), so it also serves to validate large files.
#include <cfloat>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "CsvLoader.h"
#include "OBS.h"
#include "VESK_ValueLabelMap.h"

namespace {

// Characters, not bytes, decide the column widths of UTF-8 text.
size_t DisplayWidth(const std::string& s)
{
    size_t n = 0;
    for (unsigned char c : s)
        if ((c & 0xC0) != 0x80) ++n;
    return n;
}

std::string Clip(const std::string& s, size_t width)
{
    if (DisplayWidth(s) <= width) return s;
    std::string out;
    size_t n = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        auto c = static_cast<unsigned char>(s[i]);
        if ((c & 0xC0) != 0x80 && ++n > width - 1) break;
        out += s[i];
    }
    return out + "~";
}

std::string Pad(const std::string& s, size_t width, bool right)
{
    size_t w = DisplayWidth(s);
    std::string fill(w < width ? width - w : 0, ' ');
    return right ? fill + s : s + fill;
}

std::string FormatNumber(double x, const VESK_Format& f)
{
    if (x == -DBL_MAX) return ".";
    char buf[64];
    if (f.type == 'E') std::snprintf(buf, sizeof buf, "%.*E", f.decimals, x);
    else if (f.type == 'N') std::snprintf(buf, sizeof buf, "%0*.*f", f.width, f.decimals, x);
    else std::snprintf(buf, sizeof buf, "%.*f", f.decimals, x);
    return buf;
}

std::string StringValue(const OBS* value, int width)
{
    std::string s(value->str, static_cast<size_t>(width));
    while (!s.empty() && s.back() == ' ') s.pop_back();
    return s;
}

std::string ValueText(const OBS* value, const VESK_Variable& v)
{
    return v.IsString() ? StringValue(value, v.GetType()) : FormatNumber(value->num, v.GetFormat());
}

std::string FormatName(const VESK_Format& f)
{
    std::string s(1, f.type);
    s += std::to_string(f.width);
    if (f.type != 'A') s += "." + std::to_string(f.decimals);
    return s;
}

std::string Quoted(const std::string& s) { return "\"" + s + "\""; }

void PrintDictionary(const CsvCaseIterator& data)
{
    const VESK_DataSource& source = data.GetDataSource();
    std::cout << "Variables (" << source.GetNumVariables() << ")\n";
    for (int i = 0; i < source.GetNumVariables(); ++i) {
        const VESK_Variable& v = *source.GetVariable(i);
        std::string type = v.IsString() ? "string, width " + std::to_string(v.GetType()) : "numeric";
        std::cout << "  " << i + 1 << ". " << v.GetName() << "  " << type << ", format " << FormatName(v.GetFormat());
        if (data.IsInferred(i)) std::cout << "  (inferred from the data)";
        std::cout << "\n";
        if (*v.GetLabel()) std::cout << "       label: " << v.GetLabel() << "\n";

        VESK_ValueLabelMap labels(v.GetValueLabels());
        if (labels.Size() > 0) {
            std::cout << "       value labels:\n";
            labels.Reset();
            const OBS* value;
            const char* label;
            while (labels.GetNextPair(value, label)) {
                std::string text = v.IsString() ? Quoted(StringValue(value, v.GetType())) : ValueText(value, v);
                std::cout << "         " << text << "  " << label << "\n";
            }
        }

        std::vector<std::string> missing;
        for (double m : v.GetMissingValues()) {
            OBS w;
            w.num = m;
            missing.push_back(ValueText(&w, v));
        }
        for (const std::string& m : v.GetMissingStrings()) {
            std::string s = m;
            while (!s.empty() && s.back() == ' ') s.pop_back();
            missing.push_back(Quoted(s));
        }
        if (v.HasMissingRange()) {
            OBS lo, hi;
            lo.num = v.GetMissingLow();
            hi.num = v.GetMissingHigh();
            missing.push_back(ValueText(&lo, v) + " thru " + ValueText(&hi, v));
        }
        if (!missing.empty()) {
            std::cout << "       user-missing:";
            for (size_t k = 0; k < missing.size(); ++k) std::cout << (k ? ", " : " ") << missing[k];
            std::cout << "\n";
        }
    }
}

// Prints the first cases; missing values are marked with a trailing '*'.
// Returns the number of cases in the file.
long long PrintCases(CsvCaseIterator& data, long long maxCases)
{
    const VESK_DataSource& source = data.GetDataSource();
    const int n = source.GetNumVariables();
    const size_t maxWidth = 24;
    std::vector<std::vector<std::string>> rows;
    long long cases = 0;
    while (data.Next()) {
        if (cases++ >= maxCases) continue;  // still read on: the whole file is checked
        std::vector<std::string> row;
        for (int i = 0; i < n; ++i) {
            const VESK_Variable& v = *source.GetVariable(i);
            std::string text = Clip(ValueText(data.GetValue(i), v), maxWidth);
            if (v.IsMissing(data.GetValue(i)) && text != ".") text += "*";
            row.push_back(text);
        }
        rows.push_back(std::move(row));
    }

    std::vector<size_t> widths;
    for (int i = 0; i < n; ++i) {
        size_t w = DisplayWidth(Clip(source.GetVariable(i)->GetName(), maxWidth));
        for (const auto& row : rows) w = std::max(w, DisplayWidth(row[static_cast<size_t>(i)]));
        widths.push_back(w);
    }
    std::cout << "\nCases (first " << rows.size() << " of " << cases << "; * user-missing, . system-missing)\n";
    auto printLine = [&](auto cell) {
        std::string line;
        for (int i = 0; i < n; ++i)
            line += "  " + Pad(cell(i), widths[static_cast<size_t>(i)], !source.GetVariable(i)->IsString());
        line.erase(line.find_last_not_of(' ') + 1);
        std::cout << line << "\n";
    };
    printLine([&](int i) { return Clip(source.GetVariable(i)->GetName(), maxWidth); });
    for (const auto& row : rows) printLine([&](int i) { return row[static_cast<size_t>(i)]; });
    return cases;
}

int Usage()
{
    std::cerr << "usage: kvshow DATA.csv [DICTIONARY.json] [--cases N] [--delimiter C]\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> files;
    long long maxCases = 10;
    CsvOptions options;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--cases" && i + 1 < argc) {
            maxCases = std::atoll(argv[++i]);
        } else if (a == "--delimiter" && i + 1 < argc) {
            std::string d = argv[++i];
            if (d == "\\t" || d == "tab") d = "\t";
            if (d.size() != 1) return Usage();
            options.delimiter = d[0];
        } else if (a.rfind("--", 0) == 0) {
            return Usage();
        } else {
            files.push_back(a);
        }
    }
    if (files.empty() || files.size() > 2) return Usage();
    try {
        std::optional<std::string> dictionary;
        if (files.size() == 2) dictionary = files[1];
        auto data = OpenCsvStream(files[0], dictionary, CsvColumns::All(), options);
        std::cout << "File " << files[0];
        if (dictionary) std::cout << " with dictionary " << *dictionary;
        std::cout << "\n\n";
        PrintDictionary(*data);
        PrintCases(*data, maxCases);
    } catch (const std::exception& e) {
        std::cout.flush();
        std::cerr << "kvshow: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
