#include "src/crypto/generator_on_demand.h"

#include <gtest/gtest.h>

#include <array>

TEST(GeneratorOnDemand, GivesOtherNumbersEachTime)
{
    GeneratorOnDemand generator(1024);
    GeneratorOnDemand other(1024);
    const auto first = generator.random_vec(32);
    EXPECT_NE(first, generator.random_vec(32));
    EXPECT_NE(first, other.random_vec(32));
    generator.clear();
    EXPECT_NE(first, generator.random_vec(32));
}

TEST(GeneratorOnDemand, TakesWhatIsAdded)
{
    GeneratorOnDemand generator(1024);
    EXPECT_TRUE(generator.accepts_input());
    EXPECT_TRUE(generator.is_seeded());
    generator.add_entropy(std::array<uint8_t, 3>{1, 2, 3}.data(), 3);
    EXPECT_NE(generator.random_vec(32), generator.random_vec(32));
}
