#include "TableDimension.h"

#include <cstring>

#include "AggregationCategory.h"
#include "AggregationStatistic.h"
#include "CategoryManager.h"
#include "CellKey.h"
#include "CubeAggregator.h"
#include "CubeMetadata.h"
#include "ObsVecMap.h"
#include "ParsedCategory.h"
#include "TableMetadata.h"

TableDimension::TableDimension(int numCatCells, DimensionType type)
    : _dimensionType(type),
      _numCatCells(numCatCells),
      _catCells(static_cast<size_t>(numCatCells), 0),
      _lastCatCell(0),
      _caseResponseCount(0),
      _computingCounts(false),
      _countDuplicates(false),
      _iterator(nullptr),
      _valueType(-1),
      _caseValid(false),
      _syntaxVariable(nullptr),
      _isEmptyInclude(true),
      _includeMissing(false),
      _isOrderA(true),
      _hasTotal(false),
      _computingTotal(false),
      _isTotalPositionAfter(true),
      _totalLabel("Total"),
      _isTotalLabelDefault(true),
      _hasExplicitList(false),
      _otherCategory(nullptr),
      _categoriesBuilt(false),
      _numCategories(0),
      _numZeroFlagCategories(0),
      _sortAggregator(nullptr),
      _sortSummaryStatistic(0)
{
}

TableDimension::TableDimension(int numCatCells, DimensionType type, const AggregationVariable& var)
    : TableDimension(numCatCells, type)
{
    _syntaxVariable = &var;
    _isEmptyInclude = var.GetIsEmptyInclude();
    _includeMissing = !var.GetIsMissingExclude();
    _isOrderA = var.GetIsOrderA();
    _hasTotal = !var.GetIsTotalNo();
    _computingTotal = !var.GetIsTotalNo();
    _isTotalPositionAfter = var.GetIsTotalPositionAfter();
    _totalLabel = var.GetTotalLabel();
    _isTotalLabelDefault = var.GetIsTotalLabelDefault();
    SetParsedCategories(var.GetParsedCategories());
}

TableDimension::~TableDimension()
{
    for (AggregationCategory* category : _categories) delete category;
    delete _sortAggregator;
}

AggregationCategory* TableDimension::GetTotalCategoryPtr() const
{
    AggregationCategory* total = new AggregationCategory(AggregationCategory::kTotal, 0);
    total->SetCatValue(0.0);
    total->SetCatEncoding(static_cast<int>(TableEncryptionCodes::kTotalCategory));
    total->SetVarIndex(VariableIndex().front());
    total->SetCatLabel(_totalLabel, _isTotalLabelDefault);
    return total;
}

AggregationCategory* TableDimension::GetDummyCategoryPtr() const
{
    AggregationCategory* dummy = new AggregationCategory();
    dummy->SetVarIndex(VariableIndex().front());
    dummy->SetCatLabel("None valid", true);
    return dummy;
}

void TableDimension::SetParsedCategories(const std::vector<ParsedCategory*>& categories)
{
    if (categories.empty()) return;
    // From now on membership in the list decides, not the missing-value
    // setting or the requested order.
    _hasExplicitList = true;
    _includeMissing = true;
    _isOrderA = true;
    _otherCategory = nullptr;
    _parsedCategories.clear();
    _listIndex = ListIndex();
    for (ParsedCategory* item : categories) {
        ParsedCategory::ParsedCatType type = item->GetCatType();
        if (type == ParsedCategory::kOtherNM) {
            _otherCategory = item;
        } else if (type == ParsedCategory::kSubtotal || type == ParsedCategory::kHSubtotal) {
            // Only a multiple-dichotomy set builds its subtotals from the list
            // itself; the others learn them from the items' encodings.
            if (_dimensionType == kMDSet) _parsedCategories.push_back(item);
        } else {
            _parsedCategories.push_back(item);
        }
    }
}

namespace {

// The key under which two values are equal exactly when an item's test finds
// them equal: a number by its value (zero without its sign, every NaN one
// key), a text by its bytes without the trailing blanks that do not count.
std::string ValueKey(const OBS& value, int width)
{
    if (width == 0) {
        double v = value.num + 0.0;
        if (v != v) return "nan";
        return "n" + std::string(reinterpret_cast<const char*>(&v), sizeof v);
    }
    size_t n = static_cast<size_t>(width);
    while (n > 0 && value.str[n - 1] == ' ') --n;
    return "s" + std::string(value.str, n);
}

}  // namespace

