#pragma once

#include <filesystem>
#include <vector>

namespace setup {

// The folders of the profiles that Thunderbird and Firefox take when they are just started. None for an empty home.
std::vector<std::filesystem::path> DefaultProfiles(const std::filesystem::path& home);

} // namespace setup
