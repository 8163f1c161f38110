// A data dictionary read from JSON: the variables a CSV file's columns are,
// with their labels, formats, value labels and user-missing values.
//
//   {"variables": [
//     {"name": "region", "type": "numeric", "label": "Region",
//      "format": {"type": "F", "width": 8, "decimals": 0},
//      "valueLabels": [{"value": 1, "label": "North"}, {"value": 2, "label": "South"}],
//      "missing": {"values": [9], "range": [97, 99]}},
//     {"name": "city", "type": "string", "width": 12,
//      "valueLabels": [{"value": "LDN", "label": "London"}], "missing": {"values": ["XX"]}}]}
//
// Read with JsonReader.h (comments allowed; a duplicate or unknown key is an
// error; messages "path: /json/pointer: what"). Rules:
// - "name" (non-empty, unique, compared exactly) and "type" ("numeric" or
//   "string") are required; a string needs "width" (1 to 32767), a numeric
//   variable takes none.
// - "label" is optional text. "format" is optional: "type" one of "F", "E",
//   "N" for numbers and "A" for strings, "width" 1 to 40 for numbers (1 to
//   32767 for "A"), "decimals" 0 to 16 and below the width. Defaults: F8.2
//   for numbers, A<width> for strings.
// - "valueLabels": value and label pairs; a value has the variable's type (a
//   string value fits the width; trailing blanks do not count) and appears once.
// - "missing": "values" (at most three; one beside a range) and, for numbers
//   only, "range": [low, high] with low <= high.
#ifndef KVHOST_DATADICTIONARY_H
#define KVHOST_DATADICTIONARY_H

#include <string>
#include <vector>

#include "VESK_Variable.h"

struct DataDictionary {
    std::string path;                      // the file it came from, for messages
    std::vector<VESK_Variable> variables;  // in the order of the file

    // Index into `variables`, or -1.
    int Find(const std::string& name) const;
};

// Reads and checks a dictionary file. Throws HostError.
DataDictionary LoadDictionary(const std::string& path);
// The same from text already in memory; `path` only names it in messages.
DataDictionary ParseDictionary(const std::string& text, const std::string& path);

#endif
