#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace setup {

// The shared objects that this process has loaded: their paths by their file names.
nlohmann::json LoadedFiles();

// The other programs that have loaded the file and that this user may look at, such as "ssh (1234)".
std::vector<std::string> ProgramsWith(const std::filesystem::path& file);

} // namespace setup
