// The standard output, for a program that may write into a pipe.
#pragma once

#include <cstddef>
#include <string_view>

namespace logtool {

// The reader of the pipe is gone.
class ReaderGone
{
};

// Writes all of it. Throws ReaderGone, or std::system_error.
void WriteOut(std::string_view text);

// Waits, and throws ReaderGone when the reader goes meanwhile.
void WaitForReader(int milliseconds);

bool OutputIsTerminal();

// Columns of the terminal; 0 when they are not known.
size_t TerminalWidth();

} // namespace logtool
