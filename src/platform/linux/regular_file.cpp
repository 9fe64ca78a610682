#include "src/platform/regular_file.h"

#include "src/platform/linux/descriptor_place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

constexpr mode_t ownerAlone = 0600;

// -1 when there is no such file, or another thing under its name.
int OpenRegular(const std::filesystem::path& file, int flags, uint64_t& size)
{
    // A pipe or a device would be waited for without O_NONBLOCK, which means nothing to a regular file.
    const int descriptor =
        OutOfTheWay(open(file.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, ownerAlone));
    struct stat facts
    {
    };
    if (descriptor >= 0 && (fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode))) {
        close(descriptor);
        return -1;
    }
    size = static_cast<uint64_t>(facts.st_size);
    return descriptor;
}

} // namespace

std::optional<uint64_t> SizeOfRegularFile(const std::filesystem::path& file)
{
    struct stat facts
    {
    };
    if (lstat(file.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return std::nullopt;
    }
    return static_cast<uint64_t>(facts.st_size);
}

InputFile::InputFile(const std::filesystem::path& file, Links links, Content /*content*/)
{
    descriptor = OpenRegular(file, O_RDONLY | (links == Links::refused ? O_NOFOLLOW : 0), size);
}

InputFile::~InputFile()
{
    if (descriptor >= 0) {
        close(descriptor);
    }
}

// NOLINTNEXTLINE(readability-make-member-function-const): it goes on in the file
std::size_t InputFile::Read(char* buffer, std::size_t most)
{
    std::size_t used = 0;
    while (descriptor >= 0 && used < most) {
        const ssize_t got = read(descriptor, buffer + used, most - used);
        if (got == 0 || (got < 0 && errno != EINTR)) {
            break;
        }
        used += static_cast<std::size_t>(got < 0 ? 0 : got);
    }
    return used;
}

void AppendedFile::Open(const std::filesystem::path& file)
{
    if (descriptor >= 0) {
        failed = true;
        return;
    }
    uint64_t size = 0;
    descriptor = OpenRegular(file, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW, size);
    failed = descriptor < 0;
}

void AppendedFile::Write(std::string_view text)
{
    while (descriptor >= 0 && !failed && !text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else {
            failed = errno != EINTR;
        }
    }
}

void AppendedFile::Close()
{
    if (descriptor >= 0) {
        close(std::exchange(descriptor, -1));
    }
}
