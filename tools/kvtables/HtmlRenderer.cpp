// The result as a standalone page: proper table markup (a head with column
// groups, header cells with their scope, row and column spans for nested
// labels) and inline style, so it reads in a browser without a network.
#include "Renderers.h"

namespace kvtables {

namespace {

std::string Escape(const std::string& s)
{
    std::string out;
    for (char c : s) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string Span(const char* attr, size_t n)
{
    return n > 1 ? std::string(" ") + attr + "=\"" + std::to_string(n) + "\"" : std::string();
}

const char* kStyle =
    "body{font-family:system-ui,sans-serif;margin:2em;color:#222}"
    "table{border-collapse:collapse;margin:0.5em 0 2em}"
    "th,td{border:1px solid #bbb;padding:0.2em 0.6em}"
    "thead th{background:#eef;text-align:center}"
    "tbody th{background:#f7f7f7;text-align:left;vertical-align:top}"
    "td{text-align:right;font-variant-numeric:tabular-nums}"
    "p.layer{font-weight:bold;margin:0.5em 0 0}";

// Number of consecutive combinations, from `from`, that share the prefix
// through level `level` (inclusive) with combination `from`.
size_t RunLength(const std::vector<std::vector<int>>& combos, size_t from, size_t level)
{
    size_t n = 1;
    for (size_t j = from + 1; j < combos.size(); ++j, ++n)
        for (size_t k = 0; k <= level; ++k)
            if (combos[j][k] != combos[from][k]) return n;
    return n;
}

bool StartsGroup(const std::vector<std::vector<int>>& combos, size_t at, size_t level)
{
    if (at == 0) return true;
    for (size_t k = 0; k <= level; ++k)
        if (combos[at][k] != combos[at - 1][k]) return true;
    return false;
}

void RenderPanel(std::string& out, const ResultTable& t, const TableGrid& g, size_t layer)
{
    const auto& cols = g.ColumnCombos();
    const auto& rows = g.RowCombos();
    const size_t nStats = t.statistics.size();
    const size_t nRowVars = t.rows.size();
    if (!t.layers.empty()) {
        out += "<p class=\"layer\">";
        for (size_t i = 0; i < t.layers.size(); ++i) {
            if (i) out += " / ";
            out += Escape(t.layers[i].Shown()) + ": " +
                   Escape(t.layers[i].categories[static_cast<size_t>(g.LayerCombos()[layer][i])].label);
        }
        out += "</p>\n";
    }
    out += "<table>\n<thead>\n";
    for (size_t k = 0; k < t.columns.size(); ++k) {
        // The variable's name over each group of its parent's category ...
        out += "<tr>";
        if (k == 0 && nRowVars > 0)
            out += "<td" + Span("colspan", nRowVars) + Span("rowspan", 2 * t.columns.size()) + "></td>";
        for (size_t c = 0; c < cols.size();) {
            const size_t n = k ? RunLength(cols, c, k - 1) : cols.size();
            out += "<th scope=\"colgroup\"" + Span("colspan", n * nStats) + ">" + Escape(t.columns[k].Shown()) + "</th>";
            c += n;
        }
        out += "</tr>\n<tr>";
        // ... and its categories under it.
        for (size_t c = 0; c < cols.size(); c += RunLength(cols, c, k))
            out += "<th scope=\"colgroup\"" + Span("colspan", RunLength(cols, c, k) * nStats) + ">" +
                   Escape(t.columns[k].categories[static_cast<size_t>(cols[c][k])].label) + "</th>";
        out += "</tr>\n";
    }
    out += "<tr>";
    for (const auto& v : t.rows) out += "<th scope=\"col\">" + Escape(v.Shown()) + "</th>";
    for (size_t c = 0; c < cols.size(); ++c)
        for (const auto& s : t.statistics) out += "<th scope=\"col\">" + Escape(s.Heading()) + "</th>";
    out += "</tr>\n</thead>\n<tbody>\n";
    for (size_t r = 0; r < rows.size(); ++r) {
        out += "<tr>";
        for (size_t i = 0; i < nRowVars; ++i) {
            if (!StartsGroup(rows, r, i)) continue;
            const bool inner = i + 1 == nRowVars;
            out += std::string("<th scope=\"") + (inner ? "row" : "rowgroup") + "\"" +
                   Span("rowspan", RunLength(rows, r, i)) + ">" +
                   Escape(t.rows[i].categories[static_cast<size_t>(rows[r][i])].label) + "</th>";
        }
        for (size_t c = 0; c < cols.size(); ++c)
            for (size_t s = 0; s < nStats; ++s) {
                const ResultCell* cell = g.Cell(layer, r, c, s);
                out += "<td>" + (cell ? Escape(FormatFixed(cell->value, t.statistics[s].Decimals())) : "") + "</td>";
            }
        out += "</tr>\n";
    }
    out += "</tbody>\n</table>\n";
}

}  // namespace

std::string RenderHtml(const ResultSet& results)
{
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>Tables</title>\n<style>";
    out += kStyle;
    out += "</style>\n</head>\n<body>\n";
    for (const auto& table : results.tables) {
        TableGrid grid(table);
        out += "<section>\n<h2>" + Escape(table.title) + "</h2>\n";
        for (size_t l = 0; l < grid.LayerCombos().size(); ++l) RenderPanel(out, table, grid, l);
        out += "</section>\n";
    }
    if (results.skippedCases > 0)
        out += "<p>" + std::to_string(results.skippedCases) +
               " cases were skipped for a missing, zero or negative weight.</p>\n";
    out += "</body>\n</html>\n";
    return out;
}

}  // namespace kvtables
