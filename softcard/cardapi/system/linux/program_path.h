#pragma once

#include <string>

namespace softcard {

inline constexpr const char* usualPinentry = "pinentry"; // where none was chosen
inline constexpr const char* systemPath = "/usr/bin:/bin";

// The path of a program, looked for on the PATH unless its name has a folder; for a program with borrowed rights, on that of
// the system. Empty when there is no such program.
std::string FindProgram(const std::string& name);

} // namespace softcard
