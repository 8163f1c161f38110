// The result as a workbook, for people who carry tables on into reports and
// slides: one worksheet per table laid out as the text and the page show it
// (nested row labels down the side, merged column labels across the top,
// statistic labels under them), each value a number cell formatted with its
// statistic's decimals, so that it sums and charts without retyping.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <xlsxwriter.h>

#include "Renderers.h"
#include "UserError.h"

namespace kvtables {

namespace {

constexpr size_t kMaxText = 32767;   // a cell holds at most this many characters; we keep as many bytes
constexpr size_t kMaxSheetName = 31;  // in UTF-16 units, as the name is counted
constexpr double kMaxWidth = 60;     // the widest fitted column, in characters
constexpr int kMaxDecimals = 30;     // the most a number format shows

// The library's errors here come from our own calls (a sheet name, a range),
// never from the user's input.
void Check(lxw_error error)
{
    if (error != LXW_NO_ERROR) throw std::runtime_error(std::string("workbook: ") + lxw_strerror(error));
}

// Text as a workbook can hold it: no control characters, valid UTF-8 (a byte
// that starts no character, an overlong form, a surrogate or a code point the
// format forbids becomes U+FFFD) and at most kMaxText bytes, cut between
// characters. The data's labels may be in any encoding; a single bad byte
// must not make the whole file unreadable.
std::string CellText(const std::string& text)
{
    const std::string in = Printable(text);
    std::string out;
    for (size_t i = 0; i < in.size();) {
        const unsigned char lead = static_cast<unsigned char>(in[i]);
        const size_t n = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
        unsigned code = n == 1 ? lead : n == 2 ? lead & 0x1F : n == 3 ? lead & 0x0F : lead & 0x07;
        bool valid = n > 0 && i + n <= in.size();
        for (size_t k = 1; valid && k < n; ++k) {
            const unsigned char c = static_cast<unsigned char>(in[i + k]);
            valid = (c & 0xC0) == 0x80;
            code = code << 6 | (c & 0x3F);
        }
        static constexpr unsigned kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
        valid = valid && code >= kLeast[n] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF) &&
                code != 0xFFFE && code != 0xFFFF;
        const std::string piece = valid ? in.substr(i, n) : "\xEF\xBF\xBD";
        if (out.size() + piece.size() > kMaxText) break;
        out += piece;
        i += valid ? n : 1;
    }
    return out;
}

std::string Lower(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// The longest prefix of valid UTF-8 text that is at most `units` UTF-16 units long.
std::string CutUnits(const std::string& text, size_t units)
{
    size_t used = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if ((c & 0xC0) == 0x80) continue;
        used += c >= 0xF0 ? 2 : 1;
        if (used > units) return text.substr(0, i);
    }
    return text;
}

std::string Trim(const std::string& s, const char* chars)
{
    const size_t begin = s.find_first_not_of(chars);
    return begin == std::string::npos ? std::string() : s.substr(begin, s.find_last_not_of(chars) - begin + 1);
}

// A table's title as a sheet name the format accepts: none of : \ / ? * [ ],
// no apostrophe at either end, at most 31 units, not "History" (reserved),
// and unlike every name in `used` without regard to case, which is how names
// are compared; a repeat gets " (2)", " (3)", ... and a title with nothing
// left "Table N".
std::string SheetName(const std::string& title, size_t number, std::vector<std::string>& used)
{
    std::string name;
    for (char c : CellText(title)) {
        if (std::strchr(":\\/?*[]", c)) c = ' ';
        if (c != ' ' || (!name.empty() && name.back() != ' ')) name += c;
    }
    name = Trim(name, " '");
    if (name.empty() || Lower(name) == "history") name = "Table " + std::to_string(number);
    for (size_t n = 1;; ++n) {
        const std::string suffix = n == 1 ? "" : " (" + std::to_string(n) + ")";
        const std::string candidate = Trim(CutUnits(name, kMaxSheetName - suffix.size()), " '") + suffix;
        if (std::find(used.begin(), used.end(), Lower(candidate)) == used.end()) {
            used.push_back(Lower(candidate));
            return candidate;
        }
    }
}

// The workbook's formats, each made once; the workbook owns them.
class Formats {
public:
    explicit Formats(lxw_workbook* workbook) : _workbook(workbook)
    {
        format_set_bold(title);
        format_set_font_size(title, 13);
        format_set_font_color(note, 0x555555);
        format_set_bold(heading);
        for (lxw_format* f : {column, letter, statistic}) {
            format_set_align(f, LXW_ALIGN_CENTER);
            format_set_align(f, LXW_ALIGN_VERTICAL_BOTTOM);
            format_set_bg_color(f, 0xEEEEFF);
        }
        format_set_bold(column);
        format_set_font_color(letter, 0x1F4E9A);
        format_set_bottom(statistic, LXW_BORDER_THIN);
        format_set_bold(statistic);
        format_set_align(label, LXW_ALIGN_VERTICAL_TOP);
        format_set_bold(total);
        format_set_font_color(over, 0x1F4E9A);
        format_set_font_script(over, LXW_FONT_SUPERSCRIPT);
    }

