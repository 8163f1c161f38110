#include "CsvLoader.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <unordered_map>

namespace {

std::vector<std::string> ReadHeaderFrom(CsvRecordReader& reader)
{
    if (!reader.Next()) throw HostError(reader.Path() + ": the file is empty (no header row)");
    const int n = reader.NumFields();
    auto fail = [&reader](int column, const std::string& what) {
        throw HostError(reader.Path() + ":" + std::to_string(reader.Line()) + ": column " + std::to_string(column + 1) +
                        what);
    };
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(n));
    std::unordered_map<std::string_view, int> seen;
    seen.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        names.emplace_back(TrimBlanks(reader.Field(i)));
        const std::string& name = names.back();
        if (name.empty()) fail(i, " has no name");
        // Names are C strings further on: a NUL would cut them silently.
        if (const size_t nul = name.find('\0'); nul != std::string::npos)
            fail(i, ": the name " + QuoteForMessage(name) + " holds a NUL byte at byte " + std::to_string(nul + 1));
    }
    // The names are in place now, so the views into them stay valid.
    for (int i = 0; i < n; ++i) {
        auto [it, fresh] = seen.emplace(names[static_cast<size_t>(i)], i);
        if (!fresh)
            throw HostError(reader.Path() + ":" + std::to_string(reader.Line()) + ": duplicate column name " +
                            QuoteForMessage(names[static_cast<size_t>(i)]) + " (columns " +
                            std::to_string(it->second + 1) + " and " + std::to_string(i + 1) + ")");
    }
    return names;
}

void CheckFieldCount(const CsvRecordReader& reader, int expected)
{
    if (reader.NumFields() != expected)
        reader.FailRecord("expected " + std::to_string(expected) + " fields, found " +
                          std::to_string(reader.NumFields()));
}

std::string FieldName(int column, const std::string& name)
{
    return "field " + std::to_string(column + 1) + " (" + name + ")";
}

// For a text that is not a number but reads like a missing-value marker, the
// option that would make it one, as the request writes it; else nothing.
std::string MissingAdvice(std::string_view field, const CsvOptions& options)
{
    field = TrimBlanks(field);
    std::string lower(field);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    static const char* const markers[] = {"na", "n/a", "#n/a", "nan", "null", "none", "nil", "missing", ".", "-", "?"};
    if (std::find(std::begin(markers), std::end(markers), lower) == std::end(markers)) return "";
    std::string list;
    for (const std::string& text : options.na) list += QuoteForMessage(text) + ", ";
    const std::string quoted = QuoteForMessage(field);
    return " (if " + quoted + " marks missing values, add \"csv\": {\"na\": [" + list + quoted + "]} to the request)";
}

// Decimals and integer digits of a number as written, for the display
// format: `decimals` and `digits` grow to hold them.
void CountDigits(std::string_view field, int& decimals, int& digits)
{
    int before = 0, after = -1;
    for (char c : field) {
        if (c == 'e' || c == 'E') break;
        if (c == '.') after = 0;
        else if (c >= '0' && c <= '9') {
            if (after >= 0) ++after; else ++before;
        }
    }
    decimals = std::max(decimals, std::min(after < 0 ? 0 : after, 6));
    digits = std::max(digits, std::min(before, 30));
}

VESK_Format NumberFormat(int decimals, int digits)
{
    VESK_Format f;
    f.type = 'F';
    f.decimals = decimals;
    f.width = std::min(40, std::max(8, 1 + digits + (decimals > 0 ? decimals + 1 : 0)));
    return f;
}

// What the values of an undescribed column say about its type.
struct Inference {
    bool numeric = true;
    size_t width = 0;
    int decimals = 0;
    int integerDigits = 1;
    std::string firstText;  // the first value that is not a number, and its line
    long long firstTextLine = 0;

    void Add(std::string_view field, const CsvOptions& options, long long line)
    {
        std::string_view kept = TrimTrailingSpaces(field);
        width = std::max(width, kept.size());
        if (!numeric || IsBlankField(field)) return;
        double value;
        if (!ParseCsvNumber(field, value)) {
            numeric = options.IsNa(field);
            if (!numeric) {
                firstText = field;
                firstTextLine = line;
            }
            return;
        }
        CountDigits(field, decimals, integerDigits);
    }

