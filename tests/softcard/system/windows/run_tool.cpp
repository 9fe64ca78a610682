#include "softcard/system/files.h"
#include "tests/softcard/card_home.h"
#include "tests/support/temporary_folder.h"
#include "tools/tavrik-card/command.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace softcard::test {
namespace {

// One of the process's own streams, for the C library, for C++ and for Windows, is a file as long as the object lives.
class StreamFile
{
public:
    StreamFile(FILE* itsStream, const wchar_t* file, int flags) : stream(itsStream)
    {
        (void)std::fflush(stream);
        const int opened = _wopen(file, flags | _O_BINARY, _S_IREAD | _S_IWRITE);
        kept = _dup(_fileno(stream));
        if (opened < 0 || kept < 0 || _dup2(opened, _fileno(stream)) != 0) {
            throw std::runtime_error("a stream cannot be turned");
        }
        _close(opened);
    }
    ~StreamFile()
    {
        (void)std::fflush(stream);
        _dup2(kept, _fileno(stream));
        _close(kept);
    }
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;
    StreamFile(StreamFile&&) = delete;
    StreamFile& operator=(StreamFile&&) = delete;

private:
    FILE* stream;
    int kept;
};

} // namespace

Finished RunTool(std::vector<std::string> arguments)
{
    const TemporaryFolder folder("softcard-output-");
    const std::filesystem::path output = folder.Path() / "output";
    const std::filesystem::path errors = folder.Path() / "errors";
    constexpr int toWrite = _O_WRONLY | _O_CREAT | _O_TRUNC;
    int exitCode = 0;
    {
        const StreamFile ofInput(stdin, L"NUL", _O_RDONLY);
        const StreamFile ofOutput(stdout, output.c_str(), toWrite);
        const StreamFile ofErrors(stderr, errors.c_str(), toWrite);
        exitCode = RunCommand([&arguments] { return arguments; });
    }
    return {exitCode, ReadFile(output), ReadFile(errors)};
}

} // namespace softcard::test
