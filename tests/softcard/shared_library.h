#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace softcard::test {

// The address of a symbol; null when the library, or the symbol in it, is missing.
void* FindInLibrary(const std::filesystem::path& library, const char* symbol);

// The names of all that the library exports. Throws std::runtime_error when they cannot be had.
std::vector<std::string> ExportsOf(const std::filesystem::path& library);

} // namespace softcard::test
