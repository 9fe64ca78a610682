#include "tools/tavrik-setup/doctor/system/write_check.h"

#include "softcard/system/windows/handle.h"
#include "tools/tavrik-setup/files/system/windows/error_text.h"
#include "tools/tavrik-setup/files/system/windows/share.h"

#include <random>

namespace setup {

std::string TroubleWithWritingIn(const std::filesystem::path& folder)
{
    const auto file = folder / (L".tavrik-setup-" + std::to_wstring(std::random_device()()));
    const softcard::Handle opened =
        softcard::Own(CreateFileW(file.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    DWORD length = 0;
    const bool isWritten = opened && ::WriteFile(opened.get(), "x", 1, &length, nullptr) != FALSE;
    return isWritten ? "" : ErrorText(GetLastError());
}

// Opened without a word to say, as the library shares its log with others.
bool IsWritable(const std::filesystem::path& file)
{
    const DWORD attributes = GetFileAttributesW(file.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES ||
        (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0) {
        return false;
    }
    return softcard::Own(CreateFileW(file.c_str(), FILE_APPEND_DATA, shareAll, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr)) != nullptr;
}

} // namespace setup
