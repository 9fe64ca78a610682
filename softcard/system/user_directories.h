#pragma once

#include "softcard/base/directories.h"

namespace softcard {

// TAVRIK_HOME decides when it is set, and else UserDirectories. Both are absolute; nothing is made. Throws what
// UserDirectories throws.
Directories LocateDirectories();

// Where the user's own configuration and state lie. Throws std::runtime_error, with a sentence for the user,
// when the user has no home folder that can be used.
Directories UserDirectories();

// Where configuration and log lie when the others cannot be used: folders that only this user can write to,
// ready for use, or where there are none, paths at which nothing can be made. Both are absolute. Cards
// are not looked for there.
Directories LastResortDirectories();

} // namespace softcard
