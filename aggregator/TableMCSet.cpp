#include "TableMCSet.h"

#include <cfloat>
#include <cstring>

#include "AggregationCategory.h"
#include "AggregationMCSet.h"
#include "CategoryManager.h"
#include "KvAggrCaseValueReader.h"
#include "ObsVecMap.h"
#include "ParsedCategory.h"

namespace {
const double kSysmis = -DBL_MAX;
}

TableMCSet::TableMCSet(const AggregationMCSet& set)
    : TableDimension(2 * set.GetIndexListCount() + 1, kMCSet, set),
      _indexList(*set.GetIndexList()),
      _valueMap(nullptr),
      _userMissingVariable(set.GetUserMissingVariable()),
      _userMissingVar(nullptr),
      _setWords(1),
      _uniformWidth(true),
      _paddedValue(nullptr),
      _widestVarIndex(_indexList.empty() ? -1 : _indexList.front())
{
    // Each member adds at most one category and one subtotal.
    _catCount.reserve(static_cast<size_t>(_numCatCells));
}

TableMCSet::~TableMCSet()
{
    for (KvAggrCaseValueReader* reader : _readers) delete reader;
    delete _valueMap;
    delete[] _paddedValue;
    for (AggregationCategory* category : _hiddenCategories) delete category;
}

const OBS* TableMCSet::Blanks()
{
    static const OBS blanks = [] {
        OBS word;
        std::memset(word.str, ' ', sizeof word.str);
        return word;
    }();
    return &blanks;
}

void TableMCSet::CreateReaders(VESK_InputCaseIterator& iterator)
{
    for (KvAggrCaseValueReader* reader : _readers) delete reader;
    _readers.clear();
    for (int varIndex : _indexList)
        _readers.push_back(new KvAggrCaseValueReader(iterator, static_cast<unsigned int>(varIndex), false));
}

void TableMCSet::SetIterator(VESK_InputCaseIterator& iterator)
{
    bool first = _valueMap == nullptr;
    bool sameIterator = _iterator == &iterator;
    _iterator = &iterator;
    VESK_DataSource& dataSource = iterator.GetDataSource();
    _userMissingVar = _userMissingVariable >= 0 ? dataSource.GetVariable(_userMissingVariable) : nullptr;
    if (!first) {
        if (!sameIterator) CreateReaders(iterator);
        return;
    }

    CreateReaders(iterator);
    int greatest = -1;
    for (size_t i = 0; i < _readers.size(); ++i) {
        int width = _readers[i]->GetCaseValue()->GetWidth();
        if (width > greatest) {
            greatest = width;
            _widestVarIndex = _indexList[i];
        }
    }
    if (greatest < 0) greatest = 0;
    _valueMap = _widestVarIndex >= 0 ? new ObsVecMap(ObsVecMap::MakeKeySpec(dataSource, _widestVarIndex), 2)
                                     : new ObsVecMap(ObsKeySpec(), 2);
    _valueType = greatest;
    _setWords = ObsWords(greatest);
    _varWords.clear();
    for (KvAggrCaseValueReader* reader : _readers) {
        int words = ObsWords(reader->GetCaseValue()->GetWidth());
        _varWords.push_back(words);
        if (words < _setWords) _uniformWidth = false;
    }
    if (!_uniformWidth) _paddedValue = new OBS[static_cast<size_t>(_setWords)];
}

int TableMCSet::GetCategoryEncoding(const OBS* value) const
{ return EncodingIn(_valueMap, value); }

int TableMCSet::GetNumberOfValues() const { return _valueMap ? _valueMap->Size() : 0; }

std::vector<int> TableMCSet::MergeCategories(const TableDimension& other)
{
    KV_ASSERT(other.GetDimensionType() == _dimensionType);
    return MergeValueMap(*_valueMap, *static_cast<const TableMCSet&>(other)._valueMap);
}

void TableMCSet::ResetDimension()
{
    if (_valueMap) _valueMap->Clear();
    for (AggregationCategory* category : _hiddenCategories) delete category;
    _hiddenCategories.clear();
    ResetDimensionBase();
}

bool TableMCSet::IsUserMissing(const OBS* value, int width) const
{
    int missingType = _userMissingVar->GetType();
    // A member of the other kind (number against string) cannot be judged by
    // the user-missing member: only system-missing counts then.
    if ((missingType == 0) != (width == 0)) return width == 0 && value->num == kSysmis;
    if (missingType > 0) {
        // The host compares only the user-missing member's width: a wider
        // value with more text beyond it is a different value.
        const char* bytes = value->str;
        int setBytes = _setWords * AggregationCategory::OBSSize;
        for (int i = missingType; i < setBytes; ++i)
            if (bytes[i] != ' ') return false;
    }
    return _userMissingVar->IsMissing(value) != 0;
}