void TableDimension::BuildListIndex() const
{
    ListIndex& index = _listIndex;
    index = ListIndex();
    index.built = true;
    index.usable = true;
    index.width = -1;
    for (size_t i = 0; i < _parsedCategories.size(); ++i) {
        const ParsedCategory* item = _parsedCategories[i];
        if (item->GetCatType() != ParsedCategory::kValue) {
            index.otherItems.push_back(static_cast<int>(i));
            continue;
        }
        const int width = item->GetValueType();
        if (width < 0 || (index.width >= 0 && width != index.width)) {
            index.usable = false;
            return;
        }
        index.width = width;
        index.lastValueItem[ValueKey(*item->GetCatValue(), width)] = static_cast<int>(i);
    }
}

ParsedCategory* TableDimension::ExplicitListContains(const OBS& value, bool isMissing, int valueType) const
{
    auto contains = [&](const ParsedCategory* item) {
        return valueType < 0 ? item->Contains(value, isMissing) : item->Contains(value, valueType, isMissing);
    };
    if (!_listIndex.built) BuildListIndex();
    const ListIndex& index = _listIndex;
    // A later item wins, so the answer is the containing item of the highest
    // position: the last single-value item with the value's key, unless one
    // of the other items after it contains the value too. A NaN equals
    // nothing under the items' own widths, but equals a listed NaN under the
    // comparison across widths.
    const int width = valueType < 0 ? index.width : valueType;
    if (index.usable && width >= 0) {
        int best = -1;
        const bool nan = width == 0 && value.num != value.num;
        if (!(nan && valueType < 0)) {
            auto hit = index.lastValueItem.find(ValueKey(value, width));
            if (hit != index.lastValueItem.end()) best = hit->second;
        }
        for (auto it = index.otherItems.rbegin(); it != index.otherItems.rend() && *it > best; ++it) {
            if (contains(_parsedCategories[static_cast<size_t>(*it)])) {
                best = *it;
                break;
            }
        }
        // The index answers as the scan below would.
        KV_ASSERT(best < 0 || contains(_parsedCategories[static_cast<size_t>(best)]));
        if (best >= 0) return _parsedCategories[static_cast<size_t>(best)];
        return isMissing ? nullptr : _otherCategory;
    }
    for (auto it = _parsedCategories.rbegin(); it != _parsedCategories.rend(); ++it)
        if (contains(*it)) return *it;
    // Missing values never fall into the other category.
    return isMissing ? nullptr : _otherCategory;
}

int TableDimension::GetCategoryEncoding(const OBS* value, int valueType) const
{
    KV_ASSERT(valueType >= 0);
    if (valueType == 0) {
        if (_valueType != 0) return TableEncryptionCodes::kNoCategory;
        return GetCategoryEncoding(value);
    }
    if (_valueType < 1) return TableEncryptionCodes::kNoCategory;
    int valueWords = ObsWords(valueType);
    int dimWords = ObsWords(_valueType);
    if (valueWords == dimWords) return GetCategoryEncoding(value);
    if (valueWords < dimWords) {
        std::vector<OBS> padded(static_cast<size_t>(dimWords), *AggregationCategory::Blanks());
        std::memcpy(padded.data(), value, static_cast<size_t>(valueWords) * sizeof(OBS));
        return GetCategoryEncoding(padded.data());
    }
    const OBS* blanks = AggregationCategory::Blanks();
    for (int i = dimWords; i < valueWords; ++i)
        if (std::memcmp(&value[i], blanks, sizeof(OBS)) != 0) return TableEncryptionCodes::kNoCategory;
    return GetCategoryEncoding(value);
}

void TableDimension::ResetDimensionBase()
{
    for (AggregationCategory* category : _categories) delete category;
    _categories.clear();
    _categoriesBuilt = false;
    if (_sortAggregator) _sortAggregator->ResetAggregator();
}

