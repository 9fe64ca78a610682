// The standard output, for a program that may write into a pipe.
#pragma once

#include <cstddef>
#include <string_view>

namespace logtool {

// The reader of the pipe is gone.
class ReaderGone
{
};

// From then on a write whose reader is gone fails, and does not end the program.
void LetWritesFail();

// Writes all of it, as it is: what goes into a pipe or a file has the same bytes on every system. Throws ReaderGone, or
// std::runtime_error.
void WriteOut(std::string_view text);

// Waits, and throws ReaderGone when the reader goes meanwhile.
void WaitForReader(int milliseconds);

// What the standard output is. A terminal that has to be told to follow ANSI's control sequences follows them as long as
// this lives, and is as before then.
class Terminal
{
public:
    Terminal();
    ~Terminal(); // NOLINT(performance-trivially-destructible): it has something to do where terminals are told
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    [[nodiscard]] bool IsThere() const { return isThere; }
    [[nodiscard]] bool TakesColours() const { return takesColours; }

    // So many characters stand in a line, without an empty one behind it; 0 when it is not known.
    [[nodiscard]] size_t Width() const { return width; }

private:
    bool isThere = false;
    bool takesColours = false;
    size_t width = 0;
    [[maybe_unused]] unsigned long modeBefore = 0; // of a terminal that was told
};

} // namespace logtool
