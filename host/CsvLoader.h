// Loading CSV files, with or without a JSON data dictionary (DataDictionary.h):
// into memory (LoadCsv) or as a stream of cases (CsvCaseIterator).
//
// The dataset's variables are the CSV columns in header order, named by the
// header (blanks around a name are dropped; names must be non-empty and
// unique). A column the dictionary describes takes its description; any other
// column is inferred from its values: numeric when every non-blank field is a
// number (ParseCsvNumber; a column with no values at all is numeric), else a
// string as wide as its widest value in bytes (trailing blanks do not count;
// at least 1). Inferred numbers get an F format whose decimals (at most 6)
// follow the values, inferred strings A<width>.
//
// Values: a blank numeric field is system-missing, and so is one that holds
// one of the options' `na` texts (an undescribed column with such texts among
// its numbers is still numeric); a string value is stored
// blank-padded, so trailing blanks are insignificant and never make a value
// too wide. Every record must have as many fields as the header.
//
// Every problem is a HostError with a one-line message naming the file and the
// 1-based line (the header is line 1), field or JSON pointer. Nothing is ever
// returned half-loaded.
#ifndef KVHOST_CSVLOADER_H
#define KVHOST_CSVLOADER_H

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "CsvReader.h"
#include "DataDictionary.h"
#include "HostError.h"
#include "InMemoryDataset.h"
#include "VESK_InputCaseIterator.h"

// The header row of a CSV file: the column names, blanks around them dropped.
std::vector<std::string> ReadCsvHeader(const std::string& csvPath, const CsvOptions& options = {});

// Reads a whole CSV file into memory. With a dictionary path the file is read
// first (LoadDictionary). Throws HostError; never returns a partial dataset.
std::unique_ptr<InMemoryDataset> LoadCsv(const std::string& csvPath,
                                         const std::optional<std::string>& dictionaryPath = std::nullopt,
                                         const CsvOptions& options = {});
std::unique_ptr<InMemoryDataset> LoadCsv(const std::string& csvPath, const DataDictionary& dictionary,
                                         const CsvOptions& options = {});

// Which columns a stream converts: all, or a list of 0-based column indices
// or names. A column not asked for is still checked for its field count but
// never converted, and an undescribed one is not inferred.
class CsvColumns {
public:
    static CsvColumns All() { return CsvColumns(); }
    static CsvColumns Indices(std::vector<int> indices);
    static CsvColumns Names(std::vector<std::string> names);
    // Convenience: a list of indices.
    CsvColumns(std::vector<int> indices);

    bool IsAll() const { return _all; }
    const std::vector<int>& GetIndices() const { return _indices; }
    const std::vector<std::string>& GetNames() const { return _names; }

private:
    CsvColumns() = default;
    bool _all = true;
    std::vector<int> _indices;
    std::vector<std::string> _names;
};

// A procedure iterator that streams a CSV file one case at a time in constant
// memory: a background thread parses and converts the needed columns into a
// few bounded batches of rows while the consumer walks them.
//
// - The data source lists every column. A column not asked for reads as
//   system-missing (numeric) or blanks (string) and, when no dictionary
//   describes it, is a numeric variable whose type was never inferred. The
//   weight variable (weightIndex, or a later SetWeightIndex) must be asked for;
//   the constructor adds weightIndex itself.
// - When a needed column is undescribed the constructor reads the file once
//   to infer its type (over the needed columns only); a malformed file then
//   fails in the constructor already. Describe every needed column in the
//   dictionary to skip that pass. With options.inferenceBytes it reads only
//   the records in that many bytes: when every undescribed needed column
//   holds nothing but numbers there, they are numeric, the stream checks the
//   rest of the file as it goes (CsvTypeContradicted from Next at the first
//   value that is not a number) and settles their formats' decimals and
//   digits over the whole file by the time Next returns false; otherwise it
//   reads on to the end as without the option.
// - A bad record surfaces as a HostError thrown from Next once every case
//   before it has been delivered; from then on Next throws the same error
//   again until Rewind. The consumer must abandon what it aggregated.
// - Rewind reopens the file and starts again; it returns false when the file
//   can no longer be opened or its header changed (no case is then current and
//   Next returns false).
// - Values are valid until the iterator moves, as for every case iterator.
// A value past the records a stream inferred its types from that is not a
// number in a column inferred as numeric: the types must be inferred from the
// whole file (and the aggregation done again). The message names the value.
class CsvTypeContradicted : public HostError {
public:
    using HostError::HostError;
};

class CsvCaseIterator : public ProcDSIterator {
public:
    CsvCaseIterator(const std::string& csvPath, const DataDictionary* dictionary, const CsvColumns& needed,
                    const CsvOptions& options = {}, int weightIndex = -1);
    ~CsvCaseIterator() override;
    CsvCaseIterator(const CsvCaseIterator&) = delete;
    CsvCaseIterator& operator=(const CsvCaseIterator&) = delete;

