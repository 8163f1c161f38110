// The cross-table for a terminal: nested row labels down the side, nested
// column labels over the statistic names across the top, one panel per layer
// combination (each with the title and its layer labels, so that a long table
// pages by layer), and the columns wrapped into blocks that fit the width.
#include <algorithm>

#include "Renderers.h"

namespace kvtables {

size_t DisplayWidth(const std::string& text)
{
    size_t n = 0;
    for (unsigned char c : text)
        if ((c & 0xC0) != 0x80) ++n;
    return n;
}

namespace {

constexpr size_t kGap = 2;        // blanks between columns
constexpr size_t kMaxLabel = 40;  // longer labels are cut, and the cut is marked
// Why a cell shows no number is not visible in the cell.
constexpr const char* kMissingNote =
    ". A value that cannot be formed from its cell's cases (none, or too few for the statistic).\n";

// The longest prefix of `text` that is at most `width` columns wide, never
// splitting a UTF-8 sequence.
// Keeps at most `width` characters; a label that is cut ends in an ellipsis
// so that a reader sees it is not whole.
std::string Truncate(const std::string& text, size_t width)
{
    size_t n = 0, keep = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;
        if (n + 1 == width) keep = i;
        if (n == width) return text.substr(0, keep) + "\u2026";
        ++n;
    }
    return text;
}

std::string PadRight(const std::string& s, size_t width)
{
    size_t w = DisplayWidth(s);
    return w >= width ? s : s + std::string(width - w, ' ');
}

std::string PadLeft(const std::string& s, size_t width)
{
    size_t w = DisplayWidth(s);
    return w >= width ? s : std::string(width - w, ' ') + s;
}

void RightTrim(std::string& s)
{
    while (!s.empty() && s.back() == ' ') s.pop_back();
}

struct Leaf {
    size_t column;  // index into the column combinations
    size_t stat;
};

class Panel {
public:
    Panel(const ResultTable& table, const TableGrid& grid, size_t layer, int width, const std::string& note,
          bool last)
        : _t(table), _g(grid), _layer(layer), _width(width), _note(note), _last(last)
    {
        for (size_t c = 0; c < _g.ColumnCombos().size(); ++c)
            for (size_t s = 0; s < _t.statistics.size(); ++s) _leaves.push_back({c, s});
        Measure();
    }

    void Render(std::string& out) const
    {
        out += _t.title + "\n";
        if (!_note.empty()) out += _note + "\n";
        if (!_t.layers.empty()) {
            std::string line;
            const auto& combo = _g.LayerCombos()[_layer];
            for (size_t i = 0; i < _t.layers.size(); ++i) {
                if (i) line += " / ";
                line += _t.layers[i].Shown() + ": " + _t.layers[i].categories[static_cast<size_t>(combo[i])].label;
            }
            out += line + "\n";
        }
        for (const auto& [begin, end] : Blocks()) {
            out += "\n";
            RenderBlock(out, begin, end);
        }
        for (const auto& row : _values)
            if (std::find(row.begin(), row.end(), ".") != row.end()) {
                out += kMissingNote;
                break;
            }
        // The tests' notes cover every layer: once, under the last panel.
        if (_last && !_t.notes.empty()) {
            out += "\n";
            for (const std::string& note : _t.notes) out += note + "\n";
        }
    }

private:
    // Category prefix of a leaf's column combination through level `k`
    // (inclusive); k = -1 is the empty prefix.
    bool SamePrefix(size_t a, size_t b, int k) const
    {
        return kvtables::SamePrefix(_g.ColumnCombos()[_leaves[a].column], _g.ColumnCombos()[_leaves[b].column], k);
    }

    const ResultNest& ColumnNest(size_t leaf) const { return _t.columns[_g.ColumnCombos()[_leaves[leaf].column].element]; }

    // The name over a group of columns at `level`: blank past the element's
    // depth and over a total element.
    std::string ColumnName(size_t leaf, size_t level) const
    {
        const ResultNest& nest = ColumnNest(leaf);
        return level < nest.size() && !IsTotalElement(nest) ? nest[level].Shown() : std::string();
    }

