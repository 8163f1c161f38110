#include "KvAssert.h"

#include <cstdio>
#include <cstdlib>

void KvAssertFail(const char* expression, const char* file, int line, const char* function)
{
    std::fprintf(stderr, "kvaggr: assertion \"%s\" failed: file \"%s\", line %d, function: %s\n",
                 expression, file, line, function);
    std::fflush(stderr);
    std::abort();
}