    VESK_Variable MakeVariable(const std::string& name, const std::string& path, long long line) const
    {
        if (numeric) {
            VESK_Variable v(name, 0);
            v.SetFormat(NumberFormat(decimals, integerDigits));
            return v;
        }
        if (width > static_cast<size_t>(VESK_Variable::kMaxStringWidth))
            throw HostError(path + ":" + std::to_string(line) + ": column " + QuoteForMessage(name) +
                            " has a value of " + std::to_string(width) + " bytes, wider than 32767");
        return VESK_Variable(name, std::max<int>(1, static_cast<int>(width)));
    }
};

}  // namespace

std::vector<std::string> ReadCsvHeader(const std::string& csvPath, const CsvOptions& options)
{
    CsvRecordReader reader(csvPath, options);
    return ReadHeaderFrom(reader);
}

CsvColumns CsvColumns::Indices(std::vector<int> indices) { return CsvColumns(std::move(indices)); }

CsvColumns CsvColumns::Names(std::vector<std::string> names)
{
    CsvColumns c;
    c._all = false;
    c._names = std::move(names);
    return c;
}

CsvColumns::CsvColumns(std::vector<int> indices) : _all(false), _indices(std::move(indices)) {}

CsvCaseIterator::CsvCaseIterator(const std::string& csvPath, const DataDictionary* dictionary,
                                 const CsvColumns& needed, const CsvOptions& options, int weightIndex)
    : ProcDSIterator(weightIndex), _path(csvPath), _options(options), _dataSource(std::make_shared<VESK_DataSource>())
{
    _sysmisWord.num = -DBL_MAX;
    auto reader = std::make_unique<CsvRecordReader>(csvPath, options);
    _header = ReadHeaderFrom(*reader);
    const int n = static_cast<int>(_header.size());
    std::unordered_map<std::string, int> columnOf;
    for (int c = 0; c < n; ++c) columnOf.emplace(_header[static_cast<size_t>(c)], c);

    std::vector<int> described(static_cast<size_t>(n), -1);
    if (dictionary) {
        for (size_t i = 0; i < dictionary->variables.size(); ++i) {
            const char* name = dictionary->variables[i].GetName();
            auto it = columnOf.find(name);
            if (it == columnOf.end())
                throw HostError(dictionary->path + ": /variables/" + std::to_string(i) + "/name: no column " +
                                QuoteForMessage(name) + " in " + csvPath);
            described[static_cast<size_t>(it->second)] = static_cast<int>(i);
        }
    }

    std::vector<char> need(static_cast<size_t>(n), needed.IsAll() ? 1 : 0);
    for (int c : needed.GetIndices()) {
        if (c < 0 || c >= n)
            throw HostError(csvPath + ": column index " + std::to_string(c) + " is outside 0 to " +
                            std::to_string(n - 1));
        need[static_cast<size_t>(c)] = 1;
    }
    for (const std::string& name : needed.GetNames()) {
        auto it = columnOf.find(name);
        if (it == columnOf.end()) throw HostError(csvPath + ": no column named " + QuoteForMessage(name));
        need[static_cast<size_t>(it->second)] = 1;
    }
    if (weightIndex >= n)
        throw HostError(csvPath + ": weight column index " + std::to_string(weightIndex) + " is outside 0 to " +
                        std::to_string(n - 1));
    if (weightIndex >= 0) need[static_cast<size_t>(weightIndex)] = 1;

    // The inference pass, over the needed undescribed columns only.
    std::vector<int> toInfer;
    for (int c = 0; c < n; ++c)
        if (need[static_cast<size_t>(c)] && described[static_cast<size_t>(c)] < 0) toInfer.push_back(c);
    std::vector<Inference> inference(static_cast<size_t>(n));
    long long widestLine = 0;
    if (!toInfer.empty()) {
        // A prefix settles a column's type only when it holds numbers: a
        // string's width, which requests are checked against, needs every value.
        auto allNumeric = [&] {
            return std::all_of(toInfer.begin(), toInfer.end(),
                               [&](int c) { return inference[static_cast<size_t>(c)].numeric; });
        };
        bool cut = false;
        while (!cut && reader->Next()) {
            CheckFieldCount(*reader, n);
            for (int c : toInfer) {
                Inference& inf = inference[static_cast<size_t>(c)];
                size_t before = inf.width;
                inf.Add(reader->Field(c), _options, reader->Line());
                if (inf.width > before && inf.width > static_cast<size_t>(VESK_Variable::kMaxStringWidth) &&
                    widestLine == 0)
                    widestLine = reader->Line();
            }
            cut = reader->Offset() >= options.inferenceBytes && allNumeric();
        }
        if (cut) {
            _settling = std::make_shared<Settling>();
            _settling->decimals.assign(static_cast<size_t>(n), 0);
            _settling->digits.assign(static_cast<size_t>(n), 1);
        }
        reader = Reopen();
        if (!reader) throw HostError(csvPath + ": the file changed while it was being read");
    }
    _begin = reader->Offset();
    _beginLine = reader->OffsetLine();

    _inferred.assign(static_cast<size_t>(n), 0);
    _whyText.assign(static_cast<size_t>(n), std::string());
    for (int c = 0; c < n; ++c) {
        const std::string& name = _header[static_cast<size_t>(c)];
        int d = described[static_cast<size_t>(c)];
        std::unique_ptr<VESK_Variable> v;
        if (d >= 0) {
            v = std::make_unique<VESK_Variable>(dictionary->variables[static_cast<size_t>(d)]);
        } else if (need[static_cast<size_t>(c)]) {
            v = std::make_unique<VESK_Variable>(inference[static_cast<size_t>(c)].MakeVariable(name, csvPath, widestLine));
            _inferred[static_cast<size_t>(c)] = 1;
            const Inference& inf = inference[static_cast<size_t>(c)];
            if (!inf.numeric)
                _whyText[static_cast<size_t>(c)] = csvPath + ":" + std::to_string(inf.firstTextLine) + " holds " +
                                                   QuoteForMessage(inf.firstText) +
                                                   MissingAdvice(inf.firstText, _options);
        } else {
            v = std::make_unique<VESK_Variable>(name, 0);
        }
        _dataSource->AddVariable(std::move(v));
    }

    LayOutRows(need);
    Start(std::move(reader));
}

