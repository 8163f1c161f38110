#include "CategoryManager.h"

#include <cstring>
#include <limits>

#include "AggregationMCSet.h"
#include "AggregationMDSet.h"
#include "KvAssert.h"
#include "VESK_ValueLabelMap.h"

namespace {

// `value` (of `valueType`) widened or checked to the width of `variable`, so
// that the host can read it at the variable's own width. False when the value
// cannot be a value of the variable at all (a number for a string variable,
// or non-blank bytes beyond the variable's width).
bool FitValue(const VESK_Variable& variable, const OBS& value, int valueType, std::vector<OBS>& buffer,
              const OBS*& fitted)
{
    int varType = variable.GetType();
    if ((varType == 0) != (valueType <= 0)) return false;
    if (varType == 0) {
        fitted = &value;
        return true;
    }
    if (valueType > varType) {
        for (int i = varType; i < valueType; ++i)
            if (value.str[i] != ' ') return false;
    }
    int words = ObsWords(varType);
    if (ObsWords(valueType) >= words) {
        fitted = &value;
        return true;
    }
    buffer.assign(static_cast<size_t>(words), *AggregationCategory::Blanks());
    std::memcpy(buffer.data(), &value, static_cast<size_t>(valueType));
    fitted = buffer.data();
    return true;
}

// The variable's value label of a value, or null.
const char* LookUpLabel(const VESK_Variable* variable, const OBS& value, int valueType)
{
    if (!variable) return nullptr;
    std::vector<OBS> buffer;
    const OBS* fitted = nullptr;
    if (!FitValue(*variable, value, valueType, buffer, fitted)) return nullptr;
    VESK_ValueLabelMap labels(variable->GetValueLabels());
    return labels.GetLabel(fitted);
}

// Whether `a` sorts after `b` in the requested direction (ties do not).
bool After(int compare, bool descending) { return descending ? compare < 0 : compare > 0; }

AggregationCategory* FindEqual(const std::vector<AggregationCategory*>& list, const AggregationCategory& category)
{
    for (AggregationCategory* held : list)
        if (*held == category) return held;
    return nullptr;
}

// Inserts walking back from the end past every category that sorts after the
// new one; ties keep their arrival order.
template <typename Compare>
void InsertSorted(std::vector<AggregationCategory*>& list, AggregationCategory* category, bool descending,
                  Compare compare)
{
    size_t pos = list.size();
    while (pos > 0 && After(compare(list[pos - 1], category), descending)) --pos;
    list.insert(list.begin() + static_cast<long>(pos), category);
}

int CompareLabels(const AggregationCategory* a, const AggregationCategory* b)
{
    return VESKMBstrcoll_A(a->GetCatLabel().c_str(), b->GetCatLabel().c_str());
}

int CompareValues(const AggregationCategory* a, const AggregationCategory* b)
{
    return AggregationCategory::OBSCompare(a->GetCatValue(), a->GetValueType(), b->GetCatValue(), b->GetValueType());
}

}  // namespace

CategoryManager::CategoryManager(const std::vector<AggregationCategory*>& dataCategories,
                                 const AggregationVariable& variable, TableDimension* dimension)
    : _dataSource(dimension->GetIterator()->GetDataSource()), _dimension(dimension)
{
    Init(dataCategories, variable);
    // A multiple-dichotomy set's categories are its member variables: each
    // belongs to the listed item of its variable, and to that item alone.
    if (_dimension->GetDimensionType() == TableDimension::kMDSet && !_parsedCategories.empty()) {
        KV_ASSERT(_categories.size() > 0);
        for (AggregationCategory* category : _categories)
            if (category->GetCatType() == AggregationCategory::kVariable)
                VariableItem(category->GetVarIndex(), true)->AddCategory(category);
    }
}

CategoryManager::CategoryManager(const std::vector<AggregationCategory*>& dataCategories,
                                 const AggregationVariable& variable, const VESK_DataSource& dataSource,
                                 TableDimension* dimension)
    : _dataSource(dataSource), _dimension(dimension)
{
    Init(dataCategories, variable);
}

CategoryManager::~CategoryManager() = default;

