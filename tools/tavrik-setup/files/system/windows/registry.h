// Values of the registry, by paths such as HKEY_CURRENT_USER\Software\Mozilla\Name, whose last part is the name of the value
// or of a key.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace setup {

bool IsInRegistry(const std::filesystem::path& path);

// The functions below do for values and keys what those of careful_file.h do for files and folders, and throw Refusal as
// they do. A value that is no text is refused.
std::optional<std::string> ReadValue(const std::filesystem::path& value);
void ReplaceValue(const std::filesystem::path& value, const std::optional<std::string>& before,
                  const std::string& after);
void DeleteValue(const std::filesystem::path& value, const std::string& before);
std::vector<std::filesystem::path> MakeKeys(const std::filesystem::path& key);
void RequireWritableValue(const std::filesystem::path& value);

// These throw nothing.
bool IsKeyOrValue(const std::filesystem::path& path);
void DeleteEmptyKey(const std::filesystem::path& key);

// The names of the values in a key; none when there is no such key, or it cannot be read.
std::vector<std::string> ValuesOf(const std::filesystem::path& key);

} // namespace setup
