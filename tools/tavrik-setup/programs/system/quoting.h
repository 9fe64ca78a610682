// A path as the files and the command lines of others take it. On Linux the front has a path that needs no marks.
#pragma once

#include <filesystem>
#include <string>

namespace setup {

std::string InProviderFile(const std::filesystem::path& path); // of Java
std::string InOpenVpn(const std::filesystem::path& path);
std::string InOpenSsl(const std::filesystem::path& path);
std::string InCommandLine(const std::filesystem::path& path);

} // namespace setup
