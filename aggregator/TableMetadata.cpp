#include "TableMetadata.h"

#include <cfloat>

#include "AggregationStatistic.h"
#include "CubeAggregator.h"
#include "KvAggrCaseValueReader.h"
#include "KvAssert.h"
#include "TableCVariable.h"
#include "TableDimension.h"

namespace {
const CaseMultiplicity kOneCase;
}  // namespace

TableMetadata::TableMetadata(VESK_InputCaseIterator& iterator, bool listwise, int baseWeightIndex)
    : _iterator(&iterator),
      _procIterator(dynamic_cast<ProcDSIterator*>(&iterator)),
      _listwise(listwise),
      _baseWeightIndex(baseWeightIndex),
      _caseWeight(1.0),
      _multiplicity(_procIterator ? &_procIterator->Multiplicity() : &kOneCase),
      _cLabelOption(TableEncryptionCodes::kDefault)
{
}

TableMetadata::TableMetadata(std::vector<int>& varIndices, VESK_InputCaseIterator& iterator, bool listwise,
                             int baseWeightIndex)
    : TableMetadata(iterator, listwise, baseWeightIndex)
{
    for (int varIndex : varIndices) {
        TableDimension* dimension = new TableCVariable(varIndex);
        if (AddDimension(dimension) != dimension) delete dimension;
    }
}

TableMetadata::~TableMetadata()
{
    for (TableDimension* dimension : _dimensions) delete dimension;
    DestroyReaders();
}

TableDimension* TableMetadata::AddDimension(TableDimension* dimension)
{
    for (TableDimension* registered : _dimensions)
        if (!(*dimension != *registered)) return registered;
    dimension->SetIterator(*_iterator);
    _dimensions.push_back(dimension);
    return dimension;
}

std::vector<int> TableMetadata::GetCaseIndex(std::vector<AggregationStatistic> const& stats)
{
    std::vector<int> positions;
    positions.reserve(stats.size());
    for (const AggregationStatistic& statistic : stats) {
        int varIndex = statistic.GetVarIndex();
        auto known = _readerIndex.find(varIndex);
        if (known != _readerIndex.end()) {
            positions.push_back(known->second);
            continue;
        }
        // The position is the map's size, not the reader count: after Clear
        // the two differ, and a known variable keeps its old position.
        int position = static_cast<int>(_readerIndex.size());
        _caseValues.push_back(new KvAggrCaseValueReader(*_iterator, static_cast<unsigned int>(varIndex), false));
        _readerIndex.emplace(varIndex, position);
        _validCount.push_back(0.0);
        positions.push_back(position);
    }
    return positions;
}

unsigned int TableMetadata::GetCaseReaderVarIndex(int pos) const
{
    KV_ASSERT(pos >=0 && pos < (int) _caseValues.size());
    return static_cast<unsigned int>(_caseValues[static_cast<size_t>(pos)]->GetVarIndex());
}

void TableMetadata::AddSortAggregator(CubeAggregator* aggregator)
{
    if (aggregator) _sortAggregators.push_back(aggregator);
}

bool TableMetadata::EncodeCase()
{
    // Every dimension encodes the case, even after one has accepted it: the
    // cubes read the cells of all of them.
    bool accepted = false;
    for (TableDimension* dimension : _dimensions)
        if (dimension->EncodeValue()) accepted = true;
    if (!_dimensions.empty() && !accepted) return false;

    for (size_t i = 0; i < _caseValues.size(); ++i) {
        KvAggrCaseValueReader* reader = _caseValues[i];
        bool valid;
        if (reader->GetSysmisOnly()) valid = reader->IsString() || !reader->IsSysmis();
        else valid = !reader->IsMissing();
        reader->SetValid(valid);
        if (valid) _validCount[i] += _multiplicity->cases;
    }

    // Missing, zero or negative weights are the aggregators' to judge.
    if (!_procIterator) _caseWeight = 1.0;
    else if (_baseWeightIndex < 0) _caseWeight = _procIterator->Weight();
    else _caseWeight = *_iterator->GetNumericValue(_baseWeightIndex);

    // Dimensions sorted by a statistic keep aggregators of their own; they see
    // exactly the cases the cubes see.
    for (CubeAggregator* aggregator : _sortAggregators) aggregator->AddNewCase();
    return true;
}

std::map<const TableDimension*, std::vector<int>> TableMetadata::MergeDimensions(const TableMetadata& other)
{
    KV_ASSERT(_dimensions.size() == other._dimensions.size() && _validCount.size() == other._validCount.size());
    std::map<const TableDimension*, std::vector<int>> maps;
    for (size_t d = 0; d < _dimensions.size(); ++d)
        maps[_dimensions[d]] = _dimensions[d]->MergeCategories(*other._dimensions[d]);
    for (size_t i = 0; i < _validCount.size(); ++i) _validCount[i] += other._validCount[i];
    return maps;
}

void TableMetadata::WriteDimensions(StateWriter& out) const
{
    for (const TableDimension* dimension : _dimensions) dimension->WriteCategories(out);
    for (double count : _validCount) out.PutDouble(count);
}

bool TableMetadata::ReadDimensions(StateReader& in, std::map<const TableDimension*, std::vector<int>>& maps)
{
    for (TableDimension* dimension : _dimensions)
        if (!dimension->ReadCategories(in, maps[dimension])) return false;
    for (double& count : _validCount) {
        double more = 0.0;
        if (!in.GetDouble(more)) return false;
        count += more;
    }
    return true;
}

std::uint64_t TableMetadata::Shape(std::uint64_t hash) const
{
    hash = TableState::Mix(hash, static_cast<std::int64_t>(_dimensions.size()));
    for (const TableDimension* dimension : _dimensions) {
        hash = TableState::Mix(hash, dimension->GetDimensionType());
        hash = TableState::Mix(hash, dimension->GetValueType());
        for (int v : dimension->VariableIndex()) hash = TableState::Mix(hash, v);
    }
    hash = TableState::Mix(hash, static_cast<std::int64_t>(_validCount.size()));
    return TableState::Mix(hash, static_cast<std::int64_t>(_sortAggregators.size()));
}

void TableMetadata::ResetMetadata()
{
    for (TableDimension* dimension : _dimensions) dimension->ResetDimension();
    for (double& count : _validCount) count = 0.0;
}

void TableMetadata::DestroyReaders()
{
    for (KvAggrCaseValueReader* reader : _caseValues) delete reader;
    _caseValues.clear();
    _validCount.clear();
}

void TableMetadata::Clear()
{
    _dimensions.clear();
    DestroyReaders();
}

void TableMetadata::ClearDeep()
{
    for (TableDimension* dimension : _dimensions) delete dimension;
    Clear();
}
