// The file of the library that the front loads.
#pragma once

#include <filesystem>

namespace front {

// Loads the library from a folder, given by its whole path. The result is what FindFunction and UnloadLibraryFile take, or
// null when there is none that can be loaded.
void* LoadLibraryFile(const std::filesystem::path& folder);

// The function that the library exports under this name, or null.
void* FindFunction(void* library, const char* name);

void UnloadLibraryFile(void* library);

} // namespace front
