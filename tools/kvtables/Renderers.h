// The ways of writing a ResultSet: text, HTML and a workbook for people, JSON
// and CSV for programs. Each returns the whole document, so nothing is written
// to the output until every table has been rendered.
#ifndef KVTABLES_RENDERERS_H
#define KVTABLES_RENDERERS_H

#include <string>

#include "ResultSet.h"

namespace kvtables {

struct TextOptions {
    int width = 0;  // the terminal's columns; 0: never wrap
};

std::string RenderText(const ResultSet& results, const TextOptions& options = {});
std::string RenderJson(const ResultSet& results);
std::string RenderCsv(const ResultSet& results);
std::string RenderHtml(const ResultSet& results);
// The bytes of an xlsx workbook, one worksheet per table. Throws UserError
// for a table larger than a worksheet holds.
std::string RenderXlsx(const ResultSet& results);

// Text from the data and the request, made safe for a terminal: control
// characters (C0, DEL and C1, among them the escape sequences that move the
// cursor or retitle the window) become "?", line breaks and tabs blanks, so
// that nothing in a label can act on the terminal or break the layout.
std::string Printable(const std::string& text);

// Display width of UTF-8 text, one column per code point.
size_t DisplayWidth(const std::string& text);

}  // namespace kvtables

#endif
