// Templates, and data to be signed, for the library: sessions are open and logged in on both slots.
#include "tests/fuzz/calls/run_input.h"

extern "C" {
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    fuzz::StartLibrary(true);
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::RunOnLibrary({reinterpret_cast<const char*>(data), size}, {.operations = "NFfxGZKkVvEeQq"},
                       "O0 4 O1 4 L01\"123456\" F0.f050x0 F1.f150x1");
    return 0;
}
