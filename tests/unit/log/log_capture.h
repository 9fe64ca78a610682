// Catches what the process's Logger writes.
#pragma once

#include "src/log/log_settings.h"

#include <string>
#include <vector>

// One line of the log, taken apart.
struct LoggedLine
{
    std::string level;   // as it stands in the line
    std::string message; // the description
    std::string function;
    std::string verbose; // behind the marker, with its leading blank; empty when there is none

    bool operator==(const LoggedLine&) const = default;
};

// As long as it lives, the Logger writes everything, with function and verbose text, to the standard output
// and nowhere else, and the standard output is caught. The settings are put back at its end.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Ends the capture and gives the lines, or the text as it stands.
    std::vector<LoggedLine> Lines();
    std::string Text();

    // As Lines(), only those of one function, or only their messages.
    std::vector<std::string> MessagesOf(const std::string& function);

private:
    LogSettings saved;
    bool capturing = true;
};