void CategoryManager::Init(const std::vector<AggregationCategory*>& dataCategories,
                           const AggregationVariable& variable)
{
    _categories = dataCategories;
    _parsedCategories = variable.GetParsedCategories();
    _includeEmpty = variable.GetIsEmptyInclude();
    _descending = !variable.GetIsOrderA();
    _sortKey = variable.GetSortKey();
    _sortByLabel = _sortKey == TableEncryptionCodes::kLabelSort;
    _totalAfter = variable.GetIsTotalPositionAfter();
    _includeMissing = !variable.GetIsMissingExclude();
    _varIndices = _dimension->VariableIndex();
    _valueType = 0;

    KV_ASSERT(_categories.size() > 0 || _includeEmpty);

    _varIndex = variable.GetIndex();

    _totalPosition = kNoTotal;
    if (!_categories.empty()) {
        if (_totalAfter) {
            if (_categories.back()->GetCatType() == AggregationCategory::kTotal) _totalPosition = kTotalLast;
        } else if (_categories.front()->GetCatType() == AggregationCategory::kTotal) {
            _totalPosition = kTotalFirst;
        }
    }

    if (const AggregationMCSet* mcSet = dynamic_cast<const AggregationMCSet*>(&variable))
        _missingVariable = _dataSource.GetVariable(mcSet->GetUserMissingVariable());
    else if (dynamic_cast<const AggregationMDSet*>(&variable))
        _missingVariable = nullptr;
    else
        _missingVariable = _dataSource.GetVariable(_varIndex);
}

bool CategoryManager::ListNeedsMissing() const
{
    for (const ParsedCategory* item : _parsedCategories)
        if (item->GetCatType() == ParsedCategory::kMissing || item->GetCatType() == ParsedCategory::kOtherNM)
            return true;
    return false;
}

bool CategoryManager::IsMissing(const VESK_Variable* variable, const OBS& value, int valueType) const
{
    if (!variable) return false;
    std::vector<OBS> buffer;
    const OBS* fitted = nullptr;
    if (!FitValue(*variable, value, valueType, buffer, fitted)) return false;
    return variable->IsMissing(fitted) != 0;
}

ParsedCategory* CategoryManager::VariableItem(int varIndex, bool mustBeEmpty) const
{
    ParsedCategory* parsedCat = nullptr;
    for (ParsedCategory* item : _parsedCategories) {
        if (item->GetCatType() == ParsedCategory::kVariable && item->GetVarIndex() == varIndex) {
            parsedCat = item;
            break;
        }
    }
    KV_ASSERT(parsedCat);
    if (mustBeEmpty) KV_ASSERT(!parsedCat->HasCategories());
    return parsedCat;
}

AggregationCategory* CategoryManager::TakeTotalOut(std::vector<AggregationCategory*>& rest) const
{
    rest = _categories;
    if (rest.empty()) return nullptr;
    AggregationCategory* total = nullptr;
    if (_totalPosition == kTotalFirst) {
        total = rest.front();
        rest.erase(rest.begin());
    } else if (_totalPosition == kTotalLast) {
        total = rest.back();
        rest.pop_back();
    }
    return total;
}

void CategoryManager::PutTotalBack(AggregationCategory* total, std::vector<AggregationCategory*>& list) const
{
    if (!total) return;
    if (_totalPosition == kTotalFirst) list.insert(list.begin(), total);
    else list.push_back(total);
}

void CategoryManager::InsertByValue(AggregationCategory* category, int compareWidth)
{
    size_t low = (_totalPosition == kTotalFirst && !_categories.empty()) ? 1 : 0;
    size_t pos = _categories.size();
    if (_totalPosition == kTotalLast && !_categories.empty()) --pos;
    while (pos > low &&
           After(ObsLexCompare(_categories[pos - 1]->GetCatValue(), category->GetCatValue(), compareWidth),
                 _descending))
        --pos;
    _categories.insert(_categories.begin() + static_cast<long>(pos), category);
}

AggregationCategory* CategoryManager::MakeListedValueCategory(const ParsedCategory* item, int varIndex,
                                                              int valueType) const
{
    int itemType = item->GetValueType();
    if (!item->GetCatValue() || (itemType == 0) != (valueType == 0)) return nullptr;
    AggregationCategory* category = new AggregationCategory(AggregationCategory::kValue, valueType);
    category->SetVarIndex(varIndex);
    category->SetCatEncoding(0);
    category->SetEmpty(true);
    if (itemType <= valueType) category->SetCatValue(*item->GetCatValue(), itemType);
    else category->SetCatValue(*item->GetCatValue());  // the item's buffer holds at least valueType bytes
    return category;
}

