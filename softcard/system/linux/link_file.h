#pragma once

#include <filesystem>

namespace softcard {

// Makes the path a symbolic link, in the place of a file or link that is there: a program that reads it meanwhile sees
// the old one or the new one, as with WriteFileAtomically. Throws std::system_error.
void LinkAtomically(const std::filesystem::path& target, const std::filesystem::path& path);

} // namespace softcard
