#pragma once

#include <filesystem>
#include <string>

namespace setup {

// Keeps the end of whoever reads the output from being that of this program: a write then fails, which is told.
void OutliveReaders();

// What to tell a person whose own files those of this home may not be; empty where they are.
std::string NoteOnHome(const std::filesystem::path& home);

} // namespace setup
