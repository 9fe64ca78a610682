// The lines of all log files of a folder, also while the library writes and rotates them.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace logtool {

// A file is known by its device and inode number and kept open. So a rename neither loses nor repeats a line,
// what another process still appends to a retired file is seen, and the end of a deleted file can be read.
//
// Only regular files are read, so that no pipe or device lets it wait or has no end; but a path that names an
// open descriptor of this process (/dev/stdin, /dev/fd/N) is read whatever it is.
class LogSource
{
public:
    // `file` tells files apart; it stays the same when the file is renamed. Of a longer line it gives the
    // first `longestReadLine` bytes.
    using Sink = std::function<void(int file, std::string_view line)>;

    LogSource(std::filesystem::path where, std::string fileStem);
    ~LogSource();
    LogSource(const LogSource&) = delete;
    LogSource& operator=(const LogSource&) = delete;

    // Gives the whole lines that came since the last call, those of older files first. Throws
    // std::system_error when a file cannot be opened or read, and std::runtime_error when the path that was
    // given is neither a folder nor a regular file.
    void Poll(const Sink& sink);

    // Gives what stands behind the last line ending of each file.
    void Finish(const Sink& sink);

    [[nodiscard]] bool FoundFiles() const { return !files.empty(); }

    // What has the name of a log file and is none, so that it was left out.
    [[nodiscard]] const std::set<std::filesystem::path>& LeftOut() const { return leftOut; }

private:
    using Identity = std::pair<dev_t, ino_t>;
    struct OpenFile
    {
        int descriptor;
        size_t rank; // place in the last listing; deleted files come first
        off_t position = 0;
        std::string begun; // a line without its ending yet
    };

    enum class Finding
    {
        known,
        opened,
        vanished,
        leftOut
    };

    bool TakeListing();
    Finding TakeFile(const std::filesystem::path& name, size_t rank);
    Finding LeaveOut(const std::filesystem::path& name);
    void ReadMore(OpenFile& file, const Sink& sink);
    void CloseDeleted();

    std::filesystem::path path;
    std::string stem;
    std::map<Identity, OpenFile> files;
    std::set<std::filesystem::path> leftOut;
    std::vector<char> chunk;
};

} // namespace logtool
