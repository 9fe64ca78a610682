#include "softcard/system/files.h"

#include "softcard/system/file_steps.h"
#include "softcard/system/linux/file_descriptor.h"
#include "softcard/system/linux/link_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace softcard {
namespace {

constexpr mode_t privateFolderMode = 0700;
constexpr mode_t privateFileMode = 0600;
constexpr std::chrono::milliseconds lockPause{5};

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

[[noreturn]] void Throw(FileFault fault, const std::filesystem::path& path)
{
    throw std::system_error(fault, path.string());
}

struct stat Examine(const FileDescriptor& file, const std::filesystem::path& path)
{
    struct stat facts
    {
    };
    if (fstat(file.Get(), &facts) != 0) {
        ThrowSystemError(path);
    }
    return facts;
}

// Opening a device can do something to it already, so what lies there is looked at before. What takes its
// place meanwhile is opened without waiting, and looked at again.
FileDescriptor OpenRegular(const std::filesystem::path& path, int flags)
{
    struct stat facts
    {
    };
    const bool isThere =
        fstatat(AT_FDCWD, path.c_str(), &facts, (flags & O_NOFOLLOW) != 0 ? AT_SYMLINK_NOFOLLOW : 0) == 0;
    if (isThere && !S_ISREG(facts.st_mode)) {
        Throw(FileFault::notRegular, path);
    }
    FileDescriptor file = Open(path, flags | O_NONBLOCK | O_NOCTTY);
    if (!S_ISREG(Examine(file, path).st_mode)) {
        Throw(FileFault::notRegular, path);
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
    int failed = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (failed != 0 && (errno == EINVAL || errno == ENOSYS)) { // as some file systems have it
        failed = rename(from.c_str(), to.c_str());
    }
    if (failed == 0) {
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

std::string ReadFile(const std::filesystem::path& path, Links links)
{
    const FileDescriptor file = OpenRegular(path, O_RDONLY | (links == Links::refused ? O_NOFOLLOW : 0));
    if (Examine(file, path).st_size > static_cast<off_t>(longestFile)) {
        Throw(FileFault::tooLarge, path);
    }
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
        if (content.size() > longestFile) { // it grows while it is read
            Throw(FileFault::tooLarge, path);
        }
    }
}

void AppendToFile(const std::filesystem::path& path, std::string_view content)
{
    WriteAll(OpenRegular(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW), path, content);
}

void WriteFileAtomically(const std::filesystem::path& path, std::string_view content)
{
    const std::filesystem::path temporary = TemporaryName(path);
    unlink(temporary.c_str()); // left by a program that was killed
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
    unlink(temporary.c_str()); // left by a program that was killed
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
    explicit Held(const std::filesystem::path& path)
        : file(OpenRegular(path, O_RDWR | O_CREAT | O_NOFOLLOW)), owner(getpid())
    {
    }

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

    // Whether the file lies under its path still, where others look for it.
    [[nodiscard]] bool IsAt(const std::filesystem::path& path) const
    {
        const struct stat own = Examine(file, path);
        struct stat there
        {
        };
        return lstat(path.c_str(), &there) == 0 && own.st_dev == there.st_dev && own.st_ino == there.st_ino;
    }

    // Null when another process or thread has the lock.
    static std::unique_ptr<Held> Try(const std::filesystem::path& path, int operation)
    {
        while (true) {
            auto held = std::make_unique<Held>(path);
            if (!Lock(held->file, path, operation | LOCK_NB)) {
                return nullptr;
            }
            if (held->IsAt(path)) {
                return held;
            }
        }
    }

    FileDescriptor file;
    pid_t owner;
};

FileLock::FileLock(const std::filesystem::path& path, std::chrono::milliseconds longestWait)
{
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (!(held = Held::Try(path, LOCK_EX))) {
        if (std::chrono::steady_clock::now() >= deadline) {
            Throw(FileFault::lockHeld, path);
        }
        std::this_thread::sleep_for(lockPause);
    }
}

FileLock::FileLock(std::unique_ptr<Held> lock) : held(std::move(lock)) {}

FileLock::~FileLock() = default;
FileLock::FileLock(FileLock&& other) noexcept = default;
FileLock& FileLock::operator=(FileLock&& other) noexcept = default;

std::optional<FileLock> FileLock::Try(const std::filesystem::path& path)
{
    auto held = Held::Try(path, LOCK_EX);
    return held ? std::optional(FileLock(std::move(held))) : std::nullopt;
}

std::optional<FileLock> FileLock::TryShared(const std::filesystem::path& path)
{
    auto held = Held::Try(path, LOCK_SH);
    return held ? std::optional(FileLock(std::move(held))) : std::nullopt;
}

} // namespace softcard
