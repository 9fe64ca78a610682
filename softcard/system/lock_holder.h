// Who holds the lock of a file.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace softcard {

// For a person to read: the program that holds the lock of this file alone, with the number of its process. Nothing when no
// program does, or the system does not tell. Does not throw but for want of memory.
std::optional<std::string> LockHolder(const std::filesystem::path& lockFile);

} // namespace softcard
