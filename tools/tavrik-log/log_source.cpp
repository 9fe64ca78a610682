#include "tools/tavrik-log/log_source.h"

#include "softcard/base/text.h"
#include "tools/tavrik-log/log_folder.h"
#include "tools/tavrik-log/log_line.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace logtool {
namespace {

constexpr size_t chunkSize = 262144;
static_assert(chunkSize <= longestReadLine, "a line that stands in a chunk is whole");
constexpr int mostListings = 10;

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

} // namespace

LogSource::LogSource(std::filesystem::path where, std::string fileStem)
    : path(std::move(where)), stem(std::move(fileStem)), chunk(chunkSize)
{
}

LogSource::Finding LogSource::LeaveOut(const std::filesystem::path& name)
{
    if (name == path) {
        throw std::runtime_error(softcard::Utf8Of(name) + " is no regular file.");
    }
    leftOut.insert(name);
    return Finding::leftOut;
}

// A file is looked at before it is opened, since to open a device can do something to it, and once more then.
LogSource::Finding LogSource::TakeFile(const std::filesystem::path& name, size_t rank)
{
    const FileFacts there = LookAt(name);
    if (there.kind == FileKind::missing) {
        return Finding::vanished;
    }
    if (const auto known = files.find(there.identity); known != files.end()) {
        known->second.rank = rank;
        const Resumption resumption = known->second.opened->Resume(name);
        if (resumption != Resumption::replaced) {
            return resumption == Resumption::goesOn ? Finding::known : Finding::vanished;
        }
        files.erase(known);
    }
    const bool anyKind = NamesStream(name);
    if (!anyKind && there.kind != FileKind::regular) {
        return LeaveOut(name);
    }
    std::unique_ptr<LogFile> file = LogFile::Open(name);
    if (!file) {
        return Finding::vanished;
    }
    const FileFacts opened = file->Facts();
    if (!anyKind && opened.kind != FileKind::regular) {
        return LeaveOut(name);
    }
    const bool isNew =
        files.try_emplace(opened.identity, OpenFile{std::move(file), nextNumber, rank, false, 0, {}}).second;
    ++nextNumber;
    return isNew ? Finding::opened : Finding::vanished;
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
    if (file.opened->Facts().kind == FileKind::regular && file.opened->Size() < file.position) {
        file.position = 0; // somebody emptied the file
        file.begun.clear();
        file.opened->GoToBegin();
    }
    for (size_t length = 0; (length = file.opened->Read(chunk)) > 0;) {
        file.position += length;
        TakeLines(file.number, file.begun, {chunk.data(), length}, sink);
    }
}

void LogSource::CloseDeleted()
{
    size_t deleted = 0;
    for (auto entry = files.begin(); entry != files.end();) {
        if (entry->second.isDeleted && ++deleted > mostDeletedFiles) {
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
        if (entry.second.opened->IsOpen()) {
            entry.second.isDeleted = entry.second.opened->IsDeleted(); // before it is read to its end
            ordered.push_back(&entry.second);
        }
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const OpenFile* a, const OpenFile* b) { return a->rank < b->rank; });
    for (OpenFile* file : ordered) {
        ReadMore(*file, sink);
        file->opened->Rest();
    }
    CloseDeleted();
}

void LogSource::Finish(const Sink& sink)
{
    for (auto& entry : files) {
        if (!entry.second.begun.empty()) {
            sink(entry.second.number, WithoutReturn(entry.second.begun));
            entry.second.begun.clear();
        }
    }
}

} // namespace logtool
