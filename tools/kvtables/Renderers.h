// The four ways of writing a ResultSet: text and HTML for people, JSON and CSV
// for programs. Each returns the whole document, so nothing is written to the
// output until every table has been rendered.
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

// Display width of UTF-8 text, one column per code point.
size_t DisplayWidth(const std::string& text);

}  // namespace kvtables

#endif
