#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace softcard {

// What starts the program with these arguments, each of which it finds as it stands here. Throws std::exception when one is no
// well-formed UTF-8.
std::wstring CommandLineOf(const std::filesystem::path& program,
                           const std::vector<std::string>& arguments = {});

} // namespace softcard
