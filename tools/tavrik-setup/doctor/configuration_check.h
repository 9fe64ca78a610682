#pragma once

#include "tools/tavrik-setup/doctor/finding.h"

#include <filesystem>

namespace setup {

// The library's config.json in that folder.
Findings CheckConfiguration(const std::filesystem::path& folder);

// The folder in which the library writes its log.
Findings CheckLogFolder(const std::filesystem::path& folder);

} // namespace setup
