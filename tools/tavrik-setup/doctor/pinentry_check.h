#pragma once

#include "tools/tavrik-setup/doctor/finding.h"

#include <filesystem>

namespace setup {

// Whether the software card can ask for codes here: its pinentry program is there, answers, and has a screen or a terminal.
Findings CheckPinentry(const std::filesystem::path& configFolder);

} // namespace setup
