// Setting, changing, unblocking and locking the codes of a card. The keys behind a code do not change:
// what changes is how their secret is wrapped.
#pragma once

#include "softcard/base/secret.h"
#include "softcard/card/code_record.h"

#include <filesystem>
#include <optional>

namespace softcard {

struct FirstCodes
{
    std::optional<SecretText> bok; // without one, the code is not initialised
    std::optional<SecretText> pin;
    SecretText puk;
};

struct CardSecrets
{
    CodeRecords records;
    SecretBytes ordinary;  // what the keys behind the BOK are encrypted with
    SecretBytes qualified; // and those behind the PIN
};

CardSecrets MakeCodes(const FirstCodes& codes);

// Throws StoreError for what can be no code.
void RequireCode(const SecretText& code);

// The functions below throw StoreError for a code that is wrong, locked or not initialised, and
// std::exception when the card's state cannot be read or written. A wrong code costs a try, unless it can be
// no code.

// Replaces a code, the PUK too.
void ChangeCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& old,
                const SecretText& replacement);

// With the PUK: sets the BOK or the PIN anew, whatever its state was. Without a replacement the code does not change,
// and gets its tries back.
void UnblockCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& puk,
                 const std::optional<SecretText>& replacement);

// Takes all tries away.
void LockCode(const std::filesystem::path& cardFolder, CodeKind kind);

// The secret of the keys behind the BOK or the PIN, reached with that code or with the PUK.
SecretBytes OpenWithCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& code);
SecretBytes OpenWithPuk(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& puk);

} // namespace softcard
