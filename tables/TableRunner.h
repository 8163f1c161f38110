// A validated Request and a case iterator over the data in, a ResultSet out:
// build the engine's tables, feed them in one pass, read them back.
#ifndef KVTABLES_TABLERUNNER_H
#define KVTABLES_TABLERUNNER_H

#include "Request.h"
#include "ResultSet.h"
#include "TableBuilder.h"
#include "VESK_InputCaseIterator.h"

namespace kvtables {

// Throws UserError when the data turn out to be malformed while they are
// read, or when the tables would take more memory than `limit`.
ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress = nullptr,
                    const MemoryLimit& limit = MemoryLimit());

}  // namespace kvtables

#endif
