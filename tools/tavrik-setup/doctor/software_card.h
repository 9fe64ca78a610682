// What is known of the software card alone.
#pragma once

#include "tools/tavrik-setup/doctor/finding.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace setup {

// Whether the card layer that LookAtCards tells of is the software card.
bool IsSoftwareCard(const nlohmann::json& seen);

// Warns where it lies elsewhere than beside the library: the loader has then found it, in the place of a real card's.
Findings CheckSoftwareCard(const nlohmann::json& seen, const std::filesystem::path& libraryFolder);

// The tries that the codes of the inserted cards have left, as the tool beside this program lists them. None without it.
Findings CheckCodes();

} // namespace setup
