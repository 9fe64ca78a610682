#include "softcard/system/lock_holder.h"

#include "softcard/base/text.h"

#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

namespace softcard {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view endOfReplacedProgram = " (deleted)";

// A line of /proc/locks is "NUMBER: FLOCK ADVISORY WRITE PROCESS DEVICE:DEVICE:FILE ...". Those that wait have an arrow
// behind their number.
struct ListedLock
{
    explicit ListedLock(const std::string& line)
    {
        std::istringstream(line) >> number >> kind >> manner >> access >> process >> file;
    }

    // Of the whole file, held alone by a process that this one can see. The devices are left out, since some file systems
    // show others there.
    [[nodiscard]] bool IsExclusiveOf(const struct stat& wanted) const
    {
        return kind == "FLOCK" && access == "WRITE" && process > 0 &&
               file.ends_with(":" + std::to_string(wanted.st_ino));
    }

    std::string number;
    std::string kind;
    std::string manner;
    std::string access;
    long process = 0;
    std::string file;
};

// Does not throw when the process ends meanwhile.
bool HasOpen(const fs::path& process, const struct stat& wanted)
{
    std::error_code unreadable;
    for (fs::directory_iterator file(process / "fd", unreadable); file != fs::directory_iterator();
         file.increment(unreadable)) {
        struct stat there
        {
        };
        if (stat(file->path().c_str(), &there) == 0 && there.st_dev == wanted.st_dev &&
            there.st_ino == wanted.st_ino) {
            return true;
        }
    }
    return false;
}

std::string NameOf(const fs::path& process)
{
    std::error_code unreadable;
    std::string name = fs::read_symlink(process / "exe", unreadable).filename().string();
    if (name.ends_with(endOfReplacedProgram)) {
        name.resize(name.size() - endOfReplacedProgram.size());
    }
    return Printable(name);
}

} // namespace

std::optional<std::string> LockHolder(const fs::path& lockFile)
{
    struct stat wanted
    {
    };
    if (stat(lockFile.c_str(), &wanted) != 0) {
        return std::nullopt;
    }
    std::ifstream locks("/proc/locks");
    std::string line;
    while (std::getline(locks, line)) {
        const ListedLock lock(line);
        if (!lock.IsExclusiveOf(wanted)) {
            continue;
        }
        const fs::path process = fs::path("/proc") / std::to_string(lock.process);
        const std::string name = HasOpen(process, wanted) ? NameOf(process) : std::string();
        if (!name.empty()) {
            return name + " (process " + std::to_string(lock.process) + ")";
        }
    }
    return std::nullopt;
}

} // namespace softcard
