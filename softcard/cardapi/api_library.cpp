// The boundary: folders, start and end.
#include "softcard/base/text.h"
#include "softcard/card/directories.h"
#include "softcard/cardapi/boundary.h"
#include "softcard/cardapi/library_log.h"
#include "softcard/system/user_directories.h"

#include <exception>

namespace {

using softcard::Directories;

std::u16string TextOf(const std::filesystem::path& folder)
{
    return softcard::ToUtf16(softcard::Utf8Of(folder / ""));
}

// With a trailing slash. Where the store's folder cannot be used or has too long a name, the user reads and
// writes that of the last resort: an empty text would be the folder that the host happens to be in.
void CopyFolder(std::filesystem::path Directories::*folder, char16_t* buffer, uint32_t capacity)
{
    std::u16string text;
    softcard::Guarded([&] { text = TextOf(softcard::FindDirectories().*folder); });
    if (text.empty() || text.size() >= capacity) {
        softcard::Guarded([&] { text = TextOf(softcard::LastResortDirectories().*folder); });
    }
    softcard::CopyToBuffer(text, buffer, capacity);
}

} // namespace

void CardAPI_GetAppDataDir(char16_t* buffer, uint32_t capacity)
{
    CopyFolder(&Directories::config, buffer, capacity);
}

void CardAPI_GetUserDataDir(char16_t* buffer, uint32_t capacity)
{
    CopyFolder(&Directories::state, buffer, capacity);
}

void CardAPI_Initialize(const void* logger)
{
    softcard::Guarded([logger] {
        try {
            softcard::Runtime::Instance().Initialize();
        } catch (const std::exception& error) {
            softcard::LogError(logger, std::string("The cards cannot be reached: ") + error.what());
        }
    });
}

void CardAPI_Finalize(void)
{
    softcard::Guarded([] { softcard::Runtime::Instance().Finalize(); });
}
