#include "src/platform/regular_file.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

namespace {

constexpr DWORD othersReadAndWrite = FILE_SHARE_READ | FILE_SHARE_WRITE;

uint64_t Number(DWORD high, DWORD low)
{
    return uint64_t{high} << 32U | low;
}

bool IsRegular(DWORD attributes, Links links)
{
    const DWORD refused =
        FILE_ATTRIBUTE_DIRECTORY | (links == Links::refused ? FILE_ATTRIBUTE_REPARSE_POINT : 0UL);
    return (attributes & refused) == 0;
}

// -1 when there is no such file, or another thing under its name. The handle is not inherited.
int OpenRegular(const std::filesystem::path& file, DWORD access, DWORD disposition, Links links,
                int descriptorFlags, uint64_t& size)
{
    const DWORD flags =
        FILE_ATTRIBUTE_NORMAL | (links == Links::refused ? FILE_FLAG_OPEN_REPARSE_POINT : 0UL);
    HANDLE handle =
        CreateFileW(file.c_str(), access, othersReadAndWrite, nullptr, disposition, flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return -1;
    }
    BY_HANDLE_FILE_INFORMATION facts{};
    const bool regular = GetFileType(handle) == FILE_TYPE_DISK &&
                         GetFileInformationByHandle(handle, &facts) != FALSE &&
                         IsRegular(facts.dwFileAttributes, links);
    size = Number(facts.nFileSizeHigh, facts.nFileSizeLow);
    const int descriptor =
        regular ? _open_osfhandle(reinterpret_cast<intptr_t>(handle), descriptorFlags) : -1;
    if (descriptor < 0) {
        CloseHandle(handle);
    }
    return descriptor;
}

// Keeps the processes that append to one file from doing so at the same time: where the file lies on another machine, or
// under Wine, appending is a look for the end and then a write. They take a byte that no file reaches. A process that
// stands still with its turn, as in a debugger, is waited for once: lines go on without a turn after that, until there is
// one to be had again.
class TurnToAppend
{
public:
    explicit TurnToAppend(int descriptor) : handle(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)))
    {
        constexpr int mostLooks = 1000;
        taken = Take();
        for (int look = 1; look < mostLooks && !taken && IsTakenByAnother() && !waitedInVain; ++look) {
            Sleep(1);
            taken = Take();
        }
        waitedInVain = !taken;
    }
    ~TurnToAppend()
    {
        if (taken) {
            OVERLAPPED place = Place();
            UnlockFileEx(handle, 0, 1, 0, &place);
        }
    }
    TurnToAppend(const TurnToAppend&) = delete;
    TurnToAppend& operator=(const TurnToAppend&) = delete;

private:
    [[nodiscard]] bool Take() const
    {
        OVERLAPPED place = Place();
        return LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) !=
               FALSE;
    }

    // What the last failure was; another one is that of a file that has no locks.
    static bool IsTakenByAnother() { return GetLastError() == ERROR_LOCK_VIOLATION; }

    static OVERLAPPED Place()
    {
        OVERLAPPED place{};
        place.OffsetHigh = std::numeric_limits<LONG>::max();
        return place;
    }

    static std::atomic<bool> waitedInVain;

    HANDLE handle;
    bool taken = false;
};

std::atomic<bool> TurnToAppend::waitedInVain = false;

// What one call takes.
unsigned int Portion(std::size_t bytes)
{
    constexpr std::size_t most = std::numeric_limits<int>::max();
    return static_cast<unsigned int>(std::min(bytes, most));
}

} // namespace

std::optional<uint64_t> SizeOfRegularFile(const std::filesystem::path& file)
{
    WIN32_FILE_ATTRIBUTE_DATA facts{};
    if (GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &facts) == FALSE ||
        !IsRegular(facts.dwFileAttributes, Links::refused)) {
        return std::nullopt;
    }
    return Number(facts.nFileSizeHigh, facts.nFileSizeLow);
}

InputFile::InputFile(const std::filesystem::path& file, Links links, Content content)
{
    descriptor = OpenRegular(file, GENERIC_READ, OPEN_EXISTING, links,
                             _O_RDONLY | (content == Content::text ? _O_TEXT : _O_BINARY), size);
}

InputFile::~InputFile()
{
    if (descriptor >= 0) {
        _close(descriptor);
    }
}

// NOLINTNEXTLINE(readability-make-member-function-const): it goes on in the file
std::size_t InputFile::Read(char* buffer, std::size_t most)
{
    std::size_t used = 0;
    while (descriptor >= 0 && used < most) {
        const int got = _read(descriptor, buffer + used, Portion(most - used));
        if (got <= 0) {
            break;
        }
        used += static_cast<std::size_t>(got);
    }
    return used;
}

void AppendedFile::Open(const std::filesystem::path& file)
{
    if (descriptor >= 0) {
        failed = true;
        return;
    }
    uint64_t size = 0;
    // Reading is what a lock takes.
    descriptor = OpenRegular(file, FILE_APPEND_DATA | GENERIC_READ, OPEN_ALWAYS, Links::refused,
                             _O_WRONLY | _O_BINARY, size);
    failed = descriptor < 0;
}

void AppendedFile::Write(std::string_view text)
{
    if (descriptor < 0 || failed) {
        return;
    }
    const TurnToAppend turn(descriptor);
    while (!failed && !text.empty()) {
        const int written = _write(descriptor, text.data(), Portion(text.size()));
        failed = written <= 0;
        text.remove_prefix(static_cast<std::size_t>(failed ? 0 : written));
    }
}

void AppendedFile::Close()
{
    if (descriptor >= 0) {
        _close(std::exchange(descriptor, -1));
    }
}
