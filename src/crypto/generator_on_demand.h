// A random generator of Botan's for operations that are given one and nearly never use it.
#pragma once

#include <botan/auto_rng.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// Seeds a generator when the first number is asked for: that takes longer than an encryption with a public key, which
// asks for none unless its padding does. Throws what AutoSeeded_RNG throws, at that time.
class GeneratorOnDemand final : public Botan::RandomNumberGenerator
{
public:
    explicit GeneratorOnDemand(std::size_t itsReseedInterval) : reseedInterval(itsReseedInterval) {}

    void randomize(uint8_t output[], std::size_t length) override { Generator().randomize(output, length); }
    [[nodiscard]] bool accepts_input() const override { return true; }
    void add_entropy(const uint8_t input[], std::size_t length) override
    {
        Generator().add_entropy(input, length);
    }
    [[nodiscard]] std::string name() const override { return "on demand"; }
    void clear() override { generator.reset(); }
    [[nodiscard]] bool is_seeded() const override { return true; }

private:
    Botan::AutoSeeded_RNG& Generator() { return generator ? *generator : generator.emplace(reseedInterval); }

    std::size_t reseedInterval;
    std::optional<Botan::AutoSeeded_RNG> generator;
};
