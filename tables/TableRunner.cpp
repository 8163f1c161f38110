#include "TableRunner.h"

#include "TableReader.h"

namespace kvtables {

ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress,
                    const MemoryLimit& limit)
{
    MemoryLimit run = limit;
    run.start = HeapInUse();
    TableBuilder builder(request, cases);
    ResultSet result;
    result.skippedCases = builder.Feed(progress, run);
    for (const TableBuild& build : builder.Builds()) result.tables.push_back(ReadTable(builder, build, run));
    return result;
}

}  // namespace kvtables
