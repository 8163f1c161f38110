#include "TableRunner.h"

#include <exception>
#include <memory>
#include <thread>

#include "SignificanceTests.h"
#include "TableReader.h"
#include "VESK_Variable.h"

namespace kvtables {

ResultSet ReadResults(const TableBuilder& builder, const MemoryLimit& limit)
{
    const Request& request = builder.GetRequest();
    ResultSet result;
    result.skippedCases = builder.SkippedCases();
    if (request.weightIndex >= 0) {
        const VESK_Variable* w = builder.GetDataSource().GetVariable(request.weightIndex);
        const std::string label = w->GetLabel(), name = w->GetName();
        result.weight = label.empty() || label == name ? name : label + " (" + name + ")";
    }
    const std::vector<TableBuild>& builds = builder.Builds();
    for (size_t b = 0; b < builds.size();) {
        const TableRequest& t = *builds[b].request;
        std::vector<ResultTable> parts;
        for (size_t n = 0; n < t.rows.size() * t.columns.size(); ++n)
            parts.push_back(ReadTable(builder, builds[b++], limit));
        ResultTable table = StackTables(std::move(parts), t.rows.size(), t.columns.size());
        table.tested = t.tests.Any();
        table.notes = significance::Notes(t.tests, table);
        result.tables.push_back(std::move(table));
    }
    return result;
}

ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress,
                    const MemoryLimit& limit)
{
    MemoryLimit run = limit;
    run.start = HeapInUse();
    TableBuilder builder(request, cases);
    builder.Feed(progress, run);
    return ReadResults(builder, run);
}

namespace {

// The first part stands for all: it reaches its last line when every part is
// about as far through its own.
class FirstPartProgress : public ProgressSink {
public:
    FirstPartProgress(ProgressSink& all, size_t parts) : _all(all), _parts(parts) {}
    void Update(std::uint64_t line) override { _all.Update(line * _parts); }
    void Finish() override {}

private:
    ProgressSink& _all;
    std::uint64_t _parts;
};

}  // namespace

ResultSet RunTablesInParts(const Request& request, const std::vector<VESK_InputCaseIterator*>& parts,
                           ProgressSink* progress, const MemoryLimit& limit)
{
    if (parts.size() == 1) return RunTables(request, *parts[0], progress, limit);
    MemoryLimit run = limit;
    run.start = HeapInUse();
    // Built here, one after the other: only the feeding runs in parallel.
    std::vector<std::unique_ptr<TableBuilder>> builders;
    for (VESK_InputCaseIterator* part : parts) builders.push_back(std::make_unique<TableBuilder>(request, *part));
    std::unique_ptr<FirstPartProgress> first;
    if (progress) first = std::make_unique<FirstPartProgress>(*progress, parts.size());
    std::vector<std::exception_ptr> errors(parts.size());
    std::vector<std::thread> threads;
    for (size_t i = 0; i < parts.size(); ++i)
        threads.emplace_back([&, i] {
            try {
                builders[i]->FeedPart(i == 0 ? first.get() : nullptr, run);
            } catch (...) {
                errors[i] = std::current_exception();
            }
        });
    for (std::thread& t : threads) t.join();
    for (const std::exception_ptr& e : errors)
        if (e) std::rethrow_exception(e);
    for (size_t i = 1; i < builders.size(); ++i) {
        builders[0]->Merge(*builders[i]);
        builders[i].reset();
    }
    if (progress) progress->Finish();
    builders[0]->Complete();
    return ReadResults(*builders[0], run);
}

}  // namespace kvtables
