#include "system/program_start.h"

namespace softcard {

std::vector<std::string> StartProgram(int argumentCount, char** argumentValues)
{
    return {argumentValues + (argumentCount > 0 ? 1 : 0), argumentValues + argumentCount};
}

} // namespace softcard
