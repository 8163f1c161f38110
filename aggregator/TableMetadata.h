// What all cubes of one table share: the distinct dimensions, the readers of
// the scale variables with their valid counts, the weight of the current case,
// the label option and the aggregators that sort categories by a statistic.
//
// EncodeCase is the first step of every case: it decides whether the case
// takes part at all, before any cube sees it.
#ifndef KVAGGR_TABLEMETADATA_H
#define KVAGGR_TABLEMETADATA_H

#include <map>
#include <vector>

#include "TableEncryptionCodes.h"
#include "TableState.h"
#include "VESK_InputCaseIterator.h"

class AggregationStatistic;
class CubeAggregator;
class KvAggrCaseValueReader;
class TableDimension;

class TableMetadata {
public:
    TableMetadata(VESK_InputCaseIterator& iterator, bool listwise, int baseWeightIndex);
    // Registers one categorical-variable dimension per index (an index given
    // twice shares one dimension).
    TableMetadata(std::vector<int>& varIndices, VESK_InputCaseIterator& iterator, bool listwise,
                  int baseWeightIndex);
    // Destroys the dimensions and the readers; the sort aggregators belong to
    // their cubes.
    ~TableMetadata();
    TableMetadata(const TableMetadata&) = delete;
    TableMetadata& operator=(const TableMetadata&) = delete;

    // The registered dimension equal to `dimension`, when there is one (the
    // caller then destroys its own object); otherwise `dimension` itself,
    // now bound to the iterator and owned by the metadata.
    TableDimension* AddDimension(TableDimension* dimension);
    TableDimension* GetDimension(int i) const { return _dimensions[static_cast<size_t>(i)]; }
    int NumberOfDimensions() const { return static_cast<int>(_dimensions.size()); }

    VESK_InputCaseIterator* GetIterator() const { return _iterator; }
    // Null when the iterator is not the host's procedure iterator.
    ProcDSIterator* GetProcIterator() const { return _procIterator; }
    bool GetListwise() const { return _listwise; }
    int GetBaseWeightIndex() const { return _baseWeightIndex; }
    TableEncryptionCodes::CLabelOption GetClabelOption() const { return _cLabelOption; }
    void SetClabelOption(TableEncryptionCodes::CLabelOption option) { _cLabelOption = option; }

    std::vector<KvAggrCaseValueReader*>& GetCaseReaders() { return _caseValues; }
    // Per reader, the number of cases so far whose value was valid.
    const std::vector<double>& GetValidCount() const { return _validCount; }
    // The cube aggregators keep this pointer and read it at every case.
    const double* GetCaseWeight() const { return &_caseWeight; }
    // How many cases the current one stands for (the iterator's, or one).
    const CaseMultiplicity* GetMultiplicity() const { return _multiplicity; }

    // One reader position per statistic, in the order given; a variable is
    // read once per case however many statistics and cubes use it.
    std::vector<int> GetCaseIndex(std::vector<AggregationStatistic> const& stats);
    unsigned int GetCaseReaderVarIndex(int pos) const;

    // A null aggregator is ignored.
    void AddSortAggregator(CubeAggregator* aggregator);
    const std::vector<CubeAggregator*>& GetSortAggregators() const { return _sortAggregators; }

    // Encodes the current case in every dimension, decides the validity of
    // every scale value and reads the case weight. False when there are
    // dimensions and none of them accepts the case.
    bool EncodeCase();

    // ---- partial tables (AggregationTable::Merge) ----
    // Merges the categories of every dimension and the valid counts of
    // `other`, built by the same calls; the answers of MergeCategories.
    std::map<const TableDimension*, std::vector<int>> MergeDimensions(const TableMetadata& other);
    void WriteDimensions(StateWriter& out) const;
    bool ReadDimensions(StateReader& in, std::map<const TableDimension*, std::vector<int>>& maps);
    std::uint64_t Shape(std::uint64_t hash) const;

    // Prepares a further pass over the data.
    void ResetMetadata();
    // Forgets the dimensions (without destroying them) and destroys the
    // readers. The variable-to-reader map survives on purpose, so a later
    // GetCaseIndex of a known variable answers its old position.
    void Clear();
    // As Clear, but destroys the dimensions first.
    void ClearDeep();

private:
    void DestroyReaders();

    std::vector<TableDimension*> _dimensions;  // owned
    VESK_InputCaseIterator* _iterator;         // not owned
    ProcDSIterator* _procIterator;             // _iterator, when it is a procedure iterator
    bool _listwise;
    int _baseWeightIndex;  // a weight variable, or negative for the iterator's own weight
    std::vector<KvAggrCaseValueReader*> _caseValues;  // owned
    std::vector<double> _validCount;                  // parallel to _caseValues
    std::map<int, int> _readerIndex;                  // variable index to reader position
    double _caseWeight;
    const CaseMultiplicity* _multiplicity;
    TableEncryptionCodes::CLabelOption _cLabelOption;
    std::vector<CubeAggregator*> _sortAggregators;  // not owned
};

#endif
