#include "CubeMetadata.h"

using namespace TableEncryptionCodes;

CubeMetadata::CubeMetadata() : _lastDim(-1), _currentDim(0), _cLabelOption(kDefault) {}

void CubeMetadata::AddDimension(TableDimension* dim, DimensionPosition position)
{
    if (_lastDim >= 0) {
        DimensionPosition lastPosition = _positions[static_cast<size_t>(_lastDim)];
        DimensionPosition dimPosition = position;
        KV_ASSERT(lastPosition <= dimPosition);
    }
    _dimensions.push_back(dim);
    _positions.push_back(position);
    _currentCells.push_back(0);
    ++_lastDim;
}

DimensionPosition CubeMetadata::GetDimPosition(int iDim) const
{
    int nDims = NumberOfDimensions();
    KV_ASSERT(nDims > iDim);
    return _positions[static_cast<size_t>(iDim)];
}

void CubeMetadata::Clear()
{
    _dimensions.clear();
    _positions.clear();
    _currentCells.clear();
    _lastDim = -1;
    _currentDim = 0;
}

TableDimension* CubeMetadata::GetInnerRow() const
{
    KV_ASSERT(_cLabelOption == TableEncryptionCodes::kDefault);
    if (_dimensions.empty() || _positions[0] != kRow) return nullptr;
    size_t j = 0;
    while (j + 1 < _positions.size() && _positions[j + 1] == kRow) ++j;
    return _dimensions[j];
}

TableDimension* CubeMetadata::GetInnerColumn() const
{
    KV_ASSERT(_cLabelOption == TableEncryptionCodes::kDefault);
    // Only the innermost column directly before the first layer or extra
    // dimension (or the end) qualifies.
    int j = -1;
    while (j + 1 <= _lastDim && (_positions[static_cast<size_t>(j + 1)] == kRow ||
                                 _positions[static_cast<size_t>(j + 1)] == kColumn))
        ++j;
    if (j < 0 || _positions[static_cast<size_t>(j)] != kColumn) return nullptr;
    return _dimensions[static_cast<size_t>(j)];
}

bool CubeMetadata::MakeCVarCellKey(CellKey& key, bool& noCategory, bool& allValid, bool& hasTotal) const
{
    noCategory = false;
    hasTotal = false;
    allValid = true;
    bool unlisted = false;
    _currentDim = 0;
    for (int k = 0; k <= _lastDim; ++k) {
        const TableDimension* dim = _dimensions[static_cast<size_t>(k)];
        _currentCells[static_cast<size_t>(k)] = 0;
        int cell = dim->GetCatCell(0);
        key[k] = cell;
        if (cell == kNoCategory) {
            noCategory = true;
        } else if (cell == kUnlistedCategory) {
            unlisted = true;
        } else if (cell == kTotalCategory) {
            hasTotal = true;
        }
        allValid = allValid && dim->GetCaseValid();
        if (noCategory) return false;
    }
    return !unlisted;
}

bool CubeMetadata::NewCellKey(CellKey& key) const
{
    int d = _currentDim;
    if (d > _lastDim) return false;
    while (_currentCells[static_cast<size_t>(d)] >= _dimensions[static_cast<size_t>(d)]->GetLastCatCell()) {
        if (d == _lastDim) {
            _currentDim = 0;
            return false;
        }
        _currentCells[static_cast<size_t>(d)] = 0;
        key[d] = _dimensions[static_cast<size_t>(d)]->GetCatCell(0);
        ++d;
        _currentDim = d;
    }
    key[d] = _dimensions[static_cast<size_t>(d)]->NextCategoryCell(_currentCells[static_cast<size_t>(d)]);
    _currentDim = 0;
    return true;
}

bool CubeMetadata::MakeCVarPctKey(CellKey& key) const
{
    _currentDim = 0;
    for (int k = 0; k <= _lastDim; ++k) {
        _currentCells[static_cast<size_t>(k)] = 0;
        int cell = _dimensions[static_cast<size_t>(k)]->GetCatCell(0);
        key[k] = cell;
        if (cell == kUnlistedCategory) return false;
    }
    return true;
}

