// One cube's dimensions and their positions, the per-case enumeration of the
// cell keys a case produces, and which dimensions each percentage base holds
// fixed.
#ifndef KVAGGR_CUBEMETADATA_H
#define KVAGGR_CUBEMETADATA_H

#include <vector>

#include "CellKey.h"
#include "TableDimension.h"
#include "TableEncryptionCodes.h"

class CubeMetadata {
public:
    CubeMetadata();
    CubeMetadata(const CubeMetadata&) = default;  // shares the dimension pointers
    CubeMetadata& operator=(const CubeMetadata&) = default;
    ~CubeMetadata() = default;

    // Positions must not decrease: rows, then columns, then layers, then the
    // extra dimension.
    void AddDimension(TableDimension* dim, TableEncryptionCodes::DimensionPosition position);
    TableDimension* GetDimension(int iDim) const { return _dimensions[static_cast<size_t>(iDim)]; }
    int NumberOfDimensions() const { return static_cast<int>(_dimensions.size()); }
    TableEncryptionCodes::DimensionPosition GetDimPosition(int iDim) const;
    void SetClabelOption(TableEncryptionCodes::CLabelOption option) { _cLabelOption = option; }
    TableEncryptionCodes::CLabelOption GetClabelOption() const { return _cLabelOption; }
    void Clear();

    TableDimension* GetInnerRow() const;
    TableDimension* GetInnerColumn() const;

    // The first key of a case, for counts and category statistics. False when
    // the key is not to be stored: a dimension has no category for the case
    // (noCategory, later dimensions untouched) or one holds an excluded
    // missing value (the key is still filled completely).
    bool MakeCVarCellKey(CellKey& key, bool& noCategory, bool& allValid, bool& hasTotal) const;
    // The next combination of the case's cells, dimension 0 changing fastest;
    // false when every combination has been given.
    bool NewCellKey(CellKey& key) const;
    // The key under which a case enters the percentage bases.
    bool MakeCVarPctKey(CellKey& key) const;
    // The key of scale statistics: an ordinary category in every dimension.
    bool MakeScaleCellKey(CellKey& key) const;

    bool AddPercentBase(std::vector<int>& dims, TableEncryptionCodes::DimensionPosition position, int& iDim) const;
    // The dimensions held fixed within one percentage base of the given type.
    void GetPercentBase(std::vector<int>& dims, int percentType) const;
    CubeMetadata GetBaseMetadata(std::vector<int>& dims, int unused) const;

    // Where the key enumeration stands in dimension iDim's cell list.
    int GetCurrentCell(int iDim) const { return _currentCells[static_cast<size_t>(iDim)]; }

private:
    std::vector<TableDimension*> _dimensions;  // not owned
    std::vector<TableEncryptionCodes::DimensionPosition> _positions;
    int _lastDim;
    // The enumeration state moves under const operations: each aggregator
    // owns its copy of the metadata, so cubes never disturb each other.
    mutable int _currentDim;
    mutable std::vector<int> _currentCells;
    TableEncryptionCodes::CLabelOption _cLabelOption;
};

#endif
