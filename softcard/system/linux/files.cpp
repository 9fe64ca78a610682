#include "system/files.h"

#include "system/file_steps.h"
#include "system/linux/file_descriptor.h"
#include "system/linux/link_file.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace softcard {
namespace {

constexpr mode_t privateFolderMode = 0700;
constexpr mode_t privateFileMode = 0600;

[[noreturn]] void ThrowSystemError(const std::filesystem::path& path)
{
    throw std::system_error(errno, std::generic_category(), path.string());
}

FileDescriptor Open(const std::filesystem::path& path, int flags)
{
    FileDescriptor file(open(path.c_str(), flags | O_CLOEXEC, privateFileMode));
    if (!file.IsOpen()) {
        ThrowSystemError(path);
    }
    return file;
}

void WriteAll(const FileDescriptor& file, const std::filesystem::path& path, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(file.Get(), content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            ThrowSystemError(path);
        }
        content.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
    }
}

void Synchronize(const FileDescriptor& file, const std::filesystem::path& path)
{
    if (fsync(file.Get()) != 0) {
        ThrowSystemError(path);
    }
}

void SynchronizeFolder(const std::filesystem::path& folder)
{
    Synchronize(Open(folder, O_RDONLY | O_DIRECTORY), folder);
}

bool Lock(const FileDescriptor& file, const std::filesystem::path& path, int operation)
{
    while (flock(file.Get(), operation) != 0) {
        if (errno == EWOULDBLOCK) {
            return false;
        }
        if (errno != EINTR) {
            ThrowSystemError(path);
        }
    }
    return true;
}

} // namespace

void MakePrivateFolder(const std::filesystem::path& folder)
{
    if (mkdir(folder.c_str(), privateFolderMode) != 0 && errno != EEXIST) {
        ThrowSystemError(folder);
    }
}

std::filesystem::path MakeUniqueFolder(const std::filesystem::path& beginning)
{
    std::string name = beginning.string() + "XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        ThrowSystemError(beginning);
    }
    return name;
}

bool MoveFolder(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (rename(from.c_str(), to.c_str()) == 0) {
        return true;
    }
    if (errno != ENOTEMPTY && errno != EEXIST) {
        ThrowSystemError(to);
    }
    return false;
}

bool IsFolder(const std::filesystem::path& path)
{
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type() == std::filesystem::file_type::directory;
}

bool HasThisName(const std::filesystem::path& /*path*/)
{
    return true;
}

bool CanBeAName(std::string_view name)
{
    return name.find('/') == std::string_view::npos;
}

std::string_view NameRule()
{
    return {};
}

std::string ReadFile(const std::filesystem::path& path)
{
    const FileDescriptor file = Open(path, O_RDONLY);
    std::string content;
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t length = read(file.Get(), buffer.data(), buffer.size());
        if (length == 0) {
            return content;
        }
        if (length < 0 && errno != EINTR) {
            ThrowSystemError(path);
        }
        content.append(buffer.data(), length < 0 ? 0 : static_cast<size_t>(length));
    }
}

void WriteFileAtomically(const std::filesystem::path& path, std::string_view content)
{
    const std::filesystem::path temporary = TemporaryName(path);
    unlink(temporary.c_str()); // of whoever was killed in the middle
    try {
        const FileDescriptor file = Open(temporary, O_WRONLY | O_CREAT | O_EXCL);
        WriteAll(file, temporary, content);
        Synchronize(file, temporary);
        if (rename(temporary.c_str(), path.c_str()) != 0) {
            ThrowSystemError(path);
        }
    } catch (const std::system_error&) {
        unlink(temporary.c_str());
        throw;
    }
    SynchronizeFolder(path.parent_path());
}

void LinkAtomically(const std::filesystem::path& target, const std::filesystem::path& path)
{
    const std::filesystem::path temporary = TemporaryName(path);
    unlink(temporary.c_str()); // of whoever was killed in the middle
    if (symlink(target.c_str(), temporary.c_str()) != 0) {
        ThrowSystemError(temporary);
    }
    SynchronizeFolder(path.parent_path());
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        throw std::system_error(error, std::generic_category(), path.string());
    }
    SynchronizeFolder(path.parent_path());
}

void RemoveFile(const std::filesystem::path& path)
{
    if (unlink(path.c_str()) != 0) {
        ThrowSystemError(path);
    }
    SynchronizeFolder(path.parent_path());
}

std::filesystem::path LockFileOf(const std::filesystem::path& folder, const std::string& name)
{
    return folder / name;
}

struct FileLock::Held
{
    explicit Held(const std::filesystem::path& path) : file(Open(path, O_RDWR | O_CREAT)), owner(getpid()) {}

    // A forked child shares the open file. So closing it here alone would not release the lock, and the child
    // must not release the lock of its parent.
    ~Held()
    {
        if (owner == getpid()) {
            flock(file.Get(), LOCK_UN);
        }
    }

    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    Held(Held&&) = delete;
    Held& operator=(Held&&) = delete;

    FileDescriptor file;
    pid_t owner;
};

FileLock::FileLock(const std::filesystem::path& path) : held_(std::make_unique<Held>(path))
{
    Lock(held_->file, path, LOCK_EX);
}

FileLock::FileLock(std::unique_ptr<Held> held) : held_(std::move(held)) {}

FileLock::~FileLock() = default;
FileLock::FileLock(FileLock&& other) noexcept = default;
FileLock& FileLock::operator=(FileLock&& other) noexcept = default;

std::optional<FileLock> FileLock::Try(const std::filesystem::path& path)
{
    auto held = std::make_unique<Held>(path);
    return Lock(held->file, path, LOCK_EX | LOCK_NB) ? std::optional(FileLock(std::move(held)))
                                                     : std::nullopt;
}

std::optional<FileLock> FileLock::TryShared(const std::filesystem::path& path)
{
    auto held = std::make_unique<Held>(path);
    return Lock(held->file, path, LOCK_SH | LOCK_NB) ? std::optional(FileLock(std::move(held)))
                                                     : std::nullopt;
}

} // namespace softcard
