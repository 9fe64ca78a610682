// The reader understands what the library really writes: lines of its Logger, of the frame and of the session
// header.
#include "src/log/function_lines.h"
#include "src/log/logger.h"
#include "tests/tools/test_log.h"
#include "tests/unit/log/log_capture.h"
#include "tools/tavrik-log/call_list.h"
#include "tools/tavrik-log/log_line.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

using namespace logtool;

namespace {

std::vector<LogLine> ParseAll(const std::string& text)
{
    std::vector<LogLine> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(ParseLine(line.substr(0, line.size() - 1)));
    }
    return lines;
}

std::vector<LogLine> LinesAt(LogTimeFormat timeFormat, bool extensive)
{
    LogCapture capture;
    Logger::Instance().Settings().timeFormat = timeFormat;
    Logger::Instance().Settings().extensive = extensive;
    LogEntering("C_Login");
    LOG_LINE(LogLevel_Info, "C_Login", "Session opened VERB:slotID 1; session handle 0x5");
    LogLeaving("C_Login", CKR_PIN_INCORRECT);
    return ParseAll(capture.Text());
}

} // namespace

TEST(LibraryLines, AreTakenApartInEveryTimeFormat)
{
    for (const int format : {0, 1, 2, 9}) {
        const auto lines = LinesAt(static_cast<LogTimeFormat>(format), true);
        ASSERT_EQ(lines.size(), 3U) << format;
        for (const auto& line : lines) {
            EXPECT_TRUE(line.framed) << line.text;
            EXPECT_EQ(line.module, "pkcs11_x64");
            EXPECT_EQ(line.function, "C_Login");
            EXPECT_TRUE(line.thread.starts_with("0x")) << line.thread;
            EXPECT_EQ(line.time.date.has_value(), format < 2) << line.text;
            EXPECT_EQ(line.time.counter.has_value(), format == 1 || format == 2) << line.text;
        }
        EXPECT_EQ(lines[0].level, Level::debug);
        EXPECT_EQ(lines[1].level, Level::info);
        EXPECT_EQ(lines[1].description, "Session opened");
        EXPECT_EQ(lines[1].verbose, "slotID 1; session handle 0x5");
        EXPECT_EQ(lines[2].level, Level::error);
    }
}

TEST(LibraryLines, WithoutTheVerboseTextHaveADescriptionAlone)
{
    for (const auto& line : LinesAt(LogTimeFormat_DateTimeMillisec, false)) {
        EXPECT_TRUE(line.framed);
        EXPECT_EQ(line.function, "");
    }
}

TEST(LibraryLines, AreSeenAsCut)
{
    LogCapture capture;
    const std::string longest(3839, 'm');
    LOG_LINE(LogLevel_Info, "C_Sample", "%s", longest.c_str());
    LOG_LINE(LogLevel_Info, "C_Sample", "short VERB:%s", std::string(3700, 'v').c_str());
    LOG_LINE(LogLevel_Info, "C_Sample", "%s VERB:%s", std::string(1900, 'd').c_str(),
             std::string(1900, 'v').c_str());
    const auto lines = ParseAll(capture.Text());
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].description, longest);
    EXPECT_FALSE(lines[0].cut);
    EXPECT_TRUE(lines[1].cut) << "the tail is";
    EXPECT_FALSE(lines[2].cut);
}

TEST(LibraryLines, OfAFrameMakeACall)
{
    CallList calls;
    std::vector<Call> ended;
    for (const auto& line : LinesAt(LogTimeFormat_Millisec, true)) {
        for (auto& call : calls.Take(true, line)) {
            ended.push_back(std::move(call));
        }
    }
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].entering.function, "C_Login");
    EXPECT_EQ(ended[0].result, "a0 CKR_PIN_INCORRECT");
    EXPECT_EQ(ended[0].unit, Unit::milliseconds);
}

TEST(LibraryLines, OfASessionHeaderHaveNoFrameAndOneDate)
{
    const TestLog log;
    Logger logger;
    LogSettings settings;
    settings.logDirectory = log.Folder().u16string() + u"/";
    settings.logFileName = u"Pkcs11";
    logger.Initialize(&settings);
    std::ifstream file(log.Folder() / "Pkcs11.log", std::ios::binary);
    const auto lines = ParseAll({std::istreambuf_iterator<char>(file), {}});
    EXPECT_GE(lines.size(), 8U);
    int dates = 0;
    for (const auto& line : lines) {
        EXPECT_FALSE(line.framed) << line.text;
        dates += ParseHeaderTime(line.text) ? 1 : 0;
    }
    EXPECT_EQ(dates, 1);
}
