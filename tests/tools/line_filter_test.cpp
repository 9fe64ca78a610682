#include "tests/tools/test_log.h"
#include "tools/tavrik-log/line_filter.h"

#include <gtest/gtest.h>

using namespace logtool;

namespace {

LogLine Line(const std::string& level, const std::string& function = "C_Sign",
             const std::string& time = testTime)
{
    return Parsed(ExtensiveLine(level, time, "text", "1", function));
}

std::time_t At(const std::string& text)
{
    return ParseTimeArgument(text, 0).value();
}

const LogLine headerLine = ParseLine("Process Architecture: x64");

} // namespace

TEST(LineFilter, ShowsEverythingByDefault)
{
    LineFilter filter({});
    EXPECT_TRUE(filter.Shows(1, Line(" DBG")));
    EXPECT_TRUE(filter.Shows(1, headerLine));
    EXPECT_TRUE(filter.Notes().empty());
}

TEST(LineFilter, LevelLetsThroughTheMoreSevere)
{
    LineFilter filter({Level::warning, {}, {}, {}});
    EXPECT_TRUE(filter.Shows(1, Line(" ERR")));
    EXPECT_TRUE(filter.Shows(1, Line("WARN")));
    EXPECT_FALSE(filter.Shows(1, Line("INFO")));
    EXPECT_FALSE(filter.Shows(1, Line(" DBG")));
    EXPECT_FALSE(filter.Shows(1, Line("Unknown")));
    EXPECT_FALSE(filter.Shows(1, headerLine));
}

TEST(LineFilter, FunctionIsANameOrAPattern)
{
    LineFilter filter({{}, {"C_Login", "C_Sign*"}, {}, {}});
    EXPECT_TRUE(filter.Shows(1, Line("INFO", "C_Login")));
    EXPECT_TRUE(filter.Shows(1, Line("INFO", "C_SignInit")));
    EXPECT_FALSE(filter.Shows(1, Line("INFO", "C_Logout")));
    EXPECT_FALSE(filter.Shows(1, Line("INFO", "SignManager::Sign")));
    EXPECT_FALSE(filter.Shows(1, headerLine));
    EXPECT_TRUE(filter.Notes().empty());
}

TEST(LineFilter, LinesWithoutAFunctionAreLeftOutAndNoted)
{
    LineFilter filter({{}, {"C_*"}, {}, {}});
    EXPECT_FALSE(filter.Shows(1, Parsed(PlainLine("INFO", testTime, "text"))));
    ASSERT_EQ(filter.Notes().size(), 1U);
    EXPECT_NE(filter.Notes()[0].find("\"extensive\""), std::string::npos);
}

TEST(LineFilter, TimesIncludeBothEnds)
{
    LineFilter filter({{}, {}, At("2026-11-12 12:10:02"), At("2026-11-12 12:10:03")});
    EXPECT_FALSE(filter.Shows(1, Line("INFO", "F", "Thu Nov 12 12:10:01 2026")));
    EXPECT_TRUE(filter.Shows(1, Line("INFO", "F", "Thu Nov 12 12:10:02 2026 00000001")));
    EXPECT_TRUE(filter.Shows(1, Line("INFO", "F", "Thu Nov 12 12:10:03 2026")));
    EXPECT_FALSE(filter.Shows(1, Line("INFO", "F", "Thu Nov 12 12:10:04 2026")));
    EXPECT_FALSE(filter.Shows(1, headerLine));
}

TEST(LineFilter, LinesWithoutADateGoByTheirSession)
{
    LineFilter filter({{}, {}, {}, At("2026-11-12 12:00:00")});
    filter.Shows(1, ParseLine("DateTime: 2026-11-12 11:00:00"));
    EXPECT_TRUE(filter.Shows(1, Line("INFO", "F", "00000001")));
    EXPECT_FALSE(filter.Notes().empty());
    filter.Shows(1, ParseLine("DateTime: 2026-11-12 12:00:01"));
    EXPECT_FALSE(filter.Shows(1, Line("INFO", "F", "00000001")));
    EXPECT_TRUE(filter.Shows(2, Line("INFO", "F", "00000001"))) << "another file has its own sessions";
}

TEST(LineFilter, SinceLeavesOutNoLineWithoutADate)
{
    LineFilter filter({{}, {}, At("2026-11-12 12:00:00"), {}});
    filter.Shows(1, ParseLine("DateTime: 2026-11-01 11:00:00"));
    EXPECT_TRUE(filter.Shows(1, Line("INFO", "F", "00000001")))
        << "it can be of any time after the session's begin";
    EXPECT_EQ(filter.Notes().size(), 1U);
}
