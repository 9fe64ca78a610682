#include "tests/load/resources.h"

#include <dirent.h>
#include <malloc.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

// Of a build with a sanitizer, whose allocator is another: the bytes that are allocated. Null in other builds.
extern "C" std::size_t BytesOfSanitizer() __asm__("__sanitizer_get_current_allocated_bytes")
    __attribute__((weak));

namespace load {
namespace {

std::size_t EntriesOf(const char* folder)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(folder), closedir);
    if (!open) {
        throw std::runtime_error(std::string("no ") + folder);
    }
    std::size_t count = 0;
    while (const dirent* entry = readdir(open.get())) { // NOLINT(concurrency-mt-unsafe): a folder of its own
        count += entry->d_name[0] == '.' ? 0 : 1;
    }
    return count;
}

std::size_t MappedFiles()
{
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find(" /") != std::string::npos ? 1 : 0;
    }
    return count;
}

std::size_t AllocatedMemory()
{
    if (BytesOfSanitizer != nullptr) {
        return BytesOfSanitizer();
    }
    const struct mallinfo2 allocated = mallinfo2();
    return allocated.uordblks + allocated.hblkhd;
}

// The system takes a moment to clear away a thread that has been joined.
std::size_t ThreadsAtRest()
{
    constexpr std::chrono::milliseconds pause{5};
    std::size_t before = 0;
    std::size_t threads = EntriesOf("/proc/self/task");
    for (int same = 0; same < 4; same = threads == before ? same + 1 : 0) {
        before = threads;
        std::this_thread::sleep_for(pause);
        threads = EntriesOf("/proc/self/task");
    }
    return threads;
}

} // namespace

Resources ResourcesInUse()
{
    return {.memory = AllocatedMemory(),
            .descriptors = EntriesOf("/proc/self/fd"),
            .threads = ThreadsAtRest(),
            .mappings = MappedFiles()};
}

bool HasNotGrown(const Resources& before, const Resources& after, std::size_t memoryAllowed)
{
    return after.memory <= before.memory + memoryAllowed && after.descriptors <= before.descriptors &&
           after.threads <= before.threads && after.mappings <= before.mappings;
}

std::string Text(const Resources& resources)
{
    return std::to_string(resources.memory / 1024) + " KiB, " + std::to_string(resources.descriptors) +
           " descriptors, " + std::to_string(resources.threads) + " threads, " +
           std::to_string(resources.mappings) + " mappings of files";
}

} // namespace load
