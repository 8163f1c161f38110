#include "AggregationTable.h"

#include <algorithm>

#include "AggregationCube.h"
#include "AggregationMCSet.h"
#include "AggregationMDSet.h"
#include "AggregationVariable.h"
#include "CubeAggregator.h"
#include "KvAssert.h"
#include "TableCVariable.h"
#include "TableMCSet.h"
#include "TableMDSet.h"
#include "TableMetadata.h"
#include "TableState.h"

using TableEncryptionCodes::DimensionPosition;

struct AggregationTable::AggregationTableImpl {
    TableMetadata* _metadata = nullptr;                                   // owned
    std::vector<AggregationCube*> _cubes;                                 // owned
    std::vector<std::vector<AggregationCube*>> _rowAxisCubes;             // not owned
    std::vector<std::vector<AggregationCube*>> _columnAxisCubes;          // not owned
    std::vector<std::vector<AggregationCube*>> _layerAxisCubes;           // not owned
    bool _pairWiseTest = false;
    bool _dataWeighted = false;
    int _weightIndex = -1;
};

AggregationTable::AggregationTable(VESK_InputCaseIterator& iterator, bool dataWeighted, bool pairWiseTest,
                                   int weightIndex)
    : _impl(new AggregationTableImpl)
{
    _impl->_dataWeighted = dataWeighted;
    _impl->_pairWiseTest = pairWiseTest;
    _impl->_weightIndex = weightIndex;
    _impl->_metadata = new TableMetadata(iterator, !pairWiseTest, weightIndex);
}

AggregationTable::~AggregationTable()
{
    for (AggregationCube* cube : _impl->_cubes) delete cube;
    delete _impl->_metadata;
    delete _impl;
}

void AggregationTable::SetDataWeighted(bool dataWeighted) { _impl->_dataWeighted = dataWeighted; }
bool AggregationTable::GetDataWeighted() const { return _impl->_dataWeighted; }
void AggregationTable::SetPairWiseTest(bool pairWiseTest) { _impl->_pairWiseTest = pairWiseTest; }
bool AggregationTable::GetPairWiseTest() const { return _impl->_pairWiseTest; }
TableMetadata* AggregationTable::GetTableMetaData() { return _impl->_metadata; }

TableDimension* AggregationTable::AddCategoricalVariable(AggregationVariable* var)
{
    TableDimension* dim;
    if (auto* mcSet = dynamic_cast<AggregationMCSet*>(var))
        dim = new TableMCSet(*mcSet);
    else if (auto* mdSet = dynamic_cast<AggregationMDSet*>(var))
        dim = new TableMDSet(*mdSet);
    else if (var)
        dim = new TableCVariable(*var);
    else
        dim = new TableCVariable(-1);
    TableDimension* registered = _impl->_metadata->AddDimension(dim);
    if (registered != dim) delete dim;
    // The description learns its dimension, so that it can name the
    // statistics dimension of a cube later.
    if (var) var->SetTableDimension(registered);
    return registered;
}

AggregationCube* AggregationTable::CreateCube()
{
    auto* cube = new AggregationCube(this);
    _impl->_cubes.push_back(cube);
    return cube;
}

std::vector<AggregationCube*>* AggregationTable::CreateAxisCubes(int howMany, int indexInVector,
                                                                 DimensionPosition position)
{
    KV_ASSERT(indexInVector >= 0);
    KV_ASSERT(howMany > 0);
    std::vector<std::vector<AggregationCube*>>* pAxisCubes = position == TableEncryptionCodes::kRow
                                                                 ? &_impl->_rowAxisCubes
                                                             : position == TableEncryptionCodes::kColumn
                                                                 ? &_impl->_columnAxisCubes
                                                                 : &_impl->_layerAxisCubes;
    if (static_cast<int>(pAxisCubes->size()) < indexInVector) pAxisCubes->resize(static_cast<size_t>(indexInVector));
    KV_ASSERT_TEXT(static_cast<int>(pAxisCubes->size()) == indexInVector, "pAxisCubes->size() == indexInVector");
    std::vector<AggregationCube*> group;
    for (int i = 0; i < howMany; ++i) group.push_back(new AggregationCube(this));
    pAxisCubes->push_back(std::move(group));
    return &pAxisCubes->back();
}

std::vector<CubeAggregator*> AggregationTable::GetCubeAggregators()
{
    size_t nCubes = _impl->_cubes.size();
    KV_ASSERT(nCubes);
    std::vector<CubeAggregator*> aggregators;
    for (AggregationCube* cube : _impl->_cubes) aggregators.push_back(cube->GetCubeAggregator());
    return aggregators;
}

std::vector<std::vector<CubeAggregator*>> AggregationTable::GetAxisCubeAggregators(DimensionPosition position)
{
    const std::vector<std::vector<AggregationCube*>>& axis =
        position == TableEncryptionCodes::kRow      ? _impl->_rowAxisCubes
        : position == TableEncryptionCodes::kColumn ? _impl->_columnAxisCubes
                                                    : _impl->_layerAxisCubes;
    std::vector<std::vector<CubeAggregator*>> result;
    for (const auto& group : axis) {
        std::vector<CubeAggregator*> aggregators;
        for (AggregationCube* cube : group) aggregators.push_back(cube->GetCubeAggregator());
        result.push_back(std::move(aggregators));
    }
    return result;
}

