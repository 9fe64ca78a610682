#include "tool_support.h"

#include "card_access.h"
#include "card_error.h"
#include "fault.h"
#include "reader_directory.h"
#include "store_error.h"

namespace softcard {

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

FileLock KeepTransactionsAway(const std::string& name)
{
    try {
        return EnterCard(RequireCardFolder(name)).value();
    } catch (const CardError&) {
        throw StoreError(StoreFailure::cardBusy,
                         "Another program has a transaction on the card \"" + name + "\".");
    }
}

void AddCardName(CLI::App& command, std::string& name)
{
    command.add_option("NAME", name, "The card")->required();
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
