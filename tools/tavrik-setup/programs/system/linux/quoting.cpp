#include "tools/tavrik-setup/programs/system/quoting.h"

namespace setup {

std::string InProviderFile(const std::filesystem::path& path)
{
    return path.string();
}

std::string InOpenVpn(const std::filesystem::path& path)
{
    return path.string();
}

std::string InOpenSsl(const std::filesystem::path& path)
{
    return path.string();
}

std::string InCommandLine(const std::filesystem::path& path)
{
    return path.string();
}

} // namespace setup
