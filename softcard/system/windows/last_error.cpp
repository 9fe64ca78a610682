#include "softcard/system/windows/last_error.h"

#include "softcard/base/text.h"

#include <system_error>

#include <windows.h>

namespace softcard {

void ThrowLastError(const std::filesystem::path& path)
{
    const auto error = static_cast<int>(GetLastError());
    throw std::system_error(error, std::system_category(), Utf8Of(path));
}

} // namespace softcard
