// libFuzzer entry point; the work is kvfuzz::FuzzDictionary (FuzzTargets.h).
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kvfuzz::FuzzDictionary(data, size);
    return 0;
}
