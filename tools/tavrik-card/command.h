#pragma once

#include <functional>
#include <string>
#include <vector>

namespace softcard {

// Does what the arguments say, without the program's name in front, and gives the exit code of the program. A failure,
// of taking the arguments too, is told on the standard error.
int RunCommand(const std::function<std::vector<std::string>()>& takeArguments);

} // namespace softcard
