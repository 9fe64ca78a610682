// The codes of a card as its state file keeps them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace softcard {

enum class CodeKind
{
    bok, // the login code, which opens secure messaging
    pin, // the signature PIN, which authorises one signature
    puk  // the unblocking code, which serves the other two
};

inline constexpr uint32_t defaultTries = 3;
inline constexpr uint32_t defaultUnblockingTries = 10;

struct CodeRecord
{
    bool initialized = false;
    uint32_t maximumTries = defaultTries;
    uint32_t triesLeft = defaultTries;
    uint32_t cost = 0; // of the derivation: its N
    std::vector<uint8_t> salt;
    std::vector<uint8_t> verifier;
    // The secret that the keys behind the code are encrypted with, wrapped under the code and under the PUK.
    // The PUK itself has neither.
    std::vector<uint8_t> wrappedSecret;
    std::vector<uint8_t> recoverySecret;
};

struct CodeRecords
{
    CodeRecord bok;
    CodeRecord pin;
    CodeRecord puk;

    [[nodiscard]] CodeRecord& Of(CodeKind kind) { return this->*Member(kind); }
    [[nodiscard]] const CodeRecord& Of(CodeKind kind) const { return this->*Member(kind); }

private:
    static CodeRecord CodeRecords::*Member(CodeKind kind)
    {
        switch (kind) {
        case CodeKind::bok:
            return &CodeRecords::bok;
        case CodeKind::pin:
            return &CodeRecords::pin;
        case CodeKind::puk:
            break;
        }
        return &CodeRecords::puk;
    }
};

// Both throw std::exception when the file cannot be read, understood or written. Whoever reads in order to
// write holds the card's lock (see CardStore) from before the one until after the other.
CodeRecords ReadCodeRecords(const std::filesystem::path& cardFolder);
void WriteCodeRecords(const std::filesystem::path& cardFolder, const CodeRecords& records);

} // namespace softcard
