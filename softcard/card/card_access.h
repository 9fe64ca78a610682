// Who may use a card: one process at a time holds its transaction, and only that process uses codes and keys
// meanwhile.
#pragma once

#include "softcard/system/files.h"

#include <filesystem>
#include <optional>
#include <string>

namespace softcard {

// A transaction on a card, over with the object.
class CardTransaction
{
public:
    // Waits a moment for another process, but not for one of the own process. Throws CardError when the card
    // does not get free.
    explicit CardTransaction(std::filesystem::path folder);
    ~CardTransaction();
    CardTransaction(const CardTransaction&) = delete;
    CardTransaction& operator=(const CardTransaction&) = delete;
    CardTransaction(CardTransaction&&) = delete;
    CardTransaction& operator=(CardTransaction&&) = delete;

private:
    const std::filesystem::path cardFolder;
    std::optional<FileLock> lock;
};

// Keeps other processes from starting a transaction as long as it lives; nothing needs to be kept when the
// own process has one. Waits a moment and throws CardError when another process holds a transaction, so two
// processes never wait for each other for good.
[[nodiscard]] std::optional<FileLock> EnterCard(const std::filesystem::path& cardFolder);

// For a person to read: the program that has a transaction on the card. Nothing when there is none, or the system does not
// tell.
[[nodiscard]] std::optional<std::string> ProgramInTransaction(const std::filesystem::path& cardFolder);

} // namespace softcard
