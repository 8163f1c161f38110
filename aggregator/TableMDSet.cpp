#include "TableMDSet.h"

#include <cstring>

#include "AggregationCategory.h"
#include "AggregationMDSet.h"
#include "CategoryManager.h"
#include "KvAggrCaseValueReader.h"
#include "ParsedCategory.h"
#include "VESK_DataSource.h"
#include "VESK_ValueLabelMap.h"

TableMDSet::TableMDSet(const AggregationMDSet& set)
    : TableDimension(2 * set.GetIndexListCount() + 1, kMDSet, set),
      _indexList(*set.GetIndexList()),
      _countedValue(&_countedInPlace),
      _valueSize(sizeof(OBS)),
      _lastEncoding(0),
      _set(&set)
{
    // The counted value is kept blank-padded to whole words, as case values
    // are, so that a member's words compare with it byte by byte.
    int countedSize = set.GetCountedOBSSize();
    int words = ObsWords(countedSize);
    if (words > 1) {
        _countedBuffer.reset(new OBS[static_cast<size_t>(words)]);
        _countedValue = _countedBuffer.get();
    }
    _valueSize = static_cast<uint64_t>(words) * sizeof(OBS);
    const OBS* counted = set.GetCountedOBS();
    if (countedSize > 0) {
        std::memset(_countedValue, ' ', _valueSize);
        if (counted) std::memcpy(_countedValue, counted, static_cast<size_t>(countedSize));
    } else {
        _countedValue->num = counted ? counted->num : -1.7976931348623157e+308;
    }
    _varSubtotals.assign(_indexList.size(), 0);
    SetParsedVariables();
    _varEncodings.assign(_indexList.size(), 0);
}

TableMDSet::~TableMDSet()
{
    for (KvAggrCaseValueReader* reader : _readers) delete reader;
    for (AggregationCategory* category : _hiddenCategories) delete category;
}

void TableMDSet::SetParsedVariables()
{
    if (!_hasExplicitList) return;
    std::vector<int> indices;
    std::vector<int> subtotals;
    for (const ParsedCategory* item : _parsedCategories) {
        if (item->GetCatType() != ParsedCategory::kVariable) continue;
        indices.push_back(item->GetVarIndex());
        subtotals.push_back(item->GetSubtotalEncoding());
    }
    // A list without members (computed categories only) keeps the set's own.
    if (indices.empty()) return;
    _indexList = indices;
    _varSubtotals = subtotals;
    _varEncodings.assign(_indexList.size(), 0);
}

void TableMDSet::SetIterator(VESK_InputCaseIterator& iterator)
{
    _iterator = &iterator;
    for (KvAggrCaseValueReader* reader : _readers) delete reader;
    _readers.clear();
    _varSizes.clear();
    for (size_t iVar = 0; iVar < _indexList.size(); ++iVar) {
        KvAggrCaseValueReader* reader =
            new KvAggrCaseValueReader(iterator, static_cast<unsigned int>(_indexList[iVar]), false);
        _readers.push_back(reader);
        int width = reader->GetCaseValue()->GetWidth();
        _varSizes.push_back(width <= 8 ? 8u : static_cast<uint64_t>(ObsWords(width)) * sizeof(OBS));
        KV_ASSERT(_varSizes[iVar] <= _valueSize);
    }
    // Adding 0.0 turns a negative zero into zero, so that both match a zero.
    if (!_readers.empty() && !_readers.front()->IsString()) _countedValue->num = _countedValue->num + 0.0;
    // The values this dimension looks up are member indices, carried as numbers.
    _valueType = 0;
}

int TableMDSet::GetCategoryEncoding(const OBS* varInd) const
{
    KV_ASSERT(varInd->num >= 0.0);
    int varIndex = static_cast<int>(varInd->num + 0.5);
    for (size_t i = 0; i < _indexList.size(); ++i)
        if (_indexList[i] == varIndex) return _varEncodings[i];
    return TableEncryptionCodes::kNoCategory;
}

std::vector<int> TableMDSet::MergeEncodings(const std::vector<int>& theirs)
{
    ForgetCategories();
    // The other part's members in the order of their first hits there.
    std::vector<size_t> byCell(theirs.size() + 1, theirs.size());
    for (size_t i = 0; i < theirs.size(); ++i)
        if (theirs[i] >= 1) byCell[static_cast<size_t>(theirs[i])] = i;
    std::vector<int> cellIndex(byCell.size(), 0);
    for (size_t cell = 1; cell < byCell.size(); ++cell) {
        const size_t i = byCell[cell];
        if (i == theirs.size()) continue;
        if (_varEncodings[i] < 1) _varEncodings[i] = ++_lastEncoding;
        cellIndex[cell] = _varEncodings[i];
    }
    return cellIndex;
}

