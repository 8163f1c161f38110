// libFuzzer entry point; the work is kvfuzz::FuzzRequest (FuzzTargets.h).
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kvfuzz::FuzzRequest(data, size);
    return 0;
}
