#include "tools/tavrik-card/system/program_start.h"

#include "tools/command_line/system/program_start.h"

#include <botan/mem_ops.h>

#include <cstring>

namespace softcard {
namespace {

std::vector<char*> started; // what the system shows of the arguments, which can be written to

} // namespace

std::vector<std::string> StartProgram(int argumentCount, char** argumentValues)
{
    started.assign(argumentValues + (argumentCount > 0 ? 1 : 0), argumentValues + argumentCount);
    return command_line::StartProgram(argumentCount, argumentValues);
}

void WipeArgument(size_t number, size_t start)
{
    const size_t length = std::strlen(started.at(number));
    if (start < length) {
        Botan::secure_scrub_memory(started.at(number) + start, length - start);
    }
}

} // namespace softcard
