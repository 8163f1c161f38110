// libFuzzer entry point; the work is kvfuzz::FuzzCsv (FuzzTargets.h).
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kvfuzz::FuzzCsv(data, size);
    return 0;
}
