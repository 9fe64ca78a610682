// Both sides of a process that is asked for a value.
#pragma once

#include "tools/tavrik-setup/doctor/look.h"

#include <functional>

namespace setup {

// Has the program make the value, and ends it when that takes longer.
LookAnswer AskProgram(std::chrono::seconds longest, const std::filesystem::path& program,
                      const std::vector<std::string>& arguments);

// In that program: makes the value and ends the process. What it writes on the standard output meanwhile goes nowhere.
[[noreturn]] void AnswerAndEnd(const std::function<nlohmann::json()>& make);

} // namespace setup
