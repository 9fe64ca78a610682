#include "tools/tavrik-card/system/program_start.h"

#include "tools/command_line/system/program_start.h"

namespace softcard {

std::vector<std::string> StartProgram(int argumentCount, char** argumentValues)
{
    return command_line::StartProgram(argumentCount, argumentValues);
}

// The system keeps the command line, in several forms.
void WipeArgument(size_t /*number*/, size_t /*start*/) {}

} // namespace softcard