CsvCaseIterator::CsvCaseIterator(const CsvCaseIterator& whole, size_t begin, size_t end, long long line)
    : ProcDSIterator(whole.GetWeightIndex()), _path(whole._path), _options(whole._options),
      _dataSource(whole._dataSource), _settling(whole._settling), _header(whole._header),
      _inferred(whole._inferred), _whyText(whole._whyText), _begin(begin), _end(end), _beginLine(line),
      _isPart(true)
{
    _sysmisWord.num = -DBL_MAX;
    std::vector<char> need(whole._offsets.size());
    for (size_t c = 0; c < need.size(); ++c) need[c] = whole._offsets[c] >= 0;
    LayOutRows(need);
    Start(std::make_unique<CsvRecordReader>(_path, _options, _begin, _end, _beginLine));
}

std::vector<std::unique_ptr<CsvCaseIterator>> CsvCaseIterator::Split(int parts) const
{
    std::vector<double> fractions;
    for (int k = 1; k < parts; ++k) fractions.push_back(static_cast<double>(k) / parts);
    return Split(fractions);
}

std::vector<std::unique_ptr<CsvCaseIterator>> CsvCaseIterator::Split(const std::vector<double>& fractions) const
{
    std::error_code ec;
    const auto size = static_cast<double>(std::filesystem::file_size(_path, ec));
    if (ec) throw HostError(_path + ": cannot read the file's size: " + ec.message());
    std::vector<size_t> nominal;
    for (double f : fractions)
        nominal.push_back(_begin + static_cast<size_t>(std::max(0.0, size - static_cast<double>(_begin)) * f));
    const CsvCuts cuts = CsvRecordBoundaries(_path, _begin, _beginLine, nominal);
    std::vector<std::unique_ptr<CsvCaseIterator>> streams;
    for (size_t k = 0; k + 1 < cuts.offsets.size(); ++k)
        streams.push_back(std::unique_ptr<CsvCaseIterator>(
            new CsvCaseIterator(*this, cuts.offsets[k], cuts.offsets[k + 1], cuts.lines[k])));
    return streams;
}

