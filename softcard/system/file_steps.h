// The steps that the files of every system are made of.
#pragma once

#include <filesystem>
#include <string>

namespace softcard {

// Makes one folder, open to the owner only, unless there is something already. Throws std::system_error.
void MakePrivateFolder(const std::filesystem::path& folder);

// The path with a dot in front of its name, which keeps it out of every listing of the store, and an ending
// behind it.
std::filesystem::path WithDot(const std::filesystem::path& path, const std::string& ending);

// Where the new content of a file is written. Always the same, so that programs that are killed
// while they write leave one file at most.
std::filesystem::path TemporaryName(const std::filesystem::path& path);

} // namespace softcard