AggregationCategory* CategoryManager::MakeLabelledValueCategory(int varIndex, int valueType, const OBS& value,
                                                                int valueWidth, const char* label)
{
    AggregationCategory* category = new AggregationCategory(AggregationCategory::kValue, valueType);
    category->SetVarIndex(varIndex);
    category->SetCatEncoding(0);
    category->SetEmpty(true);
    category->SetCatLabel(label, false);
    category->SetCatValue(value, valueWidth);
    return category;
}

// ---------------------------------------------------------------------------
// Plain variables

int CategoryManager::OrderCategories()
{
    if (_parsedCategories.empty()) {
        if (!_includeEmpty) {
            if (_sortByLabel) {
                GetCatLabels();
                SortCategoriesByLabels();
            }
        } else {
            if (_sortByLabel) GetCatLabels();
            GetAllLabeledValues();
            if (_sortByLabel) SortCategoriesByLabels();
        }
        return static_cast<int>(_categories.size());
    }

    for (ParsedCategory* item : _parsedCategories) item->ClearCategories();
    bool checkMissing = ListNeedsMissing();
    size_t begin = _totalPosition == kTotalFirst ? 1 : 0;
    size_t end = _categories.size();
    if (_totalPosition == kTotalLast && end > 0) --end;
    for (size_t i = begin; i < end; ++i) {
        AggregationCategory* category = _categories[i];
        bool isMissing = checkMissing && IsMissing(_missingVariable, category->GetCatValue(), category->GetValueType());
        ParsedCategory* parsedCat = _dimension->ExplicitListContains(category->GetCatValue(), isMissing, -1);
        KV_ASSERT(parsedCat);
        parsedCat->AddCategory(category);
    }
    if (_includeEmpty) GetAllCatsForExplicitList(checkMissing);
    ProcessPComputeCategories();
    ProcessSubtotalsAndMerge();
    return static_cast<int>(_categories.size());
}

void CategoryManager::GetCatLabels()
{
    const VESK_Variable* variable = _dataSource.GetVariable(_varIndex);
    for (AggregationCategory* category : _categories) {
        if (category->GetCatType() != AggregationCategory::kValue) continue;
        const char* label = LookUpLabel(variable, category->GetCatValue(), category->GetValueType());
        if (label) category->SetCatLabel(label, false);
    }
}

int CategoryManager::GetAllLabeledValues()
{
    const VESK_Variable* variable = _dataSource.GetVariable(_varIndex);
    if (!variable) return static_cast<int>(_categories.size());
    int varType = variable->GetType();
    VESK_ValueLabelMap labels(variable->GetValueLabels());
    labels.Reset();
    const OBS* value = nullptr;
    const char* label = nullptr;
    while (labels.GetNextPair(value, label)) {
        if (!_includeMissing && variable->IsMissing(value)) continue;
        if (_dimension->GetCategoryEncoding(value) != TableEncryptionCodes::kNoCategory) continue;
        AggregationCategory* category = MakeLabelledValueCategory(_varIndex, varType, *value, varType, label);
        InsertByValue(category, varType);
    }
    return static_cast<int>(_categories.size());
}

void CategoryManager::GetAllCatsForExplicitList(bool checkMissing)
{
    const VESK_Variable* variable = _dataSource.GetVariable(_varIndex);
    if (!variable) return;
    int varType = variable->GetType();
    VESK_ValueLabelMap labels(variable->GetValueLabels());
    labels.Reset();
    const OBS* value = nullptr;
    const char* label = nullptr;
    while (labels.GetNextPair(value, label)) {
        if (_dimension->GetCategoryEncoding(value) != TableEncryptionCodes::kNoCategory) continue;
        bool isMissing = checkMissing && variable->IsMissing(value) != 0;
        ParsedCategory* item = _dimension->ExplicitListContains(*value, isMissing, -1);
        if (!item) continue;
        AggregationCategory* category = MakeLabelledValueCategory(_varIndex, varType, *value, varType, label);
        item->AddCategory(category);
    }

    // A listed value shows even when neither a case nor a label produced it,
    // once, in the item that the dimension would give it.
    for (ParsedCategory* item : _parsedCategories) {
        if (item->GetCatType() != ParsedCategory::kValue || item->HasCategories()) continue;
        bool isMissing = checkMissing && IsMissing(variable, *item->GetCatValue(), item->GetValueType());
        if (_dimension->ExplicitListContains(*item->GetCatValue(), isMissing, -1) != item) continue;
        AggregationCategory* category = MakeListedValueCategory(item, _varIndex, varType);
        if (category) item->AddCategory(category);
    }
}

