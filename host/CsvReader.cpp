#include "CsvReader.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "HostError.h"

namespace {

// A mapped file that shrinks while it is read (truncated by another program)
// raises SIGBUS at the first page past its new end. The mappings register
// here; the handler puts a zero page in place of the missing one, so that the
// read goes on, and marks the mapping, which the reader checks before it hands
// out a record or an error. A fault anywhere else gets the default action.
struct GuardedMapping {
    std::atomic<const char*> begin{nullptr};
    std::atomic<size_t> size{0};
    std::atomic<bool> shrank{false};
};
constexpr int kGuardSlots = 64;
GuardedMapping g_guarded[kGuardSlots];
const char* const kClaimed = reinterpret_cast<const char*>(1);  // a slot being filled in

void OnBusError(int sig, siginfo_t* info, void*)
{
    const char* at = static_cast<const char*>(info->si_addr);
    for (GuardedMapping& m : g_guarded) {
        const char* begin = m.begin.load(std::memory_order_acquire);
        if (!begin || begin == kClaimed || at < begin || at >= begin + m.size.load(std::memory_order_relaxed))
            continue;
        const uintptr_t page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
        void* start = reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(at) & ~(page - 1));
        m.shrank.store(true, std::memory_order_relaxed);
        if (::mmap(start, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) return;
        break;
    }
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

// The slot of a new mapping, or -1 when every slot is taken (the file is then
// read rather than mapped).
int GuardMapping(const char* begin, size_t size)
{
    static std::once_flag installed;
    std::call_once(installed, [] {
        struct sigaction action {};
        action.sa_sigaction = OnBusError;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGBUS, &action, nullptr);
    });
    for (int i = 0; i < kGuardSlots; ++i) {
        // Claimed first, filled in, then published: the handler never sees a
        // range whose size belongs to another mapping.
        const char* expected = nullptr;
        if (!g_guarded[i].begin.compare_exchange_strong(expected, kClaimed, std::memory_order_acq_rel)) continue;
        g_guarded[i].size.store(size, std::memory_order_relaxed);
        g_guarded[i].shrank.store(false, std::memory_order_relaxed);
        g_guarded[i].begin.store(begin, std::memory_order_release);
        return i;
    }
    return -1;
}

}  // namespace

