#pragma once

#include <memory>

#include <windows.h>

namespace softcard {

struct FreeLocalMemory
{
    void operator()(void* memory) const { LocalFree(memory); }
};

// What Windows gives for the caller to free by LocalFree.
template <typename T>
using LocalMemory = std::unique_ptr<T, FreeLocalMemory>;

} // namespace softcard
