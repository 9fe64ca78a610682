#include "softcard/card/code_change.h"

#include "softcard/base/store_error.h"
#include "softcard/card/card_store.h"
#include "softcard/card/code_check.h"

#include <string>

namespace softcard {
namespace {

std::string NameOf(CodeKind kind)
{
    switch (kind) {
    case CodeKind::bok:
        return "login code (BOK)";
    case CodeKind::pin:
        return "signature PIN";
    case CodeKind::puk:
        break;
    }
    return "unblocking code (PUK)";
}

std::string TriesLeft(uint32_t tries)
{
    return tries == 1 ? "1 try is left." : std::to_string(tries) + " tries are left.";
}

// The secret of an accepted code. Throws StoreError for another.
SecretBytes RequireAccepted(CodeKind kind, CodeCheck check)
{
    switch (check.outcome) {
    case CodeOutcome::accepted:
        return std::move(check.secret);
    case CodeOutcome::wrong:
        throw StoreError(StoreFailure::wrongCode,
                         "The " + NameOf(kind) + " is wrong; " + TriesLeft(check.triesLeft));
    case CodeOutcome::locked:
        throw StoreError(StoreFailure::codeUnusable, "The " + NameOf(kind) + " is locked.");
    case CodeOutcome::uninitialized:
        break;
    }
    throw StoreError(StoreFailure::codeUnusable, "The " + NameOf(kind) + " is not initialised.");
}

SecretBytes Check(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& code)
{
    RequireCode(code);
    return RequireAccepted(kind, CheckCode(cardFolder, kind, code));
}

// The PUK wraps the secret of each other code, so a new one wraps them anew.
void ReplacePuk(CodeRecords& records, const SecretBytes& oldKey, const SecretText& replacement)
{
    const UnblockingCode made = MakeUnblockingCode(replacement);
    for (CodeRecord* record : {&records.bok, &records.pin}) {
        record->recoverySecret = WrapSecret(UnwrapSecret(record->recoverySecret, oldKey), made.wrappingKey);
    }
    records.puk = made.record;
}

void ReplaceCode(CodeRecord& record, const SecretBytes& secret, const SecretText& replacement)
{
    CodeRecord made = MakeCode(replacement, secret);
    made.maximumTries = record.maximumTries;
    made.triesLeft = record.maximumTries;
    made.recoverySecret = std::move(record.recoverySecret);
    record = std::move(made);
}

CodeRecord MakeOptionalCode(const std::optional<SecretText>& code, const SecretBytes& secret,
                            const SecretBytes& wrappingKey)
{
    CodeRecord record = code ? MakeCode(*code, secret) : CodeRecord();
    record.recoverySecret = WrapSecret(secret, wrappingKey);
    return record;
}

} // namespace

CardSecrets MakeCodes(const FirstCodes& codes)
{
    const UnblockingCode puk = MakeUnblockingCode(codes.puk);
    CardSecrets made{{}, MakeSecret(), MakeSecret()};
    made.records.bok = MakeOptionalCode(codes.bok, made.ordinary, puk.wrappingKey);
    made.records.pin = MakeOptionalCode(codes.pin, made.qualified, puk.wrappingKey);
    made.records.puk = puk.record;
    return made;
}

void RequireCode(const SecretText& code)
{
    if (!CanBeACode(code)) {
        throw StoreError(StoreFailure::badArgument, "A code has 1 to 64 bytes, none of them zero.");
    }
}

void ChangeCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& old,
                const SecretText& replacement)
{
    RequireCode(replacement);
    const SecretBytes secret = Check(cardFolder, kind, old);
    const FileLock lock = LockCard(cardFolder);
    CodeRecords records = ReadCodeRecords(cardFolder);
    if (kind == CodeKind::puk) {
        ReplacePuk(records, secret, replacement);
    } else {
        ReplaceCode(records.Of(kind), secret, replacement);
    }
    WriteCodeRecords(cardFolder, records);
}

void UnblockCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& puk,
                 const std::optional<SecretText>& replacement)
{
    if (replacement) {
        RequireCode(*replacement);
    }
    const SecretBytes secret = OpenWithPuk(cardFolder, kind, puk);
    const FileLock lock = LockCard(cardFolder);
    CodeRecords records = ReadCodeRecords(cardFolder);
    CodeRecord& record = records.Of(kind);
    if (replacement) {
        ReplaceCode(record, secret, *replacement);
    } else if (record.initialized) {
        record.triesLeft = record.maximumTries;
    } else {
        throw StoreError(StoreFailure::codeUnusable, "The " + NameOf(kind) + " is not initialised.");
    }
    WriteCodeRecords(cardFolder, records);
}

void LockCode(const std::filesystem::path& cardFolder, CodeKind kind)
{
    const FileLock lock = LockCard(cardFolder);
    CodeRecords records = ReadCodeRecords(cardFolder);
    CodeRecord& record = records.Of(kind);
    if (!record.initialized) {
        throw StoreError(StoreFailure::codeUnusable, "The " + NameOf(kind) + " is not initialised.");
    }
    record.triesLeft = 0;
    WriteCodeRecords(cardFolder, records);
}

SecretBytes OpenWithCode(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& code)
{
    return Check(cardFolder, kind, code);
}

SecretBytes OpenWithPuk(const std::filesystem::path& cardFolder, CodeKind kind, const SecretText& puk)
{
    const SecretBytes wrappingKey = Check(cardFolder, CodeKind::puk, puk);
    return UnwrapSecret(ReadCodeRecords(cardFolder).Of(kind).recoverySecret, wrappingKey);
}

} // namespace softcard
