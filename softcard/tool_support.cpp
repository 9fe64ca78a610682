#include "tool_support.h"

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
