#include "CategoryTestDimension.h"

#include <cstring>

#include "AggregationCategory.h"
#include "CategoryManager.h"

namespace kvtest {

std::vector<OBS> Str(const std::string& text, int width)
{
    std::vector<OBS> words(static_cast<size_t>(ObsWords(width)));
    std::memset(words.data(), ' ', words.size() * sizeof(OBS));
    std::memcpy(words.data(), text.data(), text.size());
    return words;
}

CategoryTestDimension::CategoryTestDimension(const AggregationVariable& var, std::vector<int> indices,
                                             DimensionType type)
    : TableDimension(2 * static_cast<int>(indices.size()) + 1, type, var), _indices(std::move(indices))
{
}

CategoryTestDimension::CategoryTestDimension(std::vector<int> indices, DimensionType type, int numCatCells)
    : TableDimension(numCatCells, type), _indices(std::move(indices))
{
}

CategoryTestDimension::~CategoryTestDimension()
{
    for (AggregationCategory* category : _hiddenCategories) delete category;
}

void CategoryTestDimension::SetIterator(VESK_InputCaseIterator& iterator)
{
    _iterator = &iterator;
    int width = 0;
    for (int index : _indices) {
        int type = iterator.GetDataSource().GetVariable(index)->GetType();
        if (type > width) width = type;
    }
    _valueType = width;
    ObsKeySpec keyShape;
    keyShape.valueType = width;
    keyShape.words = ObsWords(width);
    _map.reset(new ObsVecMap(keyShape, 2));
}

int CategoryTestDimension::AddValue(const OBS* value)
{
    double* stored = _map->Contains(value);
    if (!stored) {
        stored = _map->Insert(value);
        stored[0] = _map->Size();
    }
    return static_cast<int>(stored[0]);
}

bool CategoryTestDimension::EncodeValue()
{
    // Enough of a categorical variable for the category lists: valid or
    // included-missing values get cells, the rest are unlisted.
    _caseValid = false;
    _lastCatCell = -1;
    const VESK_DataSource& ds = _iterator->GetDataSource();
    for (int index : _indices) {
        const VESK_Variable* variable = ds.GetVariable(index);
        const OBS* raw = _iterator->GetValue(index);
        bool missing = variable->IsMissing(raw) != 0;
        bool sysmis = variable->GetType() == 0 && raw->num == InMemoryDataset::SystemMissing();
        if (missing && (!_includeMissing || sysmis)) continue;
        std::vector<OBS> padded(static_cast<size_t>(ObsWords(_valueType)), *AggregationCategory::Blanks());
        std::memcpy(padded.data(), raw, static_cast<size_t>(ObsWords(variable->GetType())) * sizeof(OBS));
        if (_hasExplicitList && !_map->Contains(padded.data()) &&
            !ExplicitListContains(padded[0], missing, -1))
            continue;
        AddCategoryCell(AddValue(padded.data()));
        _caseValid = _caseValid || !missing;
    }
    if (_lastCatCell < 0) {
        SetFirstCell(_computingTotal ? TableEncryptionCodes::kTotalCategory : TableEncryptionCodes::kUnlistedCategory);
        return true;
    }
    if (_computingTotal) AddCategoryCell(TableEncryptionCodes::kTotalCategory);
    return true;
}

const std::vector<AggregationCategory*>& CategoryTestDimension::GetCategoryPointers()
{
    if (_categoriesBuilt) return _categories;
    for (AggregationCategory* category : _categories) delete category;
    for (AggregationCategory* category : _hiddenCategories) delete category;
    _categories.clear();
    _hiddenCategories.clear();
    bool any = _map && _map->Size() > 0;
    if (_hasTotal && !_isTotalPositionAfter && (any || _isEmptyInclude)) _categories.push_back(GetTotalCategoryPtr());
    if (_map) {
        _map->Sort();
        int n = _map->Size();
        for (int k = 0; k < n; ++k) {
            int i = _isOrderA ? k : n - 1 - k;
            AggregationCategory* category = new AggregationCategory(AggregationCategory::kValue, _valueType);
            category->SetVarIndex(_indices.front());
            category->SetCatValue(*_map->Key(i));
            category->SetCatEncoding(_map->Value(i)[0]);
            _categories.push_back(category);
        }
    }
    if (_hasTotal && _isTotalPositionAfter && (any || _isEmptyInclude)) _categories.push_back(GetTotalCategoryPtr());
    if (!_categories.empty() || _isEmptyInclude) {
        CategoryManager manager(_categories, GetSyntaxVariable(), _iterator->GetDataSource(), this);
        if (_dimensionType == kMCSet) manager.OrderMCCategories(_valueType);
        else manager.OrderCategories();
        if (GetSyntaxVariable().GetSortKey() == TableEncryptionCodes::kStatisticSort)
            manager.OrderByStats(_sortValues);
        _categories = manager.GetCategories();
        _hiddenCategories = manager.GetHiddenCategories();
    }
    CountCategories();
    if (_categories.empty()) _categories.push_back(GetDummyCategoryPtr());
    _categoriesBuilt = true;
    return _categories;
}

int CategoryTestDimension::GetCategoryEncoding(const OBS* value) const
{
    if (!_map) return TableEncryptionCodes::kNoCategory;
    const double* stored = _map->Contains(value);
    return stored ? static_cast<int>(stored[0]) : TableEncryptionCodes::kNoCategory;
}

void CategoryTestDimension::ResetDimension()
{
    if (_map) _map->Clear();
    ResetDimensionBase();
}

void CategoryTestDimension::Feed(InMemoryDataset& dataset)
{
    _ownIterator.reset(new DatasetIterator(dataset));
    SetIterator(*_ownIterator);
    while (_ownIterator->Next()) EncodeValue();
}

}  // namespace kvtest
