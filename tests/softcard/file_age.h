#pragma once

#include <chrono>
#include <filesystem>

namespace softcard::test {

// As if the file or the folder had been written so long ago. Throws std::system_error.
void SetAge(const std::filesystem::path& path, std::chrono::hours age);

} // namespace softcard::test
