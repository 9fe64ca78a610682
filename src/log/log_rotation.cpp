// The log files: opening the current one, retiring it and thinning out the retired ones.
#include "src/log/log_file_names.h"
#include "src/log/logger.h"
#include "src/log/session_header.h"
#include "src/platform/platform.h"
#include "src/platform/regular_file.h"

#include <cstring>
#include <exception>
#include <iomanip>
#include <locale>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

namespace {

constexpr uint8_t rotateBySize = 2;
constexpr uint8_t rotateByAge = 3; // and by size
constexpr uint64_t secondsPerDay = 86400;
constexpr std::size_t mostSearched = 16777216; // bytes, for the time that a file began
constexpr std::size_t searchedAtOnce = 65536;
constexpr std::string_view startTimeMark = "DateTime: ";
constexpr char startTimeFormat[] = "%Y-%m-%d %H:%M:%S";
constexpr char separator[] =
    "\r\n-----------------------------------------------------------------------\r\n";
static_assert(sizeof(separator) - 1 == 75);

// The text of the line behind the mark, without the blank characters at its end; nothing for a line without
// the mark, or with nothing behind it.
std::optional<std::string> StartTimeIn(std::string_view line)
{
    const auto mark = line.find(startTimeMark);
    if (mark == std::string_view::npos || mark + startTimeMark.size() == line.size()) {
        return std::nullopt;
    }
    const auto text = line.substr(mark + startTimeMark.size());
    return std::string(text.substr(0, text.find_last_not_of(" \n\r\t") + 1));
}

// That of the first line that has one, among the first bytes of the file; empty when there is none.
std::string FindStartTime(InputFile& file)
{
    std::string text;
    std::size_t lineBegin = 0;
    bool more = true;
    while (more && text.size() < mostSearched) {
        const auto known = text.size();
        text.resize(known + searchedAtOnce);
        const auto got = file.Read(text.data() + known, searchedAtOnce);
        text.resize(known + got);
        more = got == searchedAtOnce;
        for (auto end = text.find('\n', known); lineBegin < text.size(); end = text.find('\n', lineBegin)) {
            if (end == std::string::npos && more) {
                break; // the rest of the line is still to come
            }
            const auto line = std::string_view(text).substr(lineBegin, end - lineBegin);
            if (auto found = StartTimeIn(line); found.has_value()) {
                return *found;
            }
            lineBegin = end == std::string::npos ? text.size() : end + 1;
        }
    }
    return {};
}

// Local time; for a text of another form whatever the part of it that was understood makes.
std::time_t ParseTime(const std::string& text)
{
    std::tm parsed{};
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    stream >> std::get_time(&parsed, startTimeFormat);
    parsed.tm_isdst = -1; // the C library finds out
    return std::mktime(&parsed);
}

// True as long as this lives.
class Marked
{
public:
    explicit Marked(bool& itsMark) : mark(itsMark) { mark = true; }
    ~Marked() { mark = false; }
    Marked(const Marked&) = delete;
    Marked& operator=(const Marked&) = delete;

private:
    bool& mark;
};

InputFile Opened(const std::filesystem::path& path)
{
    return {path, Links::refused, Content::binary};
}

// In one go, where the operator compares character by character.
bool AreSame(const std::u16string& one, const std::u16string& other)
{
    return one.size() == other.size() &&
           std::memcmp(one.data(), other.data(), one.size() * sizeof(char16_t)) == 0;
}

} // namespace

void Logger::Initialize(const LogSettings* chosen)
{
    {
        const MutexLock guard(lineLock);
        if (chosen != nullptr) {
            settings = *chosen;
        }
        if (!BeginFile()) {
            return;
        }
    }
    // Lines of other threads may come between the pieces.
    WriteSessionHeader(system, [this](const char* text) { WriteRaw(text); });
}

// False when no header is to be written, because the file has one or there is no file.
bool Logger::BeginFile()
{
    const auto& current = CurrentPath();
    if (settings.rotationMode == rotateBySize) {
        if (RotateBySize()) {
            return false;
        }
    } else if (settings.rotationMode == rotateByAge) {
        FindFileStart(current);
        if (RotateByAge()) {
            return false;
        }
    } else {
        RetireFiles();
        if (Opened(current).IsOpen()) {
            return false; // it could not be moved away, and this session goes without a file
        }
    }
    OpenCurrentFile();
    if (settings.logToFile) {
        currentFile.Write(separator);
    }
    return true;
}

