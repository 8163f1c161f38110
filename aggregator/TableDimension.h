// The abstract dimension of a table: what one categorical variable or
// multiple-response set contributes to the cell keys of every case.
//
// For each case the table metadata calls EncodeValue; the dimension then
// holds the case's category cell indices in _catCells[0 .. _lastCatCell]
// (ordinary categories from kMinCategory up, kTotalCategory, subtotals,
// kNoCategory, kUnlistedCategory). The cube engine reads those cells for
// every case, so the accessors below are inline reads.
#ifndef KVAGGR_TABLEDIMENSION_H
#define KVAGGR_TABLEDIMENSION_H

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "AggregationVariable.h"
#include "KvAssert.h"
#include "OBS.h"
#include "TableState.h"
#include "TableEncryptionCodes.h"
#include "VESK_InputCaseIterator.h"

class AggregationCategory;
class AggregationStatistic;
class CategoryManager;
class ObsVecMap;
class CubeAggregator;
class CubeMetadata;
class KvAggrCaseValueReader;
class ParsedCategory;
class TableMetadata;

class TableDimension {
public:
    enum DimensionType {
        kCVariable = 1,  // TableCVariable
        kMCSet = 2,      // TableMCSet
        kMDSet = 3       // TableMDSet
    };

    TableDimension(int numCatCells, DimensionType type);
    // Takes the layout settings and the explicit list from the description.
    TableDimension(int numCatCells, DimensionType type, const AggregationVariable& var);
    // Deletes the categories in _categories. The second category vector
    // belongs to the subclass, which deletes it.
    virtual ~TableDimension();
    TableDimension(const TableDimension&) = delete;
    TableDimension& operator=(const TableDimension&) = delete;

    // Encodes the current case into _catCells; true when the case counts in
    // this dimension.
    virtual bool EncodeValue() = 0;
    // Builds (or returns the already built) categories shown to the host.
    virtual const std::vector<AggregationCategory*>& GetCategoryPointers() = 0;
    // Data-source indices of the variables the dimension reads.
    virtual std::vector<int> VariableIndex() const = 0;
    virtual std::vector<KvAggrCaseValueReader*> GetCaseValues() const = 0;
    virtual void SetIterator(VESK_InputCaseIterator& iterator) = 0;
    // Cell index of a stored value (the dimension's own width), or
    // kNoCategory when it was never seen.
    virtual int GetCategoryEncoding(const OBS* value) const = 0;
    virtual int GetNumberOfValues() const = 0;
    // Forgets the values seen, then ResetDimensionBase().
    virtual void ResetDimension() = 0;

    // --- merging the same dimension of another part's table ---
    // By dimension of a table, the answers of MergeCategories.
    typedef std::map<const TableDimension*, std::vector<int>> CellIndexMaps;
    // Each part numbers its categories in the order it met them. These make
    // this dimension know every category of the other part, numbering the
    // ones it lacks after its own in the order the other met them (so parts
    // merged in data order number their categories as one pass would), and
    // answer, indexed by the other's cell index, this dimension's (entry 0
    // unused). The categories shown are built again afterwards.
    virtual std::vector<int> MergeCategories(const TableDimension& other) = 0;
    virtual void WriteCategories(StateWriter& out) const = 0;
    // The same from bytes WriteCategories wrote; false when they are damaged.
    virtual bool ReadCategories(StateReader& in, std::vector<int>& cellIndex) = 0;

    // --- the per-case cell list ---
    void AddCategoryCell(int cell)
    {
        ++_lastCatCell;
        KV_ASSERT(_lastCatCell < _numCatCells);
        _catCells[_lastCatCell] = cell;
    }
    // Walks the cells: start from -1, stop when currentCatCell reaches
    // GetLastCatCell().
    int NextCategoryCell(int& currentCatCell) const
    {
        KV_ASSERT(currentCatCell < _lastCatCell);
        ++currentCatCell;
        return _catCells[currentCatCell];
    }
    int GetCellCount(int currentCatCell) const
    {
        KV_ASSERT(currentCatCell <= _lastCatCell);
        return _catCellCounts[currentCatCell];
    }
    void SetComputingCounts()
    {
        _computingCounts = true;
        _catCellCounts.resize(static_cast<size_t>(_numCatCells), 0);
    }
    void SetComputingCounts(bool countDuplicates)
    {
        SetComputingCounts();
        _countDuplicates = countDuplicates;
    }

