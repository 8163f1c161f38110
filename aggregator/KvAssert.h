// The one assertion facility of the library.
//
// Internal consistency and caller misuse are checked by assertions that are
// always on (release builds included): a broken invariant in an aggregation
// engine silently produces wrong tables, which is worse than stopping. The
// message carries the expression exactly as written in the source, so callers
// and tests can match it, plus the file, the line and the enclosing function's
// full signature.
#ifndef KVAGGR_KVASSERT_H
#define KVAGGR_KVASSERT_H

[[noreturn]] void KvAssertFail(const char* expression, const char* file, int line,
                               const char* function);

#define KV_ASSERT(expr) \
    ((expr) ? static_cast<void>(0) : KvAssertFail(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))

// For an invariant whose quoted text is not itself the C++ condition to test.
#define KV_ASSERT_TEXT(cond, text) \
    ((cond) ? static_cast<void>(0) : KvAssertFail(text, __FILE__, __LINE__, __PRETTY_FUNCTION__))

#endif
