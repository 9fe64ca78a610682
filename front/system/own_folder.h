// Where the front lies.
#pragma once

#include <filesystem>
#include <vector>

namespace front {

// The folder of the file that was loaded, and on Linux behind it that of the file itself when a link led to it. Looked up
// once: a path that the front was loaded by may be relative, and mean something else later. Texts, because what is kept
// stays in memory when the front is unloaded, and a path takes several times as much.
const std::vector<std::filesystem::path::string_type>& OwnFolders();

} // namespace front
