// Looks for what keeps applications from using the card.
#pragma once

#include "tools/tavrik-setup/doctor/finding.h"

#include <filesystem>

namespace setup {

Findings Diagnose(const std::filesystem::path& module);

} // namespace setup
