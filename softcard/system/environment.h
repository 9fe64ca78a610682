// What the environment says, where it may be believed.
#pragma once

#include <filesystem>

namespace softcard {

// Whether the program has rights that the user who started it has not. That user sets its environment, and must
// not decide what is done with those rights.
bool HasBorrowedRights();

// What an environment variable says; empty when it is not set, and for a program with borrowed rights.
std::filesystem::path PathFromEnvironment(const char* variable);

} // namespace softcard
