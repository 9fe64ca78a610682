#pragma once

#include <filesystem>

namespace softcard {

// What an environment variable says; empty when it is not set.
std::filesystem::path PathFromEnvironment(const char* variable);

} // namespace softcard
