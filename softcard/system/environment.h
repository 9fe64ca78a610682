// What the environment says, where it may be believed.
#pragma once

#include <filesystem>

namespace softcard {

// Whether the program has rights that whoever started it has not. Its environment is that person's, who must
// not choose what is done with those rights.
bool HasBorrowedRights();

// What an environment variable says; empty when it is not set, and for a program with borrowed rights.
std::filesystem::path PathFromEnvironment(const char* variable);

} // namespace softcard
