#pragma once

#include <string>
#include <vector>

namespace command_line {

// To be called first in main, with what that got. Gives the arguments behind the program's name, in UTF-8;
// from then on the standard streams carry bytes as they are, which terminals take for UTF-8.
std::vector<std::string> StartProgram(int argumentCount, char** argumentValues);

} // namespace command_line
