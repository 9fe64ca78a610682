#include "tools/command_line/system/program_start.h"

namespace command_line {

std::vector<std::string> StartProgram(int argumentCount, char** argumentValues)
{
    return {argumentValues + (argumentCount > 0 ? 1 : 0), argumentValues + argumentCount};
}

} // namespace command_line
