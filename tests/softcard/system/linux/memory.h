// What a program leaves in its memory.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace softcard::test {

// Secrets by the name that a test tells them by: bytes as they would stand in memory.
using Secrets = std::map<std::string, std::string>;

struct TracedEnd
{
    int exitCode; // -1 when a signal ended it
    std::string output;
    std::vector<std::string> found; // the names of the secrets that its memory held, in whole or in part
    size_t bytesSearched = 0;
};

// Runs the program to its end with the content of a file as its standard input, and looks through all memory
// that it can write to at the moment in which it ends: freed memory too, its stack and its arguments. A part
// of a secret counts when it is `shortestPart` bytes or longer.
inline constexpr size_t shortestPart = 16;
TracedEnd RunTraced(const std::filesystem::path& input, const std::vector<std::string>& arguments,
                    const Secrets& secrets);

// The same for secrets that the program's output tells.
using SecretsInOutput = std::function<Secrets(const std::string& output)>;
TracedEnd RunTraced(const std::filesystem::path& input, const std::vector<std::string>& arguments,
                    const SecretsInOutput& secrets);

} // namespace softcard::test
