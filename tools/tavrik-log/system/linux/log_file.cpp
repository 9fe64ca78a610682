#include "tools/tavrik-log/system/log_file.h"

#include "softcard/system/linux/file_descriptor.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace logtool {
namespace {

[[noreturn]] void ThrowSystemError(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

FileFacts FactsOf(const struct stat& status)
{
    return {S_ISREG(status.st_mode) ? FileKind::regular : FileKind::other, {status.st_dev, status.st_ino}};
}

} // namespace

const size_t mostDeletedFiles = 16;

struct LogFile::Descriptor
{
    softcard::FileDescriptor open;
    std::string name; // it had when it was opened

    [[nodiscard]] struct stat Status() const
    {
        struct stat status
        {
        };
        if (fstat(open.Get(), &status) != 0) {
            ThrowSystemError(name);
        }
        return status;
    }
};

FileFacts LookAt(const std::filesystem::path& path)
{
    struct stat status
    {
    };
    if (stat(path.c_str(), &status) == 0) {
        return FactsOf(status);
    }
    if (errno != ELOOP && errno != ENOENT) {
        ThrowSystemError(path.string());
    }
    return {errno == ELOOP ? FileKind::other : FileKind::missing, {}};
}

std::filesystem::path StandardInputPath()
{
    return "/dev/stdin";
}

bool NamesStream(const std::filesystem::path& path)
{
    const std::string& text = path.native();
    return text == "/dev/stdin" || text.starts_with("/dev/fd/") || text.starts_with("/proc/self/fd/");
}

LogFile::LogFile(std::unique_ptr<Descriptor> opened) : file(std::move(opened)) {}

LogFile::~LogFile() = default;

std::unique_ptr<LogFile> LogFile::Open(const std::filesystem::path& path)
{
    softcard::FileDescriptor open(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | (NamesStream(path) ? 0 : O_NONBLOCK)));
    if (!open.IsOpen()) {
        if (errno != ENOENT) {
            ThrowSystemError(path.string());
        }
        return nullptr;
    }
    return std::unique_ptr<LogFile>(
        new LogFile(std::make_unique<Descriptor>(Descriptor{std::move(open), path.string()})));
}

void LogFile::Rest() {} // a file that is open is in nobody's way

Resumption LogFile::Resume(const std::filesystem::path& /*path*/)
{
    return Resumption::goesOn;
}

bool LogFile::IsOpen() const
{
    return true;
}

FileFacts LogFile::Facts() const
{
    return FactsOf(file->Status());
}

uint64_t LogFile::Size() const
{
    const struct stat status = file->Status();
    return S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
}

bool LogFile::IsDeleted() const
{
    return file->Status().st_nlink == 0;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it goes on in the file
size_t LogFile::Read(std::span<char> buffer)
{
    const ssize_t length = read(file->open.Get(), buffer.data(), buffer.size());
    if (length < 0) {
        ThrowSystemError(file->name);
    }
    return static_cast<size_t>(length);
}

// NOLINTNEXTLINE(readability-make-member-function-const): it goes back in the file
void LogFile::GoToBegin()
{
    lseek(file->open.Get(), 0, SEEK_SET);
}

} // namespace logtool
