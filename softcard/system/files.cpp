// What is the same for the files of every system.
#include "system/files.h"

#include "system/file_steps.h"

namespace softcard {

void EnsurePrivateFolder(const std::filesystem::path& folder)
{
    if (std::filesystem::is_directory(folder)) {
        return;
    }
    if (folder.has_relative_path()) {
        EnsurePrivateFolder(folder.parent_path());
    }
    MakePrivateFolder(folder);
}

std::filesystem::path WithDot(const std::filesystem::path& path, const std::string& ending)
{
    std::filesystem::path name = ".";
    name += path.filename();
    name += ending;
    return path.parent_path() / name;
}

std::filesystem::path TemporaryName(const std::filesystem::path& path)
{
    return WithDot(path, ".new");
}

} // namespace softcard
