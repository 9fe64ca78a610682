#include "tests/softcard/file_age.h"

#include "softcard/system/windows/handle.h"
#include "softcard/system/windows/last_error.h"

namespace softcard::test {
namespace {

constexpr ULONGLONG ticksOfAnHour = 3600ULL * 10'000'000ULL;

} // namespace

// The C++ library opens the file for it, which Windows refuses for folders.
void SetAge(const std::filesystem::path& path, std::chrono::hours age)
{
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER time{};
    time.LowPart = now.dwLowDateTime;
    time.HighPart = now.dwHighDateTime;
    time.QuadPart -= static_cast<ULONGLONG>(age.count()) * ticksOfAnHour;
    const FILETIME written{time.LowPart, time.HighPart};
    const Handle file = Own(CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file || SetFileTime(file.get(), nullptr, nullptr, &written) == FALSE) {
        ThrowLastError(path);
    }
}

} // namespace softcard::test