void Logger::CheckRotation()
{
    if (rotating) {
        return; // a file that can't be moved is over its limit in its own header again, without an end
    }
    try {
        if (settings.rotationMode == rotateBySize) {
            RotateBySize();
        } else if (settings.rotationMode == rotateByAge) {
            RotateByAge();
        }
    } catch (
        const std::exception&) { // NOLINT(bugprone-empty-catch): such as no memory; the next line tries again
    }
}

bool Logger::CheckRotationBySize()
{
    const MutexLock guard(lineLock);
    return RotateBySize();
}

bool Logger::CheckRotationByAge()
{
    const MutexLock guard(lineLock);
    return RotateByAge();
}

void Logger::ReadLogStartTime(const std::filesystem::path& path)
{
    const MutexLock guard(lineLock);
    FindFileStart(path);
}

bool Logger::RotateBySize()
{
    if (settings.rotationMode != rotateBySize && settings.rotationMode != rotateByAge) {
        return false;
    }
    const auto size = SizeOfRegularFile(CurrentPath());
    if (!size.has_value() || *size <= settings.maxFileSize) {
        return false;
    }
    Rotate();
    return true;
}

bool Logger::RotateByAge()
{
    if (settings.rotationMode != rotateByAge) {
        return false;
    }
    const std::time_t time = system.calendarTime();
    // Without a sign, so that an error value of the calendar lies in the future.
    const auto now = static_cast<uint64_t>(time);
    const auto begin = static_cast<uint64_t>(lastRotationTime);
    const uint64_t ageInDays = begin != 0 && now > begin ? (now - begin) / secondsPerDay : 0;
    if (ageInDays > settings.maxFileAgeDays) {
        lastRotationTime = time;
        Rotate();
        return true;
    }
    return RotateBySize();
}

void Logger::FindFileStart(const std::filesystem::path& path)
{
    if (lastRotationTime != 0) {
        return;
    }
    InputFile file = Opened(path);
    if (!file.IsOpen()) {
        return;
    }
    const std::string text = FindStartTime(file);
    lastRotationTime = text.empty() ? system.calendarTime() : ParseTime(text);
}

void Logger::RotateLogFiles(const std::u16string& searchMask, const std::u16string& directory) const
{
    // From the oldest on, so that each new name is free when it is needed. Of several with one number the
    // first stays.
    const auto older = [](const std::u16string& first, const std::u16string& second) {
        return CompareLogFileNames()(second, first);
    };
    std::set<std::u16string, decltype(older)> names(older);
    for (const auto& name : Platform::ListEntries(searchMask)) {
        names.insert(name);
    }
    for (const auto& name : names) {
        if (name.find(u'.') == std::u16string::npos) {
            continue;
        }
        const auto file = Platform::PathOf(directory + name);
        const auto retired = NextRetiredName(name);
        if (retired.number > settings.fileCount) {
            Platform::RemoveFile(file);
        } else {
            Platform::MoveEntry(file, Platform::PathOf(directory + retired.name));
        }
    }
}

void Logger::Rotate()
{
    const Marked mark(rotating);
    currentFile.Close();
    try {
        RetireFiles();
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): as when they can't be moved
    }
    OpenCurrentFile();
    WriteSessionHeader(system, [this](const char* text) REQUIRES(lineLock) { Send(text); });
}

void Logger::RetireFiles() const
{
    RotateLogFiles(settings.logDirectory + settings.logFileName + u"*", settings.logDirectory);
}

// Leaves the file as failed when that can't be done, which it can't when it is open.
void Logger::OpenCurrentFile()
{
    currentFile.Open(CurrentPath());
}

const std::filesystem::path& Logger::CurrentPath()
{
    return currentPath.Of(settings);
}

void Logger::ReleaseMemory()
{
    if (lineLock.TryLock()) {
        const CurrentLogPath released = std::move(currentPath);
        lineLock.Unlock();
    }
}

const std::filesystem::path& CurrentLogPath::Of(const LogSettings& settings)
{
    if (path.empty() || !AreSame(directory, settings.logDirectory) || !AreSame(name, settings.logFileName)) {
        path.clear(); // whatever fails, the next line makes it anew
        directory = settings.logDirectory;
        name = settings.logFileName;
        path = Platform::PathOf(directory + name + u".log");
    }
    return path;
}
