// The folders that the library names.
#pragma once

#include <filesystem>

namespace softcard::test {

struct Folders
{
    std::filesystem::path appData;
    std::filesystem::path userData;
};

Folders AskForFolders();

} // namespace softcard::test
