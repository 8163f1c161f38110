// Everything known about a statistic code, kept in one place: its name, its
// words for people, what it computes and from which accumulator, what it
// takes and needs, and how the group table splits it. The library's layout
// planning and every front end read it; nothing else lists statistics.
//
// The table is written one row per family (a single code, a confidence group
// of four, a percentage family of seven groups, a comparison of the range
// family); each code's entry is expanded from its row by the family rules,
// with the group table's deliberate holes listed beside it.
#ifndef KVAGGR_STATISTICCATALOGUE_H
#define KVAGGR_STATISTICCATALOGUE_H

#include <string>

#include "TableEncryptionCodes.h"

namespace StatisticCatalogue {

enum class Kind { kNone, kCount, kResponses, kPercentage, kSummary };
enum class Weighting { kWeighted, kUnweighted, kEffective };
// What the table must have besides its axes: a summary variable or a
// multiple-response set.
enum class Needs { kNothing, kSummary, kResponses };
// Digits after the point for people: the weight's, none, one, the summary
// variable's, or two more than the variable's (moments and their errors).
enum class Digits { kWeight, kNone, kOne, kVariable, kVariablePlusTwo };
// Parameters a request gives (bits).
enum Param { kNoParam = 0, kCut = 1, kLower = 2, kUpper = 4, kLevel = 8 };

// What an unknown code is: nothing, taking and needing nothing.
struct Entry {
    int code = 0;
    std::string name;  // the enumerator without its "k": "CountPct1LCL"
    // Default words for people; "{cut}", "{lower}", "{upper}" and "{level}"
    // stand for the request's parameters.
    std::string label;
    Kind kind = Kind::kNone;
    Weighting weighting = Weighting::kWeighted;
    Needs needs = Needs::kNothing;
    int params = kNoParam;  // Param bits
    int baseType = -1;  // percentage base type 0 ... 6 of a percentage family; -1 otherwise
    Digits digits = Digits::kVariablePlusTwo;
    // The accumulator kind (update statistic) of the code when it is its own
    // primary; a value-frequency map is kMedian (weighted) or kUMedian.
    // Only first codes of groups and singles are primaries, so a member has
    // none.
    int accumulator = 0;
    // A percentage's denominator when it is not the same statistic in the
    // base cell (responses percentages): the base cell's responses or count.
    int denominator = 0;
    // Its place in its group by the family rule; kConfNone for singles.
    TableEncryptionCodes::StatisticConf member = TableEncryptionCodes::kConfNone;
    bool requestable = false;  // every code but 0 and the holes of the group table
    // The group table's answer.
    bool inGroupTable = false;
    TableEncryptionCodes::StatisticCodes primary = TableEncryptionCodes::kNoStatistic;
    TableEncryptionCodes::StatisticConf conf = TableEncryptionCodes::kConfNone;
};

// The entry of a code; null outside kFirstStatisticCode ... kLastStatisticCode.
const Entry* Find(int code);

}  // namespace StatisticCatalogue

#endif
