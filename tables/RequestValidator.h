// Checking a parsed request against the data's dictionary: every name is
// resolved to a variable or a set, types are checked (sets of one type,
// counted values and category items of their variable's type, numeric weight
// and summary variables), every variable is used once per table, statistics
// fit the table, and the statistics variable gets its default. After this the
// request can be handed to the engine without tripping its assertions.
#ifndef KVTABLES_REQUESTVALIDATOR_H
#define KVTABLES_REQUESTVALIDATOR_H

#include <functional>
#include <string>

#include "Request.h"
#include "VESK_DataSource.h"

namespace kvtables {

// Why a variable holds text rather than numbers ("data.csv:17 holds \"NA\"",
// from the data's reader), or empty when nothing is known.
using WhyText = std::function<std::string(int varIndex)>;

// Resolves and checks `request` in place; throws UserError naming the request
// file and the JSON path of the first problem. `whyText` explains a weight or
// summary variable that is not numeric.
void ValidateRequest(Request& request, const VESK_DataSource& dictionary, const WhyText& whyText = {});

}  // namespace kvtables

#endif