void CsvCaseIterator::LayOutRows(const std::vector<char>& need)
{
    const int n = static_cast<int>(need.size());
    // Row layout: the needed columns' words, one after the other.
    int maxBlankWords = 0;
    _offsets.assign(static_cast<size_t>(n), -1);
    for (int c = 0; c < n; ++c) {
        const VESK_Variable* v = _dataSource->GetVariable(c);
        if (need[static_cast<size_t>(c)]) {
            _offsets[static_cast<size_t>(c)] = _stride;
            _needed.push_back({c, _stride, v->GetType(), _settling && _inferred[static_cast<size_t>(c)] != 0});
            _stride += v->GetWords();
        } else if (v->IsString()) {
            maxBlankWords = std::max(maxBlankWords, v->GetWords());
        }
    }
    _blankWords.resize(static_cast<size_t>(maxBlankWords));
    for (OBS& w : _blankWords) std::memset(w.str, ' ', 8);
    _fillers.assign(static_cast<size_t>(n), &_sysmisWord);
    for (int c = 0; c < n; ++c)
        if (!need[static_cast<size_t>(c)] && _dataSource->GetVariable(c)->IsString())
            _fillers[static_cast<size_t>(c)] = _blankWords.data();
    _emptyRow.resize(static_cast<size_t>(_stride));
    for (const Needed& nd : _needed) {
        OBS* w = _emptyRow.data() + nd.offset;
        if (nd.width == 0) w->num = -DBL_MAX;
        else std::memset(w, ' ', static_cast<size_t>(ObsWords(nd.width)) * sizeof(OBS));
    }
    _row = _emptyRow.data();

    // About 256 KiB a batch, four batches: the memory does not grow with the file.
    size_t rowBytes = static_cast<size_t>(_stride) * sizeof(OBS) + sizeof(long long);
    _rowsPerBatch = static_cast<int>(std::clamp<size_t>((size_t{256} << 10) / rowBytes, 16, 4096));
    for (int i = 0; i < 4; ++i) {
        auto b = std::make_unique<Batch>();
        b->words.resize(static_cast<size_t>(_rowsPerBatch) * static_cast<size_t>(_stride));
        b->lines.resize(static_cast<size_t>(_rowsPerBatch));
        _batches.push_back(std::move(b));
    }
}

CsvCaseIterator::~CsvCaseIterator() { Stop(); }

std::unique_ptr<CsvRecordReader> CsvCaseIterator::Reopen() const
{
    try {
        if (_isPart) return std::make_unique<CsvRecordReader>(_path, _options, _begin, _end, _beginLine);
        auto reader = std::make_unique<CsvRecordReader>(_path, _options);
        if (ReadHeaderFrom(*reader) != _header) return nullptr;
        return reader;
    } catch (const HostError&) {
        return nullptr;
    }
}

void CsvCaseIterator::Start(std::unique_ptr<CsvRecordReader> reader)
{
    _reader = std::move(reader);
    _stop = false;
    _full.clear();
    _free.clear();
    for (auto& b : _batches) _free.push_back(b.get());
    _producer = std::thread([this] { Produce(*_reader); });
}

void CsvCaseIterator::Stop()
{
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _stop = true;
    }
    _freeReady.notify_all();
    if (_producer.joinable()) _producer.join();
    _reader.reset();
}

void CsvCaseIterator::Produce(CsvRecordReader& reader)
{
    std::vector<int> decimals(_offsets.size(), 0), digits(_offsets.size(), 1);
    while (true) {
        Batch* b;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            _freeReady.wait(lock, [this] { return _stop || !_free.empty(); });
            if (_stop) return;
            b = _free.back();
            _free.pop_back();
        }
        b->rows = 0;
        b->last = false;
        b->error = nullptr;
        try {
            while (b->rows < _rowsPerBatch) {
                if (!reader.Next()) {
                    // Before the consumer learns that the stream has ended.
                    if (_settling) Settle(decimals, digits);
                    b->last = true;
                    break;
                }
                Convert(reader, b->words.data() + static_cast<size_t>(b->rows) * static_cast<size_t>(_stride),
                        decimals, digits);
                b->lines[static_cast<size_t>(b->rows)] = reader.Line();
                ++b->rows;
            }
        } catch (...) {
            b->error = std::current_exception();
            b->last = true;
        }
        bool last = b->last;
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _full.push_back(b);
        }
        _fullReady.notify_one();
        if (last) return;
    }
}

void CsvCaseIterator::Convert(const CsvRecordReader& reader, OBS* row, std::vector<int>& decimals,
                              std::vector<int>& digits) const
{
    CheckFieldCount(reader, static_cast<int>(_header.size()));
    for (const Needed& nd : _needed) {
        std::string_view field = reader.Field(nd.column);
        OBS* out = row + nd.offset;
        if (nd.width == 0) {
            if (field.empty() || IsBlankField(field)) {
                out->num = -DBL_MAX;
            } else if (!ParseCsvNumber(field, out->num)) {
                if (!_options.IsNa(field)) {
                    const std::string what = FieldName(nd.column, _header[static_cast<size_t>(nd.column)]) +
                                             ": " + QuoteForMessage(field) + " is not a number";
                    if (nd.settles)
                        throw CsvTypeContradicted(_path + ":" + std::to_string(reader.Line()) + ": " + what +
                                                  ", where the beginning of the file held only numbers");
                    reader.FailRecord(what + MissingAdvice(field, _options));
                }
                out->num = -DBL_MAX;
            } else if (nd.settles) {
                const size_t c = static_cast<size_t>(nd.column);
                CountDigits(field, decimals[c], digits[c]);
            }
        } else {
            field = TrimTrailingSpaces(field);
            if (field.size() > static_cast<size_t>(nd.width))
                reader.FailRecord(FieldName(nd.column, _header[static_cast<size_t>(nd.column)]) + ": " +
                                  QuoteForMessage(field) + " is " + std::to_string(field.size()) +
                                  " bytes, wider than the width " + std::to_string(nd.width));
            size_t bytes = static_cast<size_t>(ObsWords(nd.width)) * sizeof(OBS);
            std::memcpy(out, field.data(), field.size());
            std::memset(reinterpret_cast<char*>(out) + field.size(), ' ', bytes - field.size());
        }
    }
}

