#include "tests/softcard/folders.h"

#include "tests/softcard/card_library.h"

#include <string>

namespace softcard::test {

Folders AskForFolders()
{
    std::u16string buffer(1024, u'\1');
    Library().getAppDataDir(buffer.data(), 1023);
    const std::filesystem::path appData = buffer.c_str();
    Library().getUserDataDir(buffer.data(), 1023);
    return {appData, buffer.c_str()};
}

} // namespace softcard::test
