#include "softcard/cardapi/system/program_path.h"

#include "softcard/cardapi/system/linux/system_path.h"
#include "softcard/system/environment.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <unistd.h>

namespace softcard {

std::filesystem::path UsualPinentry()
{
    return "pinentry";
}

std::filesystem::path FindProgram(const std::filesystem::path& name)
{
    if (name.has_parent_path()) {
        return access(name.c_str(), X_OK) == 0 ? name : std::filesystem::path();
    }
    const std::string variable = PathFromEnvironment("PATH");
    std::string_view path = variable.empty() ? systemPath : std::string_view(variable);
    while (!path.empty()) {
        const std::string_view folder = path.substr(0, path.find(':'));
        std::string candidate = std::string(folder) + "/" + name.native();
        if (!folder.empty() && access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        path.remove_prefix(std::min(path.size(), folder.size() + 1));
    }
    return {};
}

} // namespace softcard
