// The dimension of a multiple-category set: the values of all member
// variables are categories of one dimension, so a case can fall into several
// categories at once. Each distinct category a case hits yields one cell (with
// the cell of the listed subtotal holding it); duplicate hits within a case
// are ignored or counted, as the cube asks.
#ifndef KVAGGR_TABLEMCSET_H
#define KVAGGR_TABLEMCSET_H

#include <utility>
#include <vector>

#include "TableDimension.h"

class AggregationMCSet;
class CategoryManager;
class ObsVecMap;
class VESK_Variable;

class TableMCSet : public TableDimension {
public:
    explicit TableMCSet(const AggregationMCSet& set);
    ~TableMCSet() override;

    // One word of eight blanks.
    static const OBS* Blanks();

    bool EncodeValue() override;
    const std::vector<AggregationCategory*>& GetCategoryPointers() override;
    std::vector<int> VariableIndex() const override { return _indexList; }
    std::vector<KvAggrCaseValueReader*> GetCaseValues() const override { return _readers; }
    // The readers, the value map and the widths are made on the first call;
    // a later call with another iterator only renews the readers.
    void SetIterator(VESK_InputCaseIterator& iterator) override;
    // `value` at the set's width.
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

    int GetUserMissingVariable() const { return _userMissingVariable; }
    int GetSetWords() const { return _setWords; }
    bool GetUniformWidth() const { return _uniformWidth; }
    // Data-source index of the first of the widest members.
    int GetWidestVarIndex() const { return _widestVarIndex; }

private:
    // The user-missing member's verdict on a value held at the set's width
    // (`width` is the member's own).
    bool IsUserMissing(const OBS* value, int width) const;
    // The case's entry for a cell, or end().
    std::vector<std::pair<int, int>>::iterator FindCatCount(int cell);
    // Enters a cell with one hit, keeping the descending order.
    void InsertCatCount(int cell);
    void CreateReaders(VESK_InputCaseIterator& iterator);

    std::vector<int> _indexList;
    ObsVecMap* _valueMap;  // owned; value at set width -> (cell index, subtotal encoding)
    std::vector<KvAggrCaseValueReader*> _readers;  // owned, in _indexList order
    int _userMissingVariable;                      // negative when none
    const VESK_Variable* _userMissingVar;          // not owned
    std::vector<int> _varWords;
    int _setWords;
    bool _uniformWidth;
    OBS* _paddedValue;  // owned, _setWords words; only when the widths differ
    // Per case: cell index -> hits. The cells must come out in descending
    // index order; an ordered map would allocate a node per hit on every case,
    // so this is a small vector kept sorted descending and cleared (not freed)
    // between cases: with its capacity reserved for every possible cell it
    // never allocates on the per-case path.
    std::vector<std::pair<int, int>> _catCount;
    int _widestVarIndex;
};

#endif