template <typename F> void AggregationTable::ForEachCube(F f)
{
    for (AggregationCube* cube : _impl->_cubes) f(cube);
    for (auto* axis : {&_impl->_rowAxisCubes, &_impl->_columnAxisCubes, &_impl->_layerAxisCubes})
        for (const auto& group : *axis)
            for (AggregationCube* cube : group) f(cube);
}

void AggregationTable::AddNewCase()
{
    if (!_impl->_metadata->EncodeCase()) return;
    ForEachCube([](AggregationCube* cube) { cube->AddNewCase(); });
}

void AggregationTable::CompleteCases()
{
    ForEachCube([](AggregationCube* cube) { cube->CompleteCases(); });
}

void AggregationTable::ResetAggregator()
{
    _impl->_metadata->ResetMetadata();
    ForEachCube([](AggregationCube* cube) { cube->ResetAggregator(); });
}

void AggregationTable::PrintDataDbg()
{
    ForEachCube([](AggregationCube* cube) { cube->PrintDataDbg(); });
}

bool AggregationTable::IsTableEmpty() const
{
    for (AggregationCube* cube : _impl->_cubes)
        if (!cube->IsCubeEmpty()) return false;
    return true;
}

bool AggregationTable::HasEmptyCubes() const
{
    for (AggregationCube* cube : _impl->_cubes)
        if (cube->IsCubeEmpty()) return true;
    return false;
}

void AggregationTable::SetCLabelOption(TableEncryptionCodes::CLabelOption option)
{
    _impl->_metadata->SetClabelOption(option);
}

bool AggregationTable::CountsOnly() const
{
    const std::vector<CubeAggregator*> all = AllAggregators();
    return std::all_of(all.begin(), all.end(), [](const CubeAggregator* a) { return a->CountsOnly(); });
}

// ---- partial tables ---------------------------------------------------------------

std::vector<CubeAggregator*> AggregationTable::AllAggregators() const
{
    std::vector<CubeAggregator*> all;
    const_cast<AggregationTable*>(this)->ForEachCube([&all](AggregationCube* cube) {
        if (cube->GetCubeAggregator()) all.push_back(cube->GetCubeAggregator());
    });
    for (CubeAggregator* aggregator : _impl->_metadata->GetSortAggregators()) all.push_back(aggregator);
    return all;
}

std::uint64_t AggregationTable::Shape() const
{
    std::uint64_t hash = _impl->_metadata->Shape(TableState::Fnv1a(nullptr, 0));
    for (const CubeAggregator* aggregator : AllAggregators()) hash = aggregator->Shape(hash);
    return hash;
}

void AggregationTable::Merge(const AggregationTable& other)
{
    // A table merged into itself would insert into the cells it walks.
    KV_ASSERT(&other != this);
    const std::vector<CubeAggregator*> mine = AllAggregators(), theirs = other.AllAggregators();
    KV_ASSERT(mine.size() == theirs.size());
    const TableDimension::CellIndexMaps maps = _impl->_metadata->MergeDimensions(*other._impl->_metadata);
    for (size_t i = 0; i < mine.size(); ++i) mine[i]->Merge(*theirs[i], maps);
}

std::string AggregationTable::SaveState(std::uint64_t fingerprint, const std::string& hostBytes) const
{
    StateWriter body;
    body.PutU32(static_cast<std::uint32_t>(hostBytes.size()));
    body.PutRaw(hostBytes.data(), hostBytes.size());
    _impl->_metadata->WriteDimensions(body);
    for (const CubeAggregator* aggregator : AllAggregators()) aggregator->WriteCells(body);
    return TableState::Wrap(fingerprint, Shape(), body.Bytes());
}

bool AggregationTable::LoadState(const char* data, std::size_t size, std::uint64_t fingerprint,
                                 std::string& hostBytes, std::string& error)
{
    const char* body = nullptr;
    std::size_t bodySize = 0;
    if (!TableState::Unwrap(data, size, fingerprint, Shape(), body, bodySize, error)) return false;
    StateReader in(body, bodySize);
    std::uint32_t hostSize = 0;
    bool ok = in.GetCount(hostSize, 1);
    hostBytes.assign(hostSize, '\0');
    ok = ok && in.GetRaw(hostBytes.data(), hostSize);
    TableDimension::CellIndexMaps maps;
    ok = ok && _impl->_metadata->ReadDimensions(in, maps);
    for (CubeAggregator* aggregator : AllAggregators()) ok = ok && aggregator->ReadCells(in, maps);
    if (ok && in.Left() == 0) return true;
    // The checksum matched, so the bytes are as written: by a program that
    // wrote this request's state otherwise.
    error = "damaged table state: its cells do not fit the request's tables";
    return false;
}
