// All that differs between the operating systems. Nothing outside this folder includes a header of the
// system.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// Called by the platform once, when the library has been loaded into a process. Defined by the room of the exported
// functions.
void OnLibraryLoad();

// What has become of the process's other threads when the library is unloaded.
enum class OtherThreads
{
    goOn,
    wereKilled // by the end of the process, wherever they were
};

// Called by the platform when the library is unloaded or the process ends, once
// Platform::ArmUnloadNotification has been called. Defined by the room of the exported functions.
void OnLibraryUnload(OtherThreads otherThreads);

struct OsVersion
{
    int majorNumber = 0;
    int minorNumber = 0;
    int buildNumber = 0;
    std::string servicePack;
};

struct Platform
{
    // The folder of the file that this code was loaded from, links not resolved, without a trailing
    // separator; empty when the system names no folder. A relative path counts from the working directory at
    // the first call, which the load notification makes, so that a host may change it later.
    static const std::filesystem::path& ModuleDirectory();

    // Makes libraries that are loaded later be found in `directory` whatever the host's directory is.
    static void SearchLibrariesIn(const std::filesystem::path& directory);

    // The file that holds the library called `stem`: "libSTEM.so" or "STEM.dll".
    static std::string LibraryFileName(const std::string& stem);

    // Loads a shared library and returns its handle, never null. The library stays loaded for good. A bare
    // name is looked for as the system's loader does, but never in the current folder. Throws
    // std::runtime_error with the reason.
    static void* LoadSharedLibrary(const std::filesystem::path& file);

    // The address of a symbol, never null. Throws std::runtime_error with the system's reason.
    static void* FindSymbol(void* library, const char* name);

    // The path of the running program; empty when the system doesn't tell.
    static std::filesystem::path ExecutablePath();

    // The file name of the running program, such as "soffice.bin", for comparison with known hosts. On
    // Windows it is narrow text of at most 62 characters.
    static std::string ExecutableName();

    // The file name of the running program as the system's list of processes has it; empty when it has none.
    static std::u16string ProcessName();

    // A path given in UTF-16; empty when it is none.
    static std::filesystem::path PathOf(std::u16string_view path);

    // UTF-16 of a text of the system; empty when there is none.
    static std::u16string WideText(const std::string& text);

    // The path as a text of at most `limit` bytes; characters are not cut apart.
    static std::string NarrowPath(const std::filesystem::path& path, std::size_t limit);

    // The same for a person's eyes: a control character, such as a line end, shows as "?".
    static std::string PrintablePath(const std::filesystem::path& path, std::size_t limit);

    // The names of the entries, files or not, that match a path whose file name may end in "*" for any
    // characters; in the order of the names. Names that have no UTF-16 are left out.
    static std::vector<std::u16string> ListEntries(std::u16string_view mask);

    // Gives an entry a new path when nothing is there yet. Nothing is said about what goes wrong.
    static void MoveEntry(const std::filesystem::path& from, const std::filesystem::path& to);

    // Takes a file away. Nothing is said about what goes wrong.
    static void RemoveFile(const std::filesystem::path& file);

    // Sends one line of text to the debugger channel; a line end at its end is dropped.
    static void WriteToDebugger(const char* text);

    // Identifies the calling thread among those of the process.
    static uint32_t ThreadId();

    // Identifies the process; differs in a forked child.
    static uint32_t ProcessId();

    // Nanoseconds of a clock that never goes back.
    static int64_t SteadyClockNanoseconds();

    // Writes local time in the form of the C library's ctime, newline included, zero-terminated.
    static void FormatLocalTime(std::time_t time, char (&text)[64]);

    // The calendar record of local time.
    static std::tm LocalTime(std::time_t time);

    // The version numbers of the operating system's kernel.
    static OsVersion GetOsVersionInfo();

    // A command for RunCommandCaptureOutput that prints lines "name=value" with the Caption, OSArchitecture,
    // CSDVersion, MUILanguages and Version of the system.
    static const char* OsListingCommand();

    // Runs a command, waits a second for its end, and takes what one read of at most 1023 bytes then gives of
    // its standard output and error into `output`, which is left as it is when the command cannot be run, and
    // gets "error: " and the system's number appended when nothing can be read.
    static void RunCommandCaptureOutput(const char* commandLine, std::string& output);

    // From now on OnLibraryUnload is called when the library goes or the process ends. What was loaded before
    // this call is still usable then, so it is called after the card-access library is loaded. Further calls
    // do nothing.
    static void ArmUnloadNotification();
};
