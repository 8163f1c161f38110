// The table request as the tool understands it: what the user asked for in
// the request file, with every default resolved and, after validation, every
// name resolved to its dictionary index. The engine binding reads only this.
#ifndef KVTABLES_REQUEST_H
#define KVTABLES_REQUEST_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CsvReader.h"
#include "Formula.h"
#include "TableEncryptionCodes.h"

namespace kvtables {

// A value as written in the request: a number or a text.
struct Literal {
    bool isString = false;
    double number = 0.0;
    std::string text;

    static Literal Number(double v) { return Literal{false, v, {}}; }
    static Literal Text(std::string s) { return Literal{true, 0.0, std::move(s)}; }
    // How the value is shown in a message: 3, or "abc" quoted.
    std::string Describe() const;
};

enum class MissingMode { Pairwise, Listwise };
enum class SetType { Categories, Dichotomies };
enum class LabelSource { VariableLabels, CountedValueLabel };

// A multiple-response set defined by the request.
struct SetDef {
    std::string path;  // JSON path of the definition, for messages
    std::string name;
    std::string label;
    SetType type = SetType::Categories;
    std::vector<std::string> variables;
    // Categories sets.
    bool countDuplicates = false;
    std::string missingVariable;  // empty: the first member
    // Dichotomy sets.
    Literal countedValue;
    LabelSource labelSource = LabelSource::VariableLabels;

    // Filled by validation.
    std::vector<int> indices;
    int valueType = -1;             // 0 numeric; n > 0 the widest string member
    int missingVariableIndex = -1;  // categories sets: the member whose missing values count
};

// One requested statistic with its parameters. Only the parameters that the
// statistic takes are set; validation guarantees the required ones are.
struct StatisticRequest {
    std::string path;
    int code = 0;
    std::string name;  // the code's name, also when the request gave the number
    std::optional<double> cut;    // percentiles, in percent
    std::optional<double> lower;  // range family
    std::optional<double> upper;  // range family
    std::optional<double> level;  // median intervals, in percent (default: the request's ciLevel)
    std::string label;            // words for people; empty: the statistic's own (stats::DefaultLabel)
    std::optional<int> decimals;  // digits after the point; default: by the statistic and its variable
};

enum class ItemKind { Value, Range, Missing, Other, Subtotal, HiddenSubtotal, Variable, Computed };

// One item of a category list, in the order written.
struct CategoryItem {
    std::string path;
    ItemKind kind = ItemKind::Value;
    Literal value;           // Value; the low end of a Range
    Literal high;            // the high end of a Range
    bool openLow = false;    // Range from "lo"
    bool openHigh = false;   // Range up to "hi"
    std::string label;       // subtotal label; a computed category's (empty: its formula)
    std::string variable;    // Variable: a dichotomy set member's name
    int varIndex = -1;       // Variable: its index (validation)
    Formula formula;         // Computed
};

enum class SortBy { Value, Label, None, Statistic };

// The category options of one variable or set on one table. The defaults are
// those of a variable description: empty categories included, user-missing
// values excluded, ascending by value, no total, total after, label "Total".
struct CategoryOptions {
    std::string path;
    std::vector<CategoryItem> items;  // empty: every value, as the data has them
    bool ascending = true;
    SortBy sortBy = SortBy::Value;
    int sortStatistic = 0;
    bool total = false;
    std::string totalLabel = "Total";
    bool totalLabelDefault = true;
    bool totalAfter = true;
    bool emptyInclude = true;
    bool missingExclude = true;