int CategoryManager::AddCategories(const std::vector<AggregationCategory*>& more)
{
    KV_ASSERT(_categories.size() > 0);
    if (_categories.size() == 1 && _categories[0]->GetCatType() == AggregationCategory::kDummy) {
        _categories = more;
        _totalPosition = kNoTotal;
        if (!_categories.empty()) {
            if (_totalAfter && _categories.back()->GetCatType() == AggregationCategory::kTotal)
                _totalPosition = kTotalLast;
            else if (!_totalAfter && _categories.front()->GetCatType() == AggregationCategory::kTotal)
                _totalPosition = kTotalFirst;
        }
        return static_cast<int>(_categories.size());
    }

    // Categories hidden under a hidden subtotal are held too: they must not
    // come back as newcomers.
    std::vector<AggregationCategory*> newcomers;
    for (AggregationCategory* category : more) {
        AggregationCategory::CategoryType type = category->GetCatType();
        if (type != AggregationCategory::kValue && type != AggregationCategory::kVariable) continue;
        if (FindEqual(_categories, *category) || FindEqual(_hiddenCategories, *category)) continue;
        newcomers.push_back(category);
    }
    if (newcomers.empty()) return static_cast<int>(_categories.size());

    if (!_parsedCategories.empty()) {
        bool checkMissing = ListNeedsMissing() && _dimension->GetDimensionType() != TableDimension::kMDSet;
        for (AggregationCategory* category : newcomers) {
            if (category->GetCatType() == AggregationCategory::kValue) {
                bool isMissing =
                    checkMissing && IsMissing(_missingVariable, category->GetCatValue(), category->GetValueType());
                ParsedCategory* parsedCat =
                    _dimension->ExplicitListContains(category->GetCatValue(), isMissing, category->GetValueType());
                KV_ASSERT(parsedCat);
                parsedCat->AddCategory(category);
            } else {
                VariableItem(category->GetVarIndex(), true)->AddCategory(category);
            }
        }
        ProcessSubtotalsAndMerge();
        return static_cast<int>(_categories.size());
    }

    if (_sortKey == TableEncryptionCodes::kNoSort) {
        auto at = _categories.end();
        if (_totalPosition == kTotalLast) --at;
        _categories.insert(at, newcomers.begin(), newcomers.end());
        return static_cast<int>(_categories.size());
    }

    KV_ASSERT(_sortKey != TableEncryptionCodes::kStatisticSort);

    std::vector<AggregationCategory*> current;
    AggregationCategory* total = TakeTotalOut(current);
    std::vector<AggregationCategory*> merged;
    if (total && _totalPosition == kTotalFirst) merged.push_back(total);

    size_t i = 0;
    size_t j = 0;
    // The current category goes first when it sorts before the newcomer in
    // the requested direction.
    auto takeCurrentFirst = [this](int compRes) { return _descending ? compRes > 0 : compRes < 0; };
    if (_sortByLabel) {
        size_t labelledCurrent = 0;
        while (labelledCurrent < current.size() && !current[labelledCurrent]->GetCatLabel().empty())
            ++labelledCurrent;
        size_t labelledNew = 0;
        while (labelledNew < newcomers.size() && !newcomers[labelledNew]->GetCatLabel().empty()) ++labelledNew;
        while (i < labelledCurrent && j < labelledNew) {
            int compRes = CompareLabels(current[i], newcomers[j]);
            KV_ASSERT(compRes != 0);
            merged.push_back(takeCurrentFirst(compRes) ? current[i++] : newcomers[j++]);
        }
        while (i < labelledCurrent) merged.push_back(current[i++]);
        while (j < labelledNew) merged.push_back(newcomers[j++]);
    }
    while (i < current.size() && j < newcomers.size()) {
        int compRes = CompareValues(current[i], newcomers[j]);
        KV_ASSERT(compRes != 0);
        merged.push_back(takeCurrentFirst(compRes) ? current[i++] : newcomers[j++]);
    }
    while (i < current.size()) merged.push_back(current[i++]);
    while (j < newcomers.size()) merged.push_back(newcomers[j++]);
    if (total && _totalPosition == kTotalLast) merged.push_back(total);
    _categories = merged;
    return static_cast<int>(_categories.size());
}

