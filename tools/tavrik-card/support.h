// What the subcommands share.
#pragma once

#include "softcard/base/store_error.h"
#include "softcard/card/card_access.h"
#include "softcard/card/card_store.h"
#include "softcard/card/code_record.h"
#include "softcard/system/files.h"
#include "tools/command_line/description.h"
#include "tools/tavrik-card/messages.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace softcard {

// The type of a number that need not be there.
template <typename Number>
struct NumberOf
{
    using Type = Number;
};
template <typename Number>
struct NumberOf<std::optional<Number>>
{
    using Type = Number;
};
template <typename Number>
using PlainNumber = typename NumberOf<Number>::Type;

inline constexpr NumberRange keyReferences{1, 4};

// When the standard output takes no more.
class OutputLost : public StoreTrouble
{
public:
    OutputLost() : StoreTrouble("The standard output cannot be written.") {}
};

// Throws StoreError unless there is such a card.
void RequireCard(const Directories& directories, const std::string& name);

// The card's folder. Throws StoreError unless there is such a card.
std::filesystem::path RequireCardFolder(const std::string& name);

// Lets no other program start a transaction on the card as long as it lives. Waits a moment for one that is
// active, and throws StoreError when it goes on.
[[nodiscard]] FileLock LockOutTransactions(const std::string& name);

// Lets no other program use the card's codes and keys as long as it lives. Waits a moment for those that do,
// and throws StoreError when one goes on. Returns null for a
// card whose files are so broken that no program can use it.
[[nodiscard]] std::unique_ptr<CardTransaction> LockCardExclusively(const std::string& name);

// An option whose value is a number, refused in words when it is none or not in the range.
template <typename Number>
CLI::Option* AddNumber(CLI::App& command, const std::string& name, Number& number, NumberRange range,
                       const std::string& description)
{
    const auto take = [name, range, &number](const std::string& text) {
        number = static_cast<PlainNumber<Number>>(ParseNumber(name, text, range));
    };
    return command.add_option_function<std::string>(name, take, description)->type_name("N");
}

// A required positional argument that is one of some words, refused in a sentence when it is another one. The help and
// the completion name those of them that are `offered`, at least two.
template <typename Value>
void AddWord(CLI::App& command, const std::string& name, Value& value,
             const std::map<std::string, Value>& words, const std::vector<std::string>& offered)
{
    const std::string description =
        command_line::Join({offered.begin(), std::prev(offered.end())}, ", ") + " or " + offered.back();
    const auto take = [name, description, &words, &value](const std::string& text) {
        const auto found = words.find(text);
        if (found == words.end()) {
            throw StoreError(StoreFailure::badArgument,
                             name + " is " + description + ", not \"" + text + "\".");
        }
        value = found->second;
    };
    command.add_option_function<std::string>(name, take, description)
        ->required()
        ->check(command_line::Offer(command_line::Join(offered, " ")));
}

// The required positional argument that names a card.
void AddCardName(CLI::App& command, std::string& name);

// The reader of each inserted card.
std::map<std::string, std::string> ReadersOfCards(const Directories& directories);

// The faults that are ordered at a card, as a list.
nlohmann::ordered_json FaultsToJson(const std::filesystem::path& cardFolder);

// On the standard output. What is not UTF-8, as a name in an imported certificate can be, is replaced, and
// control characters are written as JSON has them.
void PrintJsonText(const nlohmann::ordered_json& json);

// The words on the command line.
const std::map<std::string, KeyFamily>& FamilyWords(); // qes, es
const std::map<std::string, CodeKind>& CodeWords();    // bok, pin, puk

// The code that the family's keys are behind.
CodeKind CodeOf(KeyFamily family);

} // namespace softcard
