// The public face of the library: one table over the host's case iterator,
// its main cubes and axis cubes, and the routing of every call to them in a
// fixed order (main cubes in creation order, then the row, column and layer
// axis cubes group by group).
#ifndef KVAGGR_AGGREGATIONTABLE_H
#define KVAGGR_AGGREGATIONTABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
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
    // True when every cube counts cases only (weighted, unweighted and
    // effective counts, responses, valid and total N, percentages): then a
    // case may stand for several identical ones (CaseMultiplicity), which no
    // mean, extreme or value map could take.
    bool CountsOnly() const;

    // ---- partial tables: one request, the data cut into parts ----
    // Each part is a table built by the same calls and fed its own cases.
    // Merge folds `other` into this table (categories aligned by value, then
    // every cube's cells and percentage bases, the sort aggregators and the
    // valid counts); merging the parts in data order gives the tables of one
    // pass: counts and extremes exactly, weighted sums to rounding. Call
    // CompleteCases after the last merge. The cost grows with the cells and
    // categories of `other`, never with its cases.
    void Merge(const AggregationTable& other);
    // The state as bytes (TableState.h) carrying `fingerprint`, the caller's
    // mark of the request, which LoadState checks, and `hostBytes`, counts
    // of the caller's own that travel with the state.
    std::string SaveState(std::uint64_t fingerprint, const std::string& hostBytes = std::string()) const;
    // Merges a state that SaveState wrote, as Merge would merge its table,
    // and hands back its host bytes. False, with a one-line reason, for a
    // blob of another request, a truncated or a damaged one: this table may
    // then hold part of it and is to be discarded, so load into a fresh
    // table and Merge that.
    bool LoadState(const char* data, std::size_t size, std::uint64_t fingerprint, std::string& hostBytes,
                   std::string& error);

private:
    struct AggregationTableImpl;
    template <typename F> void ForEachCube(F f);
    // Every aggregator in the fixed cube order, then the sort aggregators.
    std::vector<CubeAggregator*> AllAggregators() const;
    std::uint64_t Shape() const;
    AggregationTableImpl* _impl;  // owned
};

#endif
