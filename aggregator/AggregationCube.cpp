#include "AggregationCube.h"

#include "AggregationTable.h"
#include "AggregationVariable.h"
#include "CubeAggregator.h"
#include "CubeMetadata.h"
#include "KvAssert.h"
#include "TableMetadata.h"

struct AggregationCube::AggregationCubeImpl {
    AggregationTable* _table = nullptr;      // not owned
    CubeAggregator* _aggregator = nullptr;   // owned
    CubeMetadata* _cubeMetadata = nullptr;   // owned
};

AggregationCube::AggregationCube(AggregationTable* table) : _impl(new AggregationCubeImpl)
{
    _impl->_table = table;
    _impl->_cubeMetadata = new CubeMetadata();
}

AggregationCube::~AggregationCube()
{
    delete _impl->_aggregator;
    delete _impl->_cubeMetadata;
    delete _impl;
}

void AggregationCube::AddCategoricalVariable(AggregationVariable* var, TableEncryptionCodes::DimensionPosition position)
{
    AggregationVariable* catVar = var;
    KV_ASSERT(catVar);
    TableDimension* catVarDim = _impl->_table->AddCategoricalVariable(catVar);
    KV_ASSERT(catVarDim);
    _impl->_cubeMetadata->AddDimension(catVarDim, position);
}

void AggregationCube::CreateCubeAggregator()
{
    if (_impl->_aggregator) return;
    TableMetadata* parentMetaData = _impl->_table->GetTableMetaData();
    KV_ASSERT(parentMetaData);
    _impl->_aggregator = new CubeAggregator(*parentMetaData, *_impl->_cubeMetadata);
}

void AggregationCube::AddCategoryStatistics(std::vector<AggregationStatistic> const& stats, AggregationVariable* statVar)
{
    KV_ASSERT(statVar);
    TableDimension* statVarDim = statVar->GetTableDimension();
    KV_ASSERT(statVarDim);
    _impl->_aggregator->SetCellStatistics(stats, statVarDim);
}

void AggregationCube::AddCategoryAndTotalStatistics(std::vector<AggregationStatistic> const& stats,
                                                    AggregationVariable* statVar,
                                                    std::vector<AggregationStatistic> const& totalStats)
{
    KV_ASSERT(statVar);
    TableDimension* statVarDim = statVar->GetTableDimension();
    KV_ASSERT(statVarDim);
    _impl->_aggregator->SetTotalStatistics(stats, statVarDim, totalStats);
}

void AggregationCube::AddScaleStatistics(std::vector<AggregationStatistic> const& stats)
{
    _impl->_aggregator->SetCellStatistics(stats, nullptr);
    if (_impl->_table->GetPairWiseTest()) _impl->_aggregator->SetPairwiseTest(_impl->_table->GetDataWeighted());
}

CubeAggregator* AggregationCube::GetCubeAggregator() { return _impl->_aggregator; }
CubeMetadata* AggregationCube::GetCubeMetadata() { return _impl->_cubeMetadata; }

void AggregationCube::SetCILevel(double level)
{
    if (_impl->_aggregator) _impl->_aggregator->SetCILevel(level);
}

double AggregationCube::GetCILevel() const { return _impl->_aggregator ? _impl->_aggregator->GetCILevel() : 95.0; }

void AggregationCube::AddNewCase() { _impl->_aggregator->AddNewCase(); }
void AggregationCube::CompleteCases() { _impl->_aggregator->CompleteCases(); }
void AggregationCube::ResetAggregator() { _impl->_aggregator->ResetAggregator(); }
bool AggregationCube::IsCubeEmpty() const { return !_impl->_aggregator || _impl->_aggregator->IsCubeEmpty(); }
void AggregationCube::PrintDataDbg() { _impl->_aggregator->PrintCubeDataDbg(" Aggregated output "); }