    // --- totals ---
    void SetTotal(bool isPositionAfter)
    {
        _hasTotal = true;
        _computingTotal = true;
        _isTotalPositionAfter = isPositionAfter;
    }
    // A total that is computed but not shown.
    void SetComputingTotal() { _computingTotal = true; }
    void SetTotalLabel(std::string& label, bool isDefault)
    {
        _totalLabel = label;
        _isTotalLabelDefault = isDefault;
    }
    // A new total category (type kTotal, encoding kTotalCategory); the caller
    // owns it.
    AggregationCategory* GetTotalCategoryPtr() const;
    // A new "None valid" placeholder for a dimension without any valid
    // category; the caller owns it.
    AggregationCategory* GetDummyCategoryPtr() const;

    // --- the explicit category list ---
    void SetParsedCategories(const std::vector<ParsedCategory*>& categories);
    // The listed item that holds the value, searched from the last item so
    // that a later item wins; the kOtherNM item for an unlisted valid value;
    // null otherwise. A negative valueType means the items' own width.
    ParsedCategory* ExplicitListContains(const OBS& value, bool isMissing, int valueType) const;

    // Cell index of a value of another width than the dimension's.
    int GetCategoryEncoding(const OBS* value, int valueType) const;

    // Deletes the host-visible categories so that they are built again.
    void ResetDimensionBase();

    // --- sorting by a statistic (defined with the cube engine) ---
    void SetSortByScaleStats(TableMetadata& metadata, const AggregationStatistic& statistic);
    void SetSortByDimensionStats(TableMetadata& metadata, TableDimension* other,
                                 const AggregationStatistic& statistic);
    void GetSortValues(std::vector<double>& values) const;

    // Two dimensions are equal when they would encode every case alike and
    // build the same categories, so that a variable used in several cubes,
    // or twice in one, shares one dimension: the same kind, and either the
    // very same description object, or (both built without a description)
    // the same variable indices in the same order. A description and its copy
    // are different objects and may differ later, so they do not share.
    bool operator==(const TableDimension& other) const;
    bool operator!=(const TableDimension& other) const { return !(*this == other); }

