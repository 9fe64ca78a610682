#include "front/library/own_folder.h"

#include <dlfcn.h>

namespace front {
namespace {

std::vector<std::filesystem::path> FindOwnFolders()
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
    std::vector<std::filesystem::path> folders{loaded.parent_path()};
    const auto real = std::filesystem::canonical(loaded, error);
    if (!error && real.parent_path() != folders.front()) {
        folders.push_back(real.parent_path());
    }
    return folders;
}

} // namespace

const std::vector<std::filesystem::path>& OwnFolders()
{
    static const auto& folders = *new std::vector<std::filesystem::path>(FindOwnFolders()); // never destroyed
    return folders;
}

} // namespace front