bool TableDimension::operator==(const TableDimension& other) const
{
    if (this == &other) return true;
    if (_dimensionType != other._dimensionType) return false;
    if (_syntaxVariable || other._syntaxVariable) return _syntaxVariable == other._syntaxVariable;
    return VariableIndex() == other.VariableIndex();
}

void TableDimension::CountCategories()
{
    _numCategories = static_cast<int>(_categories.size());
    _numZeroFlagCategories = 0;
    for (const AggregationCategory* category : _categories)
        if (category->GetCatEncoding() == 0) ++_numZeroFlagCategories;
}

// ---- sorting by a statistic ----------------------------------------------------------
//
// The dimension keeps a private one- or two-dimension aggregator that the
// table metadata feeds with every accepted case, like a cube of the table;
// after the data its cells give one value per category to sort by.

void TableDimension::SetSortByScaleStats(TableMetadata& metadata, const AggregationStatistic& statistic)
{
    _sortSummaryStatistic = statistic.GetSummaryStatistic();
    CubeMetadata cube;
    cube.AddDimension(this, TableEncryptionCodes::kRow);
    delete _sortAggregator;
    _sortAggregator = new CubeAggregator(metadata, cube);
    KV_ASSERT(_sortAggregator);
    std::vector<AggregationStatistic> stats{statistic};
    _sortAggregator->SetCellStatistics(stats, nullptr);
    metadata.AddSortAggregator(_sortAggregator);
}

void TableDimension::SetSortByDimensionStats(TableMetadata& metadata, TableDimension* other,
                                             const AggregationStatistic& statistic)
{
    _sortSummaryStatistic = statistic.GetSummaryStatistic();
    CubeMetadata cube;
    cube.AddDimension(this, TableEncryptionCodes::kRow);
    if (other && other != this) cube.AddDimension(other, TableEncryptionCodes::kRow);
    delete _sortAggregator;
    _sortAggregator = new CubeAggregator(metadata, cube);
    KV_ASSERT(_sortAggregator);
    TableDimension* statsDimension = other ? other : this;
    if (statsDimension->GetDimensionType() == kMCSet || statsDimension->GetDimensionType() == kMDSet)
        statsDimension->SetComputingCounts();
    std::vector<AggregationStatistic> stats{statistic};
    _sortAggregator->SetCellStatistics(stats, statsDimension);
    metadata.AddSortAggregator(_sortAggregator);
}

void TableDimension::GetSortValues(std::vector<double>& values) const
{
    const int nDim = _sortAggregator->GetMetadata().NumberOfDimensions();
    KV_ASSERT(nDim == 1 || nDim == 2);
    // One value per category the manager sorts: the total stays out (it keeps
    // its place). A second dimension is read at its total.
    CellKey key(nDim);
    for (const AggregationCategory* category : _categories) {
        if (category->GetCatType() == AggregationCategory::kTotal) continue;
        key[0] = category->GetCatEncoding();
        if (nDim == 2) key[1] = TableEncryptionCodes::kTotalCategory;
        values.push_back(_sortAggregator->GetSortValue(key));
    }
}

void TableDimension::SortByStatistic(CategoryManager& manager)
{
    if (!_syntaxVariable || _syntaxVariable->GetSortKey() != TableEncryptionCodes::kStatisticSort) return;
    if (!_sortAggregator) return;
    std::vector<double> values;
    GetSortValues(values);
    manager.OrderByStats(values);
    _categories = manager.GetCategories();
}

void TableDimension::TakeOrderedCategories(CategoryManager& manager)
{
    _categories = manager.GetCategories();
    _hiddenCategories = manager.GetHiddenCategories();
    SortByStatistic(manager);
}

const std::vector<AggregationCategory*>& TableDimension::CloseCategories()
{
    CountCategories();
    if (_categories.empty()) _categories.push_back(GetDummyCategoryPtr());
    _categoriesBuilt = true;
    return _categories;
}

int TableDimension::EncodingIn(const ObsVecMap* valueMap, const OBS* value)
{
    const double* entry = valueMap ? valueMap->Contains(value) : nullptr;
    return entry ? static_cast<int>(entry[0]) : static_cast<int>(TableEncryptionCodes::kNoCategory);
}

void TableDimension::DeleteCategories()
{
    for (AggregationCategory* category : _categories) delete category;
    _categories.clear();
    for (AggregationCategory* category : _hiddenCategories) delete category;
    _hiddenCategories.clear();
}

