#pragma once

#include "softcard/cardapi/system/windows/line_channel.h"
#include "softcard/system/windows/handle.h"

#include <filesystem>
#include <optional>

namespace softcard {

// A running program that is spoken to through its standard input and output.
class PipedProgram
{
public:
    // Nothing when it cannot be started.
    static std::optional<PipedProgram> Start(const std::filesystem::path& program);

    // Waits a moment for the program's end, which its empty input brings, and then makes it.
    ~PipedProgram();
    PipedProgram(PipedProgram&&) = default;
    PipedProgram& operator=(PipedProgram&&) = delete;
    PipedProgram(const PipedProgram&) = delete;
    PipedProgram& operator=(const PipedProgram&) = delete;

    [[nodiscard]] LineChannel Channel() const { return {output.get(), input.get()}; }

private:
    PipedProgram() = default;

    Handle process;
    Handle input;  // what we write to
    Handle output; // what we read from
};

} // namespace softcard
