// A log folder with entries of any name and content, which the library retires and tavrik-log reads. The input is a list
// of entries, each a kind, a name and its content, as FuzzedDataProvider takes it apart.
#include "src/log/log_file_names.h"
#include "src/log/logger.h"
#include "tests/fuzz/rules.h"
#include "tools/tavrik-log/log_folder.h"
#include "tools/tavrik-log/log_line.h"
#include "tools/tavrik-log/log_source.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;
using fuzz::Require;

constexpr size_t mostEntries = 12;
constexpr size_t longestName = 60;
constexpr size_t longestContent = 400;
constexpr int64_t now = 1794485402;
const std::string stem = "Pkcs11";

// A folder that a link leads to, and that nothing may change.
const fuzz::Folder& Elsewhere()
{
    static const fuzz::Folder folder;
    return folder;
}

struct Entry
{
    std::string name;
    std::string content; // of a regular file; begins with a number of its own
    bool isRegular = false;
};

std::string ReadWhole(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool IsLogName(const std::string& name)
{
    return name.starts_with(stem);
}

// A name that a file can have. Most begin as those of the log do, and many end so.
std::string NameFrom(FuzzedDataProvider& input)
{
    const auto form = input.ConsumeIntegral<uint8_t>();
    std::string name = input.ConsumeRandomLengthString(longestName);
    std::erase_if(name, [](char c) { return c == '/' || c == '\0'; });
    name = (form % 4 != 0 ? stem : std::string()) +
           (form % 8 > 4 ? "_" + std::to_string(form / 8) : std::string()) + name +
           (form % 3 != 0 ? ".log" : "");
    return name == "." || name == ".." || name.empty() ? "x" : name;
}

void MakeOther(uint8_t kind, const fs::path& path)
{
    switch (kind % 4) {
    case 0:
        fs::create_directory(path);
        break;
    case 1:
        fs::create_symlink(Elsewhere().Path() / "file", path);
        break;
    case 2:
        fs::create_symlink(path, path); // to itself
        break;
    default:
        Require(mkfifo(path.c_str(), 0600) == 0, "There is a pipe.");
    }
}

std::vector<Entry> MakeEntries(FuzzedDataProvider& input, const fs::path& folder)
{
    std::vector<Entry> entries;
    while (input.remaining_bytes() > 2 && entries.size() < mostEntries) {
        const auto kind = input.ConsumeIntegral<uint8_t>();
        Entry entry{NameFrom(input), {}, kind < 224};
        if (fs::exists(fs::symlink_status(folder / entry.name))) {
            continue;
        }
        if (entry.isRegular) {
            entry.content = "file " + std::to_string(entries.size()) + "\n" +
                            input.ConsumeRandomLengthString(longestContent);
            std::ofstream(folder / entry.name, std::ios::binary) << entry.content;
        } else {
            MakeOther(kind, folder / entry.name);
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

LogSystem TestSystem()
{
    LogSystem system;
    system.steadyClockNanoseconds = [] { return int64_t{0}; };
    system.calendarTime = [] { return std::time_t{now}; };
    system.osVersion = [] { return OsVersion{5, 1, 2, ""}; }; // runs no command
    system.writeToDebugger = [](const char* /*text*/) {};
    return system;
}

LogSettings SettingsFor(FuzzedDataProvider& input, const fs::path& folder)
{
    LogSettings settings;
    settings.logFileName = u"Pkcs11";
    settings.logDirectory = folder.u16string() + u"/";
    settings.fileCount = input.ConsumeIntegralInRange<uint8_t>(0, 6);
    settings.rotationMode = input.ConsumeIntegralInRange<uint8_t>(1, 3);
    settings.maxFileSize = input.ConsumeIntegralInRange<uint64_t>(0, 600);
    settings.timeFormat = static_cast<LogTimeFormat>(input.ConsumeIntegralInRange<uint8_t>(0, 2));
    settings.extensive = input.ConsumeBool();
    return settings;
}

// What lies in the folder now, by name; for what is no regular file, nothing.
std::map<std::string, std::string> FilesIn(const fs::path& folder)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const bool isRegular = entry.symlink_status().type() == fs::file_type::regular;
        files[entry.path().filename().string()] = isRegular ? ReadWhole(entry.path()) : std::string();
    }
    return files;
}

// What a name that is no text has is nothing: the library leaves such a file alone.
int64_t NumberOf(const std::string& name)
{
    try {
        return LogFileNumber(FileNameStem(fs::path(name).u16string()));
    } catch (const std::exception&) {
        return -1;
    }
}

// Whether the line can be told from those of other files and of the library.
bool IsUnique(const std::string& line, const std::vector<Entry>& entries, const std::string& message)
{
    size_t times = message.find(line) == std::string::npos ? 0 : 1;
    for (const Entry& entry : entries) {
        for (size_t place = 0; (place = entry.content.find(line, place)) != std::string::npos; ++place) {
            ++times;
        }
    }
    return times == 1;
}

// A rotation moves files and deletes those that are over the count, and nothing else.
void RequireRetired(const std::vector<Entry>& entries, const fs::path& folder, const LogSettings& settings)
{
    std::map<std::string, size_t> found;
    const auto files = FilesIn(folder);
    Require(files.size() <= entries.size(), "A rotation makes no files.");
    for (const auto& [name, content] : files) {
        ++found[content];
    }
    for (const Entry& entry : entries) {
        Require(!entry.isRegular || found[entry.content] <= 1, "No content is there twice.");
        if (!IsLogName(entry.name)) {
            Require(files.contains(entry.name), "What has another name stays.");
        }
        if (!entry.isRegular || !IsLogName(entry.name) || entry.name.find('.') == std::string::npos) {
            continue;
        }
        const bool isWithin = NumberOf(entry.name) + 1 <= settings.fileCount;
        const bool hasOnePoint = entry.name.find('.') == entry.name.rfind('.');
        Require(found[entry.content] == 1 || !isWithin || !hasOnePoint,
                "A file whose number is within the count is kept.");
    }
}

// Each line once, in whole.
class Reader
{
public:
    explicit Reader(const fs::path& folder) : source(folder, stem) {}

    void Poll()
    {
        source.Poll([this](int /*file*/, std::string_view line) { Take(line); });
    }

    void Finish()
    {
        source.Finish([this](int /*file*/, std::string_view line) { Take(line); });
    }

    [[nodiscard]] size_t Times(const std::string& line) const
    {
        const auto found = lines.find(line);
        return found == lines.end() ? 0 : found->second;
    }

private:
    void Take(std::string_view line)
    {
        Require(line.find('\n') == std::string_view::npos && line.size() <= logtool::longestReadLine,
                "A line is one.");
        ++lines[std::string(line)];
    }

    logtool::LogSource source;
    std::map<std::string, size_t> lines;
};

// The library's own files, as it writes them beside what is there.
void WriteLog(const LogSettings& settings, const std::string& text)
{
    Logger logger(TestSystem());
    logger.Initialize(&settings);
    std::string message = text.substr(0, logMessageSize - 1);
    message.push_back('\0');
    logger.Emit(LogLevel_Error, message.data(), "C_Sign");
    static_cast<void>(logger.CheckRotationByAge());
    Require(fs::is_empty(Elsewhere().Path()), "Nothing is written through a link.");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const fuzz::Folder folder;
    static const bool isUtc = setenv("TZ", "UTC", 1) == 0;
    Require(isUtc, "Times are those of one zone.");
    folder.Clear();
    FuzzedDataProvider input(data, size);
    const LogSettings settings = SettingsFor(input, folder.Path());
    const std::string message = input.ConsumeRandomLengthString(longestContent);
    const std::vector<Entry> entries = MakeEntries(input, folder.Path());

    Reader reader(folder.Path());
    const auto listed = logtool::ListLogFiles(folder.Path(), stem);
    reader.Poll();
    Logger mover(TestSystem());
    mover.Settings() = settings;
    mover.ReadLogStartTime(folder.Path() / (stem + ".log"));
    mover.RotateLogFiles((folder.Path() / stem).u16string() + u"*", settings.logDirectory);
    RequireRetired(entries, folder.Path(), settings);
    reader.Poll();
    WriteLog(settings, message);
    reader.Poll();
    reader.Finish();
    for (size_t number = 0; number < entries.size(); ++number) {
        const bool isListed = std::any_of(listed.begin(), listed.end(), [&](const fs::path& path) {
            return path.filename() == entries[number].name;
        });
        const std::string line = "file " + std::to_string(number);
        if (entries[number].isRegular && IsUnique(line, entries, message)) {
            Require(reader.Times(line) <= 1, "A line is given once.");
            Require(!isListed || reader.Times(line) == 1, "A line of a listed file is given.");
        }
    }
    return 0;
}
