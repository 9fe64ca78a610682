// Files that belong to the user or to the system, and not to this program: read and replaced with care.
//
// On Windows a path that begins with HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER names a value of the registry, which is taken
// for a file with a text of lines, and its key for the folder. The end of the last line is not stored.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace setup {

// Who can read a file or a folder that is new, where it does not say so by its place.
enum class Readers
{
    owner,
    everybody
};

// The functions below throw Refusal. They follow a link only where it belongs to this user or to root, and on Windows none in
// the place of a file. They touch nothing but a regular file of at most a megabyte in a folder that no other user can write
// to.

// Nothing when there is no such file.
std::optional<std::string> ReadIfThere(const std::filesystem::path& file);

// Puts `after` in the place of `before`, so that a reader sees the one or the other; `before` is nothing for a file that is
// new, and gets these readers. A file that was there keeps its rights and its owner. One that holds something else by now is
// left as it is.
void ReplaceContent(const std::filesystem::path& file, const std::optional<std::string>& before,
                    const std::string& after, Readers readersOfNew);

// Takes the file away, unless it holds something else by now.
void RemoveFile(const std::filesystem::path& file, const std::string& before);

// Makes the folder and those above it that are missing, and returns what it made, the outermost first.
std::vector<std::filesystem::path> MakeFolders(const std::filesystem::path& folder, Readers readers);

// When it is certain already that the file cannot be written.
void RequireWritable(const std::filesystem::path& file);

// The functions below throw nothing.

// Whether there is a file or a folder of that path.
bool IsThere(const std::filesystem::path& path);

// Takes those away that are empty, the last first.
void DeleteEmptyFolders(const std::vector<std::filesystem::path>& folders);

} // namespace setup