void TableDimension::ForgetCategories()
{
    DeleteCategories();
    _categoriesBuilt = false;
}

namespace {

// A value of another part: its cell index here, entering it when new.
int AddValue(ObsVecMap& map, const OBS* key, double subtotal)
{
    if (const double* entry = map.Contains(key)) return static_cast<int>(entry[0]);
    double* entry = map.Insert(key);
    entry[0] = static_cast<double>(map.Size());
    entry[1] = subtotal;
    return map.Size();
}

// The entries of a map by cell index (a sorted map no longer keeps them in
// the order they came).
std::vector<int> EntriesByCell(const ObsVecMap& map)
{
    std::vector<int> byCell(static_cast<size_t>(map.Size()));
    for (int i = 0; i < map.Size(); ++i) {
        const int cell = static_cast<int>(map.Value(i)[0]);
        // Cells are numbered 1 .. Size() as values come.
        KV_ASSERT(cell >= 1 && cell <= map.Size());
        byCell[static_cast<size_t>(cell - 1)] = i;
    }
    return byCell;
}

}  // namespace

std::vector<int> TableDimension::MergeValueMap(ObsVecMap& mine, const ObsVecMap& theirs)
{
    KV_ASSERT(mine.GetKeySpec().words == theirs.GetKeySpec().words);
    ForgetCategories();
    std::vector<int> cellIndex(1, 0);
    for (int i : EntriesByCell(theirs)) cellIndex.push_back(AddValue(mine, theirs.Key(i), theirs.Value(i)[1]));
    return cellIndex;
}

void TableDimension::WriteValueMap(const ObsVecMap& map, StateWriter& out)
{
    const size_t bytes = static_cast<size_t>(map.GetKeySpec().words) * sizeof(OBS);
    out.PutU32(static_cast<std::uint32_t>(map.Size()));
    for (int i : EntriesByCell(map)) {
        out.PutRaw(map.Key(i), bytes);
        out.PutDouble(map.Value(i)[1]);
    }
}

bool TableDimension::ReadValueMap(ObsVecMap& mine, StateReader& in, std::vector<int>& cellIndex)
{
    const size_t bytes = static_cast<size_t>(mine.GetKeySpec().words) * sizeof(OBS);
    std::uint32_t n = 0;
    if (!in.GetCount(n, bytes + sizeof(double))) return false;
    ForgetCategories();
    std::vector<OBS> key(static_cast<size_t>(mine.GetKeySpec().words));
    cellIndex.assign(1, 0);
    for (std::uint32_t k = 0; k < n; ++k) {
        double subtotal = 0.0;
        in.GetRaw(key.data(), bytes);
        in.GetDouble(subtotal);
        // No subtotal, or one of the subtotal encodings.
        const double lowest = TableEncryptionCodes::kLowerSubtotal, highest = TableEncryptionCodes::kMaxSubtotal;
        const bool known = subtotal == 0.0 || (subtotal >= lowest && subtotal <= highest &&
                                               subtotal == static_cast<double>(static_cast<int>(subtotal)));
        if (!known) return false;
        cellIndex.push_back(AddValue(mine, key.data(), subtotal));
    }
    return true;
}

void TableDimension::AppendValueCategories(ObsVecMap& valueMap, int varIndex)
{
    const int numValues = valueMap.Size();
    const bool showTotal = _hasTotal && (numValues > 0 || _isEmptyInclude);
    if (showTotal && !_isTotalPositionAfter) _categories.push_back(GetTotalCategoryPtr());
    if (numValues > 0) {
        valueMap.Sort();
        for (int k = 0; k < numValues; ++k) {
            int i = _isOrderA ? k : numValues - 1 - k;
            AggregationCategory* category = new AggregationCategory(AggregationCategory::kValue, _valueType);
            category->SetVarIndex(varIndex);
            category->SetCatValue(*valueMap.Key(i));
            category->SetCatEncoding(static_cast<int>(valueMap.Value(i)[0]));
            _categories.push_back(category);
        }
    }
    if (showTotal && _isTotalPositionAfter) _categories.push_back(GetTotalCategoryPtr());
}
