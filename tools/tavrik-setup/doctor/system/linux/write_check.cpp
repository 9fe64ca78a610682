#include "tools/tavrik-setup/doctor/system/write_check.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <unistd.h>

namespace setup {

std::string TroubleWithWritingIn(const std::filesystem::path& folder)
{
    std::string name = (folder / ".tavrik-setup-XXXXXX").string();
    const int file = mkstemp(name.data());
    if (file < 0) {
        return std::generic_category().message(errno);
    }
    const bool isWritten = write(file, "x", 1) == 1;
    const int error = errno;
    close(file);
    unlink(name.c_str());
    return isWritten ? "" : std::generic_category().message(error);
}

bool IsWritable(const std::filesystem::path& file)
{
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(file)) &&
           access(file.c_str(), W_OK) == 0;
}

} // namespace setup