    // --- accessors ---
    DimensionType GetDimensionType() const { return _dimensionType; }
    int GetNumCatCells() const { return _numCatCells; }
    const std::vector<int>& GetCatCells() const { return _catCells; }
    int GetCatCell(int i) const { return _catCells[i]; }
    const std::vector<int>& GetCatCellCounts() const { return _catCellCounts; }
    int GetLastCatCell() const { return _lastCatCell; }
    int GetCaseResponseCount() const { return _caseResponseCount; }
    bool GetComputingCounts() const { return _computingCounts; }
    bool GetCountDuplicates() const { return _countDuplicates; }
    VESK_InputCaseIterator* GetIterator() const { return _iterator; }
    int GetValueType() const { return _valueType; }
    bool GetCaseValid() const { return _caseValid; }
    bool HasSyntaxVariable() const { return _syntaxVariable != nullptr; }
    const AggregationVariable& GetSyntaxVariable() const
    {
        KV_ASSERT(_syntaxVariable);
        return *_syntaxVariable;
    }
    bool GetIsEmptyInclude() const { return _isEmptyInclude; }
    bool GetIncludeMissing() const { return _includeMissing; }
    bool GetIsOrderA() const { return _isOrderA; }
    bool GetHasTotal() const { return _hasTotal; }
    bool GetComputingTotal() const { return _computingTotal; }
    bool GetIsTotalPositionAfter() const { return _isTotalPositionAfter; }
    const std::string& GetTotalLabel() const { return _totalLabel; }
    bool GetIsTotalLabelDefault() const { return _isTotalLabelDefault; }
    const std::vector<ParsedCategory*>& GetParsedCategories() const { return _parsedCategories; }
    bool GetHasExplicitList() const { return _hasExplicitList; }
    ParsedCategory* GetOtherCategory() const { return _otherCategory; }
    // The categories of the last build, without building.
    const std::vector<AggregationCategory*>& GetCategories() const { return _categories; }
    // Counted but not shown: the categories under a hidden subtotal.
    const std::vector<AggregationCategory*>& GetHiddenCategories() const { return _hiddenCategories; }
    bool GetCategoriesBuilt() const { return _categoriesBuilt; }
    int GetNumCategories() const { return _numCategories; }
    // Categories with encoding 0: empty categories that no case produced.
    int GetNumZeroFlagCategories() const { return _numZeroFlagCategories; }
    CubeAggregator* GetSortAggregator() const { return _sortAggregator; }
    int GetSortSummaryStatistic() const { return _sortSummaryStatistic; }

protected:
    // Sets _numCategories and _numZeroFlagCategories from _categories.
    void CountCategories();
    // When the description sorts by a statistic and the sort aggregator has
    // seen the data: reorders the manager's list by the sort values and takes
    // it back into _categories.
    void SortByStatistic(CategoryManager& manager);
    // Takes the manager's ordered and hidden categories, then sorts by
    // statistic when the description asks for it.
    void TakeOrderedCategories(CategoryManager& manager);
    // Ends a build: counts the categories, gives an empty list its dummy
    // category and marks the list built.
    const std::vector<AggregationCategory*>& CloseCategories();
    // The cell index a value map holds for `value`, or kNoCategory.
    static int EncodingIn(const ObsVecMap* valueMap, const OBS* value);
    // Deletes the categories of the last build, the hidden ones included
    // (the subclasses own those).
    void DeleteCategories();
    // After a merge: the next GetCategoryPointers builds the categories again.
    void ForgetCategories();
    // The value map's side of MergeCategories and its bytes: a value keeps its
    // subtotal encoding (entry 1); a new one takes the next cell index.
    std::vector<int> MergeValueMap(ObsVecMap& mine, const ObsVecMap& theirs);
    static void WriteValueMap(const ObsVecMap& map, StateWriter& out);
    bool ReadValueMap(ObsVecMap& mine, StateReader& in, std::vector<int>& cellIndex);
    // Appends the values seen, in `valueMap`, as value categories of the
    // given variable in ascending or descending order, between the total
    // before and the total after where the dimension shows one.
    void AppendValueCategories(ObsVecMap& valueMap, int varIndex);

    DimensionType _dimensionType;
    int _numCatCells;
    std::vector<int> _catCells;       // _numCatCells entries
    std::vector<int> _catCellCounts;  // empty until SetComputingCounts
    int _lastCatCell;
    int _caseResponseCount;
    bool _computingCounts;
    bool _countDuplicates;
    VESK_InputCaseIterator* _iterator;  // not owned
    int _valueType;                     // -1 unknown, 0 numeric, n string width
    bool _caseValid;
    const AggregationVariable* _syntaxVariable;  // not owned, may be null
    bool _isEmptyInclude;
    bool _includeMissing;
    bool _isOrderA;
    bool _hasTotal;
    bool _computingTotal;
    bool _isTotalPositionAfter;
    std::string _totalLabel;
    bool _isTotalLabelDefault;
    std::vector<ParsedCategory*> _parsedCategories;  // not owned
    // An index of the list for ExplicitListContains, built on first use: a
    // long list of single values would otherwise be scanned once per value.
    struct ListIndex {
        bool built = false;
        bool usable = false;             // every single-value item has one known width
        int width = 0;                   // that width
        std::unordered_map<std::string, int> lastValueItem;  // value key -> the last item listing it
        std::vector<int> otherItems;     // the items that are not single values, in list order
    };
    mutable ListIndex _listIndex;
    void BuildListIndex() const;
    bool _hasExplicitList;
    ParsedCategory* _otherCategory;                     // not owned
    std::vector<AggregationCategory*> _categories;        // owned
    std::vector<AggregationCategory*> _hiddenCategories;  // owned by the subclass
    bool _categoriesBuilt;
    int _numCategories;
    int _numZeroFlagCategories;
    CubeAggregator* _sortAggregator;  // owned; null unless sorting by a statistic
    int _sortSummaryStatistic;
};

#endif
