#pragma once

#include <filesystem>

namespace softcard {

// Throws std::system_error for what Windows says went wrong with the path.
[[noreturn]] void ThrowLastError(const std::filesystem::path& path);

} // namespace softcard
