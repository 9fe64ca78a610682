#include "tests/support/system.h"

#include "tests/support/command_pipe.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>

extern "C" {
// Of the leak checker, in builds that have it.
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace blackbox {
namespace {

int OpenTemporaryFile()
{
    std::array<char, 32> name{"/tmp/tavrik_log_XXXXXX"};
    const int file = mkostemp(name.data(), O_CLOEXEC);
    if (file < 0) {
        throw std::runtime_error("no temporary file");
    }
    unlink(name.data());
    return file;
}

std::vector<std::string> LinesOfOutput(const std::string& command)
{
    std::istringstream text(OutputOf(command));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

std::string LibraryFileName(const std::string& stem)
{
    return "lib" + stem + ".so";
}

void* Load(const std::filesystem::path& file)
{
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return library;
}

void* SymbolOf(void* library, const char* name)
{
    void* symbol = dlsym(library, name);
    if (symbol == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return symbol;
}

void Unload(void* library)
{
    dlclose(library);
}

void* LoadedFrom(const std::filesystem::path& file)
{
    void* const found = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (found != nullptr) {
        dlclose(found);
    }
    return found;
}

std::filesystem::path RunningProgram()
{
    return std::filesystem::canonical("/proc/self/exe");
}

uint32_t ProcessId()
{
    return static_cast<uint32_t>(getpid());
}

uint32_t ThreadId()
{
    return static_cast<uint32_t>(gettid());
}

std::string Quoted(const std::filesystem::path& path)
{
    return "'" + path.string() + "'";
}

std::string OutputOf(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c): the commands are constants of the tests
    std::string output = ReadPipe(pipe, command);
    if (pclose(pipe) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return output;
}

void ExpectLeaks(bool expected)
{
    if (__lsan_disable != nullptr && __lsan_enable != nullptr) {
        (expected ? __lsan_disable : __lsan_enable)();
    }
}

std::set<std::string> ExportedSymbols(const std::filesystem::path& library)
{
    const auto lines = LinesOfOutput("nm -D -C --defined-only --format=just-symbols " + Quoted(library));
    return {lines.begin(), lines.end()};
}

std::vector<std::string> NeededLibraries(const std::filesystem::path& library)
{
    std::vector<std::string> needed;
    for (const std::string& line : LinesOfOutput("readelf -d " + Quoted(library))) {
        if (line.find("(NEEDED)") != std::string::npos) {
            needed.push_back(line.substr(line.find('[')));
        }
    }
    return needed;
}

std::vector<std::string> ImportedSymbols(const std::filesystem::path& library)
{
    return LinesOfOutput("nm -D --undefined-only --format=just-symbols " + Quoted(library));
}

void LeaveLineEndsAlone() {}

OutputRedirection::OutputRedirection()
    : savedOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)), file(OpenTemporaryFile())
{
    static_cast<void>(std::fflush(stdout));
    dup2(file, STDOUT_FILENO);
}

OutputRedirection::~OutputRedirection()
{
    static_cast<void>(std::fflush(stdout));
    dup2(savedOutput, STDOUT_FILENO);
    close(savedOutput);
    close(file);
}

std::string OutputRedirection::From(std::size_t position) const
{
    static_cast<void>(std::fflush(stdout));
    std::string text;
    std::array<char, 65536> block{};
    while (true) {
        const ssize_t got =
            pread(file, block.data(), block.size(), static_cast<off_t>(position + text.size()));
        if (got <= 0) {
            return text;
        }
        text.append(block.data(), static_cast<size_t>(got));
    }
}

} // namespace blackbox
