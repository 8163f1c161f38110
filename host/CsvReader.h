// Reading CSV files record by record (RFC 4180), and the number syntax of
// CSV fields. The loaders in CsvLoader.h build on these; they are public for
// tools that only need the raw fields.
#ifndef KVHOST_CSVREADER_H
#define KVHOST_CSVREADER_H

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

struct CsvOptions {
    char delimiter = ',';
    // Texts that mean system-missing in a numeric column besides the blank
    // field ("NA" from R, say), compared without the blanks around the field.
    // In a string column they are text like any other.
    std::vector<std::string> na;
    // Not a request's: how much of the file a stream infers the types of
    // undescribed columns from (CsvCaseIterator). By default the whole file.
    std::size_t inferenceBytes = static_cast<std::size_t>(-1);

    bool IsNa(std::string_view field) const;
};

// Parses a CSV number: optional blanks (spaces, tabs) around an optional sign
// and a decimal number with an optional exponent ("3", "-2.5", "+.5", "1e3",
// " 7 "). "nan", "inf", hexadecimal and numbers beyond the double range are
// not numbers: a statistics dataset has system-missing for "no value", and an
// infinite or not-a-number code would poison every sum it enters. Returns
// false when the text is not such a number (the empty text included).
bool ParseCsvNumber(std::string_view text, double& value);

// True when the text holds nothing but blanks (spaces, tabs).
bool IsBlankField(std::string_view text);

// The text without trailing blanks (spaces only: the padding character).
std::string_view TrimTrailingSpaces(std::string_view text);

// The text without the blanks (spaces, tabs) around it.
std::string_view TrimBlanks(std::string_view text);

// Cuts the data of a CSV file, from `dataBegin` (a record boundary after the
// header, on line `dataLine`) to its end, into byte ranges whose ends are
// record boundaries: the first line break outside quotes at or after each
// of the `nominal` offsets (ascending). In a well-formed file a byte stands
// inside a quoted field exactly when an odd number of quotes precede it (a
// field's opening and closing quote make two, a doubled quote inside it two
// more), so only the quotes before a cut decide it; they are counted on a
// thread per range. In a malformed file a cut may land inside a record, but
// the first error in file order stands in a range that starts where a
// reader of the whole file would be, so it is still reported first.
// Answers the ranges' bounds (dataBegin first, the file's size last; a range
// may be empty) and the line on which each range starts. Throws HostError
// when the file cannot be read.
struct CsvCuts {
    std::vector<std::size_t> offsets;
    std::vector<long long> lines;
};
CsvCuts CsvRecordBoundaries(const std::string& path, std::size_t dataBegin, long long dataLine,
                            const std::vector<std::size_t>& nominal);

// Reads records one at a time through a large buffer.
// - The first three bytes are skipped when they are a UTF-8 byte order mark.
// - Records end at LF or CR LF; a lone CR is ordinary data.
// - A field that starts with a double quote is quoted: it may hold the
//   delimiter, line breaks and doubled quotes (""), and must be followed by
//   the delimiter or the end of the record. A quote anywhere else, text after
//   a closing quote, or a quote left open at the end of the file is an error.
// - Empty lines hold no record and are skipped (a single-column file writes an
//   empty value as "").
// Errors are HostError with "path:line: ..." (1-based physical lines).
class CsvRecordReader {
public:
    // Throws HostError when the file cannot be opened.
    CsvRecordReader(std::string path, const CsvOptions& options);
    // Reads only the bytes [begin, end) of the file, which must start and end
    // at record boundaries (CsvRecordBoundaries); `firstLine` is the line on
    // which `begin` stands, for messages.
    CsvRecordReader(std::string path, const CsvOptions& options, std::size_t begin, std::size_t end,
                    long long firstLine);
    ~CsvRecordReader();
    CsvRecordReader(const CsvRecordReader&) = delete;
    CsvRecordReader& operator=(const CsvRecordReader&) = delete;

    // Moves to the next record; false at the end of the file.
    bool Next();
    int NumFields() const { return static_cast<int>(_numFields); }
    // Field i of the current record, unquoted. Valid until the next call of Next.
    std::string_view Field(int i) const { return _fields[static_cast<size_t>(i)]; }
    // The physical line (1-based) on which the current record starts.
    long long Line() const { return _recordLine; }
    const std::string& Path() const { return _path; }
    // The file offset just after the current record (its line break
    // included), and the line that starts there.
    std::size_t Offset() const { return _base + _pos; }
    long long OffsetLine() const { return _line; }
    // Throws HostError "path:line: what" for the current record, or the
    // message that the file shrank under the reader when that is the cause.
    [[noreturn]] void FailRecord(const std::string& what) const { Fail(_recordLine, what); }

    // A longer record is taken for a runaway quoted field.
    static constexpr size_t kMaxRecordBytes = size_t{256} << 20;

private:
    enum class Parse { kRecord, kBlank, kNeedMore };
    Parse ParseRecord();
    [[gnu::noinline]] void GrowFields();
    bool ParsePlainRecord(const char* base, const char* p, const char* e);
    bool Fill();
    [[noreturn]] void Fail(long long line, const std::string& what) const;
    // Throws when the mapped file shrank under the reader (CsvReader.cpp);
    // `askTheFile` also compares its size now, which costs a system call.
    void CheckNotShrunk(bool askTheFile = false) const;

    std::string _path;
    char _delimiter;
    std::FILE* _file = nullptr;
    std::vector<char> _buffer;
    // A file of at least kMapMinBytes is mapped whole instead (_buffer unused).
    static constexpr size_t kMapMinBytes = size_t{4} << 20;
    // Pages before _released have been given back (a multiple of
    // kMapReleaseBytes, itself a multiple of any page size).
    static constexpr size_t kMapReleaseBytes = size_t{4} << 20;
    const char* _mapped = nullptr;
    size_t _mappedSize = 0;
    int _guard = -1;  // the mapping's slot in the SIGBUS guard
    size_t _released = 0;
    size_t _base = 0;  // file offset of the buffer's first byte
    size_t _limit = static_cast<size_t>(-1);  // bytes of the file after _base that may be read
    size_t _pos = 0;  // start of the unconsumed input
    size_t _end = 0;  // end of the valid bytes
    bool _eof = false;
    bool _atStart = true;
    long long _line = 1;  // line at _pos
    long long _recordLine = 0;
    std::string _scratch;  // unquoted copies of quoted fields
    // A quoted field's place in _scratch, which may move while the record is
    // read; its view is made once the record is complete.
    struct Quoted {
        size_t field;
        size_t offset;
        size_t length;
    };
    std::vector<Quoted> _quoted;
    // The fields of the current record are the first _numFields; the vector
    // only grows, so a record costs no allocation once a wide one was read.
    std::vector<std::string_view> _fields;
    size_t _numFields = 0;
    bool _special[256] = {};  // bytes that end an unquoted field or are errors in it
};

#endif