    // Runs of leaves in [begin, end) that share the prefix through level k.
    std::vector<std::pair<size_t, size_t>> Spans(size_t begin, size_t end, int k) const
    {
        std::vector<std::pair<size_t, size_t>> spans;
        for (size_t i = begin; i < end;) {
            size_t j = i + 1;
            while (j < end && SamePrefix(i, j, k)) ++j;
            spans.emplace_back(i, j);
            i = j;
        }
        return spans;
    }

    size_t SpanWidth(size_t begin, size_t end) const
    {
        size_t w = 0;
        for (size_t i = begin; i < end; ++i) w += _widths[i] + (i > begin ? kGap : 0);
        return w;
    }

    std::string CategoryLabel(size_t leaf, size_t level) const
    {
        const AxisCombo& combo = _g.ColumnCombos()[_leaves[leaf].column];
        const ResultNest& nest = _t.columns[combo.element];
        if (level >= nest.size()) return "";
        return Truncate(nest[level].categories[static_cast<size_t>(combo.categories[level])].label, kMaxLabel);
    }

    std::string Value(size_t row, size_t leaf) const
    {
        const ResultCell* cell = _g.Cell(_layer, row, _leaves[leaf].column, _leaves[leaf].stat);
        if (!cell) return "";
        return FormatGrouped(cell->value, _t.statistics[_leaves[leaf].stat].Decimals());
    }

    // The letters of the columns a cell is significantly greater than.
    std::string Letters(size_t row, size_t leaf) const
    {
        const ResultCell* cell = _g.Cell(_layer, row, _leaves[leaf].column, _leaves[leaf].stat);
        std::string letters;
        if (cell)
            for (const std::string& l : cell->significantOver) letters += l;
        return letters;
    }

    // A compared column's letter, "(A)", under its label.
    std::string ColumnLetter(size_t leaf) const
    {
        const AxisCombo& combo = _g.ColumnCombos()[_leaves[leaf].column];
        const ResultNest& nest = _t.columns[combo.element];
        if (nest.empty() || combo.categories.empty()) return "";
        const std::string& letter = nest.back().categories[static_cast<size_t>(combo.categories.back())].letter;
        return letter.empty() ? "" : "(" + letter + ")";
    }

    void Measure()
    {
        const size_t nRows = _g.RowCombos().size();
        _values.assign(nRows, std::vector<std::string>(_leaves.size()));
        _letters.assign(nRows, std::vector<std::string>(_leaves.size()));
        _widths.assign(_leaves.size(), 0);
        _slots.assign(_leaves.size(), 0);
        for (size_t j = 0; j < _leaves.size(); ++j) {
            size_t numbers = 0;
            for (size_t r = 0; r < nRows; ++r) {
                _values[r][j] = Value(r, j);
                _letters[r][j] = Letters(r, j);
                numbers = std::max(numbers, DisplayWidth(_values[r][j]));
                if (!_letters[r][j].empty()) _slots[j] = std::max(_slots[j], 1 + _letters[r][j].size());
            }
            // Letters stand in a slot of their own right of the numbers, so
            // that the numbers stay aligned.
            _widths[j] = std::max({DisplayWidth(_t.statistics[_leaves[j].stat].Shown()), numbers + _slots[j],
                                   DisplayWidth(ColumnLetter(j))});
        }
        // Labels wider than the columns under them widen the last of those
        // columns; inner levels first, so outer labels see the result.
        for (int k = static_cast<int>(_t.ColumnDepth()) - 1; k >= 0; --k) {
            const size_t level = static_cast<size_t>(k);
            for (const auto& [b, e] : Spans(0, _leaves.size(), k)) Widen(b, e, DisplayWidth(CategoryLabel(b, level)));
            for (const auto& [b, e] : Spans(0, _leaves.size(), k - 1))
                Widen(b, e, DisplayWidth(Truncate(ColumnName(b, level), kMaxLabel)));
        }
        _stub.assign(_t.RowDepth(), 0);
        for (const ResultNest& nest : _t.rows) {
            for (size_t i = 0; i < nest.size(); ++i) {
                if (_t.rows.size() == 1) _stub[i] = std::max(_stub[i], DisplayWidth(Truncate(nest[i].Shown(), kMaxLabel)));
                for (const auto& c : nest[i].categories)
                    _stub[i] = std::max(_stub[i], DisplayWidth(Truncate(c.label, kMaxLabel)));
            }
        }
        _stubWidth = 0;
        for (size_t i = 0; i < _stub.size(); ++i) _stubWidth += _stub[i] + (i ? kGap : 0);
    }

