// The public face of the library: one table over the host's case iterator,
// its main cubes and axis cubes, and the routing of every call to them in a
// fixed order (main cubes in creation order, then the row, column and layer
// axis cubes group by group).
#ifndef KVAGGR_AGGREGATIONTABLE_H
#define KVAGGR_AGGREGATIONTABLE_H

#include <vector>

#include "TableEncryptionCodes.h"
#include "VESK_InputCaseIterator.h"

class AggregationCube;
class AggregationVariable;
class CubeAggregator;
class TableDimension;
class TableMetadata;

class AggregationTable {
public:
    // The metadata's listwise flag is the negation of pairWiseTest, fixed here.
    AggregationTable(VESK_InputCaseIterator& iterator, bool dataWeighted, bool pairWiseTest, int weightIndex);
    // Destroys the main cubes and the metadata; the axis cubes belong to
    // whoever asked for them.
    virtual ~AggregationTable();
    AggregationTable(const AggregationTable&) = delete;
    AggregationTable& operator=(const AggregationTable&) = delete;

    void SetDataWeighted(bool dataWeighted);
    bool GetDataWeighted() const;
    void SetPairWiseTest(bool pairWiseTest);
    bool GetPairWiseTest() const;
    TableMetadata* GetTableMetaData();

    // The shared dimension of a variable or set (one per distinct description).
    TableDimension* AddCategoricalVariable(AggregationVariable* var);
    AggregationCube* CreateCube();
    std::vector<AggregationCube*>* CreateAxisCubes(int howMany, int indexInVector,
                                                   TableEncryptionCodes::DimensionPosition position);
    std::vector<CubeAggregator*> GetCubeAggregators();
    std::vector<std::vector<CubeAggregator*>> GetAxisCubeAggregators(TableEncryptionCodes::DimensionPosition position);

    void AddNewCase();
    void CompleteCases();
    void ResetAggregator();
    void PrintDataDbg();
    bool IsTableEmpty() const;
    bool HasEmptyCubes() const;
    void SetCLabelOption(TableEncryptionCodes::CLabelOption option);

private:
    struct AggregationTableImpl;
    template <typename F> void ForEachCube(F f);
    AggregationTableImpl* _impl;  // owned
};

#endif
