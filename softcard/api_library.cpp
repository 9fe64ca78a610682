// The boundary: folders, start and end.
#include "boundary.h"
#include "directories.h"
#include "text.h"

namespace {

// With a trailing slash. An empty text when the folder cannot be found or made.
void CopyFolder(std::filesystem::path softcard::Directories::*folder, char16_t* buffer, uint32_t capacity)
{
    std::u16string text;
    softcard::Guarded(
        [&] { text = softcard::ToUtf16(softcard::Utf8Of(softcard::FindDirectories().*folder / "")); });
    softcard::CopyToBuffer(text, buffer, capacity);
}

} // namespace

void CardAPI_GetAppDataDir(char16_t* buffer, uint32_t capacity)
{
    CopyFolder(&softcard::Directories::config, buffer, capacity);
}

void CardAPI_GetUserDataDir(char16_t* buffer, uint32_t capacity)
{
    CopyFolder(&softcard::Directories::state, buffer, capacity);
}

void CardAPI_Initialize(const void* /*logger*/)
{
    softcard::Guarded([] { softcard::Runtime::Instance().Initialize(); });
}

void CardAPI_Finalize(void)
{
    softcard::Guarded([] { softcard::Runtime::Instance().Finalize(); });
}
