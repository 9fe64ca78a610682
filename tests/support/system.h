// What the tests need of the operating system, each in a way of its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace blackbox {

// The file that holds the library called `stem`.
std::string LibraryFileName(const std::string& stem);

// Shared libraries, loaded by a test or its host. They throw std::runtime_error with the loader's reason.
void* Load(const std::filesystem::path& file);
void* SymbolOf(void* library, const char* name);
void Unload(void* library);

// The library that this process has loaded from the file; null when it has none. Asking is no loading: who
// unloads it does so for somebody who has loaded it.
void* LoadedFrom(const std::filesystem::path& file);

std::filesystem::path RunningProgram();
uint32_t ProcessId();
uint32_t ThreadId();

// A word of a command line for OutputOf.
std::string Quoted(const std::filesystem::path& path);

// What the command writes to its standard output. Throws std::runtime_error when it fails.
std::string OutputOf(const std::string& command);

// What is allocated between the two calls is no leak to a leak checker, where there is one: the library's
// logger and store live as long as the process, and so are out of reach once it is unloaded. Acts on the
// calling thread.
void ExpectLeaks(bool expected);

// What a shared library has for the loader. Symbols read as in the source; the constructors and destructors
// that the compiler makes twice count once.
std::set<std::string> ExportedSymbols(const std::filesystem::path& library);
std::vector<std::string> NeededLibraries(const std::filesystem::path& library);
std::vector<std::string> ImportedSymbols(const std::filesystem::path& library);

// Set, with any value, in the environment of a host that is to have locales of its own.
inline constexpr char hostLocaleVariable[] = "TAVRIK_TEST_HOST_LOCALE";

// Takes these locales for the rest of the process when the environment asks for them, on systems where hosts
// with locales are tried. Throws std::runtime_error when there are none.
void SetLocaleOfTheHost();

// From now on standard output takes line ends as they are given.
void LeaveLineEndsAlone();

// Standard output goes into a file without a name for as long as this lives.
class OutputRedirection
{
public:
    OutputRedirection();
    ~OutputRedirection();
    OutputRedirection(const OutputRedirection&) = delete;
    OutputRedirection& operator=(const OutputRedirection&) = delete;

    std::string From(std::size_t position) const; // all bytes from there on

private:
    int savedOutput;
    int file;
};

} // namespace blackbox
