#include "tools/tavrik-setup/files/system/windows/error_text.h"

#include "softcard/base/text.h"

#include <array>

#include <windows.h>

namespace setup {

std::string ErrorText(unsigned long error)
{
    std::array<wchar_t, 512> text{};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
    std::string message = softcard::Utf8Of(std::wstring(text.data(), length));
    message.erase(message.find_last_not_of(" \r\n.") + 1);
    return message.empty() ? "error " + std::to_string(error) : message;
}

bool IsLackOfRights(unsigned long error)
{
    return error == ERROR_ACCESS_DENIED || error == ERROR_PRIVILEGE_NOT_HELD;
}

const char* AdviceForRights()
{
    return " This needs the rights of an administrator: call tavrik-setup in a console that was opened with "
           "\"Run "
           "as administrator\".";
}

} // namespace setup
