// The engine binding, the one module that talks to the aggregation library:
// it turns a validated Request and a case iterator over the data into a
// ResultSet. It builds one engine table for the whole request, with one cube
// per TableRequest, in the library's calling order (table, descriptions with
// their category lists, cubes and their aggregators, statistics, confidence
// level, sorting by statistics), feeds every case whose weight is valid in a
// single pass (counting the others in ResultSet::skippedCases), completes,
// and reads every shown cell back in display order.
//
// Each table gets descriptions of its own, even for a variable that another
// table uses too: category options belong to a table, and the engine shares
// a dimension only between uses of the same description.
#ifndef KVTABLES_TABLERUNNER_H
#define KVTABLES_TABLERUNNER_H

#include "Request.h"
#include "ResultSet.h"
#include "VESK_InputCaseIterator.h"

namespace kvtables {

class Progress;

// Throws UserError when the data turn out to be malformed while they are read.
ResultSet RunTables(const Request& request, VESK_InputCaseIterator& cases, Progress* progress);

}  // namespace kvtables

#endif
