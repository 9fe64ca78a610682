// The side of the Assuan protocol that asks a pinentry program.
#pragma once

#include "softcard/base/secret.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace softcard {

using Deadline = std::chrono::steady_clock::time_point;

// The lines that a program says and is told. None of them is kept.
class ProgramLines
{
public:
    ProgramLines() = default;
    virtual ~ProgramLines() = default;
    ProgramLines(const ProgramLines&) = delete;
    ProgramLines& operator=(const ProgramLines&) = delete;
    ProgramLines(ProgramLines&&) = delete;
    ProgramLines& operator=(ProgramLines&&) = delete;

    // Without its end. Nothing when no more comes in time, or the line is longer than the protocol allows.
    [[nodiscard]] virtual std::optional<SecretText> Read(Deadline deadline) = 0;

    // The line gets its end. False when the other side has closed its end.
    [[nodiscard]] virtual bool Write(std::string_view line) = 0;
};

inline constexpr size_t longestAssuanLine = 1000; // bytes, without its end

// Both in UTF-8.
struct Question
{
    std::string description; // lines
    std::string prompt;      // empty for a message that the user only takes note of, whose answer is empty
    std::chrono::seconds longestWait{0}; // for the answer, from the start of the program on
};

// The answer, which may be empty. Nothing when the user cancelled, the program breaks the protocol, or it
// says more than any pinentry has to say. What the program answers to an option, NAME=VALUE each, does not
// matter.
std::optional<SecretText> AskInAssuan(ProgramLines& program, const Question& question,
                                      const std::vector<std::string>& options);

} // namespace softcard
