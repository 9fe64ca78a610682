// Clocks, identifiers, the debugger channel and the system's version.
#include "src/platform/platform.h"

#include <windows.h>

namespace {

constexpr int64_t nanosecondsPerSecond = 1000000000;

// The calls of ntdll.dll have no import library that is promised to stay.
bool GetKernelVersion(OSVERSIONINFOW& version)
{
    HMODULE kernel = LoadLibraryW(L"ntdll.dll");
    if (kernel == nullptr) {
        return false;
    }
    using Get = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto get = reinterpret_cast<Get>(reinterpret_cast<void*>(GetProcAddress(kernel, "RtlGetVersion")));
    if (get != nullptr) {
        get(&version);
    }
    FreeLibrary(kernel);
    return get != nullptr;
}

template <typename Character>
OsVersion VersionOf(DWORD majorNumber, DWORD minorNumber, DWORD buildNumber, const Character* servicePack)
{
    OsVersion version;
    version.majorNumber = static_cast<int>(majorNumber);
    version.minorNumber = static_cast<int>(minorNumber);
    version.buildNumber = static_cast<int>(buildNumber);
    for (; *servicePack != 0; ++servicePack) { // it is ASCII, such as "Service Pack 1"
        version.servicePack.push_back(static_cast<char>(*servicePack));
    }
    return version;
}

} // namespace

void Platform::WriteToDebugger(const char* text)
{
    OutputDebugStringA(text);
}

uint32_t Platform::ThreadId()
{
    return GetCurrentThreadId();
}

uint32_t Platform::ProcessId()
{
    return GetCurrentProcessId();
}

int64_t Platform::SteadyClockNanoseconds()
{
    LARGE_INTEGER frequency{};
    LARGE_INTEGER counter{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    // Seconds and the rest by themselves: the product of the whole would not fit.
    const int64_t seconds = counter.QuadPart / frequency.QuadPart;
    const int64_t rest = counter.QuadPart % frequency.QuadPart;
    return seconds * nanosecondsPerSecond + rest * nanosecondsPerSecond / frequency.QuadPart;
}

void Platform::FormatLocalTime(std::time_t time, char (&text)[64])
{
    if (ctime_s(text, sizeof(text), &time) != 0) {
        text[0] = '\0';
    }
}

std::tm Platform::LocalTime(std::time_t time)
{
    std::tm local{};
    static_cast<void>(localtime_s(&local, &time));
    return local;
}

OsVersion Platform::GetOsVersionInfo()
{
    OSVERSIONINFOW wide{};
    wide.dwOSVersionInfoSize = sizeof(wide);
    if (GetKernelVersion(wide)) {
        return VersionOf(wide.dwMajorVersion, wide.dwMinorVersion, wide.dwBuildNumber, wide.szCSDVersion);
    }
    OSVERSIONINFOA narrow{};
    narrow.dwOSVersionInfoSize = sizeof(narrow);
    GetVersionExA(&narrow);
    return VersionOf(narrow.dwMajorVersion, narrow.dwMinorVersion, narrow.dwBuildNumber, narrow.szCSDVersion);
}
