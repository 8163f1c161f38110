// Checking a parsed request against the data's dictionary: every name is
// resolved to a variable or a set, types are checked (sets of one type,
// counted values and category items of their variable's type, numeric weight
// and summary variables), every variable is used once per table, statistics
// fit the table, and the statistics variable gets its default. After this the
// request can be handed to the engine without tripping its assertions.
#ifndef KVTABLES_REQUESTVALIDATOR_H
#define KVTABLES_REQUESTVALIDATOR_H

#include "Request.h"
#include "VESK_DataSource.h"

namespace kvtables {

// Resolves and checks `request` in place; throws UserError naming the request
// file and the JSON path of the first problem.
void ValidateRequest(Request& request, const VESK_DataSource& dictionary);

}  // namespace kvtables

#endif
