#include "StatisticCatalogue.h"

#include <vector>

namespace StatisticCatalogue {

namespace {

namespace TEC = TableEncryptionCodes;

// How many codes a row spans: one; a confidence group b ... b+3; seven groups
// b + 8t for the percentage base types t; a comparison g of the range family,
// whose four members (weighted %, unweighted %, weighted count, unweighted
// count) take the row's name and words as a suffix.
enum Shape { kSingle, kGroup, kPercentFamily, kComparison };

constexpr Kind N = Kind::kNone, C = Kind::kCount, R = Kind::kResponses, P = Kind::kPercentage, S = Kind::kSummary;
constexpr Weighting W = Weighting::kWeighted, U = Weighting::kUnweighted, E = Weighting::kEffective;
constexpr Needs No = Needs::kNothing, Var = Needs::kSummary, Set = Needs::kResponses;
constexpr int P0 = kNoParam, Cut = kCut, Lvl = kLevel, Lo = kLower, Up = kUpper, LoUp = kLower | kUpper;
constexpr Shape One = kSingle, Grp = kGroup, Pct = kPercentFamily, Cmp = kComparison;
constexpr Digits Dw = Digits::kWeight, D0 = Digits::kNone, D1 = Digits::kOne, Dv = Digits::kVariable,
                 Dv2 = Digits::kVariablePlusTwo;

struct Row {
    int first;
    Shape shape;
    const char* name;
    // "{base}" is the percentage base's words, capitalised at the start.
    const char* label;
    Kind kind;
    Weighting weighting;
    Needs needs;
    int params;
    Digits digits;  // of the value; a group's other members follow MemberDigits
    int accumulator;
    int denominator;  // a percentage's base statistic when it is not the percentage's own; 0 otherwise
    bool inGroupTable;
};

// clang-format off
const Row kRows[] = {
    // first code, shape, name, label, kind, weighting, needs, parameters, digits, accumulator, denominator,
    // in the group table
    {0,   One, "NoStatistic",        "No statistic",                           N, W, No,  P0,   Dv2, 0,   0,   false},
    {1,   Grp, "Count",              "Count",                                  C, W, No,  P0,   Dw,  1,   0,   true},
    {5,   Grp, "UCount",             "Unweighted count",                       C, U, No,  P0,   D0,  5,   0,   true},
    {9,   One, "ECount",             "Effective count",                        C, E, No,  P0,   Dw,  9,   0,   true},
    {10,  Pct, "CountPct",           "{base} %",                               P, W, No,  P0,   D1,  1,   0,   true},
    {14,  Pct, "UCountPct",          "Unweighted {base} %",                    P, U, No,  P0,   D1,  5,   0,   true},
    {66,  Pct, "ValidNPct",          "{base} valid N %",                       P, W, Var, P0,   D1,  222, 0,   true},
    {70,  Pct, "UValidNPct",         "Unweighted {base} valid N %",            P, U, Var, P0,   D1,  226, 0,   true},
    {122, Pct, "TotalNPct",          "{base} total N %",                       P, W, Var, P0,   D1,  213, 0,   true},
    {126, Pct, "UTotalNPct",         "Unweighted {base} total N %",            P, U, Var, P0,   D1,  217, 0,   true},
    {178, One, "Maximum",            "Maximum",                                S, W, Var, P0,   Dv,  178, 0,   true},
    {179, Grp, "Mean",               "Mean",                                   S, W, Var, P0,   Dv2, 179, 0,   true},
    {183, Grp, "UMean",              "Unweighted mean",                        S, U, Var, P0,   Dv2, 183, 0,   true},
    {187, Grp, "Median",             "Median",                                 S, W, Var, P0,   Dv,  187, 0,   true},
    {191, Grp, "UMedian",            "Unweighted median",                      S, U, Var, P0,   Dv,  191, 0,   true},
    {195, One, "GroupedMedian",      "Grouped median",                         S, W, Var, P0,   Dv,  187, 0,   false},
    {196, One, "UGroupedMedian",     "Unweighted grouped median",              S, U, Var, P0,   Dv,  191, 0,   false},
    {197, One, "Minimum",            "Minimum",                                S, W, Var, P0,   Dv,  197, 0,   true},
    {198, One, "MissingCount",       "Missing count",                          C, W, Var, P0,   Dw,  222, 0,   true},
    {199, One, "UMissingCount",      "Unweighted missing count",               C, U, Var, P0,   D0,  226, 0,   true},
    {200, One, "Mode",               "Mode",                                   S, W, Var, P0,   Dv,  187, 0,   true},
    {201, One, "UMode",              "Unweighted mode",                        S, U, Var, P0,   Dv,  191, 0,   true},
    {202, One, "Range",              "Range",                                  S, W, Var, P0,   Dv,  202, 0,   true},
    {203, One, "StdDev",             "Std. deviation",                         S, W, Var, P0,   Dv2, 231, 0,   true},
    {204, One, "UStdDev",            "Unweighted std. deviation",              S, U, Var, P0,   Dv2, 232, 0,   true},
    {205, Grp, "Sum",                "Sum",                                    S, W, Var, P0,   Dv,  179, 0,   true},
    {209, Grp, "USum",               "Unweighted sum",                         S, U, Var, P0,   Dv,  183, 0,   true},
    {213, Grp, "TotalN",             "Total N",                                C, W, Var, P0,   Dw,  213, 0,   true},
    {217, Grp, "UTotalN",            "Unweighted total N",                     C, U, Var, P0,   D0,  217, 0,   true},
    {221, One, "ETotalN",            "Effective total N",                      C, E, Var, P0,   Dw,  221, 0,   true},
    {222, Grp, "ValidN",             "Valid N",                                C, W, Var, P0,   Dw,  222, 0,   true},
    {226, Grp, "UValidN",            "Unweighted valid N",                     C, U, Var, P0,   D0,  226, 0,   true},
    {230, One, "EValidN",            "Effective valid N",                      C, E, Var, P0,   Dw,  230, 0,   true},
    {231, One, "Variance",           "Variance",                               S, W, Var, P0,   Dv2, 231, 0,   true},
    {232, One, "UVariance",          "Unweighted variance",                    S, U, Var, P0,   Dv2, 232, 0,   true},
    {233, Pct, "SumPct",             "{base} sum %",                           P, W, Var, P0,   D1,  179, 0,   true},
    {237, Pct, "USumPct",            "Unweighted {base} sum %",                P, U, Var, P0,   D1,  183, 0,   true},
    {289, Grp, "Responses",          "Responses",                              R, W, Set, P0,   Dw,  289, 0,   true},
    {293, Grp, "UResponses",         "Unweighted responses",                   R, U, Set, P0,   D0,  293, 0,   true},
    {297, Pct, "ResponsesPct",       "{base} responses %",                     P, W, Set, P0,   D1,  289, 289, true},
    {301, Pct, "UResponsesPct",      "Unweighted {base} responses %",          P, U, Set, P0,   D1,  293, 293, true},
    {353, Pct, "ResponsesCountPct",  "{base} responses % of count",            P, W, Set, P0,   D1,  289, 1,   true},
    {357, Pct, "UResponsesCountPct", "Unweighted {base} responses % of count", P, U, Set, P0,   D1,  293, 5,   true},
    {409, Pct, "CountResponsesPct",  "{base} % of responses",                  P, W, Set, P0,   D1,  1,   289, true},
    {413, Pct, "UCountResponsesPct", "Unweighted {base} % of responses",       P, U, Set, P0,   D1,  5,   293, true},
    {465, One, "SumSqDeviation",     "Sum of squared deviations",              S, W, Var, P0,   Dv2, 231, 0,   false},
    {466, One, "MedianCI",           "Median ({level}% CI)",                   S, W, Var, Lvl,  Dv,  187, 0,   false},
    {467, One, "UMedianCI",          "Unweighted median ({level}% CI)",        S, U, Var, Lvl,  Dv,  191, 0,   false},
    {468, Grp, "Ptile",              "Percentile {cut}",                       S, W, Var, Cut,  Dv,  187, 0,   true},
    {472, Grp, "UPtile",             "Unweighted percentile {cut}",            S, U, Var, Cut,  Dv,  191, 0,   true},
    {476, One, "GroupedPtile",       "Grouped percentile {cut}",               S, W, Var, Cut,  Dv,  187, 0,   false},
    {477, One, "UGroupedPtile",      "Unweighted grouped percentile {cut}",    S, U, Var, Cut,  Dv,  191, 0,   false},
    // The range family's comparisons of a case's value with the limits; the four members of each take
    // their kind, weighting, digits and accumulator from AddComparison.
    {478, Cmp, "LT",                 "below {upper}",                          P, W, Var, Up,   D1,  480, 0,   false},
    {482, Cmp, "LE",                 "{upper} or less",                        P, W, Var, Up,   D1,  480, 0,   false},
    {486, Cmp, "GT",                 "above {lower}",                          P, W, Var, Lo,   D1,  480, 0,   false},
    {490, Cmp, "GE",                 "{lower} or more",                        P, W, Var, Lo,   D1,  480, 0,   false},
    {494, Cmp, "EQ",                 "equal to {lower}",                       P, W, Var, Lo,   D1,  480, 0,   false},
    {498, Cmp, "GELE",               "from {lower} to {upper}",                P, W, Var, LoUp, D1,  480, 0,   false},
    {502, Cmp, "GELT",               "from {lower} to below {upper}",          P, W, Var, LoUp, D1,  480, 0,   false},
    {506, Cmp, "GTLE",               "above {lower} to {upper}",               P, W, Var, LoUp, D1,  480, 0,   false},
    {510, Cmp, "GTLT",               "above {lower} and below {upper}",        P, W, Var, LoUp, D1,  480, 0,   false},
};
// clang-format on

// Codes of confidence groups that the group table does not know, kept as they
// are: they answer like unknown codes and cannot be requested. (303 is known:
// it maps to the upper limit of 301, which itself is a hole.)
const int kGroupTableHoles[] = {299, 301, 302, 304, 320, 386, 387, 388, 390, 391, 392, 394, 395, 396, 398, 399, 400};

// The percentage base types in the order of the families' groups: which
// dimensions each holds fixed is the cube metadata's percentage bases.
constexpr int kBaseTypes = 7;
const char* const kBaseWords[kBaseTypes] = {"Row", "Column", "Table", "Subtable", "Layer", "Layer row", "Layer column"};

const char* const kMemberNames[4] = {"", "LCL", "UCL", "SE"};
const char* const kMemberWords[4] = {"", " lower limit", " upper limit", " std. error"};

bool IsMap(int accumulator) { return accumulator == TEC::kMedian || accumulator == TEC::kUMedian; }

// A group's limits and standard error show like its value, except in a
// summary: a standard error carries the moments' digits, and so do the
// limits of a mean or a sum (those of a median or percentile are values of
// the variable).
Digits MemberDigits(const Row& r, int member)
{
    if (member == TEC::kConfValue || member == TEC::kConfNone || r.kind != Kind::kSummary) return r.digits;
    if (member == TEC::kConfStdError || !IsMap(r.accumulator)) return Digits::kVariablePlusTwo;
    return r.digits;
}

std::string Replace(std::string s, const std::string& what, const std::string& with)
{
    const size_t at = s.find(what);
    if (at != std::string::npos) s.replace(at, what.size(), with);
    return s;
}

// The words of base type t inside a label: capitalised only where the label
// starts with them.
std::string BaseLabel(const char* label, int t)
{
    std::string words = kBaseWords[t];
    if (std::string(label).rfind("{base}", 0) != 0) words[0] = static_cast<char>(words[0] - 'A' + 'a');
    return Replace(label, "{base}", words);
}

void Add(std::vector<Entry>& table, const Row& r, int code, int member, int baseType, std::string name,
         std::string label)
{
    Entry& e = table[static_cast<size_t>(code)];
    const bool primary = member == TEC::kConfValue || member == TEC::kConfNone;
    const int first = code - (primary ? 0 : member);
    e.code = code;
    e.name = std::move(name);
    e.label = std::move(label);
    e.kind = r.kind;
    e.weighting = r.weighting;
    e.needs = r.needs;
    e.params = r.params;
    e.baseType = baseType;
    e.digits = MemberDigits(r, member);
    e.accumulator = primary ? r.accumulator : 0;
    e.denominator = r.denominator;
    e.member = static_cast<TEC::StatisticConf>(member);
    e.requestable = code != TEC::kNoStatistic;
    e.inGroupTable = r.inGroupTable;
    e.primary = static_cast<TEC::StatisticCodes>(r.inGroupTable ? first : code);
    e.conf = static_cast<TEC::StatisticConf>(r.inGroupTable ? member : TEC::kConfNone);
}

void AddGroup(std::vector<Entry>& table, const Row& r, int first, int baseType, const std::string& name,
              const std::string& label)
{
    for (int m = TEC::kConfValue; m <= TEC::kConfStdError; ++m)
        Add(table, r, first + m, m, baseType, name + kMemberNames[m], label + kMemberWords[m]);
}

// Member m of a comparison: weighted %, unweighted %, weighted count,
// unweighted count.
void AddComparison(std::vector<Entry>& table, const Row& r)
{
    static const char* const names[4] = {"Pct", "UPct", "Count", "UCount"};
    static const char* const words[4] = {"% ", "Unweighted % ", "Count ", "Unweighted count "};
    for (int m = 0; m < 4; ++m) {
        Row member = r;
        member.kind = m < 2 ? Kind::kPercentage : Kind::kCount;
        member.weighting = m % 2 ? Weighting::kUnweighted : Weighting::kWeighted;
        member.digits = m < 2 ? Digits::kOne : m == 2 ? Digits::kWeight : Digits::kNone;
        member.accumulator = m % 2 ? TEC::kUCountLT : TEC::kCountLT;
        Add(table, member, r.first + m, TEC::kConfNone, -1, std::string(names[m]) + r.name,
            std::string(words[m]) + r.label);
    }
}

std::vector<Entry> Expand()
{
    std::vector<Entry> table(TEC::kLastStatisticCode + 1);
    for (const Row& r : kRows) {
        switch (r.shape) {
        case kSingle:
            Add(table, r, r.first, TEC::kConfNone, -1, r.name, r.label);
            break;
        case kGroup:
            AddGroup(table, r, r.first, -1, r.name, r.label);
            break;
        case kPercentFamily:
            for (int t = 0; t < kBaseTypes; ++t)
                AddGroup(table, r, r.first + 8 * t, t, r.name + std::to_string(t), BaseLabel(r.label, t));
            break;
        case kComparison:
            AddComparison(table, r);
            break;
        }
    }
    for (int hole : kGroupTableHoles) {
        Entry& e = table[static_cast<size_t>(hole)];
        e.requestable = false;
        e.inGroupTable = false;
        e.primary = static_cast<TEC::StatisticCodes>(hole);
        e.conf = TEC::kConfNone;
    }
    return table;
}

}  // namespace

const Entry* Find(int code)
{
    static const std::vector<Entry> table = Expand();
    if (code < TEC::kFirstStatisticCode || code > TEC::kLastStatisticCode) return nullptr;
    return &table[static_cast<size_t>(code)];
}

}  // namespace StatisticCatalogue
