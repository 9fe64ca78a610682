// A Botan operation together with the random generator that it keeps a reference to.
#pragma once

#include <botan/auto_rng.h>

#include <cstddef>
#include <new>
#include <utility>

inline constexpr std::size_t reseedInterval = 1024;

// Both live in one block, the generator in front, so that the operation alone is enough to find and end both:
// its owner needs no second pointer.
template <typename Operation>
class WithGenerator
{
public:
    // Makes an operation out of a key, a generator of its own and further arguments. Ended by Destroy only.
    template <typename Key, typename... Arguments>
    static Operation* Make(const Key& key, Arguments&&... arguments)
    {
        auto* block = static_cast<std::byte*>(::operator new(operationOffset + sizeof(Operation), alignment));
        Botan::AutoSeeded_RNG* generator = nullptr;
        try {
            generator = new (block) Botan::AutoSeeded_RNG(reseedInterval);
            return new (block + operationOffset)
                Operation(key, *generator, std::forward<Arguments>(arguments)...);
        } catch (...) {
            EndBlock(block, generator);
            throw;
        }
    }

    // Null does nothing.
    static void Destroy(Operation* operation)
    {
        if (operation == nullptr) {
            return;
        }
        auto* block = reinterpret_cast<std::byte*>(operation) - operationOffset;
        operation->~Operation();
        EndBlock(block, std::launder(reinterpret_cast<Botan::AutoSeeded_RNG*>(block)));
    }

private:
    static constexpr std::align_val_t alignment{alignof(std::max_align_t)};
    static constexpr std::size_t operationOffset =
        (sizeof(Botan::AutoSeeded_RNG) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
        alignof(std::max_align_t);
    static_assert(alignof(Operation) <= alignof(std::max_align_t));

    static void EndBlock(std::byte* block, Botan::AutoSeeded_RNG* generator)
    {
        if (generator != nullptr) {
            generator->~AutoSeeded_RNG();
        }
        ::operator delete(block, alignment);
    }
};
