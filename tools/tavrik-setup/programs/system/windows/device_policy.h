// The module among the security devices of a Mozilla program, by a policy in the registry.
#pragma once

#include "tools/tavrik-setup/programs/setting.h"

#include <string>

namespace setup {

// Of Firefox or Thunderbird, as the product calls itself; `folder` is that of its installation, and may be empty.
FileSetting DevicePolicy(const Place& place, const std::string& product, const std::filesystem::path& folder);

} // namespace setup
