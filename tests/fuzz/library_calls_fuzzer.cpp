// Sequences of calls on the library, with good, stale and wild arguments, while cards come and go.
#include "tests/fuzz/calls/run_input.h"

extern "C" {
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    fuzz::StartLibrary(false);
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::RunOnLibrary({reinterpret_cast<const char*>(data), size}, {.cards = true, .restarts = true});
    return 0;
}
