// The engine side of a request: one engine table for the whole request, with
// one cube per TableRequest, built in the library's calling order (table,
// descriptions with their category lists, cubes and their aggregators,
// statistics, confidence level, sorting by statistics), then fed every case
// whose weight is valid in a single pass. TableReader reads the results back.
//
// Each table gets descriptions of its own, even for a variable that another
// table uses too: category options belong to a table, and the engine shares
// a dimension only between uses of the same description.
#ifndef KVTABLES_TABLEBUILDER_H
#define KVTABLES_TABLEBUILDER_H

#include <array>
#include <memory>
#include <vector>

#include "AggregationStatistic.h"
#include "AggregationTable.h"
#include "AggregationVariable.h"
#include "MemoryLimit.h"
#include "ParsedCategory.h"
#include "ProgressSink.h"
#include "Request.h"
#include "VESK_InputCaseIterator.h"

namespace kvtables {

class TotalVariableCases;
class CaseCombiner;

// What one sub-table (a row element by a column element) of a table request
// became in the engine: a cube of its own.
struct TableBuild {
    const TableRequest* request = nullptr;
    size_t table = 0;                         // index of the request's table
    size_t rowElement = 0, columnElement = 0;  // indices into its stacked axes
    AggregationCube* cube = nullptr;
    AxisEntry rowTotal, columnTotal;  // the entries of total elements
    // One description per axis entry, rows then columns then layers.
    std::vector<std::unique_ptr<AggregationVariable>> descriptions;
    std::vector<AggregationVariable*> rows, columns, layers;
    std::vector<const AxisEntry*> rowEntries, columnEntries, layerEntries;
    AggregationVariable* statisticsVariable = nullptr;
    std::vector<StatisticRequest> shown;     // statistics then the extra total statistics
    std::vector<int> cellStats, totalStats;  // indices into `shown` in the engine's order; -1: not shown
    bool scale = false;
    // The engine's positions of the weighted valid N, mean and variance that
    // the means test reads; -1 without it.
    std::array<int, 3> meanSlots{-1, -1, -1};
};

class TableBuilder {
public:
    // `request` must be validated against `cases`' data source; both must
    // outlive the builder.
    TableBuilder(const Request& request, VESK_InputCaseIterator& cases);
    TableBuilder(const TableBuilder&) = delete;
    TableBuilder& operator=(const TableBuilder&) = delete;
    ~TableBuilder();

    // Reads every case and completes the tables; returns the number of cases
    // left out for a missing, zero or negative weight. Throws UserError when
    // the data turn out to be malformed while they are read.
    // Stops with a UserError once the heap passes `limit`.
    long long Feed(ProgressSink* progress, const MemoryLimit& limit);

    // Feeds the engine every case on its own, also where identical cases
    // could go summed (CaseCombiner.h): the reference for the combined run.
    void PassCasesThrough();

    // ---- the data in parts: one builder per part, merged in data order ----
    // Feed without completing: the tables of one part.
    void FeedPart(ProgressSink* progress, const MemoryLimit& limit);
    // Folds in the tables of another part of the same request and data
    // source, read after this builder's part; the skipped cases add up.
    void Merge(const TableBuilder& other);
    // After the last part or merge.
    void Complete();
    long long SkippedCases() const { return _skipped; }
    // The tables of this part as bytes (the engine's table state, with the
    // skipped cases), marked with a fingerprint of the request and the data
    // source's variables.
    std::string SaveState() const;
    // Merges a state that SaveState wrote for the same request and variables.
    // Throws UserError naming `name` when the bytes are not such a state;
    // the builder is then unusable (load into a fresh one and Merge it).
    void LoadState(const std::string& bytes, const std::string& name);

    const Request& GetRequest() const { return _request; }
    VESK_DataSource& GetDataSource() const { return _source; }
    // The sub-tables, table by table, row element by row element, column
    // element by column element.
    const std::vector<TableBuild>& Builds() const { return _builds; }

private:
    AggregationVariable* Describe(TableBuild& build, const AxisEntry& entry);
    void SetItems(AggregationVariable& desc, const AxisEntry& entry, const CategoryOptions& options);
    void BuildCube(TableBuild& build);
    void SetStatistics(TableBuild& build);
    std::vector<AggregationStatistic> TestStatistics(TableBuild& build,
                                                     const std::vector<AggregationStatistic>& stats) const;
    void SetSorting(TableBuild& build);
    [[noreturn]] void OutOfMemory(const MemoryLimit& limit, unsigned long long cases, bool ranOut) const;

    const Request& _request;
    VESK_InputCaseIterator& _cases;
    std::unique_ptr<TotalVariableCases> _withTotal;  // when a table stacks a total element
    std::unique_ptr<CaseCombiner> _combiner;         // when the tables count cases only
    VESK_DataSource& _source;
    std::unique_ptr<AggregationTable> _table;
    std::vector<std::unique_ptr<ParsedCategory>> _parsed;     // alive as long as the table
    std::vector<std::unique_ptr<std::vector<OBS>>> _counted;  // counted values of dichotomy sets
    std::vector<TableBuild> _builds;
    long long _skipped = 0;
};

// A value as the engine stores it: one word for a number, blank-padded words
// for a string of `width` bytes.
std::vector<OBS> MakeValue(const Literal& v, int width);

}  // namespace kvtables

#endif
