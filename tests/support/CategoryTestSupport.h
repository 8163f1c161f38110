// Values, a scripted dimension and tabulated category scenarios for the
// category-model, dimension and cube tests.
#ifndef KVAGGR_TESTS_CATEGORYTESTSUPPORT_H
#define KVAGGR_TESTS_CATEGORYTESTSUPPORT_H

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "InMemoryDataset.h"
#include "kvaggr.h"

namespace kvtest {

// A numeric OBS word.
inline OBS Num(double value)
{
    OBS word;
    word.num = value;
    return word;
}

// The words of a blank-padded string value of `width` bytes.
inline std::vector<OBS> Str(const std::string& text, int width)
{
    std::vector<OBS> words(static_cast<size_t>(ObsWords(width)));
    std::memset(words.data(), ' ', words.size() * sizeof(OBS));
    std::memcpy(words.data(), text.data(), text.size());
    return words;
}

// A dimension whose cells for the current case are set by the test; it reads
// the given variable indices and holds no description.
class ScriptedDimension : public TableDimension {
public:
    explicit ScriptedDimension(std::vector<int> indices = {0}, int numCatCells = 8, DimensionType type = kCVariable)
        : TableDimension(numCatCells, type), _indices(std::move(indices))
    {
    }
    void Set(const std::vector<int>& cells, bool valid = true)
    {
        _lastCatCell = -1;
        for (int c : cells) AddCategoryCell(c);
        _caseValid = valid;
    }
    bool EncodeValue() override { return true; }
    const std::vector<AggregationCategory*>& GetCategoryPointers() override { return _categories; }
    std::vector<int> VariableIndex() const override { return _indices; }
    std::vector<KvAggrCaseValueReader*> GetCaseValues() const override { return {}; }
    void SetIterator(VESK_InputCaseIterator&) override {}
    int GetCategoryEncoding(const OBS*) const override { return 0; }
    int GetNumberOfValues() const override { return 0; }
    void ResetDimension() override {}
    std::vector<int> MergeCategories(const TableDimension&) override { return {0}; }
    void WriteCategories(StateWriter&) const override {}
    bool ReadCategories(StateReader&, std::vector<int>&) override { return false; }

private:
    std::vector<int> _indices;
};

// `text` split at `sep`, empty pieces and a lone "-" dropped.
std::vector<std::string> Words(const std::string& text, char sep = ' ');

// The rows of a tab-separated file, each a vector of its fields; blank lines
// and lines starting with '#' are skipped.
std::vector<std::vector<std::string>> ReadTable(const std::string& path);

// A category list in one line: "2" a value ("2*" when empty, encoding 0),
// "T" total, "S-101"/"H-102" subtotals, "P" computed, "D" the placeholder,
// a member's name for a dichotomy category; then ":label" for a label that
// is not the default one (always for a computed category), "#n" for the
// encoding when `encodings`, and "@member" for a set's value and computed
// categories when `members` names the variables. "-" for an empty list.
std::string Show(const std::vector<AggregationCategory*>& list, bool encodings = false,
                 const VESK_DataSource* members = nullptr);

// A variable, or a set of three members a, b and c, described by words:
//   setup: "mc"/"md" a multiple-category/-dichotomy set (counted value 1),
//          "str=N" string values of width N, "desc", "total", "before" (total
//          position), "T=label", "noempty", "incmissing", "sortlabel",
//          "nosort", "counts"/"dups" (cell counts, duplicates counted), "enc"
//          (show encodings), "stat=v,v" (sort values; "." system-missing),
//          "L<v>=label" value label ("La1=x" on member a), "M<v>" user-missing
//          value of the first variable;
//   list:  "3", "1:5", "LO:1", "10:HI", "ALL", "OTHER", "MISSING", "S-101=label",
//          "H-102", "P=name=part,part", a member name for a dichotomy set; a
//          value or member may carry "/-101", its subtotal encoding;
//   data:  one word per case, "a/b/c" for a set, "." system-missing.
// The real dimension of that kind is built and fed every case.
class CategoryScenario {
public:
    CategoryScenario(const std::string& setup, const std::string& list, const std::string& data);
    // Encodes every case again: the cells per case ("n", or "n#count" with
    // counts) joined by " | ", and T/F per case for whether it counted.
    std::pair<std::string, std::string> Encode();
    std::string Show(const std::vector<AggregationCategory*>& list) const;

    InMemoryDataset ds;
    std::vector<int> vars;
    std::unique_ptr<AggregationVariable> var;
    std::vector<std::unique_ptr<ParsedCategory>> items;
    std::unique_ptr<DatasetIterator> iterator;
    std::unique_ptr<TableDimension> dim;
    std::vector<double> sortValues;

private:
    std::vector<OBS> Value(const std::string& text) const;
    ParsedCategory* Item(const std::string& word);

    bool _set = false;
    bool _dichotomy = false;
    int _width = 0;
    bool _encodings = false;
    OBS _counted;
};

}  // namespace kvtest

#endif
