// Files and folders of the store: private to their owner, replaced as a whole, locked between processes.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace softcard {

// An open file, closed at the end of its scope.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] int Get() const { return descriptor_; }
    [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

// Makes the folder and its missing parents, each open to the owner only. Throws std::system_error.
void EnsurePrivateFolder(const std::filesystem::path& folder);

// The whole content. Throws std::system_error.
std::string ReadFile(const std::filesystem::path& path);

// Replaces the file: whoever reads it meanwhile sees the old content or the new one, also after a power
// failure. The caller sees to it that one writes at a time. Throws std::system_error.
void WriteFileAtomically(const std::filesystem::path& path, std::string_view content);

// Makes the path a symbolic link, in the place of a file or link that is there: whoever looks meanwhile sees
// the old one or the new one, as with WriteFileAtomically. Throws std::system_error.
void LinkAtomically(const std::filesystem::path& target, const std::filesystem::path& path);

// Takes a file or a link away, for good also after a power failure. Throws std::system_error.
void RemoveFile(const std::filesystem::path& path);

// An exclusive lock between processes, and between threads, bound to a lock file that is made when missing.
class FileLock
{
public:
    // Waits for the lock. Throws std::system_error.
    explicit FileLock(const std::filesystem::path& path);
    ~FileLock();
    FileLock(FileLock&&) = default;
    FileLock& operator=(FileLock&&) = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // Nothing when somebody else holds the lock. Throws std::system_error.
    static std::optional<FileLock> Try(const std::filesystem::path& path);

    // The same, but others may hold the lock in this way too.
    static std::optional<FileLock> TryShared(const std::filesystem::path& path);

private:
    explicit FileLock(FileDescriptor file) : file_(std::move(file)) {}

    FileDescriptor file_;
};

} // namespace softcard
