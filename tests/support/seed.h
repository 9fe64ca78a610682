// The seed of a test that makes random choices.
#pragma once

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace blackbox {

// A new one at each call, or the number in the environment variable TAVRIK_TEST_SEED. It is printed, so that a run can
// be repeated. Throws std::invalid_argument when the variable holds no number.
inline unsigned TestSeed()
{
    constexpr char variable[] = "TAVRIK_TEST_SEED";
    const char* const chosen = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody changes it
    const unsigned seed =
        chosen == nullptr ? std::random_device()() : static_cast<unsigned>(std::stoul(chosen));
    std::cout << variable << "=" << seed << std::endl;
    return seed;
}

} // namespace blackbox