    // Thousands grouped and the statistic's decimals, so that a percentage
    // reads 35.0 and a weighted count 1,317.549 as they do on screen.
    lxw_format* Number(int decimals)
    {
        decimals = std::clamp(decimals, 0, kMaxDecimals);
        lxw_format*& f = _numbers[decimals];
        if (f == nullptr) {
            f = workbook_add_format(_workbook);
            format_set_num_format(f, ("#,##0" + (decimals > 0 ? "." + std::string(decimals, '0') : "")).c_str());
        }
        return f;
    }

private:
    lxw_workbook* _workbook;
    std::map<int, lxw_format*> _numbers;

public:
    lxw_format* const title = workbook_add_format(_workbook);
    lxw_format* const note = workbook_add_format(_workbook);
    lxw_format* const heading = workbook_add_format(_workbook);    // layer and stacked-element lines
    lxw_format* const column = workbook_add_format(_workbook);     // column variables and categories
    lxw_format* const letter = workbook_add_format(_workbook);     // the compared columns' letters
    lxw_format* const statistic = workbook_add_format(_workbook);  // the header's last line
    lxw_format* const label = workbook_add_format(_workbook);      // row labels
    lxw_format* const total = workbook_add_format(_workbook);      // row labels of totals and subtotals
    lxw_format* const over = workbook_add_format(_workbook);       // a cell's significance letters
};

// One table on its worksheet: the title and the notes, the column header,
// then each layer's rows under a line naming the layer. One header serves
// every layer, so that the frozen panes keep the right labels in view
// however far down one scrolls.
class Sheet {
public:
    Sheet(lxw_worksheet* sheet, Formats& formats, const ResultTable& table, const std::vector<std::string>& notes)
        : _ws(sheet), _f(formats), _t(table), _g(table), _notes(notes), _stub(table.RowDepth())
    {
        // A statistic gets a column for its letters beside its values when
        // any of its cells is significantly greater than another.
        std::vector<bool> letters(_t.statistics.size(), false);
        for (const ResultCell& cell : _t.cells)
            if (!cell.significantOver.empty()) letters[static_cast<size_t>(cell.statistic)] = true;
        size_t at = _stub;
        for (size_t c = 0; c < _g.ColumnCombos().size(); ++c) {
            _comboAt.push_back(at);
            for (size_t s = 0; s < _t.statistics.size(); ++s) {
                _leaves.push_back({c, s, at, letters[s]});
                at += letters[s] ? 2 : 1;
            }
        }
        _comboAt.push_back(at);
        _widths.assign(at, 0);
        for (const ResultNest& nest : _t.columns)
            for (const ResultAxisVariable& v : nest)
                for (const ResultCategory& c : v.categories) _hasLetters = _hasLetters || !c.letter.empty();
        CheckSize();
    }

