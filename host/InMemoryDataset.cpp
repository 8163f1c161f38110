#include "InMemoryDataset.h"

#include <cfloat>
#include <cstring>
#include <stdexcept>

double InMemoryDataset::SystemMissing() { return -DBL_MAX; }

int InMemoryDataset::AddVariable(std::unique_ptr<VESK_Variable> variable)
{
    int words = variable ? variable->GetWords() : 1;
    bool isString = variable && variable->IsString();
    int index = VESK_DataSource::AddVariable(std::move(variable));
    std::vector<OBS> column(static_cast<size_t>(_numCases) * words);
    for (OBS& w : column) {
        if (isString) std::memset(w.str, ' ', 8); else w.num = -DBL_MAX;
    }
    _columns.push_back(std::move(column));
    return index;
}

int InMemoryDataset::AddNumeric(const std::string& name, const std::string& label)
{
    auto v = std::make_unique<VESK_Variable>(name, 0);
    v->SetLabel(label);
    return AddVariable(std::move(v));
}

int InMemoryDataset::AddString(const std::string& name, int width, const std::string& label)
{
    if (width < 1) throw std::invalid_argument("string variable " + name + " needs a width of 1 or more");
    auto v = std::make_unique<VESK_Variable>(name, width);
    v->SetLabel(label);
    return AddVariable(std::move(v));
}

int InMemoryDataset::AppendCase()
{
    for (int i = 0; i < GetNumVariables(); ++i) {
        const VESK_Variable* v = GetVariable(i);
        for (int w = 0; w < v->GetWords(); ++w) {
            OBS word;
            if (v->IsString()) std::memset(word.str, ' ', 8); else word.num = -DBL_MAX;
            _columns[static_cast<size_t>(i)].push_back(word);
        }
    }
    return _numCases++;
}

void InMemoryDataset::SetNumeric(int row, int varIndex, double value)
{
    if (GetVariable(varIndex)->IsString())
        throw std::invalid_argument(std::string("variable ") + GetVariable(varIndex)->GetName() + " is a string");
    GetValue(row, varIndex)->num = value;
}

void InMemoryDataset::SetString(int row, int varIndex, const std::string& value)
{
    const VESK_Variable* v = GetVariable(varIndex);
    if (!v->IsString()) throw std::invalid_argument(std::string("variable ") + v->GetName() + " is numeric");
    size_t size = value.size();
    while (size > static_cast<size_t>(v->GetType()) && value[size - 1] == ' ') --size;  // padding only
    if (size > static_cast<size_t>(v->GetType()))
        throw std::invalid_argument("value \"" + value + "\" is wider than variable " + v->GetName());
    OBS* words = GetValue(row, varIndex);
    std::memset(words, ' ', static_cast<size_t>(v->GetWords()) * sizeof(OBS));
    std::memcpy(words, value.data(), size);
}

const OBS* InMemoryDataset::GetValue(int row, int varIndex) const
{
    const VESK_Variable* v = GetVariable(varIndex);
    return &_columns[static_cast<size_t>(varIndex)][static_cast<size_t>(row) * v->GetWords()];
}

OBS* InMemoryDataset::GetValue(int row, int varIndex)
{
    const VESK_Variable* v = GetVariable(varIndex);
    return &_columns[static_cast<size_t>(varIndex)][static_cast<size_t>(row) * v->GetWords()];
}

DatasetIterator::DatasetIterator(InMemoryDataset& dataset, int weightIndex)
    : ProcDSIterator(weightIndex), _dataset(&dataset)
{
}

const OBS* DatasetIterator::GetValue(int varIndex) const { return _dataset->GetValue(_row, varIndex); }

bool DatasetIterator::Next()
{
    if (_row + 1 >= _dataset->GetNumCases()) {
        _row = _dataset->GetNumCases();
        return false;
    }
    ++_row;
    return true;
}

bool DatasetIterator::Rewind()
{
    _row = -1;
    return true;
}

PlainDatasetIterator::PlainDatasetIterator(InMemoryDataset& dataset) : _dataset(&dataset) {}

const OBS* PlainDatasetIterator::GetValue(int varIndex) const { return _dataset->GetValue(_row, varIndex); }

bool PlainDatasetIterator::Next()
{
    if (_row + 1 >= _dataset->GetNumCases()) {
        _row = _dataset->GetNumCases();
        return false;
    }
    ++_row;
    return true;
}

bool PlainDatasetIterator::Rewind()
{
    _row = -1;
    return true;
}
