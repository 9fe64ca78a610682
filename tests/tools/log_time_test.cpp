#include "tools/tavrik-log/log_time.h"

#include <gtest/gtest.h>

using namespace logtool;

TEST(LogTime, FieldHasDateOrCounterOrBothOrNothing)
{
    EXPECT_EQ(IsoTime(ParseTimeField("Thu Nov 12 12:10:02 2026")->date.value()), "2026-11-12T12:10:02");
    EXPECT_FALSE(ParseTimeField("Thu Nov 12 12:10:02 2026")->counter);
    EXPECT_EQ(ParseTimeField("Thu Nov 12 12:10:02 2026 00000123")->counter, 123U);
    EXPECT_EQ(ParseTimeField("123456789")->counter, 123456789U);
    EXPECT_FALSE(ParseTimeField("123456789")->date);
    EXPECT_FALSE(ParseTimeField("")->date);
}

TEST(LogTime, DayOfOneDigitIsRead)
{
    EXPECT_EQ(IsoTime(ParseTimeField("Mon Nov  2 02:03:04 2026")->date.value()), "2026-11-02T02:03:04");
}

TEST(LogTime, OtherFieldsAreNoTime)
{
    EXPECT_FALSE(ParseTimeField("Time"));
    EXPECT_FALSE(ParseTimeField("Thu Nov 12 12:10:02 2026 x"));
    EXPECT_FALSE(ParseTimeField("Thu Nov 12 12:10:02 2026-00000123"));
}

TEST(LogTime, ShorterDateIsNoTime)
{
    EXPECT_FALSE(ParseTimeField("Thu Nov 1 12:10:02 2026"));
    EXPECT_FALSE(ParseTimeField("Thu Nov 1 12:10:2 2026"));
}

TEST(LogTime, DateThatGoesOnBehindAZeroIsNoTime)
{
    using namespace std::string_literals;
    EXPECT_FALSE(ParseTimeField("Thu Nov 12 12:10:02 2\00026"s));
    EXPECT_FALSE(ParseTimeField("Thu Nov 1 1:1:1 2026\000\x1b[2"s));
    EXPECT_FALSE(ParseHeaderTime("DateTime: 2026-11-12 12:10:02\0x"s));
}

TEST(LogTime, DatesReadOneAfterAnotherAreThoseReadAlone)
{
    TimeReader reader;
    for (const char* text :
         {"Thu Nov 12 12:10:02 2026", "Thu Nov 12 12:10:59 2026 00000007", "Thu Nov 12 12:10:60 2026",
          "Thu Nov 12 12:10:00 2026", "Thu Nov 12 12:10:00 2027", "Thu Nov 12 12:11:00 2027",
          "thu nov 12 12:11:05 2027", "Thu Nov 12 13:11:05 2027", "Thu Nov 12 13:11: 6 2027", "00000008", "",
          "Thu Nov 12 13:11:06 2027", "Xhu Nov 12 13:11:06 2027"}) {
        LineTime time;
        const bool read = reader.Read(text, time);
        const auto alone = ParseTimeField(text);
        ASSERT_EQ(read, alone.has_value()) << text;
        if (read) {
            EXPECT_EQ(time.date, alone->date) << text;
            EXPECT_EQ(time.counter, alone->counter) << text;
            EXPECT_EQ(time.text, text);
        }
    }
}

TEST(LogTime, HeaderTimeIsFoundBehindOtherText)
{
    const auto time = ParseHeaderTime("Operating system: x64 DateTime: 2026-11-12 12:10:02");
    EXPECT_EQ(IsoTime(time.value()), "2026-11-12T12:10:02");
    EXPECT_FALSE(ParseHeaderTime("DateTime: "));
    EXPECT_FALSE(ParseHeaderTime("Process name: x"));
}

TEST(LogTime, ArgumentsAreDatesTimesOfTodayOrAges)
{
    const std::time_t now = ParseTimeArgument("2026-11-12 12:10:02", 0).value();
    EXPECT_EQ(IsoTime(now), "2026-11-12T12:10:02");
    EXPECT_EQ(IsoTime(ParseTimeArgument("2026-11-11", now).value()), "2026-11-11T00:00:00");
    EXPECT_EQ(IsoTime(ParseTimeArgument("09:30", now).value()), "2026-11-12T09:30:00");
    EXPECT_EQ(IsoTime(ParseTimeArgument("09:30:05", now).value()), "2026-11-12T09:30:05");
    EXPECT_EQ(ParseTimeArgument("10m", now), now - 600);
    EXPECT_EQ(ParseTimeArgument("2h", now), now - 7200);
    for (const char* bad : {"", "10", "m", "2x", "-5m", "tomorrow", "2026-11-12 12:10:02 x"}) {
        EXPECT_FALSE(ParseTimeArgument(bad, now)) << bad;
    }
}
