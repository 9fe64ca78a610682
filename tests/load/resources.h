// What this process holds of the system.
#pragma once

#include <cstddef>
#include <string>

namespace load {

struct Resources
{
    std::size_t memory = 0; // bytes that are allocated
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t mappings = 0; // of files, as the loader makes them
};

Resources ResourcesInUse();

// Whether `after` is no more than `before`, but for so many bytes of memory.
bool HasNotGrown(const Resources& before, const Resources& after, std::size_t memoryAllowed);

std::string Text(const Resources& resources);

} // namespace load
