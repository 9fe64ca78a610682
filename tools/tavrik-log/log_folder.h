// Where the log files lie, and in which order they were written.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace logtool {

// The folder in which the software card has the library write its log. Throws std::runtime_error when the
// user has no home folder.
std::filesystem::path DefaultFolder();

// The log files with that stem, the oldest first and the current one last. A folder that does not exist has
// none; one that cannot be read throws std::filesystem::filesystem_error. For a path that is a file: that
// file.
std::vector<std::filesystem::path> ListLogFiles(const std::filesystem::path& path, const std::string& stem);

} // namespace logtool