    const OBS* GetValue(int varIndex) const override
    {
        int offset = _offsets[static_cast<size_t>(varIndex)];
        return offset >= 0 ? _row + offset : _fillers[static_cast<size_t>(varIndex)];
    }
    VESK_DataSource& GetDataSource() const override { return *_dataSource; }
    bool Next() override
    {
        if (_batch && ++_rowInBatch < _batch->rows) {
            _row += _stride;
            return true;
        }
        return NextBatch();
    }
    bool Rewind() override;

    // The stream's records cut into `parts` streams over consecutive ranges
    // of the file of about equal size (CsvRecordBoundaries), in file order,
    // each with a parsing thread, sharing this one's data source (the formats
    // a prefix left open are settled over all of them). Reading them all in
    // turn reads what this stream reads. Throws HostError.
    std::vector<std::unique_ptr<CsvCaseIterator>> Split(int parts) const;
    // The same, cut near the given fractions (ascending, 0 to 1) of the data's bytes.
    std::vector<std::unique_ptr<CsvCaseIterator>> Split(const std::vector<double>& fractions) const;

    // 1-based line on which the current case starts (0 when none is current).
    long long GetLine() const { return _batch && _rowInBatch < _batch->rows ? _batch->lines[_rowInBatch] : 0; }
    bool IsNeeded(int varIndex) const { return _offsets[static_cast<size_t>(varIndex)] >= 0; }
    // True when the column's type came from its values rather than the dictionary.
    bool IsInferred(int varIndex) const { return _inferred[static_cast<size_t>(varIndex)] != 0; }
    // Why a column was inferred as text: where its first value that is not a
    // number stands ("survey.csv:17 holds \"NA\"", with advice when it reads
    // like a missing-value marker); empty for every other column.
    std::string WhyText(int varIndex) const;
    const std::string& GetPath() const { return _path; }

private:
    struct Batch {
        std::vector<OBS> words;  // _stride words per row
        std::vector<long long> lines;
        int rows = 0;
        bool last = false;
        std::exception_ptr error;
    };
    struct Needed {
        int column;
        int offset;    // in words, within a row
        int width;     // 0 numeric
        bool settles;  // numeric by a prefix: checked, and its format follows the values
    };
    // The number formats of the columns a prefix inferred: the most decimals
    // and integer digits any stream over the file has read, by column.
    struct Settling {
        std::mutex mutex;
        std::vector<int> decimals, digits;
    };

    // A stream over the records in [begin, end) of `whole`'s file.
    CsvCaseIterator(const CsvCaseIterator& whole, size_t begin, size_t end, long long line);
    // The rows' layout over the columns `need` marks, once the data source is complete.
    void LayOutRows(const std::vector<char>& need);
    bool NextBatch();
    void Start(std::unique_ptr<CsvRecordReader> reader);
    void Stop();
    void Produce(CsvRecordReader& reader);
    void Convert(const CsvRecordReader& reader, OBS* row, std::vector<int>& decimals, std::vector<int>& digits) const;
    // Folds a stream's decimals and digits into the shared ones and gives
    // the settling columns their formats.
    void Settle(const std::vector<int>& decimals, const std::vector<int>& digits) const;
    std::unique_ptr<CsvRecordReader> Reopen() const;

    std::string _path;
    CsvOptions _options;
    std::shared_ptr<VESK_DataSource> _dataSource;
    std::shared_ptr<Settling> _settling;  // null when the types came from the whole file
    std::vector<std::string> _header;
    std::vector<Needed> _needed;
    std::vector<int> _offsets;              // per variable: word offset in a row, -1 not needed
    std::vector<const OBS*> _fillers;       // per variable: the value read when not needed
    std::vector<char> _inferred;
    std::vector<std::string> _whyText;  // by column, see WhyText
    std::vector<OBS> _blankWords;           // fillers of unneeded strings
    std::vector<OBS> _emptyRow;             // what GetValue reads when no case is current
    OBS _sysmisWord;
    int _stride = 0;
    int _rowsPerBatch = 0;
    // Where the records start (after the header), or the range of a part.
    size_t _begin = 0, _end = static_cast<size_t>(-1);
    long long _beginLine = 0;
    bool _isPart = false;

    // Consumer side.
    const OBS* _row = nullptr;
    Batch* _batch = nullptr;
    int _rowInBatch = 0;
    bool _finished = false;
    std::exception_ptr _error;

    // Shared with the producer.
    std::vector<std::unique_ptr<Batch>> _batches;
    std::mutex _mutex;
    std::condition_variable _freeReady;
    std::condition_variable _fullReady;
    std::vector<Batch*> _free;
    std::deque<Batch*> _full;
    bool _stop = false;
    std::unique_ptr<CsvRecordReader> _reader;
    std::thread _producer;
};

// Opens a stream; `dictionaryPath` as for LoadCsv. Throws HostError.
std::unique_ptr<CsvCaseIterator> OpenCsvStream(const std::string& csvPath,
                                               const std::optional<std::string>& dictionaryPath,
                                               const CsvColumns& needed = CsvColumns::All(),
                                               const CsvOptions& options = {}, int weightIndex = -1);

#endif
