// Who has which rights to a folder.
#pragma once

#include <filesystem>

namespace setup {

// Trusted are this user, the administrators, and the system with its installer. Both throw Refusal when the rights cannot be
// read.

// Whether the folder is owned by one of them.
bool BelongsToTrusted(const std::filesystem::path& folder);

// Whether anybody else may put files into it, take them away, or change who may.
bool OthersCanWrite(const std::filesystem::path& folder);

} // namespace setup
