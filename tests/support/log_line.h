// One line of the library's log, taken apart.
#pragma once

#include <string>
#include <vector>

namespace blackbox {

struct LogLine
{
    std::string level; // as it stands, four characters
    std::string time;
    std::string module; // as it stands, 15 characters
    std::string description;
    bool extensive = false; // the line has a tail; the three fields below belong to it
    std::string thread;     // as in "0x1f3c"
    std::string function;
    bool hasVerbose = false;
    std::string verbose; // behind the two blanks of the frame's own; keeps the blanks that it begins with

    std::string raw; // the whole line with its end

    // `DBG C_OpenSession: Session opened VERB:slotID 1`, with the function and the verbose text only where
    // they are.
    std::string Text() const;
};

// The line, given with its end. Throws std::runtime_error when it has a thread but no function.
LogLine ParseLogLine(const std::string& raw);

// The text cut behind each newline.
std::vector<std::string> PiecesOf(const std::string& text);

} // namespace blackbox
