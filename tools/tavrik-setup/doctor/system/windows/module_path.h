#pragma once

#include <filesystem>

#include <windows.h>

namespace setup {

// The file of a module in a process; empty when Windows does not tell.
std::filesystem::path ModulePath(HANDLE process, HMODULE module);

} // namespace setup
