#include "tests/unit/log/log_capture.h"

#include "src/log/logger.h"
#include "tests/support/log_line.h"

#include <gtest/gtest.h>

LogCapture::LogCapture() : saved(Logger::Instance().Settings())
{
    auto& settings = Logger::Instance().Settings();
    settings.logToConsole = true;
    settings.logToDebugger = false;
    settings.logToFile = false;
    settings.logFromLevel = LogLevel_Debug;
    settings.extensive = true;
    settings.timeFormat = LogTimeFormat_Millisec;
    testing::internal::CaptureStdout();
}

LogCapture::~LogCapture()
{
    if (capturing) {
        Text();
    }
}

std::string LogCapture::Text()
{
    capturing = false;
    Logger::Instance().Settings() = saved;
    return testing::internal::GetCapturedStdout();
}

std::vector<LoggedLine> LogCapture::Lines()
{
    std::vector<LoggedLine> lines;
    for (const std::string& piece : blackbox::PiecesOf(Text())) {
        const auto line = blackbox::ParseLogLine(piece);
        EXPECT_TRUE(line.extensive && piece.ends_with("\r\n")) << "not a line of the log: " << piece;
        lines.push_back({line.level, line.description, line.function, line.verbose});
    }
    return lines;
}

std::vector<std::string> LogCapture::MessagesOf(const std::string& function)
{
    std::vector<std::string> messages;
    for (const auto& line : Lines()) {
        if (line.function == function) {
            messages.push_back(line.message);
        }
    }
    return messages;
}
