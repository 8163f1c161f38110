#include "TableCVariable.h"

#include "AggregationCategory.h"
#include "AggregationVariable.h"
#include "CategoryManager.h"
#include "KvAggrCaseValueReader.h"
#include "ObsVecMap.h"
#include "ParsedCategory.h"

TableCVariable::TableCVariable(const AggregationVariable& var)
    : TableDimension(MAX_CATCELLS_SIZE, kCVariable, var), _varIndex(var.GetIndex()), _valueMap(nullptr),
      _reader(nullptr)
{
}

TableCVariable::TableCVariable(int varIndex)
    : TableDimension(MAX_CATCELLS_SIZE, kCVariable), _varIndex(varIndex), _valueMap(nullptr), _reader(nullptr)
{
}

TableCVariable::~TableCVariable()
{
    delete _reader;
    delete _valueMap;
    for (AggregationCategory* category : _hiddenCategories) delete category;
}

void TableCVariable::SetIterator(VESK_InputCaseIterator& iterator)
{
    _iterator = &iterator;
    delete _reader;
    _reader = new KvAggrCaseValueReader(iterator, static_cast<unsigned int>(_varIndex), false);
    delete _valueMap;
    _valueMap = new ObsVecMap(ObsVecMap::MakeKeySpec(iterator.GetDataSource(), _varIndex), 2);
    _valueType = _reader->GetCaseValue()->GetWidth();
}

int TableCVariable::GetCategoryEncoding(const OBS* value) const
{ return EncodingIn(_valueMap, value); }

int TableCVariable::GetNumberOfValues() const { return _valueMap ? _valueMap->Size() : 0; }

std::vector<int> TableCVariable::MergeCategories(const TableDimension& other)
{
    KV_ASSERT(other.GetDimensionType() == _dimensionType);
    return MergeValueMap(*_valueMap, *static_cast<const TableCVariable&>(other)._valueMap);
}

void TableCVariable::ResetDimension()
{
    if (_valueMap) _valueMap->Clear();
    for (AggregationCategory* category : _hiddenCategories) delete category;
    _hiddenCategories.clear();
    ResetDimensionBase();
}

bool TableCVariable::NotEncoded()
{
    _lastCatCell = 0;
    if (_computingCounts) _catCellCounts[0] = 0;
    // A valid value outside the explicit list: the case does not count here.
    if (_caseValid) {
        _catCells[0] = TableEncryptionCodes::kNoCategory;
        return false;
    }
    // An excluded missing value still reaches the cube, which knows these codes.
    _catCells[0] = _computingTotal ? TableEncryptionCodes::kTotalCategory : TableEncryptionCodes::kUnlistedCategory;
    return true;
}

bool TableCVariable::EncodeValue()
{
    const OBS* value = _reader->GetValue();
    bool isString = _reader->IsString();
    bool valid;
    if (_reader->GetSysmisOnly()) valid = isString || !_reader->IsSysmis();
    else valid = !_reader->IsMissing();
    _reader->SetValid(valid);
    _caseValid = valid;

    // System-missing never forms a category, even with missing values included.
    if (!valid && !(_includeMissing && (isString || !_reader->IsSysmis()))) return NotEncoded();

    double* entry = _valueMap->Contains(value);
    if (!entry) {
        int subtotal = 0;
        if (_hasExplicitList) {
            ParsedCategory* item = ExplicitListContains(*value, !_caseValid, -1);
            if (!item) return NotEncoded();
            subtotal = item->GetSubtotalEncoding();
        }
        entry = _valueMap->Insert(value);
        entry[0] = static_cast<double>(_valueMap->Size());
        entry[1] = static_cast<double>(subtotal);
    }

    _lastCatCell = 0;
    _catCells[0] = static_cast<int>(entry[0]);
    if (_computingTotal) AddCategoryCell(TableEncryptionCodes::kTotalCategory);
    if (_hasExplicitList && entry[1] <= static_cast<double>(TableEncryptionCodes::kMaxSubtotal))
        AddCategoryCell(static_cast<int>(entry[1]));
    // A categorical value hits each of its cells once.
    if (_computingCounts)
        for (int i = 0; i <= _lastCatCell; ++i) _catCellCounts[static_cast<size_t>(i)] = 1;
    return true;
}


const std::vector<AggregationCategory*>& TableCVariable::GetCategoryPointers()
{
    if (_categoriesBuilt) return _categories;
    DeleteCategories();

    AppendValueCategories(*_valueMap, _varIndex);

    if ((!_categories.empty() || _isEmptyInclude) && _iterator) {
        // A dimension built without a description orders its categories as
        // a default description of its variable would.
        AggregationVariable defaults(_varIndex, "");
        const AggregationVariable& variable = HasSyntaxVariable() ? GetSyntaxVariable() : defaults;
        CategoryManager manager(_categories, variable, _iterator->GetDataSource(), this);
        manager.OrderCategories();
        TakeOrderedCategories(manager);
    }

    return CloseCategories();
}

