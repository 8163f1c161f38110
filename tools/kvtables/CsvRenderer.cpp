// The tidy table (TidyTable.h) as CSV.
#include "Renderers.h"
#include "TidyTable.h"

namespace kvtables {

namespace {

// A field quoted when it holds a separator, a quote or a line break, or
// starts or ends with blanks a reader might trim.
std::string Field(const std::string& s)
{
    bool quote = s.find_first_of(",\"\r\n") != std::string::npos ||
                 (!s.empty() && (s.front() == ' ' || s.back() == ' '));
    if (!quote) return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

std::string Text(const TidyField& f)
{
    if (const double* d = std::get_if<double>(&f)) return FormatShortest(*d);
    if (const std::string* t = std::get_if<std::string>(&f)) return *t;
    return std::string();
}

}  // namespace

std::string RenderCsv(const ResultSet& results)
{
    std::vector<const ResultTable*> tables;
    for (const ResultTable& t : results.tables) tables.push_back(&t);
    const TidyLayout layout = MakeTidyLayout(tables);
    std::string out;
    auto emit = [&out](const auto& fields, auto text) {
        for (size_t i = 0; i < fields.size(); ++i) out += (i ? "," : "") + Field(text(fields[i]));
        out += "\n";
    };
    emit(layout.header, [](const std::string& s) { return s; });
    for (size_t t = 0; t < results.tables.size(); ++t)
        ForEachTidyRow(results.tables[t], static_cast<double>(t + 1), layout,
                       [&](const std::vector<TidyField>& fields) { emit(fields, Text); });
    return out;
}

}  // namespace kvtables
