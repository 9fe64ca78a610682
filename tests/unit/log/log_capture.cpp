#include "tests/unit/log/log_capture.h"

#include "src/log/logger.h"

#include <gtest/gtest.h>

namespace {

// The text between two marks, or up to the end when there is no second.
std::string Between(const std::string& text, std::size_t begin, const std::string& mark)
{
    const auto end = text.find(mark, begin);
    return text.substr(begin, end == std::string::npos ? end : end - begin);
}

LoggedLine TakeApart(const std::string& line)
{
    const std::string module = ";      pkcs11_x64; ";
    const std::string functionMark = "; VERB: ";
    const auto message = line.find(module);
    const auto function = line.find(functionMark);
    if (message == std::string::npos || function == std::string::npos) {
        ADD_FAILURE() << "not a line of the log: " << line;
        return {};
    }
    LoggedLine logged;
    logged.level = line.substr(0, line.find(';'));
    logged.message = Between(line, message + module.size(), "; ThID: 0x");
    logged.function = Between(line, function + functionMark.size(), ";  ");
    const auto verbose = line.find(";  ", function + functionMark.size());
    if (verbose != std::string::npos) {
        logged.verbose = line.substr(verbose + 3);
    }
    return logged;
}

} // namespace

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
    const std::string text = Text();
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::string line = Between(text, begin, "\r\n");
        lines.push_back(TakeApart(line));
        begin += line.size() + 2;
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
