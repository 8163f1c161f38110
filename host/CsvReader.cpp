#include "CsvReader.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <mutex>

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
    : _path(std::move(path)), _delimiter(options.delimiter)
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
    if (!ec && fileSize < size) size = std::max<size_t>(4096, static_cast<size_t>(fileSize) + 1);
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
            _end = _mappedSize;
            _eof = true;
            _atStart = false;
            if (_end >= 3 && std::memcmp(_mapped, "\xEF\xBB\xBF", 3) == 0) _pos = 3;
            return;
        }
    }
    _buffer.resize(size);
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
        _pos = 0;
    }
    if (_end == _buffer.size()) {
        if (_buffer.size() >= kMaxRecordBytes)
            Fail(_line, "a record longer than " + std::to_string(kMaxRecordBytes >> 20) +
                            " MiB (is a quoted field left open?)");
        _buffer.resize(_buffer.size() * 2);
    }
    size_t want = _buffer.size() - _end;
    size_t got = std::fread(_buffer.data() + _end, 1, want, _file);
    _end += got;
    if (got < want) {
        if (std::ferror(_file)) Fail(_line, "read error");
        _eof = true;
    }
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

CsvRecordReader::Parse CsvRecordReader::ParseRecord()
{
    const char* base = _mapped ? _mapped : _buffer.data();
    const char* p = base + _pos;
    const char* const e = base + _end;

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
