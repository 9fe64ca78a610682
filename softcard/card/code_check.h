// Making and checking codes, and the secrets that they lead to.
#pragma once

#include "softcard/base/secret.h"
#include "softcard/card/code_record.h"

#include <cstdint>
#include <filesystem>

namespace softcard {

enum class CodeOutcome
{
    accepted,
    wrong,
    locked, // also for the try that locks it
    uninitialized
};

struct CodeCheck
{
    CodeOutcome outcome = CodeOutcome::wrong;
    uint32_t triesLeft = 0;
    // What the keys behind the code are encrypted with; of the PUK, what the recovery secrets are wrapped
    // with. Empty unless the code was accepted.
    SecretBytes secret;
};

// A secret for the keys behind a code, which outlives every change of the code.
SecretBytes MakeSecret();

// A record for a code that leads to the secret.
CodeRecord MakeCode(const SecretText& code, const SecretBytes& secret);

struct UnblockingCode
{
    CodeRecord record;
    SecretBytes wrappingKey;
};

UnblockingCode MakeUnblockingCode(const SecretText& code);

// RFC 3394. Unwrapping throws std::exception for another key than the one it was wrapped with.
std::vector<uint8_t> WrapSecret(const SecretBytes& secret, const SecretBytes& wrappingKey);
SecretBytes UnwrapSecret(const std::vector<uint8_t>& wrapped, const SecretBytes& wrappingKey);

// Whether a card can have such a code: 1 to 64 bytes, none of them zero.
bool CanBeACode(const SecretText& code);

// What the card would answer without a try being spent: the outcome is `accepted` for a code that can be
// tried.
CodeCheck LookAtCode(const std::filesystem::path& cardFolder, CodeKind kind);

// Spends one try, and gives all of them back for the right code. The try is on disk before the code is
// compared. What can be no code is wrong and costs no try. Throws std::exception when the card's state cannot
// be read or written.
CodeCheck CheckCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& code);

} // namespace softcard
