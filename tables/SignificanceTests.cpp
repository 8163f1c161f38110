#include "SignificanceTests.h"

#include <algorithm>
#include <cmath>

#include "KvaDistFun.h"

namespace kvtables::significance {

Outcome::Outcome() : df(SystemMissing()) {}

Outcome Proportions(double x1, double n1, double x2, double n2)
{
    Outcome out;
    if (!(n1 > 1.0 && n2 > 1.0)) return out;
    const double p = (x1 + x2) / (n1 + n2);
    if (!(p > 0.0 && p < 1.0)) return out;
    const double se = std::sqrt(p * (1.0 - p) * (1.0 / n1 + 1.0 / n2));
    out.statistic = (x1 / n1 - x2 / n2) / se;
    out.p = 2.0 * KvaDistFun::UpperNorm(std::fabs(out.statistic));
    out.tested = true;
    return out;
}

Outcome Means(const MeanSummary& a, const MeanSummary& b, bool pooled)
{
    Outcome out;
    if (!(a.n > 1.0 && b.n > 1.0) || IsMissingValue(a.mean) || IsMissingValue(b.mean) || IsMissingValue(a.variance) ||
        IsMissingValue(b.variance))
        return out;
    double se2 = 0.0;
    if (pooled) {
        const double s2 = ((a.n - 1.0) * a.variance + (b.n - 1.0) * b.variance) / (a.n + b.n - 2.0);
        se2 = s2 * (1.0 / a.n + 1.0 / b.n);
        out.df = a.n + b.n - 2.0;
    } else {
        // Welch and Satterthwaite.
        const double va = a.variance / a.n, vb = b.variance / b.n;
        se2 = va + vb;
        out.df = se2 * se2 / (va * va / (a.n - 1.0) + vb * vb / (b.n - 1.0));
    }
    if (!(se2 > 0.0)) return Outcome();
    out.statistic = (a.mean - b.mean) / std::sqrt(se2);
    out.p = 2.0 * KvaDistFun::UpperT(std::fabs(out.statistic), out.df);
    out.tested = !IsMissingValue(out.p);
    return out;
}

Outcome ChiSquare(const std::vector<std::vector<double>>& counts)
{
    Outcome out;
    std::vector<double> rowSum(counts.size(), 0.0), colSum(counts.empty() ? 0 : counts[0].size(), 0.0);
    double total = 0.0;
    for (size_t r = 0; r < counts.size(); ++r)
        for (size_t c = 0; c < colSum.size(); ++c) {
            rowSum[r] += counts[r][c];
            colSum[c] += counts[r][c];
            total += counts[r][c];
        }
    size_t rows = 0, cols = 0;
    for (double s : rowSum) rows += s > 0.0;
    for (double s : colSum) cols += s > 0.0;
    if (rows < 2 || cols < 2) return out;
    double x2 = 0.0;
    for (size_t r = 0; r < counts.size(); ++r) {
        if (!(rowSum[r] > 0.0)) continue;
        for (size_t c = 0; c < colSum.size(); ++c) {
            if (!(colSum[c] > 0.0)) continue;
            const double expected = rowSum[r] * colSum[c] / total;
            const double d = counts[r][c] - expected;
            x2 += d * d / expected;
        }
    }
    out.statistic = x2;
    out.df = static_cast<double>((rows - 1) * (cols - 1));
    out.p = KvaDistFun::UpperChi(x2, out.df);
    out.tested = !IsMissingValue(out.p);
    return out;
}

std::vector<std::pair<size_t, size_t>> Pairs(size_t n, Compare compare)
{
    std::vector<std::pair<size_t, size_t>> pairs;
    for (size_t j = 1; j < n; ++j) {
        switch (compare) {
        case Compare::Subtable:
            for (size_t i = 0; i < j; ++i) pairs.emplace_back(i, j);
            break;
        case Compare::FirstColumn: pairs.emplace_back(0, j); break;
        case Compare::PreviousColumn: pairs.emplace_back(j - 1, j); break;
        }
    }
    // Display order: by the first column, then the second.
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

std::string Letter(size_t index)
{
    std::string s;
    for (size_t n = index + 1; n > 0; n = (n - 1) / 26) s.insert(s.begin(), static_cast<char>('A' + (n - 1) % 26));
    return s;
}

namespace {

std::string Alpha(double alpha) { return FormatShortest(alpha); }

std::string PairNote(const PairTest& t, const char* what, const char* test, const char* marks)
{
    static const char* const compared[] = {"every pair of columns", "each column with the first",
                                           "each column with the one before it"};
    std::string note = std::string(what) + ": " + test + " comparing " + compared[static_cast<int>(t.compare)] +
                       " within each sub-table";
    note += t.adjust == Adjust::Bonferroni ? ", Bonferroni-adjusted" : ", not adjusted";
    note += ", at alpha " + Alpha(t.alpha) + ". A letter beside " + marks +
            " names a column it is significantly greater than.";
    return note;
}

// Which sub-table a chi-square record covers, in words: "Satisfaction by
// Gender, Wave 1".
std::string Where(const ResultTable& table, const TestRecord& r)
{
    const ResultNest& rows = table.rows[r.rowElement];
    const ResultNest& cols = table.columns[r.columnElement];
    std::string s = rows.back().Shown() + " by " + cols.back().Shown();
    auto add = [&s](const std::vector<ResultAxisVariable>& axis, const std::vector<int>& at) {
        for (size_t i = 0; i < at.size(); ++i)
            s += ", " + axis[i].Shown() + " " + axis[i].categories[static_cast<size_t>(at[i])].label;
    };
    add(table.layers, r.layers);
    add(rows, r.rows);
    add(cols, r.columns);
    return s;
}

}  // namespace

std::vector<std::string> Notes(const TestsRequest& tests, const ResultTable& table)
{
    std::vector<std::string> notes;
    if (tests.proportions.on) {
        static const char* const bases[] = {"z tests on weighted bases", "z tests on effective bases",
                                            "z tests on unweighted bases"};
        notes.push_back(PairNote(tests.proportions, "Column proportions",
                                 bases[static_cast<int>(tests.proportions.base)], "a count or percentage"));
    }
    if (tests.means.on)
        notes.push_back(PairNote(tests.means, "Column means",
                                 tests.means.pooled ? "t tests with pooled variance" : "t tests (Welch)", "a mean"));
    for (const TestRecord& r : table.tests) {
        if (r.kind != TestKind::ChiSquare) continue;
        const std::string p = r.pValue < 0.0001 ? "p < 0.0001" : "p = " + FormatFixed(r.pValue, 4);
        notes.push_back("Chi-square, " + Where(table, r) + ": " + FormatFixed(r.statistic, 2) + " with " +
                        FormatShortest(r.df) + " df, " + p + (r.significant ? ", significant" : ", not significant") +
                        " at alpha " + Alpha(tests.chiSquareAlpha) + ".");
    }
    return notes;
}

}  // namespace kvtables::significance
