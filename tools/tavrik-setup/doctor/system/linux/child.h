// Code of others, called where it can neither end this program nor hold it up.
#pragma once

#include "tools/tavrik-setup/doctor/look.h"

#include <functional>

namespace setup {

// Has a forked child make the value, and ends it when that takes longer. The child's standard output goes nowhere.
LookAnswer AskChild(std::chrono::seconds longest, const std::function<nlohmann::json()>& make);

} // namespace setup
