// The dimension of one categorical variable. Every distinct value gets a
// category cell index in the order in which values are first met (1, 2, 3 ...);
// the display order is settled only when the categories are built.
#ifndef KVAGGR_TABLECVARIABLE_H
#define KVAGGR_TABLECVARIABLE_H

#include <vector>

#include "TableDimension.h"

class AggregationVariable;
class CategoryManager;
class ObsVecMap;

class TableCVariable : public TableDimension {
public:
    // A case yields at most its category, the total and one subtotal.
    static constexpr int MAX_CATCELLS_SIZE = 3;

    explicit TableCVariable(const AggregationVariable& var);
    // Without a description: no explicit list, the base's defaults.
    explicit TableCVariable(int varIndex);
    ~TableCVariable() override;

    bool EncodeValue() override;
    const std::vector<AggregationCategory*>& GetCategoryPointers() override;
    std::vector<int> VariableIndex() const override { return {_varIndex}; }
    std::vector<KvAggrCaseValueReader*> GetCaseValues() const override { return {_reader}; }
    // Discards any earlier reader and value map.
    void SetIterator(VESK_InputCaseIterator& iterator) override;
    int GetCategoryEncoding(const OBS* value) const override;
    int GetNumberOfValues() const override;
    void ResetDimension() override;
    std::vector<int> MergeCategories(const TableDimension& other) override;
    void WriteCategories(StateWriter& out) const override { WriteValueMap(*_valueMap, out); }
    bool ReadCategories(StateReader& in, std::vector<int>& cellIndex) override
    {
        return ReadValueMap(*_valueMap, in, cellIndex);
    }
    using TableDimension::GetCategoryEncoding;

    int GetVarIndex() const { return _varIndex; }
    const ObsVecMap* GetValueMap() const { return _valueMap; }
    KvAggrCaseValueReader* GetReader() const { return _reader; }

private:
    // The single cell of a case that the dimension does not encode.
    bool NotEncoded();

    int _varIndex;
    ObsVecMap* _valueMap;            // owned; value -> (cell index, subtotal encoding)
    KvAggrCaseValueReader* _reader;  // owned
};

#endif
