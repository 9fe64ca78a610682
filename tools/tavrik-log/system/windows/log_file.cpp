#include "tools/tavrik-log/system/log_file.h"

#include "softcard/base/text.h"
#include "softcard/system/windows/handle.h"
#include "tools/tavrik-log/system/windows/failure.h"

#include <algorithm>
#include <string>
#include <utility>

#include <windows.h>

#include <winternl.h>

extern "C" NTSYSAPI NTSTATUS NTAPI RtlGetLastNtStatus();

namespace logtool {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr size_t mostInOneRead = 1U << 30U; // bytes
constexpr size_t mostRemembered = 200;      // bytes: a line or two
constexpr wchar_t standardInput[] = L"-";

// Null when nothing is there, or what is there is about to go: a file that is deleted keeps its name until the last program
// has closed it, and is open to no other any longer.
softcard::Handle OpenPath(const std::filesystem::path& path, DWORD access, DWORD flags)
{
    constexpr auto deletePending = static_cast<NTSTATUS>(0xC0000056);
    softcard::Handle file =
        softcard::Own(CreateFileW(path.c_str(), access, shareAll, nullptr, OPEN_EXISTING, flags, nullptr));
    if (!file) {
        const NTSTATUS status = RtlGetLastNtStatus();
        const DWORD error = GetLastError();
        const bool isGone = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
                            (error == ERROR_ACCESS_DENIED && status == deletePending);
        if (!isGone) {
            throw LastFailure(softcard::Utf8Of(path));
        }
    }
    return file;
}

size_t ReadFrom(HANDLE file, std::span<char> buffer, const std::string& name)
{
    DWORD length = 0;
    const auto wanted = static_cast<DWORD>(std::min(buffer.size(), mostInOneRead));
    if (ReadFile(file, buffer.data(), wanted, &length, nullptr) == FALSE &&
        GetLastError() != ERROR_BROKEN_PIPE && GetLastError() != ERROR_HANDLE_EOF) {
        throw LastFailure(name);
    }
    return length;
}

bool GoTo(HANDLE file, uint64_t position)
{
    LARGE_INTEGER place{};
    place.QuadPart = static_cast<LONGLONG>(position);
    return SetFilePointerEx(file, place, nullptr, FILE_BEGIN) != FALSE;
}

FileFacts FactsOf(HANDLE file)
{
    BY_HANDLE_FILE_INFORMATION facts{};
    if (GetFileType(file) != FILE_TYPE_DISK || GetFileInformationByHandle(file, &facts) == FALSE) {
        return {FileKind::other, {}};
    }
    const bool isFolder = (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return {isFolder ? FileKind::other : FileKind::regular,
            {facts.dwVolumeSerialNumber, uint64_t{facts.nFileIndexHigh} << 32U | facts.nFileIndexLow}};
}

} // namespace

// A file that is deleted is no longer open here.
const size_t mostDeletedFiles = 0;

struct LogFile::Descriptor
{
    softcard::Handle open;
    bool isStream; // the standard input, which is not ours to open and close
    std::string name;
    FileIdentity identity;
    uint64_t position = 0; // in what is no stream
    std::string lastRead;  // what stands in front of that place

    [[nodiscard]] HANDLE File() const { return isStream ? GetStdHandle(STD_INPUT_HANDLE) : open.get(); }
};

// A program that asks for nothing but attributes is in no other's way.
FileFacts LookAt(const std::filesystem::path& path)
{
    if (NamesStream(path)) {
        return FactsOf(GetStdHandle(STD_INPUT_HANDLE));
    }
    const softcard::Handle file = OpenPath(path, FILE_READ_ATTRIBUTES, FILE_FLAG_BACKUP_SEMANTICS);
    return file ? FactsOf(file.get()) : FileFacts{};
}

std::filesystem::path StandardInputPath()
{
    return standardInput;
}

bool NamesStream(const std::filesystem::path& path)
{
    return path == standardInput;
}

LogFile::LogFile(std::unique_ptr<Descriptor> opened) : file(std::move(opened)) {}

LogFile::~LogFile() = default;

std::unique_ptr<LogFile> LogFile::Open(const std::filesystem::path& path)
{
    Descriptor opened{nullptr, NamesStream(path), softcard::Utf8Of(path), {}, 0, {}};
    if (!opened.isStream) {
        opened.open = OpenPath(path, GENERIC_READ, FILE_ATTRIBUTE_NORMAL);
        if (!opened.open) {
            return nullptr;
        }
        opened.identity = FactsOf(opened.open.get()).identity;
    }
    return std::unique_ptr<LogFile>(new LogFile(std::make_unique<Descriptor>(std::move(opened))));
}

// A file that is deleted while it is open keeps its name until it is closed, and before Windows 10 always: a library that
// retires its log would find the name taken, and the log itself closed to it.
void LogFile::Rest()
{
    file->open.reset();
}

// Where files have no numbers of their own, as on some shared and removable disks, a new file can have that of one that was
// deleted. It has not the same text at the same place, with its times.
Resumption LogFile::Resume(const std::filesystem::path& path)
{
    if (IsOpen()) {
        return Resumption::goesOn;
    }
    softcard::Handle open = OpenPath(path, GENERIC_READ, FILE_ATTRIBUTE_NORMAL);
    if (!open || FactsOf(open.get()).identity != file->identity) {
        return Resumption::vanished;
    }
    std::string found(file->lastRead.size(), '\0');
    if (!GoTo(open.get(), file->position - found.size()) ||
        ReadFrom(open.get(), found, softcard::Utf8Of(path)) != found.size() || found != file->lastRead) {
        return Resumption::replaced;
    }
    file->open = std::move(open);
    file->name = softcard::Utf8Of(path);
    return Resumption::goesOn;
}

bool LogFile::IsOpen() const
{
    return file->isStream || file->open;
}

FileFacts LogFile::Facts() const
{
    return FactsOf(file->File());
}

uint64_t LogFile::Size() const
{
    LARGE_INTEGER size{};
    const bool isKnown =
        GetFileType(file->File()) == FILE_TYPE_DISK && GetFileSizeEx(file->File(), &size) != FALSE;
    return isKnown ? static_cast<uint64_t>(size.QuadPart) : 0;
}

bool LogFile::IsDeleted() const
{
    return false;
}

size_t LogFile::Read(std::span<char> buffer)
{
    const size_t length = ReadFrom(file->File(), buffer, file->name);
    file->position += length;
    const size_t kept = std::min(length, mostRemembered);
    file->lastRead.append(buffer.data() + (length - kept), kept);
    file->lastRead.erase(0, file->lastRead.size() - std::min(file->lastRead.size(), mostRemembered));
    return length;
}

void LogFile::GoToBegin()
{
    GoTo(file->File(), 0);
    file->position = 0;
    file->lastRead.clear();
}

} // namespace logtool
