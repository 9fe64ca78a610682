// Whether the user may write somewhere.
#pragma once

#include <filesystem>
#include <string>

namespace setup {

// Makes a file in the folder and takes it away again. Returns why it cannot, in the words of the system; empty when it can.
std::string TroubleWithWritingIn(const std::filesystem::path& folder);

// A regular file that is there.
bool IsWritable(const std::filesystem::path& file);

} // namespace setup
