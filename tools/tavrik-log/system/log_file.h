// The files that a log is read from. No other program is held up by a file that is open here: it can write to the file, move it
// and delete it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <tuple>

namespace logtool {

// Tells a file from all others that are there, whatever its name.
struct FileIdentity
{
    uint64_t volume = 0;
    uint64_t number = 0;
    bool operator==(const FileIdentity&) const = default;
    bool operator<(const FileIdentity& other) const
    {
        return std::tie(volume, number) < std::tie(other.volume, other.number);
    }
};

enum class FileKind
{
    missing,
    regular,
    other // a folder, a pipe, a device, or a link that leads nowhere
};

struct FileFacts
{
    FileKind kind = FileKind::missing;
    FileIdentity identity;
};

// What lies there, links followed. Nothing is done to it. Throws std::runtime_error.
FileFacts LookAt(const std::filesystem::path& path);

// The path that stands for the standard input.
std::filesystem::path StandardInputPath();

// Whether the path names what this process was started with, such as its standard input.
bool NamesStream(const std::filesystem::path& path);

// So many deleted files are worth keeping open, for what other programs still write there.
extern const size_t mostDeletedFiles;

enum class Resumption
{
    goesOn,
    vanished, // nothing is there, or another file that is there too
    replaced  // there is no such file any longer: what has its identity is another one, or was emptied
};

// A file that is read as it grows. All functions throw std::runtime_error, with its name and what went wrong.
class LogFile
{
public:
    // Null when there is none any longer. Never waits for the other end of a pipe, unless the path names a stream.
    static std::unique_ptr<LogFile> Open(const std::filesystem::path& path);

    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Between two looks. Where an open file would keep others from having its name anew, it is closed.
    void Rest();

    // Opens it again under the name that it has now, to go on behind what was read.
    Resumption Resume(const std::filesystem::path& path);

    // The rest is for files that are open.
    [[nodiscard]] bool IsOpen() const;
    [[nodiscard]] FileFacts Facts() const;
    [[nodiscard]] uint64_t Size() const; // 0 for what is no regular file
    [[nodiscard]] bool IsDeleted() const;

    // Fills the buffer from the place where the last call stopped. Returns how many bytes came, 0 at the end.
    size_t Read(std::span<char> buffer);

    void GoToBegin();

private:
    struct Descriptor;
    explicit LogFile(std::unique_ptr<Descriptor> opened);

    std::unique_ptr<Descriptor> file;
};

} // namespace logtool
