// Turns the categories a dimension found in the data into the dimension's
// final, ordered category list: empty categories from value labels and listed
// values, the items of an explicit list with their subtotals and computed
// categories, and ordering by value, by label or by a statistic.
//
// The manager owns none of the categories: the dimension keeps the pointers
// that the manager hands back, including the ones the manager creates.
#ifndef KVAGGR_CATEGORYMANAGER_H
#define KVAGGR_CATEGORYMANAGER_H

#include <vector>

#include "AggregationCategory.h"
#include "AggregationVariable.h"
#include "ParsedCategory.h"
#include "TableDimension.h"
#include "TableEncryptionCodes.h"
#include "VESK_DataSource.h"

class CategoryManager {
public:
    typedef int VarIndex;

    // The data source is that of the dimension's case iterator.
    CategoryManager(const std::vector<AggregationCategory*>& dataCategories, const AggregationVariable& variable,
                    TableDimension* dimension);
    CategoryManager(const std::vector<AggregationCategory*>& dataCategories, const AggregationVariable& variable,
                    const VESK_DataSource& dataSource, TableDimension* dimension);
    ~CategoryManager();
    CategoryManager(const CategoryManager&) = delete;
    CategoryManager& operator=(const CategoryManager&) = delete;

    void SetValueType(int valueType) { _valueType = valueType; }
    void SetVarIndex(int varIndex) { _varIndex = varIndex; }

    // Final list of a plain variable; returns its length.
    int OrderCategories();
    // Merges categories found later; returns the new length.
    int AddCategories(const std::vector<AggregationCategory*>& more);
    // One value per category, total excluded, in list order; the caller must
    // not rely on the order of `values` afterwards.
    int OrderByStats(std::vector<double>& values);
    int OrderMCCategories(int valueType);
    int OrderMDCategories();

    // Building steps, public for the dimensions and for tests.
    int GetAllLabeledValues();
    void GetAllCatsForExplicitList(bool checkMissing);
    void GetCatLabels();
    void ProcessSubtotalsAndMerge();
    void ProcessPComputeCategories();
    void SortCategoriesByLabels();
    VarIndex GetVarIndexForLabel(AggregationCategory* category) const;
    void GetMCCatLabels();
    void GetAllMCLabeledValues();
    void GetAllMCCatsForExplicitList(bool checkMissing);

    // The result: the visible list (with the total first or last) and the
    // categories hidden under hidden subtotals.
    const std::vector<AggregationCategory*>& GetCategories() const { return _categories; }
    const std::vector<AggregationCategory*>& GetHiddenCategories() const { return _hiddenCategories; }
    const std::vector<ParsedCategory*>& GetParsedCategories() const { return _parsedCategories; }
    int GetValueType() const { return _valueType; }
    int GetVarIndex() const { return _varIndex; }
    const std::vector<int>& GetVarIndices() const { return _varIndices; }
    // 0 total first, 1 total last, 2 no total.
    int GetTotalPosition() const { return _totalPosition; }
    const VESK_Variable* GetMissingVariable() const { return _missingVariable; }

private:
    // Calls visit(member, variable, memberType, value, label) for every value
    // label of every set member whose type fits the set's.
    template <typename Visit>
    void ForEachMemberLabel(Visit visit);
    enum TotalPosition { kTotalFirst = 0, kTotalLast = 1, kNoTotal = 2 };

    void Init(const std::vector<AggregationCategory*>& dataCategories, const AggregationVariable& variable);
    // Any item of type kMissing or kOtherNM: only then does missingness
    // matter when matching values to items.
    bool ListNeedsMissing() const;
    // The variable's missing-value verdict on a value of `valueType`.
    bool IsMissing(const VESK_Variable* variable, const OBS& value, int valueType) const;
    // The parsed kVariable item of a member variable (asserted present and,
    // when `mustBeEmpty`, still without a category).
    ParsedCategory* VariableItem(int varIndex, bool mustBeEmpty) const;
    // Inserts by value before the trailing total (or after the leading one).
    void InsertByValue(AggregationCategory* category, int compareWidth);
    // A kValue category for a listed value that no case and no label produced.
    AggregationCategory* MakeListedValueCategory(const ParsedCategory* item, int varIndex, int valueType) const;
    // An empty category (encoding 0, no case yet) for a value that carries a
    // value label: `value` is `valueWidth` wide, the category `valueType`.
    static AggregationCategory* MakeLabelledValueCategory(int varIndex, int valueType, const OBS& value,
                                                          int valueWidth, const char* label);
    // Splits off the total by _totalPosition; returns it or null.
    AggregationCategory* TakeTotalOut(std::vector<AggregationCategory*>& rest) const;
    void PutTotalBack(AggregationCategory* total, std::vector<AggregationCategory*>& list) const;

    std::vector<AggregationCategory*> _categories;
    std::vector<AggregationCategory*> _hiddenCategories;
    std::vector<ParsedCategory*> _parsedCategories;
    bool _includeEmpty;
    bool _descending;
    bool _sortByLabel;
    bool _totalAfter;
    bool _includeMissing;
    TableEncryptionCodes::SortKey _sortKey;
    int _varIndex;
    std::vector<int> _varIndices;
    int _valueType;
    const VESK_DataSource& _dataSource;
    const VESK_Variable* _missingVariable;  // may be null
    TableDimension* _dimension;             // not owned
    int _totalPosition;
};

#endif
