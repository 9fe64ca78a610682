#pragma once

#include "standard_directories.h"

namespace softcard {

// Where the user's own configuration and state lie. Throws std::runtime_error when the user has no home
// folder.
Directories UserDirectories();

} // namespace softcard
