// All that differs between the operating systems. Nothing outside this folder includes a header of the
// system.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>

// Called by the platform once, when the library has been loaded into a process. Defined by the front end.
void OnLibraryLoad();

// Called by the platform when the library is unloaded or the process ends, once
// Platform::ArmUnloadNotification has been called. Defined by the front end.
void OnLibraryUnload();

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

    // Loads a shared library and returns its handle, never null. The library stays loaded for good.
    // Throws std::runtime_error with the system's reason.
    static void* LoadSharedLibrary(const std::filesystem::path& file);

    // The address of a symbol, never null. Throws std::runtime_error with the system's reason.
    static void* FindSymbol(void* library, const char* name);

    // The file name of the running program, such as "soffice.bin".
    static std::string ExecutableName();

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

    // From now on OnLibraryUnload is called when the library goes or the process ends. What was loaded before
    // this call is still usable then, so it is called after the card-access library is loaded. Further calls
    // do nothing.
    static void ArmUnloadNotification();
};
