#pragma once

#include <filesystem>
#include <string>

namespace setup {

// Null, with the loader's reason, when it cannot be loaded. It stays loaded.
void* LoadByPath(const std::filesystem::path& file, std::string& reason);

// Null when the library has no such function.
void* FindFunction(void* library, const char* name);

// The path of the file that it was loaded from, in UTF-8.
std::string FileOf(void* library);

} // namespace setup
