// The lines of all log files of a folder, also while the library writes and rotates them.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include <sys/types.h>

namespace logtool {

// A file is known by its device and inode number and kept open. So a rename neither loses nor repeats a line,
// what another process still appends to a retired file is seen, and the end of a deleted file can be read.
class LogSource
{
public:
    // `file` tells files apart; it stays the same when the file is renamed.
    using Sink = std::function<void(int file, std::string_view line)>;

    LogSource(std::filesystem::path where, std::string fileStem);
    ~LogSource();
    LogSource(const LogSource&) = delete;
    LogSource& operator=(const LogSource&) = delete;

    // Gives the whole lines that came since the last call, those of older files first. Throws
    // std::system_error when a file cannot be opened or read.
    void Poll(const Sink& sink);

    // Gives what stands behind the last line ending of each file.
    void Finish(const Sink& sink);

    [[nodiscard]] bool FoundFiles() const { return !files.empty(); }

private:
    using Identity = std::pair<dev_t, ino_t>;
    struct OpenFile
    {
        int descriptor;
        size_t rank; // place in the last listing; deleted files come first
        off_t position = 0;
        std::string begun; // a line without its ending yet
    };

    bool TakeListing();
    void ReadMore(OpenFile& file, const Sink& sink);
    void CloseDeleted();

    std::filesystem::path path;
    std::string stem;
    std::map<Identity, OpenFile> files;
};

} // namespace logtool
