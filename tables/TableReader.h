// Reading a fed TableBuilder's tables back: each table's axes (categories in
// display order, with their labels), its statistics and every shown cell in
// display order. An empty cell reports counts 0, a percentage 0 when its base
// holds cases, and everything else system-missing.
#ifndef KVTABLES_TABLEREADER_H
#define KVTABLES_TABLEREADER_H

#include "ResultSet.h"
#include "TableBuilder.h"

namespace kvtables {

// Throws UserError when the table's layout would pass `limit`.
ResultTable ReadTable(const TableBuilder& builder, const TableBuild& build, const MemoryLimit& limit);

}  // namespace kvtables

#endif