// ---------------------------------------------------------------------------
// Subtotals, computed categories and ordering

void CategoryManager::ProcessSubtotalsAndMerge()
{
    // 1. A subtotal shows only when some category lies under it since the
    // previous subtotal: above it with totals after, below it otherwise.
    bool categoriesSeen = false;
    auto createSubtotal = [this, &categoriesSeen](ParsedCategory* item) {
        ParsedCategory::ParsedCatType type = item->GetCatType();
        if (type != ParsedCategory::kSubtotal && type != ParsedCategory::kHSubtotal) {
            if (item->HasCategories()) categoriesSeen = true;
            return;
        }
        if (!item->HasCategories() && categoriesSeen) {
            AggregationCategory* subtotal = new AggregationCategory(
                type == ParsedCategory::kSubtotal ? AggregationCategory::kSubtotal : AggregationCategory::kHSubtotal);
            subtotal->SetVarIndex(_varIndex);
            subtotal->SetCatEncoding(item->GetSubtotalEncoding());
            subtotal->SetCatLabel(item->GetSubtotalLabel(), item->GetIsLabelDefault());
            item->AddCategory(subtotal);
        }
        // A subtotal that already holds its category (from an earlier merge)
        // closes its run just as a new one does.
        if (item->HasCategories()) categoriesSeen = false;
    };
    if (_totalAfter) {
        for (ParsedCategory* item : _parsedCategories) createSubtotal(item);
    } else {
        for (auto it = _parsedCategories.rbegin(); it != _parsedCategories.rend(); ++it) createSubtotal(*it);
    }

    // 2. The total keeps its place.
    AggregationCategory* total = nullptr;
    if (!_categories.empty()) {
        if (_totalPosition == kTotalFirst) total = _categories.front();
        else if (_totalPosition == kTotalLast) total = _categories.back();
    }
    _categories.clear();
    _hiddenCategories.clear();
    if (total && _totalPosition == kTotalFirst) _categories.push_back(total);

    // 3. A hidden subtotal hides the items it covers, up to the nearest shown
    // subtotal; the hidden subtotal itself is listed.
    std::vector<bool> shown(_parsedCategories.size(), true);
    bool flag = true;
    auto mark = [this, &shown, &flag](size_t i) {
        switch (_parsedCategories[i]->GetCatType()) {
        case ParsedCategory::kHSubtotal:
            shown[i] = true;
            flag = false;
            break;
        case ParsedCategory::kSubtotal:
            shown[i] = true;
            flag = true;
            break;
        case ParsedCategory::kPCompute:
            shown[i] = true;
            break;
        default:
            shown[i] = flag;
            break;
        }
    };
    if (_totalAfter) {
        for (size_t i = _parsedCategories.size(); i-- > 0;) mark(i);
    } else {
        for (size_t i = 0; i < _parsedCategories.size(); ++i) mark(i);
    }

    // 4, 5.
    for (size_t i = 0; i < _parsedCategories.size(); ++i) {
        std::vector<AggregationCategory*>& target = shown[i] ? _categories : _hiddenCategories;
        const std::vector<AggregationCategory*>& held = _parsedCategories[i]->GetCategories();
        target.insert(target.end(), held.begin(), held.end());
    }
    if (total && _totalPosition == kTotalLast) _categories.push_back(total);
}

void CategoryManager::ProcessPComputeCategories()
{
    for (ParsedCategory* item : _parsedCategories) {
        if (item->GetCatType() != ParsedCategory::kPCompute || item->HasCategories()) continue;
        AggregationCategory* category = new AggregationCategory(AggregationCategory::kPCompute);
        category->SetVarIndex(_varIndex);
        const std::vector<std::string>& parts = item->GetPComputeLabelParts();
        std::string label;
        if (parts.empty()) {
            label = item->GetPComputeName();
        } else {
            for (const std::string& part : parts) label += part;
        }
        category->SetCatLabel(label, item->GetIsLabelDefault());
        category->SetPCateName(item->GetPComputeName());
        category->SetPCFormat(item->GetPComputeFormats());
        category->SetPCDisplayFormat(item->GetPComputeDisplayFormats());
        category->SetPCDecimal(item->GetPComputeDecimals());
        item->AddCategory(category);
    }
}

