#include "MemoryLimit.h"

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>

#include "UserError.h"

// Under the address and thread sanitizers their own allocator serves every
// allocation, and only it knows how much is in use.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KVTABLES_SANITIZED_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KVTABLES_SANITIZED_HEAP 1
#endif
#endif
#ifdef KVTABLES_SANITIZED_HEAP
// The sanitizer runtimes export it; gcc ships no header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace kvtables {

std::size_t HeapInUse()
{
#ifdef KVTABLES_SANITIZED_HEAP
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

std::size_t DefaultMemoryLimit()
{
    std::size_t available = static_cast<std::size_t>(::sysconf(_SC_PHYS_PAGES)) *
                            static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    // A control group may give the process less than the machine has.
    std::ifstream cgroup("/sys/fs/cgroup/memory.max");
    unsigned long long groupMax = 0;
    if (cgroup >> groupMax && groupMax > 0) available = std::min<std::size_t>(available, groupMax);
    std::size_t limit = available / 4 * 3;
    struct rlimit as {};
    if (::getrlimit(RLIMIT_AS, &as) == 0 && as.rlim_cur != RLIM_INFINITY)
        limit = std::min<std::size_t>(limit, static_cast<std::size_t>(as.rlim_cur) / 2);
    return limit;
}

std::string MemoryLimit::Describe() const
{
    return "the memory limit of " + FormatMemorySize(bytes);
}

std::string MemoryLimit::Advice() const { return "(ask for fewer categories or variables, or set " + setting + ")"; }

std::size_t MemoryLimit::Used() const
{
    const std::size_t heap = HeapInUse();
    return heap > start ? heap - start : 0;
}

HeapWatch::HeapWatch(const MemoryLimit& limit) : _limit(limit), _last(limit.Used()) {}

bool HeapWatch::Check()
{
    constexpr unsigned kLongestPeriod = 1u << 14;
    const std::size_t used = _limit.Used();
    if (used >= _limit.bytes) return true;
    const std::size_t growth = used > _last ? used - _last : 0, headroom = _limit.bytes - used;
    // The next period should not grow the heap by more than an eighth of
    // what is left: a period twice as long grows it about twice as much.
    if (growth / 4 > headroom / 64)
        _period = 1;
    else if (growth < headroom / 32 && _period < kLongestPeriod)
        _period *= 2;
    _last = used;
    _untilCheck = _period;
    return false;
}

std::size_t ParseMemorySize(const std::string& text, const std::string& what)
{
    std::size_t i = 0;
    unsigned long long n = 0;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])) && n < (1ULL << 50))
        n = n * 10 + static_cast<unsigned>(text[i++] - '0');
    std::string unit = text.substr(i);
    for (char& c : unit) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (!unit.empty() && unit.back() == 'B') unit.pop_back();
    const int shift = unit.empty() ? 0 : unit == "K" ? 10 : unit == "M" ? 20 : unit == "G" ? 30 : unit == "T" ? 40 : -1;
    if (i == 0 || shift < 0 || n >= (1ULL << 50) || n == 0)
        throw UserError(what + ": " + Quote(text) + " is not a memory size (a number of bytes, or with K, M, G or T)");
    return static_cast<std::size_t>(n) << shift;
}

std::string FormatMemorySize(std::size_t bytes)
{
    const char* units[] = {"bytes", "kB", "MB", "GB", "TB"};
    double v = static_cast<double>(bytes);
    int u = 0;
    while (v >= 1024.0 && u < 4) v /= 1024.0, ++u;
    char buf[32];
    std::snprintf(buf, sizeof buf, u == 0 ? "%.0f %s" : "%.1f %s", v, units[u]);
    return buf;
}

}  // namespace kvtables
