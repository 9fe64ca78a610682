// Files that belong to the user or to the system, and not to this program: read and replaced with care.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace setup {

// The functions below throw Refusal. They follow a link only where it belongs to this user or to root, and touch nothing
// but a regular file of at most a megabyte in a folder that no other user can write to.

// Nothing when there is no such file.
std::optional<std::string> ReadIfThere(const std::filesystem::path& file);

// Puts `after` in the place of `before`, so that a reader sees the one or the other; `before` is nothing for a file that is
// new and gets this mode. A file that was there keeps its mode and its owner. One that holds something else by now is
// left as it is.
void ReplaceFile(const std::filesystem::path& file, const std::optional<std::string>& before,
                 const std::string& after, mode_t modeOfNew);

// Takes the file away, unless it holds something else by now.
void DeleteFile(const std::filesystem::path& file, const std::string& before);

// Makes the folder and those above it that are missing, and returns what it made, the outermost first.
std::vector<std::filesystem::path> MakeFolders(const std::filesystem::path& folder, mode_t mode);

// Takes those away that are empty, the last first.
void DeleteEmptyFolders(const std::vector<std::filesystem::path>& folders);

} // namespace setup