bool CubeMetadata::MakeScaleCellKey(CellKey& key) const
{
    _currentDim = 0;
    for (int k = 0; k <= _lastDim; ++k) {
        _currentCells[static_cast<size_t>(k)] = 0;
        int cell = _dimensions[static_cast<size_t>(k)]->GetCatCell(0);
        key[k] = cell;
        if (cell < kMinCategory) return false;
    }
    return true;
}

bool CubeMetadata::AddPercentBase(std::vector<int>& dims, DimensionPosition position, int& iDim) const
{
    if (iDim > _lastDim || _positions[static_cast<size_t>(iDim)] != position) return false;
    while (iDim <= _lastDim && _positions[static_cast<size_t>(iDim)] == position) dims.push_back(iDim++);
    return true;
}

void CubeMetadata::GetPercentBase(std::vector<int>& dims, int percentType) const
{
    dims.clear();
    int i = 0;
    const int opt = _cLabelOption;
    auto take = [&](DimensionPosition p) { return AddPercentBase(dims, p, i); };
    auto drop = [&]() {
        if (!dims.empty()) dims.pop_back();
    };
    auto skip = [&](DimensionPosition p) {
        int n = 0;
        while (i <= _lastDim && _positions[static_cast<size_t>(i)] == p) {
            ++i;
            ++n;
        }
        return n;
    };
    auto isColumn = [&](int d) { return d >= 0 && d <= _lastDim && _positions[static_cast<size_t>(d)] == kColumn; };

    switch (percentType) {
    case 0: {  // row percentages: all but the innermost column
        bool rows = take(kRow);
        if (rows && opt == 1) {
            drop();
            take(kColumn);
        } else if (take(kColumn)) {
            if (opt == 2 || opt == 4) {
                if (i > 1 && isColumn(i - 2)) {
                    drop();
                    drop();
                    dims.push_back(i - 1);
                }
            } else {
                drop();
            }
        }
        take(kLayer);
        break;
    }
    case 1: {  // column percentages: all but the innermost row
        bool rows = take(kRow);
        if (rows) {
            if ((opt == 1 || opt == 3) && i > 1) {
                drop();
                drop();
                dims.push_back(i - 1);
            } else if (opt != 2) {
                drop();
            }
        }
        bool cols = take(kColumn);
        if (opt == 2 && (rows || cols)) drop();
        take(kLayer);
        break;
    }
    case 2:  // the whole cube: layers are not taken either
        break;
    case 3: {  // subtable: all but the innermost row and column
        bool rows = take(kRow);
        if (rows) {
            if (opt == 1) {
                drop();
                if (i > 1) drop();
            } else if (opt == 3 && i > 1) {
                drop();
                drop();
                dims.push_back(i - 1);
            } else if (opt != 2) {
                drop();
            }
        }
        bool cols = take(kColumn);
        if (cols) {
            if (opt == 2) {
                drop();
                if (i > 1 && isColumn(i - 2)) drop();
            } else if (opt == 4 && i > 1 && isColumn(i - 2)) {
                drop();
                drop();
                dims.push_back(i - 1);
            } else if (!(rows && opt == 1)) {
                drop();
            }
        }
        if (!cols && rows && opt == 2) drop();
        take(kLayer);
        break;
    }
    case 4: {  // layer percentages
        int k = skip(kRow);
        if (opt == 3 && k > 0) dims.push_back(k - 1);
        skip(kColumn);
        if (opt == 4 && isColumn(i - 1)) dims.push_back(i - 1);
        take(kLayer);
        break;
    }
    case 5: {  // rows and layers
        bool rows = take(kRow);
        if (rows && opt == 1) drop();
        skip(kColumn);
        if ((opt == 2 || opt == 4) && isColumn(i - 1)) dims.push_back(i - 1);
        take(kLayer);
        break;
    }
    case 6: {  // columns and layers
        int k = skip(kRow);
        if ((opt == 1 || opt == 3) && k > 0) dims.push_back(k - 1);
        bool cols = take(kColumn);
        if (cols && opt == 2) drop();
        take(kLayer);
        break;
    }
    default:
        break;
    }
}

CubeMetadata CubeMetadata::GetBaseMetadata(std::vector<int>& dims, int) const
{
    CubeMetadata base;
    base.SetClabelOption(_cLabelOption);
    for (int d : dims) base.AddDimension(_dimensions[static_cast<size_t>(d)], _positions[static_cast<size_t>(d)]);
    return base;
}