void CategoryManager::SortCategoriesByLabels()
{
    size_t begin = 0;
    size_t end = _categories.size();
    AggregationCategory* total = nullptr;
    if (end > 0 && _totalPosition == kTotalFirst) total = _categories[begin++];
    else if (end > 0 && _totalPosition == kTotalLast) total = _categories[--end];

    std::vector<AggregationCategory*> labelled;
    std::vector<AggregationCategory*> unlabelled;
    for (size_t i = begin; i < end; ++i) {
        KV_ASSERT(_categories[ i ]->GetCatType() == AggregationCategory::kValue);
        if (_categories[i]->GetCatLabel().empty()) unlabelled.push_back(_categories[i]);
        else InsertSorted(labelled, _categories[i], _descending, CompareLabels);
    }

    _categories.clear();
    if (total && !_totalAfter) _categories.push_back(total);
    _categories.insert(_categories.end(), labelled.begin(), labelled.end());
    _categories.insert(_categories.end(), unlabelled.begin(), unlabelled.end());
    if (total && _totalAfter) _categories.push_back(total);
}

int CategoryManager::OrderByStats(std::vector<double>& values)
{
    const double sysmis = -std::numeric_limits<double>::max();
    size_t begin = 0;
    size_t end = _categories.size();
    AggregationCategory* total = nullptr;
    if (end > 0 && _totalPosition == kTotalFirst) total = _categories[begin++];
    else if (end > 0 && _totalPosition == kTotalLast) total = _categories[--end];
    KV_ASSERT((end - begin) == values.size());

    std::vector<AggregationCategory*> sorted;
    std::vector<double> sortedValues;
    std::vector<AggregationCategory*> missing;
    for (size_t i = begin; i < end; ++i) {
        double value = values[i - begin];
        if (value == sysmis) {
            missing.push_back(_categories[i]);
            continue;
        }
        // A NaN compares false both ways and so stays where it arrives.
        size_t pos = sorted.size();
        while (pos > 0 && (_descending ? sortedValues[pos - 1] < value : sortedValues[pos - 1] > value)) --pos;
        sorted.insert(sorted.begin() + static_cast<long>(pos), _categories[i]);
        sortedValues.insert(sortedValues.begin() + static_cast<long>(pos), value);
    }

    _categories.clear();
    if (total && !_totalAfter) _categories.push_back(total);
    _categories.insert(_categories.end(), sorted.begin(), sorted.end());
    _categories.insert(_categories.end(), missing.begin(), missing.end());
    if (total && _totalAfter) _categories.push_back(total);
    return static_cast<int>(_categories.size());
}

// ---------------------------------------------------------------------------
// Multiple-category sets

int CategoryManager::OrderMCCategories(int valueType)
{
    _valueType = valueType;
    if (_parsedCategories.empty()) {
        if (_includeEmpty) GetAllMCLabeledValues();
        else GetMCCatLabels();
        if (_sortByLabel) SortCategoriesByLabels();
    } else {
        for (ParsedCategory* item : _parsedCategories) item->ClearCategories();
        bool checkMissing = ListNeedsMissing();
        size_t begin = _totalPosition == kTotalFirst ? 1 : 0;
        size_t end = _categories.size();
        if (_totalPosition == kTotalLast && end > 0) --end;
        for (size_t i = begin; i < end; ++i) {
            AggregationCategory* category = _categories[i];
            GetVarIndexForLabel(category);
            bool isMissing =
                checkMissing && IsMissing(_missingVariable, category->GetCatValue(), category->GetValueType());
            ParsedCategory* parsedCat = _dimension->ExplicitListContains(category->GetCatValue(), isMissing, -1);
            KV_ASSERT(parsedCat);
            parsedCat->AddCategory(category);
        }
        if (_includeEmpty) GetAllMCCatsForExplicitList(checkMissing);
        ProcessPComputeCategories();
        ProcessSubtotalsAndMerge();
    }

    int firstValueVar = -1;
    for (const AggregationCategory* category : _categories) {
        if (category->GetCatType() == AggregationCategory::kValue) {
            firstValueVar = category->GetVarIndex();
            break;
        }
    }
    for (AggregationCategory* category : _categories)
        if (category->GetCatType() == AggregationCategory::kPCompute) category->SetVarIndex(firstValueVar);
    return static_cast<int>(_categories.size());
}

CategoryManager::VarIndex CategoryManager::GetVarIndexForLabel(AggregationCategory* category) const
{
    KV_ASSERT(_varIndices.size() > 0);
    if (category->GetCatType() == AggregationCategory::kValue) {
        for (int member : _varIndices) {
            const char* label =
                LookUpLabel(_dataSource.GetVariable(member), category->GetCatValue(), category->GetValueType());
            if (label) {
                category->SetCatLabel(label, false);
                category->SetVarIndex(member);
                return member;
            }
        }
    }
    return _varIndices.front();
}

