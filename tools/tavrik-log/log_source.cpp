#include "tools/tavrik-log/log_source.h"

#include "tools/tavrik-log/log_folder.h"
#include "tools/tavrik-log/log_line.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace logtool {
namespace {

constexpr size_t chunkSize = 262144;
static_assert(chunkSize <= longestReadLine, "a line that stands in a chunk is whole");
constexpr int mostListings = 10;
// So many deleted files stay open for what other processes still write there.
constexpr size_t mostDeleted = 16;

[[noreturn]] void ThrowSystemError(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

struct stat StatusOf(int descriptor)
{
    struct stat status
    {
    };
    if (fstat(descriptor, &status) != 0) {
        ThrowSystemError("fstat");
    }
    return status;
}

std::string_view WithoutReturn(std::string_view line)
{
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

// Appends as much as a line may have.
void AppendWithinLimit(std::string& line, std::string_view more)
{
    line.append(more.substr(0, longestReadLine - line.size()));
}

// Gives the lines that end in `text`, the first of which begins with `begun`, and leaves there what stands
// behind the last.
void TakeLines(int file, std::string& begun, std::string_view text, const LogSource::Sink& sink)
{
    for (size_t end = 0; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1)) {
        const std::string_view piece = text.substr(0, end);
        if (begun.empty()) {
            sink(file, WithoutReturn(piece));
        } else {
            std::string line = std::exchange(begun, {}); // with its memory, which may be a lot
            AppendWithinLimit(line, piece);
            sink(file, WithoutReturn(line));
        }
    }
    AppendWithinLimit(begun, text);
}

// Whether the path names a descriptor that this process was started with.
bool NamesDescriptor(const std::filesystem::path& path)
{
    const std::string& text = path.native();
    return text == "/dev/stdin" || text.starts_with("/dev/fd/") || text.starts_with("/proc/self/fd/");
}

} // namespace

LogSource::LogSource(std::filesystem::path where, std::string fileStem)
    : path(std::move(where)), stem(std::move(fileStem)), chunk(chunkSize)
{
}

LogSource::~LogSource()
{
    for (const auto& entry : files) {
        close(entry.second.descriptor);
    }
}

LogSource::Finding LogSource::LeaveOut(const std::filesystem::path& name)
{
    if (name == path) {
        throw std::runtime_error(name.string() + " is no regular file.");
    }
    leftOut.insert(name);
    return Finding::leftOut;
}

// A file is looked at before it is opened, since to open a device can do something to it, and once more then.
LogSource::Finding LogSource::TakeFile(const std::filesystem::path& name, size_t rank)
{
    struct stat status
    {
    };
    if (stat(name.c_str(), &status) != 0) {
        if (errno == ELOOP) {
            return LeaveOut(name);
        }
        if (errno != ENOENT) {
            ThrowSystemError(name.string());
        }
        return Finding::vanished;
    }
    if (const auto known = files.find({status.st_dev, status.st_ino}); known != files.end()) {
        known->second.rank = rank;
        return Finding::known;
    }
    const bool anyKind = NamesDescriptor(name);
    if (!anyKind && !S_ISREG(status.st_mode)) {
        return LeaveOut(name);
    }
    const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | (anyKind ? 0 : O_NONBLOCK));
    if (descriptor < 0) {
        if (errno != ENOENT) {
            ThrowSystemError(name.string());
        }
        return Finding::vanished;
    }
    status = StatusOf(descriptor);
    const bool wanted = anyKind || S_ISREG(status.st_mode);
    if (!wanted ||
        !files.try_emplace({status.st_dev, status.st_ino}, OpenFile{descriptor, rank, 0, {}}).second) {
        close(descriptor);
        return wanted ? Finding::vanished : LeaveOut(name);
    }
    return Finding::opened;
}

// True when there were new files, or when one went away under the listing.
bool LogSource::TakeListing()
{
    bool changed = false;
    for (auto& entry : files) {
        entry.second.rank = 0;
    }
    size_t rank = 0;
    for (const auto& name : ListLogFiles(path, stem)) {
        const Finding finding = TakeFile(name, ++rank);
        changed = changed || finding == Finding::opened || finding == Finding::vanished;
    }
    return changed;
}

void LogSource::ReadMore(OpenFile& file, const Sink& sink)
{
    if (S_ISREG(StatusOf(file.descriptor).st_mode) && StatusOf(file.descriptor).st_size < file.position) {
        file.position = 0; // somebody emptied the file
        file.begun.clear();
        lseek(file.descriptor, 0, SEEK_SET);
    }
    ssize_t length = 0;
    while ((length = read(file.descriptor, chunk.data(), chunk.size())) > 0) {
        file.position += length;
        TakeLines(file.descriptor, file.begun, {chunk.data(), static_cast<size_t>(length)}, sink);
    }
    if (length < 0) {
        ThrowSystemError(path.string());
    }
}

void LogSource::CloseDeleted()
{
    size_t deleted = 0;
    for (auto entry = files.begin(); entry != files.end();) {
        if (StatusOf(entry->second.descriptor).st_nlink == 0 && ++deleted > mostDeleted) {
            close(entry->second.descriptor);
            entry = files.erase(entry);
        } else {
            ++entry;
        }
    }
}

void LogSource::Poll(const Sink& sink)
{
    // A rotation can move files while they are listed; a listing that brings nothing new is whole.
    for (int count = 0; TakeListing() && count < mostListings; ++count) {
    }
    std::vector<OpenFile*> ordered;
    for (auto& entry : files) {
        ordered.push_back(&entry.second);
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const OpenFile* a, const OpenFile* b) { return a->rank < b->rank; });
    for (OpenFile* file : ordered) {
        ReadMore(*file, sink);
    }
    CloseDeleted();
}

void LogSource::Finish(const Sink& sink)
{
    for (auto& entry : files) {
        if (!entry.second.begun.empty()) {
            sink(entry.second.descriptor, WithoutReturn(entry.second.begun));
            entry.second.begun.clear();
        }
    }
}

} // namespace logtool
