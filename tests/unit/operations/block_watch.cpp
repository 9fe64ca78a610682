#include "tests/unit/operations/block_watch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t largestBlock = 256;

struct Watched
{
    const void* block = nullptr;
    std::size_t size = 0;
    int deletions = 0;
    uint8_t content[largestBlock] = {};
};
Watched watched;

void LookAt(const void* block) noexcept
{
    if (block != nullptr && block == watched.block) {
        ++watched.deletions;
        std::memcpy(watched.content, block, watched.size);
        watched.block = nullptr;
    }
}

} // namespace

BlockWatch::BlockWatch(const void* block, std::size_t size)
{
    watched = Watched();
    watched.size = std::min(size, largestBlock);
    watched.block = block;
}

BlockWatch::~BlockWatch()
{
    watched.block = nullptr;
}

int BlockWatch::Deletions() const
{
    return watched.deletions;
}

std::vector<uint8_t> BlockWatch::LastContent() const
{
    return {watched.content, watched.content + watched.size};
}

void* operator new[](std::size_t size)
{
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete[](void* block) noexcept
{
    LookAt(block);
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    LookAt(block);
    std::free(block);
}
