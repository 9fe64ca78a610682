// A look at a block of memory at the moment it is given back.
#pragma once

#include <cstdint>
#include <vector>

// Watches one array, which must come from new[], until it is deleted.
class BlockWatch
{
public:
    BlockWatch(const void* block, std::size_t size);
    ~BlockWatch();
    BlockWatch(const BlockWatch&) = delete;
    BlockWatch& operator=(const BlockWatch&) = delete;

    // How often the block was deleted since.
    int Deletions() const;

    // What was in the block when it was deleted.
    std::vector<uint8_t> LastContent() const;
};
