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
    "p.layer{font-weight:bold;margin:0.5em 0 0}"
    "tbody th.element{background:#eef}"
    "p.note{color:#555;margin:0.2em 0}"
    "span.letter{font-weight:normal;color:#555}"
    "span.sig{color:#a00;font-weight:bold;margin-left:0.3em}";

bool StartsGroup(const std::vector<AxisCombo>& combos, size_t at, int level)
{
    return at == 0 || !SamePrefix(combos[at], combos[at - 1], level);
}

void RenderPanel(std::string& out, const ResultTable& t, const TableGrid& g, size_t layer)
{
    const auto& cols = g.ColumnCombos();
    const auto& rows = g.RowCombos();
    const size_t nStats = t.statistics.size();
    const size_t rowDepth = t.RowDepth(), columnDepth = t.ColumnDepth();
    const bool stackedRows = t.rows.size() > 1;
    bool missing = false;
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
    for (size_t k = 0; k < columnDepth; ++k) {
        const int level = static_cast<int>(k);
        // The variable's name over each group of its parent's category ...
        out += "<tr>";
        if (k == 0 && rowDepth > 0)
            out += "<td" + Span("colspan", rowDepth) + Span("rowspan", 2 * columnDepth) + "></td>";
        for (size_t c = 0; c < cols.size();) {
            const ResultNest& nest = t.columns[cols[c].element];
            const size_t n = RunLength(cols, c, k >= nest.size() ? -1 : level - 1);
            if (k >= nest.size()) {
                // A shallower element: nothing below its innermost labels.
                if (k == nest.size()) out += "<td" + Span("colspan", n * nStats) + Span("rowspan", 2 * (columnDepth - k)) + "></td>";
            } else {
                const std::string name = IsTotalElement(nest) ? "" : Escape(nest[k].Shown());
                out += "<th scope=\"colgroup\"" + Span("colspan", n * nStats) + ">" + name + "</th>";
            }
            c += n;
        }
        out += "</tr>\n<tr>";
        // ... and its categories under it.
        for (size_t c = 0; c < cols.size();) {
            const ResultNest& nest = t.columns[cols[c].element];
            if (k >= nest.size()) {
                c += RunLength(cols, c, -1);
                continue;
            }
            const size_t n = RunLength(cols, c, level);
            const ResultCategory& category = nest[k].categories[static_cast<size_t>(cols[c].categories[k])];
            const std::string letter =
                category.letter.empty() ? "" : "<br><span class=\"letter\">(" + Escape(category.letter) + ")</span>";
            out += "<th scope=\"colgroup\"" + Span("colspan", n * nStats) + ">" + Escape(category.label) + letter +
                   "</th>";
            c += n;
        }
        out += "</tr>\n";
    }
    out += "<tr>";
    for (size_t i = 0; i < rowDepth; ++i)
        out += "<th scope=\"col\">" + (stackedRows ? std::string() : Escape(t.rows[0][i].Shown())) + "</th>";
    for (size_t c = 0; c < cols.size(); ++c)
        for (const auto& s : t.statistics) out += "<th scope=\"col\">" + Escape(s.Shown()) + "</th>";
    out += "</tr>\n</thead>\n<tbody>\n";
    for (size_t r = 0; r < rows.size(); ++r) {
        const ResultNest& nest = t.rows[rows[r].element];
        if (stackedRows && StartsGroup(rows, r, -1) && !IsTotalElement(nest)) {
            // Each element of stacked rows opens with the names of its variables.
            std::string names;
            for (const ResultAxisVariable& v : nest) names += (names.empty() ? "" : " / ") + v.Shown();
            out += "<tr><th scope=\"rowgroup\" class=\"element\"" + Span("colspan", rowDepth + cols.size() * nStats) +
                   ">" + Escape(names) + "</th></tr>\n";
        }
        out += "<tr>";
        for (size_t i = 0; i < nest.size(); ++i) {
            const int level = static_cast<int>(i);
            if (!StartsGroup(rows, r, level)) continue;
            const bool inner = i + 1 == nest.size();
            out += std::string("<th scope=\"") + (inner ? "row" : "rowgroup") + "\"" +
                   Span("rowspan", RunLength(rows, r, level)) + Span("colspan", inner ? rowDepth - i : 1) + ">" +
                   Escape(nest[i].categories[static_cast<size_t>(rows[r].categories[i])].label) + "</th>";
        }
        for (size_t c = 0; c < cols.size(); ++c)
            for (size_t s = 0; s < nStats; ++s) {
                const ResultCell* cell = g.Cell(layer, r, c, s);
                const std::string shown = cell ? FormatGrouped(cell->value, t.statistics[s].Decimals()) : "";
                missing = missing || shown == ".";
                std::string letters;
                if (cell)
                    for (const std::string& l : cell->significantOver) letters += l;
                out += "<td>" + Escape(shown) +
                       (letters.empty() ? "" : "<span class=\"sig\">" + Escape(letters) + "</span>") + "</td>";
            }
        out += "</tr>\n";
    }
    out += "</tbody>\n</table>\n";
    if (missing) out += "<p class=\"note\">. A value that cannot be formed from its cell's cases (none, or too few for the statistic).</p>\n";
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
        if (!results.Note().empty()) out += "<p class=\"note\">" + Escape(results.Note()) + "</p>\n";
        for (size_t l = 0; l < grid.LayerCombos().size(); ++l) RenderPanel(out, table, grid, l);
        for (const std::string& note : table.notes) out += "<p class=\"note\">" + Escape(note) + "</p>\n";
        out += "</section>\n";
    }
    out += "</body>\n</html>\n";
    return out;
}

}  // namespace kvtables