    void Write()
    {
        lxw_row_t row = Heading();
        row = ColumnHeader(row);
        worksheet_freeze_panes(_ws, row, static_cast<lxw_col_t>(_stub));
        // On paper: one page wide, the header on every page.
        worksheet_set_landscape(_ws);
        worksheet_fit_to_pages(_ws, 1, 0);
        Check(worksheet_repeat_rows(_ws, static_cast<lxw_row_t>(HeadingRows()), row - 1));
        for (size_t l = 0; l < _g.LayerCombos().size(); ++l) row = Panel(row, l);
        FitColumns();
    }

private:
    struct Leaf {
        size_t column, stat;  // its column combination and statistic
        size_t at;            // its sheet column; the letters, if any, are in the next
        bool letters;
    };

    size_t HeadingRows() const { return 2 + _notes.size(); }
    size_t HeaderRows() const { return 2 * _t.ColumnDepth() + (_hasLetters ? 1 : 0) + 1; }

    // The format's limits are the user's concern: a table too large for a
    // worksheet is a mistake in the request, found before anything is written.
    void CheckSize() const
    {
        size_t elementLines = 0;
        if (_t.rows.size() > 1)
            for (const ResultNest& nest : _t.rows) elementLines += IsTotalElement(nest) ? 0 : 1;
        const size_t perLayer = (_t.layers.empty() ? 0 : 1) + elementLines + _g.RowCombos().size();
        const size_t rows = HeadingRows() + HeaderRows() + _g.LayerCombos().size() * perLayer;
        for (auto [need, most, what] : {std::tuple{_widths.size(), size_t{LXW_COL_MAX}, "columns"},
                                        {rows, size_t{LXW_ROW_MAX}, "rows"}})
            if (need > most)
                throw UserError("--format xlsx: table " + Quote(_t.title) + " needs " + FormatCount(need) + " " +
                                what + ", more than a worksheet holds (" + FormatCount(most) + ")");
    }

    void Put(lxw_row_t row, size_t col, const std::string& text, lxw_format* format, bool fit = true)
    {
        const std::string shown = CellText(text);
        Check(worksheet_write_string(_ws, row, static_cast<lxw_col_t>(col), shown.c_str(), format));
        if (fit) _widths[col] = std::max(_widths[col], static_cast<double>(DisplayWidth(shown)));
    }

    // A label over columns [first, last]: one merged cell, whose width the
    // columns under it share.
    void Span(lxw_row_t row, size_t first, size_t last, const std::string& text, lxw_format* format)
    {
        if (first == last) return Put(row, first, text, format);
        const std::string shown = CellText(text);
        Check(worksheet_merge_range(_ws, row, static_cast<lxw_col_t>(first), row,
                                                static_cast<lxw_col_t>(last), shown.c_str(), format));
        _spans.push_back({first, last, static_cast<double>(DisplayWidth(shown))});
    }

    lxw_row_t Heading()
    {
        Put(0, 0, _t.title, _f.title, false);
        lxw_row_t row = 1;
        for (const std::string& note : _notes) Put(row++, 0, note, _f.note, false);
        return row + 1;
    }

    lxw_row_t ColumnHeader(lxw_row_t row)
    {
        const auto& cols = _g.ColumnCombos();
        // The header reads as one block: its blanks (past an element's depth,
        // over a total element) are shaded as well.
        for (size_t r = 0; r + 1 < HeaderRows(); ++r)
            for (size_t col = _stub; col < _widths.size(); ++col)
                Check(worksheet_write_blank(_ws, row + static_cast<lxw_row_t>(r), static_cast<lxw_col_t>(col),
                                            _f.column));
        for (size_t k = 0; k < _t.ColumnDepth(); ++k, row += 2) {
            const int level = static_cast<int>(k);
            // The variable's name over each group of its parent's category,
            // and its categories under it; nothing past an element's depth.
            for (size_t c = 0; c < cols.size();) {
                const ResultNest& nest = _t.columns[cols[c].element];
                const size_t n = RunLength(cols, c, k < nest.size() ? level - 1 : -1);
                if (k < nest.size() && !IsTotalElement(nest))
                    Span(row, _comboAt[c], _comboAt[c + n] - 1, nest[k].Shown(), _f.column);
                c += n;
            }
            for (size_t c = 0; c < cols.size();) {
                const ResultNest& nest = _t.columns[cols[c].element];
                const size_t n = RunLength(cols, c, k < nest.size() ? level : -1);
                if (k < nest.size())
                    Span(row + 1, _comboAt[c], _comboAt[c + n] - 1, Category(nest, cols[c], k).label, _f.column);
                c += n;
            }
        }
        if (_hasLetters) {
            for (size_t c = 0; c < cols.size(); ++c) {
                // The innermost compared category names the column.
                std::string letter;
                const ResultNest& nest = _t.columns[cols[c].element];
                for (size_t k = 0; k < nest.size(); ++k)
                    if (!Category(nest, cols[c], k).letter.empty()) letter = Category(nest, cols[c], k).letter;
                if (!letter.empty()) Span(row, _comboAt[c], _comboAt[c + 1] - 1, letter, _f.letter);
            }
            ++row;
        }
        if (_t.rows.size() == 1)
            for (size_t i = 0; i < _stub; ++i) Put(row, i, _t.rows[0][i].Shown(), _f.statistic);
        for (const Leaf& leaf : _leaves)
            Span(row, leaf.at, leaf.at + (leaf.letters ? 1 : 0), _t.statistics[leaf.stat].Shown(), _f.statistic);
        return row + 1;
    }

