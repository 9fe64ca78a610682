// What the subcommands share.
#pragma once

#include "card_store.h"
#include "code_record.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace softcard {

// Throws StoreError unless there is such a card.
void RequireCard(const Directories& directories, const std::string& name);

// The card's folder. Throws StoreError unless there is such a card.
std::filesystem::path RequireCardFolder(const std::string& name);

// The required positional argument that names a card.
void AddCardName(CLI::App& command, std::string& name);

// The reader of each inserted card.
std::map<std::string, std::string> ReadersOfCards(const Directories& directories);

// For CLI::CheckedTransformer: the words on the command line.
const std::map<std::string, KeyFamily>& FamilyWords(); // qes, es
const std::map<std::string, CodeKind>& CodeWords();    // bok, pin, puk

// The code that the family's keys are behind.
CodeKind CodeOf(KeyFamily family);

} // namespace softcard
