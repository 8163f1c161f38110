// The engine binding, the one module that talks to the aggregation library:
// it turns a validated Request and a case iterator over the data into a
// ResultSet. It builds one table per TableRequest in the library's calling
// order (table, descriptions with their category lists, cubes and their
// aggregators, statistics, confidence level), feeds every case whose weight
// is valid (counting the others in ResultSet::skippedCases), completes, and
// reads every shown cell back in display order.
//
// Not yet implemented: it arrives with the engine. Everything else of the
// tool is written against this declaration.
#ifndef KVTABLES_TABLERUNNER_H
#define KVTABLES_TABLERUNNER_H

#include "Request.h"
#include "ResultSet.h"
#include "VESK_InputCaseIterator.h"

namespace kvtables {

class Progress;

ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, Progress* progress);

}  // namespace kvtables

#endif