    void Widen(size_t begin, size_t end, size_t need)
    {
        size_t have = SpanWidth(begin, end);
        if (need > have) _widths[end - 1] += need - have;
    }

    // Consecutive leaves that fit the width beside the row labels; at least
    // one leaf per block however narrow the terminal.
    std::vector<std::pair<size_t, size_t>> Blocks() const
    {
        std::vector<std::pair<size_t, size_t>> blocks;
        if (_leaves.empty()) return {{0, 0}};
        const size_t lead = _stubWidth + (_stub.empty() ? 0 : kGap);
        for (size_t i = 0; i < _leaves.size();) {
            size_t j = i + 1;
            if (_width > 0) {
                size_t used = lead + _widths[i];
                while (j < _leaves.size() && used + kGap + _widths[j] <= static_cast<size_t>(_width))
                    used += kGap + _widths[j++];
            } else {
                j = _leaves.size();
            }
            blocks.emplace_back(i, j);
            i = j;
        }
        return blocks;
    }

    void Emit(std::string& out, std::string line) const
    {
        RightTrim(line);
        out += line + "\n";
    }

    // The row-label part of a line: the given texts in the stub columns.
    std::string Stub(const std::vector<std::string>& texts) const
    {
        std::string s;
        for (size_t i = 0; i < _stub.size(); ++i) s += (i ? std::string(kGap, ' ') : "") + PadRight(texts[i], _stub[i]);
        return s;
    }

    std::string Lead(const std::vector<std::string>& texts) const
    {
        return _stub.empty() ? std::string() : Stub(texts) + std::string(kGap, ' ');
    }

