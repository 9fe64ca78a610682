#include "tools/tavrik-setup/system/process.h"

#include <csignal>
#include <cstdlib>

#include <unistd.h>

namespace setup {

void OutliveReaders()
{
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

std::string NoteOnHome(const std::filesystem::path& home)
{
    if (geteuid() != 0 || secure_getenv("SUDO_UID") == nullptr) {
        return {};
    }
    return "The files in " + home.string() + " are those of root. For your own, call this without sudo.";
}

} // namespace setup