std::vector<std::pair<int, int>>::iterator TableMCSet::FindCatCount(int cell)
{
    auto iter = _catCount.begin();
    while (iter != _catCount.end() && iter->first != cell) ++iter;
    return iter;
}

void TableMCSet::InsertCatCount(int cell)
{
    auto at = _catCount.begin();
    while (at != _catCount.end() && at->first > cell) ++at;
    _catCount.insert(at, std::make_pair(cell, 1));
}

bool TableMCSet::EncodeValue()
{
    _catCount.clear();
    _caseValid = false;
    bool allValid = true;
    _caseResponseCount = 0;

    for (size_t i = 0; i < _readers.size(); ++i) {
        KvAggrCaseValueReader* reader = _readers[i];
        const OBS* value = reader->GetValue();
        int width = reader->GetCaseValue()->GetWidth();
        bool isString = width > 0;
        // Widened before the missing-value test too, so that the host never
        // reads a narrower member's value at the user-missing member's width.
        if (!_uniformWidth && _varWords[i] < _setWords) {
            std::memcpy(_paddedValue, value, static_cast<size_t>(_varWords[i]) * sizeof(OBS));
            for (int w = _varWords[i]; w < _setWords; ++w) _paddedValue[w] = *Blanks();
            value = _paddedValue;
        }
        bool sysmis = !isString && value->num == kSysmis;
        bool valid = _userMissingVar ? !IsUserMissing(value, width) : !sysmis;
        reader->SetValid(valid);
        if (!valid) allValid = false;
        if (!valid && !(_includeMissing && !sysmis)) continue;

        double* entry = _valueMap->Contains(value);
        if (!entry) {
            int subtotal = 0;
            if (_hasExplicitList) {
                ParsedCategory* item = ExplicitListContains(*value, !valid, -1);
                if (!item) continue;
                subtotal = item->GetSubtotalEncoding();
            }
            entry = _valueMap->Insert(value);
            entry[0] = static_cast<double>(_valueMap->Size());
            entry[1] = static_cast<double>(subtotal);
        }
        int cell = static_cast<int>(entry[0] + 0.5);
        bool hasSubtotal = _hasExplicitList && entry[1] <= static_cast<double>(TableEncryptionCodes::kMaxSubtotal);
        int subtotalCell = static_cast<int>(entry[1] - 0.5);

        auto hit = FindCatCount(cell);
        if (hit != _catCount.end()) {
            if (!_countDuplicates) continue;
            ++hit->second;
            if (hasSubtotal) {
                // The subtotal entered with the category's first hit.
                auto iter = FindCatCount(subtotalCell);
                KV_ASSERT(iter != _catCount.end());
                ++iter->second;
            }
            ++_caseResponseCount;
            continue;
        }
        if (valid) _caseValid = true;
        InsertCatCount(cell);
        if (hasSubtotal) {
            auto sub = FindCatCount(subtotalCell);
            if (sub != _catCount.end()) ++sub->second;
            else InsertCatCount(subtotalCell);
        }
        ++_caseResponseCount;
    }

    if (!_catCount.empty()) {
        _lastCatCell = -1;
        for (const std::pair<int, int>& hit : _catCount) {
            if (_lastCatCell < 0) {
                _lastCatCell = 0;
                _catCells[0] = hit.first;
            } else {
                AddCategoryCell(hit.first);
            }
            if (_computingCounts) _catCellCounts[static_cast<size_t>(_lastCatCell)] = hit.second;
        }
        if (_computingTotal) {
            AddCategoryCell(TableEncryptionCodes::kTotalCategory);
            if (_computingCounts) _catCellCounts[static_cast<size_t>(_lastCatCell)] = _caseResponseCount;
        }
        return true;
    }

    _lastCatCell = 0;
    if (allValid) {
        // Values present, but none in a listed category.
        _catCells[0] = TableEncryptionCodes::kNoCategory;
        if (_computingCounts) _catCellCounts[0] = 0;
        return false;
    }
    // Some value missing and excluded, none counted: the case still reaches the cube.
    if (_computingTotal) {
        _catCells[0] = TableEncryptionCodes::kTotalCategory;
        if (_computingCounts) _catCellCounts[0] = _caseResponseCount;
    } else {
        _catCells[0] = TableEncryptionCodes::kUnlistedCategory;
        if (_computingCounts) _catCellCounts[0] = 0;
    }
    return true;
}


const std::vector<AggregationCategory*>& TableMCSet::GetCategoryPointers()
{
    if (_categoriesBuilt) return _categories;
    DeleteCategories();

    AppendValueCategories(*_valueMap, _widestVarIndex);

    if ((!_categories.empty() || _isEmptyInclude) && _iterator) {
        CategoryManager manager(_categories, GetSyntaxVariable(), _iterator->GetDataSource(), this);
        manager.OrderMCCategories(_valueType);
        TakeOrderedCategories(manager);
    }

    return CloseCategories();
}