void CsvCaseIterator::Settle(const std::vector<int>& decimals, const std::vector<int>& digits) const
{
    std::lock_guard<std::mutex> lock(_settling->mutex);
    for (const Needed& nd : _needed) {
        if (!nd.settles) continue;
        const size_t c = static_cast<size_t>(nd.column);
        int& d = _settling->decimals[c];
        int& g = _settling->digits[c];
        d = std::max(d, decimals[c]);
        g = std::max(g, digits[c]);
        // Only the format changes: the streams' consumers read the variables' types and missing values.
        _dataSource->GetVariable(nd.column)->SetFormat(NumberFormat(d, g));
    }
}

bool CsvCaseIterator::NextBatch()
{
    while (true) {
        if (_batch) {
            Batch* done = _batch;
            _batch = nullptr;
            _row = _emptyRow.data();
            if (done->error) _error = done->error;
            if (done->last) _finished = true;
            {
                std::lock_guard<std::mutex> lock(_mutex);
                _free.push_back(done);
            }
            _freeReady.notify_one();
        }
        if (_error) std::rethrow_exception(_error);
        if (_finished) return false;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            _fullReady.wait(lock, [this] { return !_full.empty(); });
            _batch = _full.front();
            _full.pop_front();
        }
        _rowInBatch = 0;
        if (_batch->rows > 0) {
            _row = _batch->words.data();
            return true;
        }
    }
}

bool CsvCaseIterator::Rewind()
{
    Stop();
    _batch = nullptr;
    _row = _emptyRow.data();
    _rowInBatch = 0;
    _error = nullptr;
    _finished = false;
    std::unique_ptr<CsvRecordReader> reader = Reopen();
    if (!reader) {
        _finished = true;
        return false;
    }
    Start(std::move(reader));
    return true;
}

std::unique_ptr<CsvCaseIterator> OpenCsvStream(const std::string& csvPath,
                                               const std::optional<std::string>& dictionaryPath,
                                               const CsvColumns& needed, const CsvOptions& options, int weightIndex)
{
    std::optional<DataDictionary> dictionary;
    if (dictionaryPath) dictionary = LoadDictionary(*dictionaryPath);
    return std::make_unique<CsvCaseIterator>(csvPath, dictionary ? &*dictionary : nullptr, needed, options,
                                             weightIndex);
}

std::unique_ptr<InMemoryDataset> LoadCsv(const std::string& csvPath, const DataDictionary& dictionary,
                                         const CsvOptions& options)
{
    CsvCaseIterator stream(csvPath, &dictionary, CsvColumns::All(), options);
    auto dataset = std::make_unique<InMemoryDataset>();
    const VESK_DataSource& source = stream.GetDataSource();
    const int n = source.GetNumVariables();
    std::vector<size_t> bytes;
    for (int v = 0; v < n; ++v) {
        dataset->AddVariable(std::make_unique<VESK_Variable>(*source.GetVariable(v)));
        bytes.push_back(static_cast<size_t>(source.GetVariable(v)->GetWords()) * sizeof(OBS));
    }
    while (stream.Next()) {
        int row = dataset->AppendCase();
        for (int v = 0; v < n; ++v)
            std::memcpy(dataset->GetValue(row, v), stream.GetValue(v), bytes[static_cast<size_t>(v)]);
    }
    return dataset;
}

std::unique_ptr<InMemoryDataset> LoadCsv(const std::string& csvPath, const std::optional<std::string>& dictionaryPath,
                                         const CsvOptions& options)
{
    DataDictionary dictionary;
    if (dictionaryPath) dictionary = LoadDictionary(*dictionaryPath);
    return LoadCsv(csvPath, dictionary, options);
}

std::string CsvCaseIterator::WhyText(int varIndex) const { return _whyText[static_cast<size_t>(varIndex)]; }
