#include "tools/tavrik-log/log_line.h"

#include <gtest/gtest.h>

using namespace logtool;

namespace {

const std::string front = "INFO; Thu Nov 12 12:10:02 2026 00000123;      pkcs11_x64; ";

} // namespace

TEST(LogLine, ShortLineHasNoTail)
{
    const LogLine line = ParseLine(front + "Session opened");
    EXPECT_TRUE(line.framed);
    EXPECT_EQ(line.level, Level::info);
    EXPECT_EQ(line.module, "pkcs11_x64");
    EXPECT_EQ(line.description, "Session opened");
    EXPECT_EQ(line.thread, "");
    EXPECT_EQ(line.time.counter, 123U);
    EXPECT_FALSE(line.cut);
}

TEST(LogLine, TailIsTakenApart)
{
    const LogLine line = ParseLine(front + "Session opened; ThID: 0x1f3c; VERB: C_OpenSession;  slotID 1; x");
    EXPECT_EQ(line.description, "Session opened");
    EXPECT_EQ(line.thread, "0x1f3c");
    EXPECT_EQ(line.function, "C_OpenSession");
    EXPECT_EQ(line.verbose, "slotID 1; x");
}

TEST(LogLine, MarksInTheVerboseTextBelongToIt)
{
    const LogLine line = ParseLine(front + "a; ThID: 0x1; VERB: F;  b; ThID: 0x2; VERB: G");
    EXPECT_EQ(line.function, "F");
    EXPECT_EQ(line.verbose, "b; ThID: 0x2; VERB: G");
}

TEST(LogLine, EachLevelIsKnown)
{
    EXPECT_EQ(ParseLine(" ERR; ; m; d").level, Level::error);
    EXPECT_EQ(ParseLine("WARN; ; m; d").level, Level::warning);
    EXPECT_EQ(ParseLine(" DBG; ; m; d").level, Level::debug);
    EXPECT_TRUE(ParseLine("Unknown; ; m; d").framed);
}

TEST(LogLine, ColumnTitlesAreNoLine)
{
    EXPECT_FALSE(ParseLine("Log Level; Time; Module; Description; Thread; VERB: Function").framed);
    EXPECT_FALSE(ParseLine("").framed);
    EXPECT_FALSE(ParseLine("INFO; not a time; m; d").framed);
}

TEST(LogLine, LineOfTheGreatestLengthIsCut)
{
    EXPECT_TRUE(ParseLine(front + std::string(4093 - front.size(), 'x')).cut);
    EXPECT_FALSE(ParseLine(front + std::string(4092 - front.size(), 'x')).cut);
}

TEST(LogLine, TailOfTheGreatestLengthIsCut)
{
    const std::string tail = "; ThID: 0x1; VERB: F;  ";
    EXPECT_TRUE(ParseLine(front + "d" + tail + std::string(3581 - tail.size(), 'x')).cut);
    EXPECT_FALSE(ParseLine(front + "d" + tail + std::string(3580 - tail.size(), 'x')).cut);
}

TEST(LogLine, TailCutBehindTheThreadHasNoFunction)
{
    const LogLine line = ParseLine(front + "d; ThID: 0x1");
    EXPECT_EQ(line.thread, "0x1");
    EXPECT_EQ(line.function, "");
}

TEST(LogLine, LineWithoutAFrameIsCutWhenNoMoreOfItIsRead)
{
    EXPECT_TRUE(ParseLine(std::string(longestReadLine, 'x')).cut);
    EXPECT_FALSE(ParseLine(std::string(longestReadLine - 1, 'x')).cut);
}

TEST(LogLine, NothingOfALineIsLeftForTheNext)
{
    LineReader reader;
    const std::string whole = front + "Session opened; ThID: 0x1f3c; VERB: C_OpenSession;  slotID 1";
    EXPECT_EQ(reader.Read(whole).verbose, "slotID 1");
    const LogLine shorter = reader.Read(front + "Session opened");
    EXPECT_EQ(shorter.thread + shorter.function + shorter.verbose, "");
    const LogLine unframed = reader.Read("INFO; not a time; m; d");
    EXPECT_FALSE(unframed.framed);
    EXPECT_EQ(unframed.level, Level::unknown);
    EXPECT_EQ(unframed.time.text + unframed.module + unframed.description, "");
    EXPECT_FALSE(unframed.time.date || unframed.time.counter);
}
