// Sequences of calls on the front with arguments of any kind, while cards come and go, against a model of what must hold.
#include "tests/fuzz/calls/run_input.h"

extern "C" {
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    fuzz::StartFront(false);
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::RunOnFront({reinterpret_cast<const char*>(data), size}, {.cards = true, .restarts = true});
    return 0;
}
