#include "src/platform/windows/system_text.h"

#include <windows.h>

std::wstring SystemText(std::u16string_view text)
{
    return {text.begin(), text.end()};
}

std::u16string TextOf(std::wstring_view systemText)
{
    return {systemText.begin(), systemText.end()};
}

std::string ErrorText(unsigned long error)
{
    char text[512] = {};
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text, static_cast<DWORD>(sizeof(text)), nullptr);
    std::string message(text, length);
    message.erase(message.find_last_not_of(" \r\n") + 1);
    return message.empty() ? "error " + std::to_string(error) : message;
}
