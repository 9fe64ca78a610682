// Sequences of calls on the library above a card layer whose every answer comes from the input.
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
    fuzz::RunOnLibrary({reinterpret_cast<const char*>(data), size},
                       {.cards = true, .answers = true, .restarts = true});
    return 0;
}