std::string QuoteForMessage(std::string_view text, size_t maxBytes)
{
    size_t n = text.size();
    bool cut = n > maxBytes;
    if (cut) {
        n = maxBytes;
        // Back off continuation bytes so that no character is split.
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
    }
    std::string out = "\"";
    for (size_t i = 0; i < n; ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else if (c == '\t') out += "\\t";
        else if (c == '"') out += "\\\"";
        else if (c == '\\') out += "\\\\";
        else if (c < 0x20 || c == 0x7F) {
            static const char hex[] = "0123456789ABCDEF";
            out += "\\x";
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    out += cut ? "\"..." : "\"";
    return out;
}

std::string_view TrimBlanks(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return text.substr(0, 0);
    return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

bool CsvOptions::IsNa(std::string_view field) const
{
    field = TrimBlanks(field);
    for (const std::string& text : na)
        if (field == text) return true;
    return false;
}

bool IsBlankField(std::string_view text)
{
    for (char c : text)
        if (c != ' ' && c != '\t') return false;
    return true;
}

std::string_view TrimTrailingSpaces(std::string_view text)
{
    size_t n = text.size();
    while (n > 0 && text[n - 1] == ' ') --n;
    return text.substr(0, n);
}

namespace {

// Plain decimals of at most 19 digits and no exponent ("2", "16670.89",
// "0.7884"), which is what data files mostly hold. When the digits as an
// integer are at most 2^53 and there are at most 22 of them after the point,
// both the integer and the power of ten are exact doubles, so one correctly
// rounded division gives the correctly rounded value (Clinger's fast path):
// the very double the general conversion would give, in a fraction of the time.
// Anything else is left to that conversion (false).
bool ParseShortDecimal(const char* first, const char* last, double& value)
{
    static const double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                     1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    if (last - first > 20) return false;
    std::uint64_t digits = 0;
    int count = 0, afterPoint = 0;
    bool point = false;
    for (const char* q = first; q < last; ++q) {
        const char c = *q;
        if (c >= '0' && c <= '9') {
            digits = digits * 10 + static_cast<std::uint64_t>(c - '0');
            ++count;
            if (point) ++afterPoint;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    if (count == 0 || count > 19 || digits > (std::uint64_t{1} << 53)) return false;
    value = static_cast<double>(digits) / kPow10[afterPoint];
    return true;
}

}  // namespace

bool ParseCsvNumber(std::string_view text, double& value)
{
    const char* first = text.data();
    const char* last = text.data() + text.size();
    while (first < last && (*first == ' ' || *first == '\t')) ++first;
    while (last > first && (last[-1] == ' ' || last[-1] == '\t')) --last;
    if (first == last) return false;
    bool negative = false;
    if (*first == '+' || *first == '-') {
        negative = *first == '-';
        ++first;
    }
    // from_chars would take "inf" and "nan"; a number starts with a digit or a point.
    if (first == last || !((*first >= '0' && *first <= '9') || *first == '.')) return false;
    double v = 0.0;
    if (ParseShortDecimal(first, last, v)) {
        value = negative ? -v : v;
        return true;
    }
    auto [ptr, ec] = std::from_chars(first, last, v, std::chars_format::general);
    if (ptr != last) return false;
    if (ec == std::errc::result_out_of_range) {
        // Overflow is not a number we can hold; underflow is a value that
        // rounds to zero, which people do write ("1e-400").
        bool tiny = false;
        for (const char* q = first; q < last; ++q) {
            if (*q == 'e' || *q == 'E') {
                tiny = q + 1 < last && q[1] == '-';
                break;
            }
        }
        if (!tiny) return false;
        v = 0.0;
    } else if (ec != std::errc()) {
        return false;
    }
    value = negative ? -v : v;
    return true;
}

CsvRecordReader::CsvRecordReader(std::string path, const CsvOptions& options)
    : CsvRecordReader(std::move(path), options, 0, static_cast<size_t>(-1), 1)
{
}

CsvRecordReader::CsvRecordReader(std::string path, const CsvOptions& options, size_t begin, size_t end,
                                 long long firstLine)
    : _path(std::move(path)), _delimiter(options.delimiter), _line(firstLine)
{
    if (_delimiter == '"' || _delimiter == '\n' || _delimiter == '\r' || _delimiter == '\0')
        throw HostError(_path + ": the delimiter cannot be a quote, a line break or NUL");
    _special[static_cast<unsigned char>(_delimiter)] = true;
    _special[static_cast<unsigned char>('\n')] = true;
    _special[static_cast<unsigned char>('"')] = true;
    _file = std::fopen(_path.c_str(), "rb");
    if (!_file) throw HostError(_path + ": cannot open the file: " + std::strerror(errno));
    // 1 MiB reads for large files; a small file gets a buffer its size, so that
    // opening many small files costs no more than they hold.
    size_t size = size_t{1} << 20;
    std::error_code ec;
    auto fileSize = std::filesystem::file_size(_path, ec);
    if (!ec) end = std::min(end, static_cast<size_t>(fileSize));
    begin = std::min(begin, end);
    // Only the start of the file has a byte order mark.
    _atStart = begin == 0;
    if (!ec && end - begin < size) size = std::max<size_t>(4096, end - begin + 1);
    // A large regular file is mapped rather than read: the parser then walks
    // the page cache itself, and the kernel does not copy every byte into a
    // buffer first (a fifth of the parsing time on a 500 MB file).
    if (!ec && fileSize >= kMapMinBytes) {
        void* mapped = ::mmap(nullptr, static_cast<size_t>(fileSize), PROT_READ, MAP_PRIVATE, ::fileno(_file), 0);
        if (mapped != MAP_FAILED && (_guard = GuardMapping(static_cast<const char*>(mapped), fileSize)) < 0) {
            ::munmap(mapped, static_cast<size_t>(fileSize));
            mapped = MAP_FAILED;
        }
        if (mapped != MAP_FAILED) {
            ::madvise(mapped, static_cast<size_t>(fileSize), MADV_SEQUENTIAL);
            _mapped = static_cast<const char*>(mapped);
            _mappedSize = static_cast<size_t>(fileSize);
            _end = end;
            _pos = begin;
            _released = begin & ~(kMapReleaseBytes - 1);
            _eof = true;
            if (_atStart && _end >= 3 && std::memcmp(_mapped, "\xEF\xBB\xBF", 3) == 0) _pos = 3;
            _atStart = false;
            return;
        }
    }
    _buffer.resize(size);
    _limit = end - begin;
    if (begin > 0 && std::fseek(_file, static_cast<long>(begin), SEEK_SET) != 0)
        throw HostError(_path + ": cannot read the file: " + std::strerror(errno));
    _base = begin;
}

CsvRecordReader::~CsvRecordReader()
{
    if (_mapped) {
        g_guarded[_guard].begin.store(nullptr, std::memory_order_release);
        ::munmap(const_cast<char*>(_mapped), _mappedSize);
    }
    if (_file) std::fclose(_file);
}

void CsvRecordReader::Fail(long long line, const std::string& what) const
{
    CheckNotShrunk(true);
    throw HostError(_path + ":" + std::to_string(line) + ": " + what);
}

void CsvRecordReader::CheckNotShrunk(bool askTheFile) const
{
    if (!_mapped) return;
    // What was read past the file's new end was zeros, not the file: the
    // guard saw a page go missing, or (for the rest of the page holding the
    // new end, which reads as zeros without a fault) the file says so itself.
    bool shrank = g_guarded[_guard].shrank.load(std::memory_order_relaxed);
    struct stat st;
    if (!shrank && askTheFile && ::fstat(::fileno(_file), &st) == 0)
        shrank = static_cast<size_t>(st.st_size) < _mappedSize;
    if (shrank)
        throw HostError(_path + ": the file shrank while it was being read (was it changed by another program?)");
}

bool CsvRecordReader::Fill()
{
    if (_eof) return false;
    if (_pos > 0) {
        std::memmove(_buffer.data(), _buffer.data() + _pos, _end - _pos);
        _end -= _pos;
        _base += _pos;
        _pos = 0;
    }
    if (_end == _buffer.size()) {
        if (_buffer.size() >= kMaxRecordBytes)
            Fail(_line, "a record longer than " + std::to_string(kMaxRecordBytes >> 20) +
                            " MiB (is a quoted field left open?)");
        _buffer.resize(_buffer.size() * 2);
    }
    size_t want = std::min(_buffer.size() - _end, _limit);
    size_t got = std::fread(_buffer.data() + _end, 1, want, _file);
    _end += got;
    _limit -= got;
    if (got < want && std::ferror(_file)) Fail(_line, "read error");
    if (got < want || _limit == 0) _eof = true;
    if (_atStart) {
        if (_end >= 3 && std::memcmp(_buffer.data(), "\xEF\xBB\xBF", 3) == 0) _pos = 3;
        _atStart = false;
    }
    return true;
}

bool CsvRecordReader::Next()
{
    // The records before _pos are done with: give their pages back, so that
    // the mapping holds a few megabytes at a time, however large the file.
    if (_mapped && _pos - _released >= kMapReleaseBytes) {
        const size_t upTo = _pos & ~(kMapReleaseBytes - 1);
        ::madvise(const_cast<char*>(_mapped) + _released, upTo - _released, MADV_DONTNEED);
        _released = upTo;
    }
    while (true) {
        if (_pos == _end) {
            CheckNotShrunk(true);
            if (_eof && !_atStart) return false;
            Fill();
            continue;
        }
        Parse r = ParseRecord();
        if (r == Parse::kRecord) {
            CheckNotShrunk();
            return true;
        }
        if (r == Parse::kNeedMore) Fill();
    }
}

// Out of line, so that storing a field stays a few inlined instructions.
void CsvRecordReader::GrowFields() { _fields.resize(_fields.size() * 2 + 16); }

// Most records are one line of unquoted fields. Such a record is cut at its
// delimiters sixteen bytes at a time; anything else (a quote, an empty line,
// a line the buffer does not hold whole) goes to the general parser, which
// reads it from the start again.
bool CsvRecordReader::ParsePlainRecord(const char* base, const char* p, const char* e)
{
    const char* const lineBreak = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(e - p)));
    if (!lineBreak) return false;
    const char* const end = lineBreak > p && lineBreak[-1] == '\r' ? lineBreak - 1 : lineBreak;
    if (end == p) return false;
    size_t n = 0;
    const char* start = p;
    auto put = [&](const char* fieldEnd) {
        if (n == _fields.size()) GrowFields();
        _fields[n++] = std::string_view(start, static_cast<size_t>(fieldEnd - start));
        start = fieldEnd + 1;
    };
    const char* q = p;
#if defined(__SSE2__)
    const __m128i delimiter = _mm_set1_epi8(_delimiter), quote = _mm_set1_epi8('"');
    for (; end - q >= 16; q += 16) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(x, quote))) return false;
        for (unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, delimiter))); mask;
             mask &= mask - 1)
            put(q + __builtin_ctz(mask));
    }