    // A computed item refers to the total, which must then be counted even
    // when it is not shown.
    bool NeedsTotal() const;
};

// A name on one of a table's axes, resolved to a variable or a set.
struct AxisEntry {
    std::string path;
    std::string name;
    int varIndex = -1;  // dictionary index, or -1 for a set
    int setIndex = -1;  // index into Request::sets, or -1 for a variable
    bool IsSet() const { return setIndex >= 0; }
};

// One element of a stacked axis: a nest of names, outermost first, or a
// category that holds every case of the table (a banner's total column).
struct StackElement {
    std::string path;
    std::vector<AxisEntry> nest;
    bool total = false;
    std::string totalLabel;
};

enum class Adjust { Bonferroni, None };
enum class Compare { Subtable, FirstColumn, PreviousColumn };
enum class ProportionBase { Weighted, Effective, Unweighted };

// A pairwise significance test between the columns of each sub-table.
struct PairTest {
    bool on = false;
    std::string path;
    double alpha = 0.05;
    Adjust adjust = Adjust::Bonferroni;
    Compare compare = Compare::Subtable;
    ProportionBase base = ProportionBase::Weighted;  // proportions
    bool pooled = false;                             // means: pooled variance instead of Welch's
};

struct TestsRequest {
    std::string path;
    PairTest proportions, means;
    bool chiSquare = false;
    double chiSquareAlpha = 0.05;

    bool Any() const { return proportions.on || means.on || chiSquare; }
};

struct TableRequest {
    std::string path;
    std::string title;
    // An axis is a list of elements, one (a nest, perhaps empty) when it is
    // not stacked; every pair of a row and a column element is a sub-table.
    std::vector<StackElement> rows, columns;
    std::vector<AxisEntry> layers;   // outermost first
    std::string statisticsVariable;  // empty: each sub-table's default
    std::vector<StatisticRequest> statistics;         // default: Count, or Mean with a summary
    std::vector<StatisticRequest> totalStatistics;    // empty: the statistics
    std::string summary;                           // empty: categorical statistics only
    int summaryIndex = -1;
    // Category options by axis name, in the request's order; names not listed
    // take the defaults.
    std::vector<std::pair<std::string, CategoryOptions>> categories;
    TestsRequest tests;

    // The options of an axis name (the defaults when the request has none).
    const CategoryOptions& CategoriesOf(const std::string& name) const;
    // Every axis entry: rows, then columns (element by element), then layers.
    std::vector<const AxisEntry*> AllEntries() const;
    bool Stacked() const { return rows.size() > 1 || columns.size() > 1 || rows[0].total || columns[0].total; }
};

struct Request {
    std::string file;            // the request file as named by the user, for messages
    std::string data;            // as written; empty when the caller supplies the data (ParseRequest)
    std::string dictionary;      // as written; may be empty
    std::string dataPath;        // resolved against the request file's directory
    std::string dictionaryPath;  // likewise; empty when not given
    CsvOptions csv;              // the data file's delimiter and missing-value texts
    std::string weight;
    int weightIndex = -1;
    double ciLevel = 95.0;
    MissingMode missing = MissingMode::Pairwise;
    TableEncryptionCodes::CLabelOption labelOption = TableEncryptionCodes::kDefault;
    std::vector<SetDef> sets;
    std::vector<TableRequest> tables;
    // What the user should know but that does not stop the run, each a line
    // naming the file and the place ("file: /path: what").
    std::vector<std::string> warnings;

    // Index into `sets` of the named set, or -1.
    int FindSet(const std::string& name) const;
};

// What a statistic code is, for validation and display: reads of the
// engine's statistic catalogue.
namespace stats {
// A code that can be requested (0 and the holes of the code table cannot).
bool IsKnown(int code);
// Needs the values of a summary variable (means, percentiles, valid N, ranges ...).
bool NeedsSummary(int code);
// A responses statistic: needs a multiple-response set on the table.
bool IsResponses(int code);
bool TakesCut(int code);
bool TakesLevel(int code);
bool TakesLower(int code);
bool TakesUpper(int code);
// A percentage (of any base), shown with one decimal.
bool IsPercentage(int code);
// A count (weighted or not) or a responses count.
bool IsCount(int code);
// The percentage base type (0 to 6) of a percentage of a group of cells, or
// -1 (counts, summary statistics, a percentage's limits, range percentages).
int PercentBaseType(int code);
// The statistic's words with its parameters: "Percentile 25", "Median (90% CI)".
std::string DefaultLabel(const StatisticRequest& s, double ciLevel);
}  // namespace stats

}  // namespace kvtables

#endif