std::vector<int> TableMDSet::MergeCategories(const TableDimension& other)
{
    KV_ASSERT(other.GetDimensionType() == _dimensionType);
    const auto& set = static_cast<const TableMDSet&>(other);
    KV_ASSERT(set._varEncodings.size() == _varEncodings.size());
    return MergeEncodings(set._varEncodings);
}

void TableMDSet::WriteCategories(StateWriter& out) const
{
    out.PutU32(static_cast<std::uint32_t>(_varEncodings.size()));
    for (int e : _varEncodings) out.PutI32(e);
}

bool TableMDSet::ReadCategories(StateReader& in, std::vector<int>& cellIndex)
{
    std::uint32_t n = 0;
    if (!in.GetCount(n, sizeof(std::int32_t)) || n != _varEncodings.size()) return false;
    // Each member's first-hit number, 0 for a member never hit; no number twice.
    std::vector<int> theirs(n);
    std::vector<char> taken(n + 1, 0);
    for (int& e : theirs) {
        std::int32_t v = 0;
        in.GetI32(v);
        if (v < 0 || v > static_cast<std::int32_t>(n) || (v > 0 && taken[static_cast<size_t>(v)]++)) return false;
        e = v;
    }
    cellIndex = MergeEncodings(theirs);
    return true;
}

void TableMDSet::ResetDimension()
{
    for (AggregationCategory* category : _hiddenCategories) delete category;
    _hiddenCategories.clear();
    ResetDimensionBase();
}

void TableMDSet::AddCell(int cell, int count, bool& first)
{
    if (first) {
        _lastCatCell = 0;
        _catCells[0] = cell;
        first = false;
    } else {
        AddCategoryCell(cell);
    }
    if (_computingCounts) _catCellCounts[static_cast<size_t>(_lastCatCell)] = count;
}

bool TableMDSet::EncodeValue()
{
    _caseValid = false;
    int hits = 0;
    int runLength = 0;
    int current = (_hasExplicitList && !_varSubtotals.empty()) ? _varSubtotals.front()
                                                               : static_cast<int>(TableEncryptionCodes::kMaxSubtotal);
    bool first = true;
    for (size_t i = 0; i < _readers.size(); ++i) {
        // Missing values are not treated apart: they simply do not match.
        if (std::memcmp(_readers[i]->GetValue(), _countedValue, _varSizes[i]) != 0) continue;
        // Cells are numbered by the order of first hits, across all cases.
        if (_varEncodings[i] < 1) _varEncodings[i] = ++_lastEncoding;
        if (_hasExplicitList) {
            // A run of members under one subtotal closes before the first
            // member of the next run.
            if (_varSubtotals[i] != current) {
                if (runLength >= 1 && current <= TableEncryptionCodes::kMaxSubtotal) AddCell(current, runLength, first);
                runLength = 1;
                current = _varSubtotals[i];
            } else {
                ++runLength;
            }
        }
        AddCell(_varEncodings[i], 1, first);
        ++hits;
        _caseValid = true;
    }
    if (_hasExplicitList && runLength >= 1 && current <= TableEncryptionCodes::kMaxSubtotal)
        AddCell(current, runLength, first);

    if (hits > 0) {
        if (_computingTotal) AddCell(TableEncryptionCodes::kTotalCategory, hits, first);
    } else {
        // No member holds the counted value: the case is still counted.
        AddCell(_computingTotal ? TableEncryptionCodes::kTotalCategory : TableEncryptionCodes::kUnlistedCategory, 0,
                first);
    }
    _caseResponseCount = hits;
    return true;
}

AggregationCategory* TableMDSet::MakeVariableCategory(size_t iVar) const
{
    int encoding = _varEncodings[iVar];
    if (encoding < 1 && !_isEmptyInclude) return nullptr;
    AggregationCategory* category = new AggregationCategory(AggregationCategory::kVariable);
    category->SetVarIndex(_indexList[iVar]);
    category->SetCatEncoding(encoding);
    return category;
}

AggregationCategory* TableMDSet::MakeSubtotalCategory(int encoding) const
{
    for (const ParsedCategory* item : _parsedCategories) {
        ParsedCategory::ParsedCatType type = item->GetCatType();
        if ((type != ParsedCategory::kSubtotal && type != ParsedCategory::kHSubtotal) ||
            item->GetSubtotalEncoding() != encoding)
            continue;
        AggregationCategory* category = new AggregationCategory(
            type == ParsedCategory::kSubtotal ? AggregationCategory::kSubtotal : AggregationCategory::kHSubtotal);
        category->SetVarIndex(_indexList.empty() ? 0 : _indexList.front());
        category->SetCatEncoding(encoding);
        category->SetCatLabel(item->GetSubtotalLabel(), item->GetIsLabelDefault());
        return category;
    }
    return nullptr;
}


