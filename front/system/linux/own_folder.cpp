#include "front/system/own_folder.h"

#include "src/platform/never_destroyed.h"

#include <dlfcn.h>

namespace front {
namespace {

std::vector<std::filesystem::path::string_type> FindOwnFolders()
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
        return {loaded.parent_path().native()};
    }
    return {loaded.parent_path().native(), real.parent_path().native()};
}

} // namespace

const std::vector<std::filesystem::path::string_type>& OwnFolders()
{
    static NeverDestroyed<const std::vector<std::filesystem::path::string_type>> folders(FindOwnFolders());
    return folders.Get();
}

} // namespace front
