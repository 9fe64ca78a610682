#include "tools/tavrik-card/support.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/card_error.h"
#include "softcard/card/fault.h"
#include "softcard/card/reader_directory.h"

#include <iostream>

#include <system_error>

namespace softcard {
namespace {

constexpr int jsonIndentation = 4;

} // namespace

void RequireCard(const Directories& directories, const std::string& name)
{
    RequireCardName(name);
    if (!CardStore(directories).Contains(name)) {
        throw StoreError(StoreFailure::unknownCard, "There is no card named \"" + name + "\".");
    }
}

std::filesystem::path RequireCardFolder(const std::string& name)
{
    const Directories directories = FindDirectories();
    RequireCard(directories, name);
    return CardStore(directories).FolderOf(name);
}

namespace {

// What `lock` gives, its failures told in the words of the tool.
template <typename Lock>
auto LockOrRefuse(const std::string& name, const Lock& lock)
{
    const std::filesystem::path folder = RequireCardFolder(name);
    try {
        return lock(folder);
    } catch (const CardError&) {
        throw StoreError(StoreFailure::cardBusy,
                         "Another program has a transaction on the card \"" + name + "\".");
    } catch (const std::system_error&) {
        (void)RequireCardFolder(name); // it may have been deleted a moment ago
        throw;
    }
}

} // namespace

FileLock LockOutTransactions(const std::string& name)
{
    return LockOrRefuse(name, [](const std::filesystem::path& folder) { return EnterCard(folder).value(); });
}

std::unique_ptr<CardTransaction> LockCardExclusively(const std::string& name)
{
    return LockOrRefuse(name, [](const std::filesystem::path& folder) {
        try {
            return std::make_unique<CardTransaction>(folder);
        } catch (const std::system_error& error) {
            if (error.code() == FileFault::notRegular || error.code() == std::errc::is_a_directory) {
                return std::unique_ptr<CardTransaction>();
            }
            throw;
        }
    });
}

void AddCardName(CLI::App& command, std::string& name)
{
    command.add_option("NAME", name, "The card")->required()->check(command_line::Offer("<card>"));
}

std::map<std::string, std::string> ReadersOfCards(const Directories& directories)
{
    std::map<std::string, std::string> readers;
    for (const Reader& reader : ReaderDirectory(directories).List()) {
        if (!reader.card.empty()) {
            readers[reader.card] = reader.name;
        }
    }
    return readers;
}

nlohmann::ordered_json FaultsToJson(const std::filesystem::path& cardFolder)
{
    using Json = nlohmann::ordered_json;
    Json json = Json::array();
    for (const Fault& fault : ReadFaults(cardFolder)) {
        json.push_back({{"operation", fault.operation},
                        {"status", fault.status ? Json(*fault.status) : Json()},
                        {"codeState", fault.codeState ? Json(*fault.codeState) : Json()},
                        {"verified", fault.verified},
                        {"delay", fault.delay.count()},
                        {"removesCard", fault.removesCard},
                        {"count", fault.count}});
    }
    return json;
}

// The library that writes JSON leaves those beyond ASCII's first ones as they are. All stand in texts.
void PrintJsonText(const nlohmann::ordered_json& json)
{
    using Json = nlohmann::ordered_json;
    std::cout << EscapeForJson(json.dump(jsonIndentation, ' ', false, Json::error_handler_t::replace))
              << '\n';
}

const std::map<std::string, KeyFamily>& FamilyWords()
{
    static const std::map<std::string, KeyFamily> words = {{"qes", KeyFamily::qualified},
                                                           {"es", KeyFamily::ordinary}};
    return words;
}

const std::map<std::string, CodeKind>& CodeWords()
{
    static const std::map<std::string, CodeKind> words = {
        {"bok", CodeKind::bok}, {"pin", CodeKind::pin}, {"puk", CodeKind::puk}};
    return words;
}

CodeKind CodeOf(KeyFamily family)
{
    return family == KeyFamily::qualified ? CodeKind::pin : CodeKind::bok;
}

} // namespace softcard
