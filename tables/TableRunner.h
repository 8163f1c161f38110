// A validated Request and a case iterator over the data in, a ResultSet out:
// build the engine's tables, feed them in one pass, read them back.
#ifndef KVTABLES_TABLERUNNER_H
#define KVTABLES_TABLERUNNER_H

#include <vector>

#include "Request.h"
#include "ResultSet.h"
#include "TableBuilder.h"
#include "VESK_InputCaseIterator.h"

namespace kvtables {

// Throws UserError when the data turn out to be malformed while they are
// read, or when the tables would take more memory than `limit`.
ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress = nullptr,
                    const MemoryLimit& limit = MemoryLimit());

// The same over data cut into parts, in data order, each an iterator over the
// same data source: every part is aggregated in tables of its own on a thread
// of its own, and the tables are merged in part order, so that two runs give
// the same output and the tables equal those of one pass over the parts in
// turn. A malformed part throws the error of the first such part. `progress`
// hears from the first part only.
ResultSet RunTablesInParts(const Request& request, const std::vector<VESK_InputCaseIterator*>& parts,
                           ProgressSink* progress = nullptr, const MemoryLimit& limit = MemoryLimit());

// The results of a builder whose tables are complete.
ResultSet ReadResults(const TableBuilder& builder, const MemoryLimit& limit);

}  // namespace kvtables

#endif
