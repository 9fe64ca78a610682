// Making new cards.
#pragma once

#include "softcard/base/secret.h"
#include "softcard/card/directories.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace softcard {

// Key references of keys for which none is asked for. Programs ask ordinary keys for all kinds of hashes, so these sign what
// they are given.
inline constexpr uint32_t usualReferenceOfQualifiedKeys = 2;
inline constexpr uint32_t usualReferenceOfOrdinaryKeys = 1;

struct FamilyOrder
{
    uint32_t reference;
    uint32_t certificates = 1; // 0 to 8, each with a key of its own
    uint32_t bits = 2048;
};

struct NewCard
{
    std::string name;
    std::string subject;           // the holder's common name, UTF-8; the card's own name when empty
    std::optional<SecretText> bok; // without one, the code is not initialised
    std::optional<SecretText> pin;
    SecretText puk;
    FamilyOrder qualified{.reference = usualReferenceOfQualifiedKeys};
    FamilyOrder ordinary{.reference = usualReferenceOfOrdinaryKeys};
    std::string manufacturer = "Tavrik";            // 1 to 32 bytes
    std::string model = "Software card";            // 1 to 16 bytes
    std::array<uint8_t, 4> versions{1, 0, 1, 0};    // hardware major, minor, firmware major, minor
    std::function<void(const std::string&)> onStep; // told what comes next, when it takes long
    std::function<void()> beforeUse; // the card is made, and lies in the store unless this throws
};

// Throws StoreError for a reference other than 1 to 4.
void RequireReference(uint32_t reference);

// Generates the keys and lets the store's authority certify them. The card is there as a whole or not at all.
// Throws StoreError for a request that cannot be met, and std::exception.
void MakeCard(const Directories& directories, const NewCard& request);

} // namespace softcard