#endif
    for (; q < end; ++q) {
        if (*q == '"') return false;
        if (*q == _delimiter) put(q);
    }
    put(end);
    _quoted.clear();
    _recordLine = _line;
    ++_line;
    _pos = static_cast<size_t>(lineBreak + 1 - base);
    _numFields = n;
    return true;
}

CsvRecordReader::Parse CsvRecordReader::ParseRecord()
{
    const char* base = _mapped ? _mapped : _buffer.data();
    const char* p = base + _pos;
    const char* const e = base + _end;
    if (ParsePlainRecord(base, p, e)) return Parse::kRecord;

    // An empty line holds no record.
    if (*p == '\n') {
        ++_pos;
        ++_line;
        return Parse::kBlank;
    }
    if (*p == '\r') {
        if (p + 1 == e && !_eof) return Parse::kNeedMore;
        if (p + 1 < e && p[1] == '\n') {
            _pos += 2;
            ++_line;
            return Parse::kBlank;
        }
    }

    size_t n = 0;  // fields of this record so far
    auto put = [this, &n](std::string_view field) {
        if (n == _fields.size()) GrowFields();
        _fields[n++] = field;
    };
    _quoted.clear();
    _scratch.clear();
    long long breaks = 0;  // line breaks consumed so far in this record
    while (true) {
        if (p == e && !_eof) return Parse::kNeedMore;
        int fieldNumber = static_cast<int>(n) + 1;
        if (p < e && *p == '"') {
            long long openLine = _line + breaks;
            size_t start = _scratch.size();
            const char* q = p + 1;
            while (true) {
                const char* close = static_cast<const char*>(std::memchr(q, '"', static_cast<size_t>(e - q)));
                if (!close) {
                    if (!_eof) return Parse::kNeedMore;
                    Fail(openLine, "field " + std::to_string(fieldNumber) +
                                       ": a quoted field is not closed before the end of the file");
                }
                _scratch.append(q, close);
                breaks += std::count(q, close, '\n');
                if (close + 1 == e && !_eof) return Parse::kNeedMore;
                if (close + 1 < e && close[1] == '"') {
                    _scratch.push_back('"');
                    q = close + 2;
                    continue;
                }
                p = close + 1;
                break;
            }
            _quoted.push_back({n, start, _scratch.size() - start});
            put(std::string_view());
            if (p == e) break;  // end of file ends the record
            if (*p == _delimiter) {
                ++p;
                continue;
            }
            if (*p == '\n') {
                ++p;
                ++breaks;
                break;
            }
            if (*p == '\r') {
                if (p + 1 == e && !_eof) return Parse::kNeedMore;
                if (p + 1 == e) {
                    ++p;
                    break;
                }
                if (p[1] == '\n') {
                    p += 2;
                    ++breaks;
                    break;
                }
            }
            Fail(_line + breaks, "field " + std::to_string(fieldNumber) + ": text after the closing quote");
        } else {
            const char* start = p;
            const char d = _delimiter;
            while (p < e && !_special[static_cast<unsigned char>(*p)]) ++p;
            if (p == e) {
                if (!_eof) return Parse::kNeedMore;
                const char* fieldEnd = p;
                if (fieldEnd > start && fieldEnd[-1] == '\r') --fieldEnd;
                put(std::string_view(start, static_cast<size_t>(fieldEnd - start)));
                break;
            }
            if (*p == '"')
                Fail(_line + breaks, "field " + std::to_string(fieldNumber) +
                                         ": a quote inside an unquoted field (quote the whole field and double "
                                         "the quotes in it)");
            if (*p == d) {
                put(std::string_view(start, static_cast<size_t>(p - start)));
                ++p;
                continue;
            }
            const char* fieldEnd = p;
            if (fieldEnd > start && fieldEnd[-1] == '\r') --fieldEnd;
            put(std::string_view(start, static_cast<size_t>(fieldEnd - start)));
            ++p;
            ++breaks;
            break;
        }
    }

    _recordLine = _line;
    _line += breaks;
    _pos = static_cast<size_t>(p - base);
    _numFields = n;
    for (const Quoted& q : _quoted) _fields[q.field] = std::string_view(_scratch.data() + q.offset, q.length);
    return Parse::kRecord;
}

