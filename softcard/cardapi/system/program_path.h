#pragma once

#include <filesystem>

namespace softcard {

// The program that asks for codes where none was chosen; empty where the host's console asks then.
std::filesystem::path UsualPinentry();

// The path of a program, looked for on the PATH unless its name has a folder; for a program with borrowed rights, on that of
// the system. Empty when there is no such program.
std::filesystem::path FindProgram(const std::filesystem::path& name);

} // namespace softcard