    void RenderBlock(std::string& out, size_t begin, size_t end) const
    {
        const std::vector<std::string> blank(_stub.size());
        // Only as many header levels as the deepest element in this block.
        size_t depth = 0;
        for (size_t j = begin; j < end; ++j) depth = std::max(depth, ColumnNest(j).size());
        for (size_t k = 0; k < depth; ++k) {
            std::string varLine = Lead(blank), catLine = Lead(blank);
            bool firstVar = true, firstCat = true;
            for (const auto& [b, e] : Spans(begin, end, static_cast<int>(k) - 1)) {
                const size_t w = SpanWidth(b, e);
                varLine += (firstVar ? "" : std::string(kGap, ' ')) + PadRight(Truncate(ColumnName(b, k), w), w);
                firstVar = false;
            }
            for (const auto& [b, e] : Spans(begin, end, static_cast<int>(k))) {
                const size_t w = SpanWidth(b, e);
                catLine += (firstCat ? "" : std::string(kGap, ' ')) + PadRight(Truncate(CategoryLabel(b, k), w), w);
                firstCat = false;
            }
            Emit(out, varLine);
            Emit(out, catLine);
        }
        std::string letterLine = Lead(blank);
        bool lettered = false;
        for (const auto& [b, e] : Spans(begin, end, static_cast<int>(depth) - 1)) {
            const size_t w = SpanWidth(b, e);
            letterLine += (b > begin ? std::string(kGap, ' ') : "") + PadRight(ColumnLetter(b), w);
            lettered = lettered || !ColumnLetter(b).empty();
        }
        if (lettered) Emit(out, letterLine);
        // Stacked rows name their variables at the head of each element.
        std::vector<std::string> rowNames(_stub.size());
        if (_t.rows.size() == 1)
            for (size_t i = 0; i < _t.rows[0].size(); ++i) rowNames[i] = Truncate(_t.rows[0][i].Shown(), kMaxLabel);
        std::string statLine = Lead(rowNames);
        for (size_t j = begin; j < end; ++j)
            statLine += (j > begin ? std::string(kGap, ' ') : "") + PadLeft(_t.statistics[_leaves[j].stat].Shown(), _widths[j]);
        Emit(out, statLine);
        const size_t ruleWidth = (_stub.empty() ? 0 : _stubWidth + kGap) + SpanWidth(begin, end);
        Emit(out, std::string(std::max<size_t>(ruleWidth, 1), '-'));

        const auto& rows = _g.RowCombos();
        for (size_t r = 0; r < rows.size(); ++r) {
            const ResultNest& nest = _t.rows[rows[r].element];
            if (_t.rows.size() > 1 && (r == 0 || rows[r].element != rows[r - 1].element)) {
                std::string names;
                for (const ResultAxisVariable& v : nest)
                    names += (names.empty() ? "" : " / ") + (IsTotalElement(nest) ? std::string() : v.Shown());
                if (!names.empty()) Emit(out, Truncate(names, kMaxLabel * 2));
            }
            std::vector<std::string> labels(_stub.size());
            for (size_t i = 0; i < nest.size(); ++i) {
                // An outer label is shown only where its group starts.
                const bool starts = r == 0 || i + 1 == nest.size() || !kvtables::SamePrefix(rows[r], rows[r - 1], static_cast<int>(i));
                if (starts) labels[i] = Truncate(nest[i].categories[static_cast<size_t>(rows[r].categories[i])].label, kMaxLabel);
            }
            std::string line = Lead(labels);
            for (size_t j = begin; j < end; ++j) {
                const std::string letters = _letters[r][j].empty() ? "" : " " + _letters[r][j];
                line += (j > begin ? std::string(kGap, ' ') : "") + PadLeft(_values[r][j], _widths[j] - _slots[j]) +
                        PadRight(letters, _slots[j]);
            }
            Emit(out, line);
        }
    }

    const ResultTable& _t;
    const TableGrid& _g;
    size_t _layer;
    int _width;
    const std::string& _note;
    bool _last;  // the table's last panel
    std::vector<Leaf> _leaves;
    std::vector<std::vector<std::string>> _values;   // [row][leaf]
    std::vector<std::vector<std::string>> _letters;  // [row][leaf]
    std::vector<size_t> _widths;                     // per leaf, letters included
    std::vector<size_t> _slots;                      // per leaf: the letters' share of the width
    std::vector<size_t> _stub;                      // per row variable
    size_t _stubWidth = 0;
};

}  // namespace

std::string Printable(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const bool c1 = c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                        static_cast<unsigned char>(text[i + 1]) <= 0x9f;
        if (c == '\n' || c == '\r' || c == '\t' || c == '\v' || c == '\f') {
            out += ' ';
        } else if (c < 0x20 || c == 0x7f || c1) {
            out += '?';
            if (c1) ++i;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

namespace {

ResultTable PrintableTable(ResultTable table)
{
    table.title = Printable(table.title);
    std::vector<ResultNest*> nests{&table.layers};
    for (auto* axis : {&table.rows, &table.columns})
        for (ResultNest& nest : *axis) nests.push_back(&nest);
    for (ResultNest* axis : nests) {
        for (ResultAxisVariable& v : *axis) {
            v.name = Printable(v.name);
            v.label = Printable(v.label);
            for (ResultCategory& c : v.categories) c.label = Printable(c.label);
        }
    }
    return table;
}

}  // namespace

std::string RenderText(const ResultSet& results, const TextOptions& options)
{
    std::string out;
    const std::string note = Printable(results.Note());
    for (const auto& shown : results.tables) {
        const ResultTable table = PrintableTable(shown);
        TableGrid grid(table);
        for (size_t l = 0; l < grid.LayerCombos().size(); ++l) {
            if (!out.empty()) out += "\n";
            Panel(table, grid, l, options.width, note, l + 1 == grid.LayerCombos().size()).Render(out);
        }
    }
    return out;
}

}  // namespace kvtables
