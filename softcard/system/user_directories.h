#pragma once

#include "softcard/card/standard_directories.h"

namespace softcard {

// Where the user's own configuration and state lie. Throws std::runtime_error, with a sentence for the user,
// when the user has no home folder that can be used.
Directories UserDirectories();

// Where configuration and log lie when the others cannot be used: folders that only this user can write to,
// ready for use, or where there are none, paths at which nobody can make anything. Both are absolute. Cards
// are not looked for there.
Directories LastResortDirectories();

} // namespace softcard
