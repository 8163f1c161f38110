// Shared pieces of the statistics tests: small in-memory datasets (numeric summary variables plus a weight
// variable, read through case value readers whose validity is set per case as the table metadata sets it),
// cells fed from them, and the reader of the case tables under tests/data/stats.
#ifndef KVAGGR_TESTS_STATSTESTDATA_H
#define KVAGGR_TESTS_STATSTESTDATA_H

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "InMemoryDataset.h"
#include "TestSupport.h"
#include "kvaggr.h"

namespace kvtest {

inline constexpr double kMissingValue = -1.7976931348623157e+308;

class StatsData {
public:
    // columns[v][c] is variable v's value in case c (kMissingValue for system-missing); weights[c] is case c's
    // weight.
    StatsData(const std::vector<std::vector<double>>& columns, const std::vector<double>& weights)
    {
        for (std::size_t v = 0; v < columns.size(); ++v) _dataset.AddNumeric("x" + std::to_string(v));
        const int weightVar = _dataset.AddNumeric("w");
        for (std::size_t c = 0; c < weights.size(); ++c) {
            const int row = _dataset.AppendCase();
            for (std::size_t v = 0; v < columns.size(); ++v)
                _dataset.SetNumeric(row, static_cast<int>(v), columns[v][c]);
            _dataset.SetNumeric(row, weightVar, weights[c]);
        }
        _iterator = std::make_unique<DatasetIterator>(_dataset, weightVar);
        for (std::size_t v = 0; v < columns.size(); ++v)
            _readers.push_back(std::make_unique<KvAggrCaseValueReader>(*_iterator, static_cast<unsigned>(v), false));
        for (const auto& r : _readers) _raw.push_back(r.get());
    }

    bool Next()
    {
        const bool more = _iterator->Next();
        if (more)
            for (KvAggrCaseValueReader* r : _raw) r->SetValid(!r->IsMissing());
        return more;
    }
    double Weight() const { return _iterator->Weight(); }
    const std::vector<KvAggrCaseValueReader*>& Readers() const { return _raw; }

private:
    InMemoryDataset _dataset;
    std::unique_ptr<DatasetIterator> _iterator;
    std::vector<std::unique_ptr<KvAggrCaseValueReader>> _readers;
    std::vector<KvAggrCaseValueReader*> _raw;
};

// Feeds every case of `data` into one scale cell over `layout`.
inline std::unique_ptr<CellValues> FeedScaleCell(CellStatistics& layout, StatsData& data, bool effective)
{
    std::unique_ptr<CellValues> cell;
    while (data.Next()) {
        if (!cell) cell = std::make_unique<CellValues>(layout, data.Readers(), data.Weight(), effective);
        else cell->UpdateScaleValues(data.Readers(), data.Weight());
    }
    return cell;
}

// Feeds every case into one categorical cell whose summary reader is variable 0; a case is valid when its
// summary value is.
inline std::unique_ptr<CellValues> FeedCVarCell(CellStatistics& layout, StatsData& data, bool effective)
{
    std::unique_ptr<CellValues> cell;
    while (data.Next()) {
        KvAggrCaseValueReader* r = data.Readers()[0];
        if (!cell) cell = std::make_unique<CellValues>(layout, r, r->IsValid(), false, data.Weight(), effective);
        else cell->UpdateCVarValues(r, r->IsValid(), false, data.Weight());
    }
    return cell;
}

// Requests on variable `var`, in order.
inline std::vector<AggregationStatistic> Requests(const std::vector<int>& codes, int var = 0)
{
    std::vector<AggregationStatistic> out;
    for (int code : codes) out.emplace_back(var, static_cast<TableEncryptionCodes::StatisticCodes>(code));
    return out;
}

// 1 ... 10 with weights 1, 2, 1, 2, ...: W = 15, median 6.
inline std::vector<double> OneToTen() { return {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}; }
inline std::vector<double> AlternatingWeights() { return {1, 2, 1, 2, 1, 2, 1, 2, 1, 2}; }

// The rows of tests/data/stats/<name>, split at tabs; lines starting with '#' are comments.
inline std::vector<std::vector<std::string>> ReadTable(const std::string& name)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream in(std::string(KV_SOURCE_DIR) + "/tests/data/stats/" + name);
    EXPECT_TRUE(in) << name;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        rows.emplace_back();
        for (std::string f; std::getline(fields, f, '\t');) rows.back().push_back(f);
    }
    return rows;
}

// Space-separated numbers; "missing" (or "M") is the system-missing value.
inline std::vector<double> Numbers(const std::string& text)
{
    std::vector<double> out;
    std::istringstream in(text);
    for (std::string t; in >> t;)
        out.push_back(t == "missing" || t == "M" ? kMissingValue : std::strtod(t.c_str(), nullptr));
    return out;
}

// "exact", "abs A" (|got - want| <= A) or "rel R" (|got - want| <= R |want|); a missing value only exactly.
inline ::testing::AssertionResult Within(double got, double want, const std::string& tolerance)
{
    std::istringstream in(tolerance);
    std::string kind;
    double bound = 0.0;
    in >> kind >> bound;
    if (kind == "rel" && want != kMissingValue) return RelNear(got, want, bound);
    if (got == want || (kind == "abs" && std::fabs(got - want) <= bound)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << got << ", want " << want << " (" << tolerance << ")";
}

}  // namespace kvtest

#endif
