// The arithmetic of the significance tests a table may ask for: column
// proportions (z), column means (t, Welch's or pooled variance) and Pearson's
// chi-square of independence, with the column letters that report them. The
// reading of a table gathers the counts, bases, means and variances from the
// engine and hands them here.
#ifndef KVTABLES_SIGNIFICANCETESTS_H
#define KVTABLES_SIGNIFICANCETESTS_H

#include <string>
#include <utility>
#include <vector>

#include "Request.h"
#include "ResultSet.h"

namespace kvtables::significance {

// One test's result; `tested` is false when the data cannot support it.
struct Outcome {
    bool tested = false;
    double statistic = 0.0;
    double df;  // system-missing for z
    double p = 1.0;

    Outcome();
};

// x1 of n1 against x2 of n2, with the pooled proportion; tested only when
// both bases exceed 1 and the pooled proportion lies strictly inside (0, 1).
Outcome Proportions(double x1, double n1, double x2, double n2);

// A cell's summary for the means test: weighted valid N, mean, variance.
struct MeanSummary {
    double n, mean, variance;
};
// Tested only when both n exceed 1 and the standard error is positive.
Outcome Means(const MeanSummary& a, const MeanSummary& b, bool pooled);

// Rows and columns whose total is 0 are dropped first; tested only when at
// least two of each remain.
Outcome ChiSquare(const std::vector<std::vector<double>>& counts);

// The pairs (i, j), i < j, of `n` columns that a comparison makes.
std::vector<std::pair<size_t, size_t>> Pairs(size_t n, Compare compare);

// "A", "B", ... "Z", "AA", "AB", ...
std::string Letter(size_t index);

// What a reader of the table must know: the tests made, their adjustment and
// level, and each chi-square result in words.
std::vector<std::string> Notes(const TestsRequest& tests, const ResultTable& table);

}  // namespace kvtables::significance

#endif
