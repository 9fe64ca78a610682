#include "log_source.h"

#include "log_folder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace logtool {
namespace {

constexpr size_t chunkSize = 65536;
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

} // namespace

LogSource::LogSource(std::filesystem::path where, std::string fileStem)
    : path(std::move(where)), stem(std::move(fileStem))
{
}

LogSource::~LogSource()
{
    for (const auto& entry : files) {
        close(entry.second.descriptor);
    }
}

// Opens the files that are new. True when there were any, or when one went away under the listing.
bool LogSource::TakeListing()
{
    bool changed = false;
    for (auto& entry : files) {
        entry.second.rank = 0;
    }
    size_t rank = 0;
    for (const auto& name : ListLogFiles(path, stem)) {
        ++rank;
        const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) {
            if (errno != ENOENT) {
                ThrowSystemError(name.string());
            }
            changed = true;
            continue;
        }
        const struct stat status = StatusOf(descriptor);
        const auto [place, isNew] =
            files.try_emplace(Identity{status.st_dev, status.st_ino}, OpenFile{descriptor, rank, 0, {}});
        if (isNew) {
            changed = true;
        } else {
            close(descriptor);
            place->second.rank = rank;
        }
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
    std::array<char, chunkSize> chunk{};
    ssize_t length = 0;
    while ((length = read(file.descriptor, chunk.data(), chunk.size())) > 0) {
        file.position += length;
        file.begun.append(chunk.data(), static_cast<size_t>(length));
        size_t begin = 0;
        for (size_t end = 0; (end = file.begun.find('\n', begin)) != std::string::npos; begin = end + 1) {
            sink(file.descriptor, WithoutReturn(std::string_view(file.begun).substr(begin, end - begin)));
        }
        file.begun.erase(0, begin);
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
