// A data frame's columns as the engine's dataset. The Python layer hands over
// every column name in order and, for the names the request uses, what the
// column holds:
//   ("numeric", array)                 any numeric or boolean numpy array
//   ("string", object array)           str (None, NaN and pd.NA are blank)
//   ("categorical", codes, categories) pandas codes (-1 missing), category texts
//   ("unsupported", dtype name)
// Float64 arrays are borrowed: the caller keeps them referenced while the
// dataset is read. Everything else is converted once.
#ifndef KVAGGR_PYTHON_FRAMEDATA_H
#define KVAGGR_PYTHON_FRAMEDATA_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>

#include "ColumnDataset.h"
#include "DataDictionary.h"

namespace kvaggr_python {

struct FrameData {
    std::unique_ptr<ColumnDataset> dataset;
    // Why a column the frame holds as text is not numbers ("data frame row 3
    // holds \"x\""), by variable index; empty for the others.
    std::vector<std::string> whyText;
};

// Throws kvtables::UserError naming "data frame" (or the dictionary) and the
// column for anything the engine cannot take.
FrameData MakeFrameData(size_t rows, const std::vector<std::string>& names, const pybind11::dict& columns,
                        const std::optional<DataDictionary>& dictionary);

}  // namespace kvaggr_python

#endif
