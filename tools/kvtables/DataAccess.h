// Where the data's dictionary comes from: the dictionary file named by the
// request, or, without one, the CSV file's header with each column's type
// taken from its values.
//
// Interim: this reads the dictionary on its own until the host's loaders
// (LoadDictionary, LoadCsv) are merged; then it becomes a thin call to them.
#ifndef KVTABLES_DATAACCESS_H
#define KVTABLES_DATAACCESS_H

#include <memory>

#include "Request.h"
#include "VESK_DataSource.h"

namespace kvtables {

// Throws UserError naming the dictionary or data file and the place in it.
std::unique_ptr<VESK_DataSource> LoadDataDictionary(const Request& request);

}  // namespace kvtables

#endif