const std::vector<AggregationCategory*>& TableMDSet::GetCategoryPointers()
{
    if (_categoriesBuilt) return _categories;
    DeleteCategories();

    bool showTotal = _hasTotal && (_lastEncoding > 0 || _isEmptyInclude);
    if (showTotal && !_isTotalPositionAfter) _categories.push_back(GetTotalCategoryPtr());

    if (!_hasExplicitList) {
        for (size_t iVar = 0; iVar < _indexList.size(); ++iVar)
            if (AggregationCategory* category = MakeVariableCategory(iVar)) _categories.push_back(category);
    } else {
        // The listed items in order, each with the subtotal it belongs to.
        struct Listed {
            AggregationCategory* category;
            int subtotal;
        };
        std::vector<Listed> listed;
        for (const ParsedCategory* item : _parsedCategories) {
            if (item->GetCatType() == ParsedCategory::kPCompute) {
                AggregationCategory* category = new AggregationCategory(AggregationCategory::kPCompute);
                category->SetVarIndex(_indexList.empty() ? 0 : _indexList.front());
                category->SetPCateName(item->GetPComputeName());
                category->SetPCFormat(item->GetPComputeFormats());
                category->SetPCDisplayFormat(item->GetPComputeDisplayFormats());
                category->SetPCDecimal(item->GetPComputeDecimals());
                std::string label;
                for (const std::string& part : item->GetPComputeLabelParts()) label += part;
                category->SetCatLabel(label.empty() ? item->GetPComputeName() : label, item->GetIsLabelDefault());
                listed.push_back({category, 0});
            } else if (item->GetCatType() == ParsedCategory::kVariable) {
                size_t iVar = 0;
                while (iVar < _indexList.size() && _indexList[iVar] != item->GetVarIndex()) ++iVar;
                KV_ASSERT(iVar <_varEncodings.size());
                if (AggregationCategory* category = MakeVariableCategory(iVar))
                    listed.push_back({category, _varSubtotals[iVar]});
            }
        }
        // A subtotal shows once, before its first member when totals go
        // first and after its last member otherwise; a subtotal none of whose
        // members shows does not show either.
        std::vector<int> placed;
        auto isPlaced = [&placed](int encoding) {
            for (int p : placed)
                if (p == encoding) return true;
            return false;
        };
        for (size_t k = 0; k < listed.size(); ++k) {
            int subtotal = listed[k].subtotal;
            bool grouped = subtotal <= TableEncryptionCodes::kMaxSubtotal;
            if (grouped && !_isTotalPositionAfter && !isPlaced(subtotal)) {
                placed.push_back(subtotal);
                if (AggregationCategory* category = MakeSubtotalCategory(subtotal)) _categories.push_back(category);
            }
            _categories.push_back(listed[k].category);
            if (grouped && _isTotalPositionAfter) {
                bool last = true;
                for (size_t later = k + 1; later < listed.size() && last; ++later)
                    if (listed[later].subtotal == subtotal) last = false;
                if (last)
                    if (AggregationCategory* category = MakeSubtotalCategory(subtotal)) _categories.push_back(category);
            }
        }
    }

    if (showTotal && _isTotalPositionAfter) _categories.push_back(GetTotalCategoryPtr());

    if (!_categories.empty() && _iterator) {
        // The listed items still hold the categories of an earlier build,
        // already deleted; the manager files the new ones under them.
        for (ParsedCategory* item : _parsedCategories) item->ClearCategories();
        CategoryManager manager(_categories, *_set, this);
        manager.OrderMDCategories();
        TakeOrderedCategories(manager);
        PrepareMDCategories(_iterator->GetDataSource());
    }

    return CloseCategories();
}

void TableMDSet::PrepareMDCategories(const VESK_DataSource& ds)
{
    for (std::vector<AggregationCategory*>* list : {&_categories, &_hiddenCategories}) {
        for (AggregationCategory* category : *list) {
            if (category->GetCatType() != AggregationCategory::kVariable) continue;
            const VESK_Variable* variable = ds.GetVariable(category->GetVarIndex());
            const char* varName = variable ? variable->GetName() : nullptr;
            KV_ASSERT(varName != 0);
            category->SetCatValue(varName);
            const char* label = nullptr;
            if (_set->UseLabelFromValue()) {
                VESK_ValueLabelMap labels(variable->GetValueLabels());
                label = labels.GetLabel(_countedValue);
                category->SetUseLabelForVar();
            } else {
                label = variable->GetLabel();
            }
            if (label && *label) category->SetCatLabel(label, false);
        }
    }
}

