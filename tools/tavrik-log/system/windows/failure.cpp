#include "tools/tavrik-log/system/windows/failure.h"

#include "softcard/base/text.h"

#include <array>

#include <windows.h>

namespace logtool {

std::runtime_error LastFailure(const std::string& what)
{
    const DWORD error = GetLastError();
    std::array<wchar_t, 512> text{};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
    std::string sentence = softcard::Utf8Of(std::wstring(text.data(), length));
    sentence.erase(sentence.find_last_not_of(" .\r\n") + 1);
    return std::runtime_error(what + ": " + (sentence.empty() ? "error " + std::to_string(error) : sentence));
}

} // namespace logtool
