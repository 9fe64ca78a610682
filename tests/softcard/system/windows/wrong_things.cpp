#include "tests/softcard/wrong_things.h"

#include "softcard/system/files.h"

#include <fstream>

namespace softcard::test {

namespace fs = std::filesystem;

std::vector<WrongThing> WrongThingsOfTheSystem()
{
    return {{"more than a file may have",
             [](const fs::path& path) { std::ofstream(path) << std::string(longestFile + 1, '{'); }}};
}

// The folder of cards is above each card.
std::vector<std::string> WaysOut(const fs::path& card, const fs::path& outside)
{
    return {"..\\..\\..\\" + outside.filename().string(),
            "..\\" + card.filename().string() + "\\..\\..\\..\\" + outside.filename().string()};
}

} // namespace softcard::test
