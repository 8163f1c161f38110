#include "ColumnDataset.h"

#include <cfloat>
#include <cstring>
#include <stdexcept>

ColumnDataset::ColumnDataset(size_t rows) : _rows(rows) { _sysmis.num = -DBL_MAX; }

std::vector<OBS>& ColumnDataset::Own(size_t words)
{
    _owned.push_back(std::make_unique<std::vector<OBS>>(words));
    return *_owned.back();
}

int ColumnDataset::Add(std::unique_ptr<VESK_Variable> variable, const void* data, std::ptrdiff_t stride)
{
    const bool numeric = variable && !variable->IsString();
    const OBS* empty = &_sysmis;
    if (!numeric && variable) {
        std::vector<OBS>& blanks = Own(static_cast<size_t>(variable->GetWords()));
        std::memset(blanks.data(), ' ', blanks.size() * sizeof(OBS));
        empty = blanks.data();
    }
    const int index = VESK_DataSource::AddVariable(std::move(variable));
    _columns.push_back({static_cast<const char*>(data ? data : empty), data ? stride : 0, numeric, empty});
    return index;
}

int ColumnDataset::AddVariable(std::unique_ptr<VESK_Variable> variable) { return Add(std::move(variable), nullptr, 0); }

int ColumnDataset::AddBorrowedNumeric(std::unique_ptr<VESK_Variable> variable, const double* data,
                                      std::ptrdiff_t strideBytes)
{
    if (variable && variable->IsString()) throw std::invalid_argument("a borrowed column must be numeric");
    // With no rows there is nothing to read, and the pointer may be anything.
    return Add(std::move(variable), _rows ? data : nullptr, strideBytes);
}

int ColumnDataset::AddNumeric(std::unique_ptr<VESK_Variable> variable, std::vector<double> values)
{
    if (variable && variable->IsString()) throw std::invalid_argument("an owned numeric column must be numeric");
    if (values.size() != _rows) throw std::invalid_argument("a column needs one value per row");
    std::vector<OBS>& words = Own(0);
    words.resize(_rows);
    for (size_t i = 0; i < _rows; ++i) words[i].num = values[i];
    return Add(std::move(variable), _rows ? words.data() : nullptr, sizeof(OBS));
}

int ColumnDataset::AddString(std::unique_ptr<VESK_Variable> variable)
{
    if (!variable || !variable->IsString()) throw std::invalid_argument("a string column needs a string variable");
    const size_t words = static_cast<size_t>(variable->GetWords());
    std::vector<OBS>& column = Own(_rows * words);
    std::memset(column.data(), ' ', column.size() * sizeof(OBS));
    return Add(std::move(variable), _rows ? column.data() : nullptr,
               static_cast<std::ptrdiff_t>(words * sizeof(OBS)));
}

bool ColumnDataset::SetString(int varIndex, size_t row, std::string_view text)
{
    const VESK_Variable* v = GetVariable(varIndex);
    const Column& c = _columns[static_cast<size_t>(varIndex)];
    if (!v->IsString() || c.stride == 0 || row >= _rows)
        throw std::invalid_argument("SetString needs a row of a string column");
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    if (text.size() > static_cast<size_t>(v->GetType())) return false;
    char* out = const_cast<char*>(c.data) + static_cast<std::ptrdiff_t>(row) * c.stride;
    std::memcpy(out, text.data(), text.size());
    std::memset(out + text.size(), ' ', static_cast<size_t>(c.stride) - text.size());
    return true;
}

ColumnIterator::ColumnIterator(ColumnDataset& dataset, int weightIndex)
    : ProcDSIterator(weightIndex), _dataset(&dataset)
{
}

bool ColumnIterator::Next()
{
    const size_t next = _row == kBeforeFirst ? 0 : _row + 1;
    if (next >= _dataset->GetNumCases()) {
        _row = _dataset->GetNumCases();
        return false;
    }
    _row = next;
    return true;
}

bool ColumnIterator::Rewind()
{
    _row = kBeforeFirst;
    return true;
}
