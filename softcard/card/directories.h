// Where everything lies, ready for use.
#pragma once

#include "softcard/card/standard_directories.h"

namespace softcard {

// Those of LocateDirectories, made when missing. Throws what that throws, and std::system_error.
Directories FindDirectories();

} // namespace softcard
