// Calls on the library from up to four threads at once.
#include "tests/fuzz/calls/run_input.h"

extern "C" {
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    fuzz::StartLibraryForThreads();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::RunThreadsOnLibrary({reinterpret_cast<const char*>(data), size});
    return 0;
}
