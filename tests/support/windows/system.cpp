#include "tests/support/system.h"

#include "tests/support/command_pipe.h"
#include "tests/support/windows/loaded_image.h"

#include <windows.h>

#include <cxxabi.h>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace blackbox {
namespace {

constexpr int standardOutput = 1;

[[noreturn]] void ThrowLastError(const std::string& subject)
{
    throw std::runtime_error(subject + ": error " + std::to_string(GetLastError()));
}

int OpenTemporaryFile()
{
    const auto name = std::filesystem::temp_directory_path() /
                      ("tavrik_log_" + std::to_string(ProcessId()) + "_" + std::to_string(GetTickCount64()));
    const int file =
        _wopen(name.c_str(), _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_NOINHERIT,
               _S_IREAD | _S_IWRITE);
    if (file < 0) {
        throw std::runtime_error("no temporary file");
    }
    return file;
}

// As the source has it, where it is a name of C++.
std::string Readable(const std::string& symbol)
{
    if (!symbol.starts_with("_Z")) {
        return symbol;
    }
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return name == nullptr ? symbol : name.get();
}

// A library that is loaded for a look at it.
class LookedAt
{
public:
    explicit LookedAt(const std::filesystem::path& file) : library(Load(file)) {}
    ~LookedAt() { Unload(library); }
    LookedAt(const LookedAt&) = delete;
    LookedAt& operator=(const LookedAt&) = delete;

    [[nodiscard]] LoadedImage Image() const { return LoadedImage(library); }

private:
    void* library;
};

} // namespace

std::string LibraryFileName(const std::string& stem)
{
    return stem + ".dll";
}

void* Load(const std::filesystem::path& file)
{
    HMODULE library = LoadLibraryW(file.c_str());
    if (library == nullptr) {
        ThrowLastError(file.string());
    }
    return library;
}

void* SymbolOf(void* library, const char* name)
{
    const FARPROC symbol = GetProcAddress(static_cast<HMODULE>(library), name);
    if (symbol == nullptr) {
        ThrowLastError(name);
    }
    return reinterpret_cast<void*>(symbol);
}

void Unload(void* library)
{
    FreeLibrary(static_cast<HMODULE>(library));
}

void* LoadedFrom(const std::filesystem::path& file)
{
    return GetModuleHandleW(file.c_str());
}

std::filesystem::path RunningProgram()
{
    std::array<wchar_t, MAX_PATH> file{};
    GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size()));
    return file.data();
}

uint32_t ProcessId()
{
    return GetCurrentProcessId();
}

uint32_t ThreadId()
{
    return GetCurrentThreadId();
}

std::string Quoted(const std::filesystem::path& path)
{
    return "\"" + path.string() + "\"";
}

std::string OutputOf(const std::string& command)
{
    // The command processor takes a pair of quotation marks around all of it off.
    // NOLINTNEXTLINE(cert-env33-c): the commands are constants of the tests
    FILE* pipe = _popen(("\"" + command + "\"").c_str(), "rb");
    std::string output = ReadPipe(pipe, command);
    if (_pclose(pipe) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return output;
}

void ExpectLeaks(bool /*expected*/) {}

std::set<std::string> ExportedSymbols(const std::filesystem::path& library)
{
    std::set<std::string> symbols;
    for (const std::string& name : LookedAt(library).Image().ExportedNames()) {
        symbols.insert(Readable(name));
    }
    return symbols;
}

std::vector<std::string> NeededLibraries(const std::filesystem::path& library)
{
    return LookedAt(library).Image().NeededLibraries();
}

std::vector<std::string> ImportedSymbols(const std::filesystem::path& library)
{
    return LookedAt(library).Image().ImportedNames();
}

void SetLocaleOfTheHost() {}

void LeaveLineEndsAlone()
{
    _setmode(standardOutput, _O_BINARY);
}

OutputRedirection::OutputRedirection() : savedOutput(_dup(standardOutput)), file(OpenTemporaryFile())
{
    static_cast<void>(std::fflush(stdout));
    _dup2(file, standardOutput); // in the file's mode, which leaves line ends as they are
}

OutputRedirection::~OutputRedirection()
{
    static_cast<void>(std::fflush(stdout));
    _dup2(savedOutput, standardOutput);
    _close(savedOutput);
    _close(file);
}

std::string OutputRedirection::From(std::size_t position) const
{
    static_cast<void>(std::fflush(stdout));
    std::string text;
    std::array<char, 65536> block{};
    // The place is the writer's as well.
    _lseeki64(file, static_cast<int64_t>(position), SEEK_SET);
    int got = 0;
    while ((got = _read(file, block.data(), static_cast<unsigned>(block.size()))) > 0) {
        text.append(block.data(), static_cast<size_t>(got));
    }
    _lseeki64(file, 0, SEEK_END);
    return text;
}

} // namespace blackbox
