// A dataset over columns that already exist in memory, such as the arrays of a
// data frame: numbers are read where they lie, the rest is converted once.
//
// - A borrowed numeric column is a pointer, a stride in bytes and the
//   dataset's row count: nothing is copied, and the owner keeps the memory
//   alive (and unchanged) while the dataset is read.
// - An owned numeric column holds doubles converted from another element
//   type (integers, single precision, booleans).
// - A string column holds the engine's blank-padded words, ObsWords(width) a
//   value, filled by SetString.
// - Any other variable (AddVariable) is one the data has but nobody reads: it
//   reads as system-missing, or blanks when it is a string.
//
// NaN is never a value: a numeric column reads NaN as system-missing.
#ifndef KVHOST_COLUMNDATASET_H
#define KVHOST_COLUMNDATASET_H

#include <cmath>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "VESK_DataSource.h"
#include "VESK_InputCaseIterator.h"

class ColumnDataset : public VESK_DataSource {
public:
    explicit ColumnDataset(size_t rows);

    size_t GetNumCases() const { return _rows; }

    // An unread variable (see above).
    int AddVariable(std::unique_ptr<VESK_Variable> variable) override;
    // Throws std::invalid_argument when the variable is a string.
    int AddBorrowedNumeric(std::unique_ptr<VESK_Variable> variable, const double* data, std::ptrdiff_t strideBytes);
    // `values` holds one double per row; throws std::invalid_argument otherwise
    // or when the variable is a string.
    int AddNumeric(std::unique_ptr<VESK_Variable> variable, std::vector<double> values);
    // Every value blank until set; throws std::invalid_argument for a numeric variable.
    int AddString(std::unique_ptr<VESK_Variable> variable);
    // Copies `text` into a row of a string column; false (and nothing
    // written) when it is wider than the variable, trailing blanks not counted.
    bool SetString(int varIndex, size_t row, std::string_view text);

    // The value of a variable in a row (row < GetNumCases()).
    const OBS* GetValue(size_t row, int varIndex) const
    {
        const Column& c = _columns[static_cast<size_t>(varIndex)];
        const OBS* value = reinterpret_cast<const OBS*>(c.data + static_cast<std::ptrdiff_t>(row) * c.stride);
        return c.numeric && std::isnan(value->num) ? &_sysmis : value;
    }
    // What a variable reads when no case is current: system-missing or blanks.
    const OBS* GetEmptyValue(int varIndex) const { return _columns[static_cast<size_t>(varIndex)].empty; }

private:
    struct Column {
        const char* data;
        std::ptrdiff_t stride;  // bytes; 0 for a column of one repeated value
        bool numeric;
        const OBS* empty;
    };

    int Add(std::unique_ptr<VESK_Variable> variable, const void* data, std::ptrdiff_t stride);
    std::vector<OBS>& Own(size_t words);

    size_t _rows;
    OBS _sysmis;
    std::vector<Column> _columns;
    // Owned storage; each buffer keeps its address when more are added.
    std::vector<std::unique_ptr<std::vector<OBS>>> _owned;
};

// A procedure iterator over a ColumnDataset, row by row. The weight comes
// from the weight variable (-1: every case weighs 1.0).
class ColumnIterator : public ProcDSIterator {
public:
    explicit ColumnIterator(ColumnDataset& dataset, int weightIndex = -1);

    const OBS* GetValue(int varIndex) const override
    {
        return _row < _dataset->GetNumCases() ? _dataset->GetValue(_row, varIndex) : _dataset->GetEmptyValue(varIndex);
    }
    VESK_DataSource& GetDataSource() const override { return *_dataset; }
    bool Next() override;
    bool Rewind() override;

private:
    static constexpr size_t kBeforeFirst = static_cast<size_t>(-1);
    ColumnDataset* _dataset;
    size_t _row = kBeforeFirst;  // no case is current unless below GetNumCases()
};

#endif
