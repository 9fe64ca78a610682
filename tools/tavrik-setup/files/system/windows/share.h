#pragma once

#include <windows.h>

namespace setup {

// Other programs may go on with what is opened so.
inline constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

} // namespace setup
