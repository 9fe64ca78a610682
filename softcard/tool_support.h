// What the subcommands share.
#pragma once

#include "card_access.h"
#include "card_store.h"
#include "code_record.h"
#include "system/files.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <string>

namespace softcard {

// Throws StoreError unless there is such a card.
void RequireCard(const Directories& directories, const std::string& name);

// The card's folder. Throws StoreError unless there is such a card.
std::filesystem::path RequireCardFolder(const std::string& name);

// Lets no other program start a transaction on the card as long as it lives. Waits a moment for one that is
// active, and throws StoreError when it goes on.
[[nodiscard]] FileLock KeepTransactionsAway(const std::string& name);

// Lets no other program use the card's codes and keys as long as it lives. Waits a moment for those that do,
// and throws StoreError when one goes on. A card whose files are so broken that nobody can use it keeps
// nobody away.
[[nodiscard]] std::unique_ptr<CardTransaction> KeepEverybodyAway(const std::string& name);

// The required positional argument that names a card.
void AddCardName(CLI::App& command, std::string& name);

// The reader of each inserted card.
std::map<std::string, std::string> ReadersOfCards(const Directories& directories);

// The faults that are ordered at a card, as a list.
nlohmann::ordered_json FaultsToJson(const std::filesystem::path& cardFolder);

// For CLI::CheckedTransformer: the words on the command line.
const std::map<std::string, KeyFamily>& FamilyWords(); // qes, es
const std::map<std::string, CodeKind>& CodeWords();    // bok, pin, puk

// The code that the family's keys are behind.
CodeKind CodeOf(KeyFamily family);

} // namespace softcard
