// The dimension of a multiple-dichotomy set: every member variable is one
// category, hit by a case whose value of that member equals the set's counted
// value. The categories follow from the set's definition, not from the data:
// they are named after the members and labelled with the member's label or
// with the counted value's label. Listed subtotals group runs of members.
#ifndef KVAGGR_TABLEMDSET_H
#define KVAGGR_TABLEMDSET_H

#include <cstdint>
#include <memory>
#include <vector>

#include "TableDimension.h"

class AggregationMDSet;
class CategoryManager;
class VESK_DataSource;

class TableMDSet : public TableDimension {
public:
    explicit TableMDSet(const AggregationMDSet& set);
    ~TableMDSet() override;

    // With an explicit list, the members and their subtotals are the list's
    // kVariable items, in list order. Called by the constructor.
    void SetParsedVariables();

    bool EncodeValue() override;
    const std::vector<AggregationCategory*>& GetCategoryPointers() override;
    std::vector<int> VariableIndex() const override { return _indexList; }
    std::vector<KvAggrCaseValueReader*> GetCaseValues() const override { return _readers; }
    void SetIterator(VESK_InputCaseIterator& iterator) override;
    // `varInd` carries a member's variable index as a number.
    int GetCategoryEncoding(const OBS* varInd) const override;
    int GetNumberOfValues() const override { return static_cast<int>(_indexList.size()); }
    // The encodings handed out to members stay: they depend on the order of
    // first hits across all passes.
    void ResetDimension() override;
    std::vector<int> MergeCategories(const TableDimension& other) override;
    void WriteCategories(StateWriter& out) const override;
    bool ReadCategories(StateReader& in, std::vector<int>& cellIndex) override;
    using TableDimension::GetCategoryEncoding;

    // Names the members' categories after their variables and labels them.
    void PrepareMDCategories(const VESK_DataSource& ds);

    const OBS* GetCountedValue() const { return _countedValue; }
    uint64_t GetValueSize() const { return _valueSize; }
    int GetLastEncoding() const { return _lastEncoding; }
    const std::vector<int>& GetVarEncodings() const { return _varEncodings; }
    const std::vector<int>& GetVarSubtotals() const { return _varSubtotals; }
    const std::vector<uint64_t>& GetVarSizes() const { return _varSizes; }

private:
    // Appends a cell of the case (the first one replaces the previous case's).
    void AddCell(int cell, int count, bool& first);
    // The category of member `iVar`, or null when it is left out.
    AggregationCategory* MakeVariableCategory(size_t iVar) const;
    AggregationCategory* MakeSubtotalCategory(int encoding) const;
    // MergeCategories over the other part's member encodings.
    std::vector<int> MergeEncodings(const std::vector<int>& theirs);

    std::vector<int> _indexList;
    std::vector<KvAggrCaseValueReader*> _readers;  // owned, in _indexList order
    std::vector<uint64_t> _varSizes;               // bytes compared per member
    OBS* _countedValue;                            // _countedInPlace or _countedBuffer
    uint64_t _valueSize;
    int _lastEncoding;
    std::vector<int> _varEncodings;  // 0 until the member is first hit
    std::vector<int> _varSubtotals;  // per member, its listed subtotal encoding (0 for none)
    const AggregationMDSet* _set;    // not owned
    OBS _countedInPlace;
    std::unique_ptr<OBS[]> _countedBuffer;
};

#endif