    lxw_row_t Panel(lxw_row_t row, size_t layer)
    {
        if (!_t.layers.empty()) {
            std::string line;
            for (size_t i = 0; i < _t.layers.size(); ++i)
                line += (i ? " / " : "") + _t.layers[i].Shown() + ": " +
                        _t.layers[i].categories[static_cast<size_t>(_g.LayerCombos()[layer][i])].label;
            Put(row++, 0, line, _f.heading, false);
        }
        const auto& rows = _g.RowCombos();
        for (size_t r = 0; r < rows.size(); ++r) {
            const ResultNest& nest = _t.rows[rows[r].element];
            const bool starts = r == 0 || rows[r].element != rows[r - 1].element;
            if (_t.rows.size() > 1 && starts && !IsTotalElement(nest)) {
                // Stacked rows name their variables at the head of each element.
                std::string names;
                for (const ResultAxisVariable& v : nest) names += (names.empty() ? "" : " / ") + v.Shown();
                Put(row++, 0, names, _f.heading, false);
            }
            RowLabels(row, rows, r);
            for (const Leaf& leaf : _leaves) Value(row, leaf, _g.Cell(layer, r, leaf.column, leaf.stat));
            ++row;
        }
        return row;
    }

    // An outer label shows where its group starts; the labels of totals and
    // subtotals stand out.
    void RowLabels(lxw_row_t row, const std::vector<AxisCombo>& rows, size_t r)
    {
        const ResultNest& nest = _t.rows[rows[r].element];
        bool total = false;
        for (size_t i = 0; i < nest.size(); ++i) {
            const CategoryKind kind = Category(nest, rows[r], i).kind;
            total = total || kind == CategoryKind::Total || kind == CategoryKind::Subtotal;
        }
        for (size_t i = 0; i < nest.size(); ++i) {
            const bool inner = i + 1 == nest.size();
            if (inner || r == 0 || !SamePrefix(rows[r], rows[r - 1], static_cast<int>(i)))
                Put(row, i, Category(nest, rows[r], i).label, total ? _f.total : _f.label);
        }
    }

    // A number as a number; system-missing left empty; an infinity, which a
    // number cell cannot hold, as the text renderers write it.
    void Value(lxw_row_t row, const Leaf& leaf, const ResultCell* cell)
    {
        if (cell == nullptr || IsMissingValue(cell->value)) return;
        const int decimals = _t.statistics[leaf.stat].Decimals();
        const auto col = static_cast<lxw_col_t>(leaf.at);
        if (std::isinf(cell->value)) {
            Put(row, leaf.at, FormatFixed(cell->value, decimals), _f.Number(decimals));
        } else {
            Check(worksheet_write_number(_ws, row, col, cell->value, _f.Number(decimals)));
            _widths[leaf.at] = std::max(_widths[leaf.at], static_cast<double>(FormatGrouped(cell->value, decimals).size()));
        }
        if (leaf.letters && !cell->significantOver.empty()) {
            std::string over;
            for (const std::string& letter : cell->significantOver) over += letter;
            Put(row, leaf.at + 1, over, _f.over);
        }
    }

