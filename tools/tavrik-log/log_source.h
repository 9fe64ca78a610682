// The lines of all log files of a folder, also while the library writes and rotates them.
#pragma once

#include "tools/tavrik-log/system/log_file.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace logtool {

// A file is known by its identity, and not by its name. So a rename neither loses nor repeats a line, and what another
// process still appends to a retired file is seen. Where nobody minds, it is kept open, so that the end of a deleted file
// can be read too.
//
// Only regular files are read, so that no pipe or device lets it wait or has no end; but a path that names what this
// process was started with, such as its standard input, is read whatever it is.
class LogSource
{
public:
    // `file` tells files apart; it stays the same when the file is renamed. Of a longer line it gives the
    // first `longestReadLine` bytes.
    using Sink = std::function<void(int file, std::string_view line)>;

    LogSource(std::filesystem::path where, std::string fileStem);

    // Gives the whole lines that came since the last call, those of older files first. Throws
    // std::runtime_error when a file cannot be opened or read, or the path that was given is neither a folder nor
    // a regular file.
    void Poll(const Sink& sink);

    // Gives what stands behind the last line ending of each file.
    void Finish(const Sink& sink);

    [[nodiscard]] bool FoundFiles() const { return !files.empty(); }

    // What has the name of a log file and is none, so that it was left out.
    [[nodiscard]] const std::set<std::filesystem::path>& LeftOut() const { return leftOut; }

private:
    struct OpenFile
    {
        std::unique_ptr<LogFile> opened;
        int number;  // for the sink
        size_t rank; // place in the last listing; deleted files come first
        bool isDeleted = false;
        uint64_t position = 0;
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
    std::map<FileIdentity, OpenFile> files;
    int nextNumber = 0;
    std::set<std::filesystem::path> leftOut;
    std::vector<char> chunk;
};

} // namespace logtool
