// The output of a command, behind a pipe that the system made to it.
#pragma once

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace blackbox {

// All that comes until the command closes its end; the pipe stays open. Throws std::runtime_error when there
// is no pipe.
inline std::string ReadPipe(FILE* pipe, const std::string& command)
{
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 4096> block{};
    size_t got = 0;
    while ((got = fread(block.data(), 1, block.size(), pipe)) > 0) {
        output.append(block.data(), got);
    }
    return output;
}

} // namespace blackbox
