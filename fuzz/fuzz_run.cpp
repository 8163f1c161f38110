// libFuzzer entry point; the work is kvfuzz::FuzzRun (FuzzTargets.h).
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kvfuzz::FuzzRun(data, size);
    return 0;
}
