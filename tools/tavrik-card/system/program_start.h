#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace softcard {

// To be called first in main, with what that got. Gives the arguments behind the program's name, in UTF-8;
// from then on the standard streams carry bytes as they are, which terminals take for UTF-8.
std::vector<std::string> StartProgram(int argumentCount, char** argumentValues);

// Wipes an argument, counted from 0 as StartProgram gives them, from a place in it on, where the system lets
// it: nothing that lists programs shows it any longer.
void WipeArgument(size_t number, size_t start);

} // namespace softcard
