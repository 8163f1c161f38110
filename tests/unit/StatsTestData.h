// Small in-memory datasets for the cell statistics tests: numeric summary
// variables plus a weight variable, read through case value readers whose
// validity is set per case as the table metadata sets it (valid when the
// value is not missing).
#ifndef KVAGGR_TESTS_STATSTESTDATA_H
#define KVAGGR_TESTS_STATSTESTDATA_H

#include <memory>
#include <string>
#include <vector>

#include "InMemoryDataset.h"
#include "kvaggr.h"

namespace kvtest {

inline constexpr double kMissingValue = -1.7976931348623157e+308;

class StatsData {
public:
    // columns[v][c] is variable v's value in case c (kMissingValue for
    // system-missing); weights[c] is case c's weight.
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
            _readers.push_back(new KvAggrCaseValueReader(*_iterator, static_cast<unsigned>(v), false));
    }
    ~StatsData()
    {
        for (KvAggrCaseValueReader* r : _readers) delete r;
    }
    StatsData(const StatsData&) = delete;
    StatsData& operator=(const StatsData&) = delete;

    bool Next()
    {
        const bool more = _iterator->Next();
        if (more)
            for (KvAggrCaseValueReader* r : _readers) r->SetValid(!r->IsMissing());
        return more;
    }
    double Weight() const { return _iterator->Weight(); }
    const std::vector<KvAggrCaseValueReader*>& Readers() const { return _readers; }
    KvAggrCaseValueReader* Reader(int v) const { return _readers[v]; }

private:
    InMemoryDataset _dataset;
    std::unique_ptr<DatasetIterator> _iterator;
    std::vector<KvAggrCaseValueReader*> _readers;
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

// Feeds every case into one categorical cell whose summary reader is
// variable 0; a case is valid when its summary value is.
inline std::unique_ptr<CellValues> FeedCVarCell(CellStatistics& layout, StatsData& data, bool effective)
{
    std::unique_ptr<CellValues> cell;
    while (data.Next()) {
        KvAggrCaseValueReader* r = data.Reader(0);
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

}  // namespace kvtest

#endif
