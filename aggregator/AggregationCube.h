// One cube of a table: a combination of row, column and layer dimensions
// whose cells are aggregated together.
#ifndef KVAGGR_AGGREGATIONCUBE_H
#define KVAGGR_AGGREGATIONCUBE_H

#include <vector>

#include "AggregationStatistic.h"
#include "TableEncryptionCodes.h"

class AggregationTable;
class AggregationVariable;
class CubeAggregator;
class CubeMetadata;

class AggregationCube {
public:
    explicit AggregationCube(AggregationTable* table);
    virtual ~AggregationCube();
    AggregationCube(const AggregationCube&) = delete;
    AggregationCube& operator=(const AggregationCube&) = delete;

    // Rows first, then columns, then layers: positions never decrease.
    void AddCategoricalVariable(AggregationVariable* var, TableEncryptionCodes::DimensionPosition position);
    // Copies the cube's dimensions into a new aggregator; a second call does nothing.
    void CreateCubeAggregator();
    void AddCategoryStatistics(std::vector<AggregationStatistic> const& stats, AggregationVariable* statVar);
    void AddCategoryAndTotalStatistics(std::vector<AggregationStatistic> const& stats, AggregationVariable* statVar,
                                       std::vector<AggregationStatistic> const& totalStats);
    void AddScaleStatistics(std::vector<AggregationStatistic> const& stats);
    CubeAggregator* GetCubeAggregator();
    CubeMetadata* GetCubeMetadata();
    void SetCILevel(double level);
    double GetCILevel() const;

    void AddNewCase();
    void CompleteCases();
    void ResetAggregator();
    bool IsCubeEmpty() const;
    void PrintDataDbg();

private:
    struct AggregationCubeImpl;
    AggregationCubeImpl* _impl;  // owned
};

#endif
