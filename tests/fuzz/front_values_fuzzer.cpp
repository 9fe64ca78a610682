// Templates, and data to be signed, for the front: sessions are open and logged in on both slots.
#include "tests/fuzz/calls/run_input.h"

extern "C" {
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    fuzz::StartFront(true);
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::RunOnFront({reinterpret_cast<const char*>(data), size}, {.operations = "NFfxGZDKkpPVvEeQq"},
                     "O0 4, O1 4, L01\"123456\" L11\"123456\" F0.f050,x0 F1.f150,x1");
    return 0;
}