void CategoryManager::GetMCCatLabels()
{
    for (AggregationCategory* category : _categories)
        if (category->GetCatType() == AggregationCategory::kValue) GetVarIndexForLabel(category);
}

// From the last member to the first, so that the first member that labels a
// value has the last word.
template <typename Visit>
void CategoryManager::ForEachMemberLabel(Visit visit)
{
    for (size_t k = _varIndices.size(); k-- > 0;) {
        int member = _varIndices[k];
        const VESK_Variable* variable = _dataSource.GetVariable(member);
        if (!variable) continue;
        int memberType = variable->GetType();
        if ((memberType == 0) != (_valueType == 0) || memberType > _valueType) continue;
        VESK_ValueLabelMap labels(variable->GetValueLabels());
        labels.Reset();
        const OBS* value = nullptr;
        const char* label = nullptr;
        while (labels.GetNextPair(value, label)) visit(member, variable, memberType, value, label);
    }
}

namespace {

// A labelled value that `list` already holds gives the held category its
// label and member, and the new one is dropped (true); otherwise the caller
// places the new one (false).
bool MergeIntoEqual(const std::vector<AggregationCategory*>& list, AggregationCategory* category, const char* label,
                    int member)
{
    AggregationCategory* held = FindEqual(list, *category);
    if (!held) return false;
    delete category;
    held->SetCatLabel(label, false);
    held->SetVarIndex(member);
    return true;
}

}  // namespace

void CategoryManager::GetAllMCLabeledValues()
{
    ForEachMemberLabel([this](int member, const VESK_Variable* variable, int memberType, const OBS* value,
                              const char* label) {
        if (!_includeMissing && variable->IsMissing(value)) return;
        AggregationCategory* category = MakeLabelledValueCategory(member, _valueType, *value, memberType, label);
        if (!MergeIntoEqual(_categories, category, label, member)) InsertByValue(category, _valueType);
    });
}

void CategoryManager::GetAllMCCatsForExplicitList(bool checkMissing)
{
    ForEachMemberLabel([this, checkMissing](int member, const VESK_Variable* variable, int memberType,
                                            const OBS* value, const char* label) {
        bool isMissing = checkMissing && variable->IsMissing(value) != 0;
        ParsedCategory* item = _dimension->ExplicitListContains(*value, isMissing, memberType);
        if (!item) return;
        AggregationCategory* category = MakeLabelledValueCategory(member, _valueType, *value, memberType, label);
        if (!MergeIntoEqual(item->GetCategories(), category, label, member)) item->AddCategory(category);
    });

    if (_varIndices.empty()) return;
    for (ParsedCategory* item : _parsedCategories) {
        if (item->GetCatType() != ParsedCategory::kValue || item->HasCategories()) continue;
        bool isMissing = checkMissing && IsMissing(_missingVariable, *item->GetCatValue(), item->GetValueType());
        if (_dimension->ExplicitListContains(*item->GetCatValue(), isMissing, -1) != item) continue;
        AggregationCategory* category = MakeListedValueCategory(item, _varIndices.front(), _valueType);
        if (category) item->AddCategory(category);
    }
}

// ---------------------------------------------------------------------------
// Multiple-dichotomy sets

int CategoryManager::OrderMDCategories()
{
    std::vector<AggregationCategory*> rest;
    AggregationCategory* total = TakeTotalOut(rest);
    std::vector<AggregationCategory*> main;
    std::vector<AggregationCategory*> unlabelled;
    for (AggregationCategory* category : rest) {
        if (_sortByLabel && category->GetCatLabel().empty())
            InsertSorted(unlabelled, category, _descending, CompareValues);
        else if (_sortByLabel)
            InsertSorted(main, category, _descending, CompareLabels);
        else
            InsertSorted(main, category, _descending, CompareValues);
    }
    _categories.clear();
    if (total && !_totalAfter) _categories.push_back(total);
    _categories.insert(_categories.end(), main.begin(), main.end());
    _categories.insert(_categories.end(), unlabelled.begin(), unlabelled.end());
    if (total && _totalAfter) _categories.push_back(total);
    return static_cast<int>(_categories.size());
}
