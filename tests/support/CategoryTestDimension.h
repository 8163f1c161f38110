// A small stand-in dimension for the category-model tests: it encodes the
// values of one variable (or the members of a set) of an in-memory dataset
// by first appearance, and builds its categories through the category
// manager the way the real dimensions do.
#ifndef KVAGGR_TESTS_CATEGORYTESTDIMENSION_H
#define KVAGGR_TESTS_CATEGORYTESTDIMENSION_H

#include <memory>
#include <vector>

#include "InMemoryDataset.h"
#include "ObsVecMap.h"
#include "TableDimension.h"

namespace kvtest {

class CategoryTestDimension : public TableDimension {
public:
    CategoryTestDimension(const AggregationVariable& var, std::vector<int> indices, DimensionType type = kCVariable);
    CategoryTestDimension(std::vector<int> indices, DimensionType type = kCVariable, int numCatCells = 3);
    ~CategoryTestDimension() override;

    bool EncodeValue() override;
    const std::vector<AggregationCategory*>& GetCategoryPointers() override;
    std::vector<int> VariableIndex() const override { return _indices; }
    std::vector<KvAggrCaseValueReader*> GetCaseValues() const override { return {}; }
    void SetIterator(VESK_InputCaseIterator& iterator) override;
    int GetCategoryEncoding(const OBS* value) const override;
    int GetNumberOfValues() const override { return _map ? _map->Size() : 0; }
    void ResetDimension() override;
    using TableDimension::GetCategoryEncoding;

    // Attaches to the dataset and runs every case through EncodeValue.
    void Feed(InMemoryDataset& dataset);
    // Statistic values handed to OrderByStats when the variable is sorted by
    // a statistic (the sort aggregator does not exist in these tests).
    void SetSortValues(std::vector<double> values) { _sortValues = std::move(values); }
    // Direct access to the per-case cell list.
    void SetFirstCell(int cell)
    {
        _lastCatCell = 0;
        _catCells[0] = cell;
    }
    void SetValueTypeForTest(int valueType) { _valueType = valueType; }
    // Registers a value as seen (at the dimension's width) and returns its cell.
    int AddValue(const OBS* value);

private:
    std::vector<int> _indices;
    std::unique_ptr<ObsVecMap> _map;
    std::unique_ptr<DatasetIterator> _ownIterator;
    std::vector<double> _sortValues;
};

// A numeric OBS word.
inline OBS Num(double value)
{
    OBS word;
    word.num = value;
    return word;
}

// The words of a blank-padded string value of `width` bytes.
std::vector<OBS> Str(const std::string& text, int width);

}  // namespace kvtest

#endif
