#include "front/library/own_folder.h"

#include "src/platform/never_destroyed.h"

#include <dlfcn.h>

#include <filesystem>

namespace front {
namespace {

std::vector<std::string> FindOwnFolders()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&OwnFolders), &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    std::error_code error;
    const auto loaded = std::filesystem::absolute(info.dli_fname, error);
    if (error) {
        return {}; // a bare name would be looked for elsewhere
    }
    const auto real = std::filesystem::canonical(loaded, error);
    if (error || real.parent_path() == loaded.parent_path()) {
        return {loaded.parent_path().string()};
    }
    return {loaded.parent_path().string(), real.parent_path().string()};
}

} // namespace

const std::vector<std::string>& OwnFolders()
{
    static NeverDestroyed<const std::vector<std::string>> folders(FindOwnFolders());
    return folders.Get();
}

} // namespace front
