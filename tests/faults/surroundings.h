// What is missing around the module: the folder of its log, its card-access library, or one symbol of that.
#pragma once

#include "tests/faults/points.h"

#include <string>

namespace faults {

// Each in a process of its own, which must not have loaded a card-access library before. `module` is
// "library" or "front".
Points CardLibraryPoints(const std::string& module);
Points LogFolderPoints(const std::string& module);

} // namespace faults
