// Files and folders of the store: private to their owner, replaced as a whole, locked between processes.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace softcard {

// What can be wrong with a file although the system opens it. The functions below throw std::system_error
// with these codes too.
enum class FileFault
{
    notRegular = 1, // a folder, a pipe, a device, or a link where none may be
    tooLarge,
    lockHeld // by somebody else, for as long as is waited
};

std::error_code make_error_code(FileFault fault);

// Makes the folder and its missing parents, each open to the owner only. Throws std::system_error.
void EnsurePrivateFolder(const std::filesystem::path& folder);

// Makes a folder, open to the owner only, whose path is the given one and some characters more that nothing
// else there has. Throws std::system_error.
std::filesystem::path MakeUniqueFolder(const std::filesystem::path& beginning);

// Gives a folder another path on the same volume. False when there is something already. Throws
// std::system_error.
bool MoveFolder(const std::filesystem::path& from, const std::filesystem::path& to);

// Whether it is a folder itself: a link to one is none.
bool IsFolder(const std::filesystem::path& path);

// Whether what lies there has this very name. Where case does not tell names apart, another one may lie
// there.
bool HasThisName(const std::filesystem::path& path);

// Whether the system lets a file or folder be called so. The name is not empty.
bool CanBeAName(std::string_view name);

// What CanBeAName asks for, as a sentence with a space in front; empty when its user asks for as much.
std::string_view NameRule();

// Far more than any file of the store has; in bytes.
inline constexpr size_t longestFile = 1048576;

enum class Links
{
    followed,
    refused // where the last part of the path is one
};

// The whole content of a regular file. What is none is not read and not waited for, and neither is one longer
// than `longestFile`. Throws std::system_error.
std::string ReadFile(const std::filesystem::path& path, Links links = Links::refused);

// Adds to the end of a regular file, which is made when missing. Throws std::system_error.
void AppendToFile(const std::filesystem::path& path, std::string_view content);

// Replaces the file: a program that reads it meanwhile sees the old content or the new one, also after a power
// failure. The caller sees to it that one writes at a time. Throws std::system_error.
void WriteFileAtomically(const std::filesystem::path& path, std::string_view content);

// Takes a file or a link away, for good also after a power failure. Throws std::system_error.
void RemoveFile(const std::filesystem::path& path);

// Where a lock of a folder lies, so that the folder can be moved and removed while the lock is held.
std::filesystem::path LockFileOf(const std::filesystem::path& folder, const std::string& name);

// A lock is held for moments, also on a slow machine under load. A process that holds it longer was stopped.
inline constexpr std::chrono::milliseconds longestLockWait{20000};

// An exclusive lock between processes, and between threads, bound to a lock file that is made when missing.
// The file is there under its path when the lock is taken: a lock on a file that was removed meanwhile does not count.
class FileLock
{
public:
    // Waits for the lock. Throws std::system_error, with FileFault::lockHeld when the lock does not get free
    // in time.
    explicit FileLock(const std::filesystem::path& path,
                      std::chrono::milliseconds longestWait = longestLockWait);
    ~FileLock();
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // Nothing when another process or thread holds the lock. Throws std::system_error.
    static std::optional<FileLock> Try(const std::filesystem::path& path);

    // The same, but others may hold the lock in this way too.
    static std::optional<FileLock> TryShared(const std::filesystem::path& path);

private:
    struct Held;
    explicit FileLock(std::unique_ptr<Held> lock);

    std::unique_ptr<Held> held;
};

} // namespace softcard

template <>
struct std::is_error_code_enum<softcard::FileFault> : std::true_type
{
};
