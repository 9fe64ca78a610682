// Where everything lies, ready for use.
#pragma once

#include "softcard/base/directories.h"

namespace softcard {

// Those of LocateDirectories, made when missing. Throws what that throws, and std::system_error.
Directories FindDirectories();

} // namespace softcard
