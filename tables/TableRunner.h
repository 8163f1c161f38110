// A validated Request and a case iterator over the data in, a ResultSet out:
// build the engine's tables, feed them in one pass, read them back.
#ifndef KVTABLES_TABLERUNNER_H
#define KVTABLES_TABLERUNNER_H

#include "Request.h"
#include "ResultSet.h"
#include "TableBuilder.h"
#include "VESK_InputCaseIterator.h"

namespace kvtables {

// Throws UserError when the data turn out to be malformed while they are read.
ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, ProgressSink* progress = nullptr);

}  // namespace kvtables

#endif
