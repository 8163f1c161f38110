#include "TableRunner.h"

#include "TableReader.h"

namespace kvtables {

ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress)
{
    TableBuilder builder(request, cases);
    ResultSet result;
    result.skippedCases = builder.Feed(progress);
    for (const TableBuild& build : builder.Builds()) result.tables.push_back(ReadTable(builder, build));
    return result;
}

}  // namespace kvtables
