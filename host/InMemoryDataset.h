// An in-memory columnar dataset: a data dictionary plus one column of OBS
// words per variable. Cases are appended row by row.
#ifndef KVHOST_INMEMORYDATASET_H
#define KVHOST_INMEMORYDATASET_H

#include <memory>
#include <string>
#include <vector>

#include "VESK_DataSource.h"
#include "VESK_InputCaseIterator.h"

class InMemoryDataset : public VESK_DataSource {
public:
    static double SystemMissing();

    int AddVariable(std::unique_ptr<VESK_Variable> variable) override;
    // Convenience: adds a numeric (width 0) or string variable.
    int AddNumeric(const std::string& name, const std::string& label = "");
    int AddString(const std::string& name, int width, const std::string& label = "");

    // Appends one case with every value system-missing (numeric) or blank
    // (string); returns its row.
    int AppendCase();
    void SetNumeric(int row, int varIndex, double value);
    // Throws std::invalid_argument when the text is wider than the variable
    // (trailing blanks beyond the width are padding and do not count).
    void SetString(int row, int varIndex, const std::string& value);
    // Raw words of a case value.
    const OBS* GetValue(int row, int varIndex) const;
    OBS* GetValue(int row, int varIndex);
    int GetNumCases() const { return _numCases; }

private:
    std::vector<std::vector<OBS>> _columns;
    int _numCases = 0;
};

// A procedure iterator over an in-memory dataset; the weight is taken from
// the weight variable (-1: every case weighs 1.0).
class DatasetIterator : public ProcDSIterator {
public:
    explicit DatasetIterator(InMemoryDataset& dataset, int weightIndex = -1);
    const OBS* GetValue(int varIndex) const override;
    VESK_DataSource& GetDataSource() const override { return *_dataset; }
    bool Next() override;
    bool Rewind() override;
    int GetRow() const { return _row; }

private:
    InMemoryDataset* _dataset;
    int _row = -1;
};

// The same walk without being a procedure iterator (the library then weighs
// every case 1.0).
class PlainDatasetIterator : public VESK_InputCaseIterator {
public:
    explicit PlainDatasetIterator(InMemoryDataset& dataset);
    const OBS* GetValue(int varIndex) const override;
    VESK_DataSource& GetDataSource() const override { return *_dataset; }
    bool Next() override;
    bool Rewind() override;

private:
    InMemoryDataset* _dataset;
    int _row = -1;
};

#endif