    const ResultCategory& Category(const ResultNest& nest, const AxisCombo& combo, size_t level) const
    {
        return nest[level].categories[static_cast<size_t>(combo.categories[level])];
    }

    // Columns as wide as what they show: a merged label wider than its
    // columns widens the last of them, inner labels first so that the outer
    // ones see the result.
    void FitColumns()
    {
        std::stable_sort(_spans.begin(), _spans.end(),
                         [](const SpanWidth& a, const SpanWidth& b) { return a.last - a.first < b.last - b.first; });
        for (const SpanWidth& s : _spans) {
            double have = 0;
            for (size_t col = s.first; col <= s.last; ++col) have += _widths[col] + 1;
            if (s.need + 1 > have) _widths[s.last] += s.need + 1 - have;
        }
        for (size_t col = 0; col < _widths.size(); ++col)
            Check(worksheet_set_column(_ws, static_cast<lxw_col_t>(col), static_cast<lxw_col_t>(col),
                                                   std::min(_widths[col] + 1, kMaxWidth), nullptr));
    }

    struct SpanWidth {
        size_t first, last;
        double need;
    };

    lxw_worksheet* _ws;
    Formats& _f;
    const ResultTable& _t;
    TableGrid _g;
    const std::vector<std::string>& _notes;
    size_t _stub;                  // row-label columns
    std::vector<Leaf> _leaves;     // column combination by combination, statistics innermost
    std::vector<size_t> _comboAt;  // each column combination's first sheet column, and one past the last
    bool _hasLetters = false;
    std::vector<double> _widths;  // per sheet column, in characters
    std::vector<SpanWidth> _spans;
};

// Removes its file when it goes.
struct TempFile {
    std::string path;
    ~TempFile()
    {
        if (!path.empty()) ::unlink(path.c_str());
    }
};

struct CloseWorkbook {
    void operator()(lxw_workbook* workbook) const { workbook_close(workbook); }
};

}  // namespace

std::string RenderXlsx(const ResultSet& results)
{
    // The library writes only to a named file: the workbook is made in a
    // temporary one and read back, so that it reaches the output whole, as
    // every other format does.
    const char* tmp = std::getenv("TMPDIR");
    TempFile file{std::string(tmp && *tmp ? tmp : "/tmp") + "/kvtables-xlsx.XXXXXX"};
    const int fd = ::mkstemp(file.path.data());
    if (fd < 0) {
        const int error = errno;
        file.path.clear();
        throw UserError("cannot make a temporary file for the workbook: " + std::string(std::strerror(error)));
    }
    ::close(fd);
    std::unique_ptr<lxw_workbook, CloseWorkbook> workbook(workbook_new(file.path.c_str()));
    if (!workbook) throw UserError(file.path + ": cannot make the workbook");
    Formats formats(workbook.get());
    std::vector<std::string> notes, used;
    if (!results.Note().empty()) notes.push_back(results.Note());
    for (size_t t = 0; t < results.tables.size(); ++t) {
        const ResultTable& table = results.tables[t];
        std::vector<std::string> tableNotes = notes;
        tableNotes.insert(tableNotes.end(), table.notes.begin(), table.notes.end());
        const std::string name = SheetName(table.title, t + 1, used);
        lxw_worksheet* sheet = workbook_add_worksheet(workbook.get(), name.c_str());
        if (!sheet) throw std::runtime_error("workbook: sheet name " + Quote(name) + " refused");
        Sheet(sheet, formats, table, tableNotes).Write();
    }
    if (const lxw_error error = workbook_close(workbook.release()); error != LXW_NO_ERROR)
        throw UserError(file.path + ": cannot write the workbook: " + lxw_strerror(error));
    std::ifstream in(file.path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    if (!in) throw UserError(file.path + ": cannot read the workbook back: " + std::strerror(errno));
    return bytes.str();
}

}  // namespace kvtables
