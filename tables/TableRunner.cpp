#include "TableRunner.h"

#include "SignificanceTests.h"
#include "TableReader.h"
#include "VESK_Variable.h"

namespace kvtables {

ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress,
                    const MemoryLimit& limit)
{
    MemoryLimit run = limit;
    run.start = HeapInUse();
    TableBuilder builder(request, cases);
    ResultSet result;
    result.skippedCases = builder.Feed(progress, run);
    if (request.weightIndex >= 0) {
        const VESK_Variable* w = builder.GetDataSource().GetVariable(request.weightIndex);
        const std::string label = w->GetLabel(), name = w->GetName();
        result.weight = label.empty() || label == name ? name : label + " (" + name + ")";
    }
    const std::vector<TableBuild>& builds = builder.Builds();
    for (size_t b = 0; b < builds.size();) {
        const TableRequest& t = *builds[b].request;
        std::vector<ResultTable> parts;
        for (size_t n = 0; n < t.rows.size() * t.columns.size(); ++n) parts.push_back(ReadTable(builder, builds[b++], run));
        ResultTable table = StackTables(std::move(parts), t.rows.size(), t.columns.size());
        table.tested = t.tests.Any();
        table.notes = significance::Notes(t.tests, table);
        result.tables.push_back(std::move(table));
    }
    return result;
}

}  // namespace kvtables
