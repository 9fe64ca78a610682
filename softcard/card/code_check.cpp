#include "softcard/card/code_check.h"

#include "softcard/card/card_store.h"
#include "softcard/system/files.h"

#include <botan/auto_rng.h>
#include <botan/mem_ops.h>
#include <botan/pwdhash.h>
#include <botan/rfc3394.h>

#include <algorithm>
#include <stdexcept>

namespace softcard {
namespace {

// Scrypt with 16 MiB, some 50 ms on an ordinary machine: a login is quick, a search through a stolen store
// does not. A power of two.
constexpr uint32_t derivationCost = 16384;
constexpr size_t derivationBlockSize = 8;
constexpr size_t saltLength = 16;
constexpr size_t halfLength = 32;
constexpr size_t longestCode = 64;

struct DerivedSecrets
{
    SecretBytes verifier;
    SecretBytes secret;
};

// One derivation serves both: its two halves tell nothing about each other.
DerivedSecrets Derive(const SecretText& code, const CodeRecord& record)
{
    SecretBytes derived(2 * halfLength);
    const auto scrypt = Botan::PasswordHashFamily::create_or_throw("Scrypt")->from_params(
        record.cost, derivationBlockSize, 1);
    scrypt->derive_key(derived.data(), derived.size(), code.data(), code.size(), record.salt.data(),
                       record.salt.size());
    const auto middle = derived.begin() + halfLength;
    return {SecretBytes(derived.begin(), middle), SecretBytes(middle, derived.end())};
}

UnblockingCode MakeRecord(const SecretText& code)
{
    const TraceWiper wiper;
    CodeRecord record;
    record.initialized = true;
    record.cost = derivationCost;
    record.salt.resize(saltLength);
    Botan::AutoSeeded_RNG().randomize(record.salt.data(), record.salt.size());
    DerivedSecrets derived = Derive(code, record);
    record.verifier.assign(derived.verifier.begin(), derived.verifier.end());
    return {std::move(record), std::move(derived.secret)};
}

bool Matches(const CodeRecord& record, const SecretBytes& verifier)
{
    return record.verifier.size() == verifier.size() &&
           Botan::constant_time_compare(record.verifier.data(), verifier.data(), verifier.size());
}

CodeCheck Describe(const CodeRecord& record)
{
    if (!record.initialized) {
        return {CodeOutcome::uninitialized, 0, {}};
    }
    const CodeOutcome outcome = record.triesLeft == 0 ? CodeOutcome::locked : CodeOutcome::accepted;
    return {outcome, record.triesLeft, {}};
}

} // namespace

SecretBytes MakeSecret()
{
    SecretBytes secret(halfLength);
    Botan::AutoSeeded_RNG().randomize(secret.data(), secret.size());
    return secret;
}

CodeRecord MakeCode(const SecretText& code, const SecretBytes& secret)
{
    UnblockingCode made = MakeRecord(code);
    made.record.wrappedSecret = WrapSecret(secret, made.wrappingKey);
    return made.record;
}

UnblockingCode MakeUnblockingCode(const SecretText& code)
{
    UnblockingCode made = MakeRecord(code);
    made.record.maximumTries = defaultUnblockingTries;
    made.record.triesLeft = defaultUnblockingTries;
    return made;
}

std::vector<uint8_t> WrapSecret(const SecretBytes& secret, const SecretBytes& wrappingKey)
{
    const TraceWiper wiper;
    const SecretBytes wrapped = Botan::rfc3394_keywrap(secret, Botan::SymmetricKey(wrappingKey));
    return {wrapped.begin(), wrapped.end()};
}

SecretBytes UnwrapSecret(const std::vector<uint8_t>& wrapped, const SecretBytes& wrappingKey)
{
    const TraceWiper wiper;
    return Botan::rfc3394_keyunwrap(SecretBytes(wrapped.begin(), wrapped.end()),
                                    Botan::SymmetricKey(wrappingKey));
}

bool CanBeACode(const SecretText& code)
{
    return !code.empty() && code.size() <= longestCode &&
           std::find(code.begin(), code.end(), '\0') == code.end();
}

CodeCheck LookAtCode(const std::filesystem::path& cardFolder, CodeKind kind)
{
    return Describe(ReadCodeRecords(cardFolder).Of(kind));
}

CodeCheck CheckCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& code)
{
    const TraceWiper wiper;
    const FileLock lock = LockCard(cardFolder);
    CodeRecords records = ReadCodeRecords(cardFolder);
    CodeRecord& record = records.Of(kind);
    CodeCheck before = Describe(record);
    if (before.outcome != CodeOutcome::accepted) {
        return before;
    }
    if (!CanBeACode(code)) {
        return {CodeOutcome::wrong, record.triesLeft, {}};
    }
    --record.triesLeft;
    WriteCodeRecords(cardFolder, records);
    DerivedSecrets derived = Derive(code, record);
    if (!Matches(record, derived.verifier)) {
        return {record.triesLeft == 0 ? CodeOutcome::locked : CodeOutcome::wrong, record.triesLeft, {}};
    }
    record.triesLeft = record.maximumTries;
    WriteCodeRecords(cardFolder, records);
    SecretBytes secret = kind == CodeKind::puk ? std::move(derived.secret)
                                               : UnwrapSecret(record.wrappedSecret, derived.secret);
    return {CodeOutcome::accepted, record.triesLeft, std::move(secret)};
}

} // namespace softcard
