#include "src/crypto/with_generator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

namespace {

struct Counts
{
    int made = 0;
    int ended = 0;
};

// Keeps a reference to its generator, and draws from it at its very end.
class Operation
{
public:
    Operation(Counts* ownCounts, Botan::RandomNumberGenerator& ownGenerator, int failure = 0)
        : counts(*ownCounts), generator(ownGenerator)
    {
        if (failure != 0) {
            throw std::runtime_error("no operation");
        }
        ++counts.made;
    }
    ~Operation()
    {
        static_cast<void>(generator.next_byte());
        ++counts.ended;
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    bool Draws() { return generator.is_seeded() && generator.random_vec(16).size() == 16; }

private:
    Counts& counts;
    Botan::RandomNumberGenerator& generator;
};

using Both = WithGenerator<Operation>;

} // namespace

TEST(WithGenerator, GeneratorLastsUntilTheOperationHasEnded)
{
    Counts counts;
    Operation* operation = Both::Make(&counts);
    EXPECT_TRUE(operation->Draws());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(operation) % alignof(std::max_align_t), 0U);
    Both::Destroy(operation);
    EXPECT_EQ(counts.made, 1);
    EXPECT_EQ(counts.ended, 1);
}

TEST(WithGenerator, TwoOperationsHaveGeneratorsOfTheirOwn)
{
    Counts counts;
    Operation* first = Both::Make(&counts);
    Operation* second = Both::Make(&counts);
    Both::Destroy(first);
    EXPECT_TRUE(second->Draws());
    Both::Destroy(second);
    EXPECT_EQ(counts.ended, 2);
}

TEST(WithGenerator, OperationThatCannotBeMadeLeavesNothing)
{
    Counts counts;
    EXPECT_THROW(Both::Make(&counts, 1), std::runtime_error);
    EXPECT_EQ(counts.made, 0);
    EXPECT_EQ(counts.ended, 0);
}

TEST(WithGenerator, NullIsLetPass)
{
    Both::Destroy(nullptr);
}