namespace {

// Reads [begin, end) of a file through `buffer`, handing each piece to `f`,
// which returns false to stop.
template <typename F> void ScanFile(std::FILE* file, const std::string& path, size_t begin, size_t end,
                                    std::vector<char>& buffer, F f)
{
    while (begin < end) {
        const size_t want = std::min(buffer.size(), end - begin);
        const ssize_t got = ::pread(::fileno(file), buffer.data(), want, static_cast<off_t>(begin));
        if (got < 0) throw HostError(path + ": cannot read the file: " + std::strerror(errno));
        if (got == 0) return;  // shorter than it was: the reader says so
        if (!f(buffer.data(), static_cast<size_t>(got), begin)) return;
        begin += static_cast<size_t>(got);
    }
}

}  // namespace

CsvCuts CsvRecordBoundaries(const std::string& path, size_t dataBegin, long long dataLine,
                            const std::vector<size_t>& nominalCuts)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) throw HostError(path + ": cannot open the file: " + std::strerror(errno));
    std::error_code ec;
    const size_t size = static_cast<size_t>(std::filesystem::file_size(path, ec));
    if (ec) throw HostError(path + ": cannot read the file's size: " + ec.message());
    dataBegin = std::min(dataBegin, size);
    std::vector<size_t> nominal{dataBegin};
    for (size_t at : nominalCuts) nominal.push_back(std::clamp(at, nominal.back(), size));
    const size_t n = nominal.size();

    // The quotes and line breaks before each nominal cut, counted in parallel.
    std::vector<size_t> quotes(n, 0), breaks(n, 0);
    std::vector<std::exception_ptr> errors(n);
    std::vector<std::thread> threads;
    for (size_t k = 0; k + 1 < n; ++k)
        threads.emplace_back([&, k] {
            try {
                std::vector<char> buffer(size_t{1} << 20);
                ScanFile(file.get(), path, nominal[k], nominal[k + 1], buffer, [&](const char* p, size_t len, size_t) {
                    quotes[k] += static_cast<size_t>(std::count(p, p + len, '"'));
                    breaks[k] += static_cast<size_t>(std::count(p, p + len, '\n'));
                    return true;
                });
            } catch (...) {
                errors[k] = std::current_exception();
            }
        });
    for (std::thread& t : threads) t.join();
    for (const std::exception_ptr& e : errors)
        if (e) std::rethrow_exception(e);

    CsvCuts cuts;
    cuts.offsets.push_back(dataBegin);
    cuts.lines.push_back(dataLine);
    size_t quotesBefore = 0;
    long long line = dataLine;
    std::vector<char> buffer(size_t{1} << 16);
    for (size_t k = 1; k < n; ++k) {
        quotesBefore += quotes[k - 1];
        line += static_cast<long long>(breaks[k - 1]);
        size_t cut = size;
        long long cutLine = line;
        bool inside = quotesBefore % 2 != 0;
        ScanFile(file.get(), path, nominal[k], size, buffer, [&](const char* p, size_t len, size_t at) {
            for (size_t i = 0; i < len; ++i) {
                if (p[i] == '"') {
                    inside = !inside;
                } else if (p[i] == '\n' && !inside) {
                    cut = at + i + 1;
                    cutLine += std::count(p, p + i + 1, '\n');
                    return false;
                }
            }
            cutLine += std::count(p, p + len, '\n');
            return true;
        });
        // The first boundary after a cut is also the first after any later
        // cut that it passes, so the offsets never decrease.
        cuts.offsets.push_back(cut);
        cuts.lines.push_back(cutLine);
    }
    cuts.offsets.push_back(size);
    return cuts;
}
