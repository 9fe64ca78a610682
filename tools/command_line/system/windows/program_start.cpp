#include "tools/command_line/system/program_start.h"

#include "softcard/base/text.h"
#include "softcard/system/windows/local_memory.h"

#include <cstdio>

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

namespace command_line {

// What main gets is in the code page, which lacks most characters.
std::vector<std::string> StartProgram(int /*argumentCount*/, char** /*argumentValues*/)
{
    for (FILE* stream : {stdin, stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
    SetConsoleOutputCP(CP_UTF8);
    int count = 0;
    const softcard::LocalMemory<wchar_t*> words(CommandLineToArgvW(GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(softcard::Utf8Of(words.get()[i]));
    }
    return arguments;
}

} // namespace command_line
