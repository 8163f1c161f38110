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

// One table from its sub-tables, read one by one and given row element by
// row element, column element by column element: their axes side by side
// and one below the other, their cells in display order.
ResultTable StackTables(std::vector<ResultTable> parts, size_t rowElements, size_t columnElements);

}  // namespace kvtables

#endif
