#include "src/log/log_settings.h"

#include <gtest/gtest.h>

namespace {

template <typename Field>
std::ptrdiff_t OffsetOf(const LogSettings& settings, const Field& field)
{
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&settings);
}

} // namespace

// The card-access library reads the leading bytes of this record by their positions.
TEST(LogSettings, LeadingFieldsStandAtTheirBytes)
{
    const LogSettings settings;
    EXPECT_EQ(OffsetOf(settings, settings.logToConsole), 0);
    EXPECT_EQ(OffsetOf(settings, settings.logToDebugger), 1);
    EXPECT_EQ(OffsetOf(settings, settings.logToFile), 2);
    EXPECT_EQ(OffsetOf(settings, settings.logFromLevel), 3);
    EXPECT_EQ(OffsetOf(settings, settings.extensive), 4);
    EXPECT_EQ(OffsetOf(settings, settings.reserved5), 5);
    EXPECT_EQ(OffsetOf(settings, settings.timeFormat), 6);
    EXPECT_EQ(OffsetOf(settings, settings.reserved7), 7);
    EXPECT_EQ(OffsetOf(settings, settings.fileCount), 13);
}

TEST(LogSettings, LaterFieldsFollowInOrder)
{
    const LogSettings settings;
    EXPECT_EQ(OffsetOf(settings, settings.logDirectory), 16);
    EXPECT_LT(OffsetOf(settings, settings.logDirectory), OffsetOf(settings, settings.logFileName));
    EXPECT_LT(OffsetOf(settings, settings.logFileName), OffsetOf(settings, settings.rotationMode));
    EXPECT_LT(OffsetOf(settings, settings.rotationMode), OffsetOf(settings, settings.maxFileSize));
    EXPECT_LT(OffsetOf(settings, settings.maxFileSize), OffsetOf(settings, settings.maxFileAgeDays));
}

TEST(LogSettings, FlagsAreSingleBytesWithPlainValues)
{
    LogSettings settings;
    static_assert(sizeof(settings.logToConsole) == 1 && sizeof(settings.logToDebugger) == 1);
    static_assert(sizeof(settings.logToFile) == 1 && sizeof(settings.extensive) == 1);
    static_assert(sizeof(settings.logFromLevel) == 1 && sizeof(settings.timeFormat) == 1);
    static_assert(sizeof(settings.reserved5) == 1 && sizeof(settings.reserved7) == 6);
    static_assert(sizeof(settings.fileCount) == 1 && sizeof(settings.rotationMode) == 1);
    static_assert(sizeof(settings.maxFileSize) == 8 && sizeof(settings.maxFileAgeDays) == 8);

    settings.logToConsole = true;
    settings.logToFile = false;
    settings.logFromLevel = LogLevel_Debug;
    settings.timeFormat = LogTimeFormat_Millisec;
    const auto* bytes = reinterpret_cast<const unsigned char*>(&settings);
    const unsigned char expected[] = {1, 0, 0, 3, 0, 0, 2, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), bytes));
}

TEST(LogSettings, HasTheDefaultsOfTheTimeBeforeTheStart)
{
    const LogSettings settings;
    EXPECT_FALSE(settings.logToConsole);
    EXPECT_FALSE(settings.logToDebugger);
    EXPECT_TRUE(settings.logToFile);
    EXPECT_EQ(settings.logFromLevel, 2);
    EXPECT_FALSE(settings.extensive);
    EXPECT_EQ(settings.reserved5, 0);
    EXPECT_EQ(settings.timeFormat, 0);
    for (const uint8_t byte : settings.reserved7) {
        EXPECT_EQ(byte, 0);
    }
    EXPECT_EQ(settings.fileCount, 1);
    EXPECT_EQ(settings.logDirectory, u"./");
    EXPECT_EQ(settings.logFileName, u"CardAPI_default");
    EXPECT_EQ(settings.rotationMode, 3);
    EXPECT_EQ(settings.maxFileSize, 2097152U);
    EXPECT_EQ(settings.maxFileAgeDays, 7U);
}

TEST(LogSettings, CopiesAllFields)
{
    LogSettings source;
    source.logToConsole = true;
    source.extensive = true;
    source.timeFormat = LogTimeFormat_Millisec;
    source.logFileName = u"other";
    LogSettings copy;
    copy = source;
    EXPECT_TRUE(copy.logToConsole);
    EXPECT_TRUE(copy.extensive);
    EXPECT_EQ(copy.timeFormat, LogTimeFormat_Millisec);
    EXPECT_EQ(copy.logFileName, u"other");
}
