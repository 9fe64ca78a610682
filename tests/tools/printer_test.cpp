#include "tests/tools/test_log.h"
#include "tools/tavrik-log/printer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>

using namespace logtool;

namespace {

const LogLine sample =
    Parsed(ExtensiveLine(" ERR", testTime, "Session opened", "1f3c", "C_OpenSession", "slotID 1"));

Call SampleCall(const std::string& result, Unit unit, uint64_t duration)
{
    Call call;
    call.entering = Parsed(ExtensiveLine(" DBG", testTime, "PKCS11_FUNCTION_ENTERING", "1f3c", "C_Sign"));
    call.result = result;
    call.unit = unit;
    call.duration = duration;
    return call;
}

} // namespace

TEST(Printer, LineHasItsColumns)
{
    Printer printer({});
    EXPECT_EQ(printer.Line(sample),
              "ERR   " + testTime + "  pkcs11_x64  0x1f3c  C_OpenSession  Session opened | slotID 1\n");
}

TEST(Printer, ColumnsGrowAndStayAligned)
{
    Printer printer({});
    printer.Line(sample);
    const std::string line = printer.Line(Parsed(ExtensiveLine("INFO", testTime, "text", "1", "C_Sign")));
    EXPECT_EQ(line, "INFO  " + testTime + "  pkcs11_x64  0x1     C_Sign         text\n");
}

TEST(Printer, LinesWithoutATailHaveNoColumnsForIt)
{
    Printer printer({});
    EXPECT_EQ(printer.Line(Parsed(PlainLine("INFO", testTime, "text"))),
              "INFO  " + testTime + "  pkcs11_x64  text\n");
}

TEST(Printer, LineWithoutAFrameStandsAsItIs)
{
    Printer printer({});
    EXPECT_EQ(printer.Line(ParseLine("Process Architecture: x64")), "Process Architecture: x64\n");
    EXPECT_EQ(printer.Line(ParseLine("")), "\n");
}

TEST(Printer, ColoursTellLevels)
{
    Printer printer({false, true, 0});
    EXPECT_TRUE(printer.Line(sample).starts_with("\x1b[31mERR "));
    EXPECT_TRUE(printer.Line(sample).ends_with("\x1b[0m\n"));
    EXPECT_TRUE(printer.Line(Parsed(PlainLine("WARN", testTime, "t"))).starts_with("\x1b[33m"));
    EXPECT_TRUE(printer.Line(Parsed(PlainLine(" DBG", testTime, "t"))).starts_with("\x1b[2m"));
    EXPECT_TRUE(printer.Line(Parsed(PlainLine("INFO", testTime, "t"))).starts_with("INFO"));
}

TEST(Printer, LongLinesGoOnBelowTheirDescription)
{
    Printer printer({false, false, 70});
    const std::string text = printer.Line(Parsed(PlainLine("INFO", testTime, std::string(50, 'x'))));
    const std::string indent(44, ' ');
    EXPECT_EQ(text, "INFO  " + testTime + "  pkcs11_x64  " + std::string(26, 'x') + "\n" + indent +
                        std::string(24, 'x') + "\n");
}

TEST(Printer, CharactersAreNotCutApart)
{
    Printer printer({false, false, 64});
    std::string accented;
    for (int count = 0; count < 25; ++count) {
        accented += "\u017E";
    }
    const std::string text = printer.Line(Parsed(PlainLine("INFO", testTime, accented)));
    EXPECT_EQ(text, "INFO  " + testTime + "  pkcs11_x64  " + accented.substr(0, 40) + "\n" +
                        std::string(44, ' ') + accented.substr(40) + "\n");
}

TEST(Printer, LineThatTheLibraryCutIsMarked)
{
    Printer printer({});
    const std::string text = printer.Line(Parsed(PlainLine("INFO", testTime, std::string(4044, 'x'))));
    EXPECT_TRUE(text.ends_with("x [cut]\n"));
}

TEST(Printer, ControlCharactersNeverReachTheTerminal)
{
    Printer printer({});
    const std::string text = printer.Line(Parsed(PlainLine("INFO", testTime,
                                                           "a\x1b[2Jb\tc\x7f"
                                                           "d")));
    EXPECT_TRUE(text.ends_with("  a?[2Jb?c?d\n")) << text;
}

TEST(Printer, ControlCharactersOfTheTimeAreShownAsOthersAre)
{
    EXPECT_EQ(Printer({}).Line(Parsed(PlainLine("INFO", "Thu Nov\r12 12:10:02\v2026", "d"))),
              "INFO  Thu Nov?12 12:10:02?2026  pkcs11_x64  d\n");
}

TEST(Printer, TerminalGetsNoControlCharacters)
{
    Printer printer({false, false, 0, true});
    const std::string csi = "\u009b"; // in one character what ESC and [ are in two
    const std::string reversed = "\u202e";
    EXPECT_EQ(printer.Line(Parsed(ExtensiveLine("INFO", testTime, "a" + csi + "2J", "1" + csi,
                                                "C_" + reversed + "x", "\x1b\x7f\u00e1"))),
              "INFO  " + testTime + "  pkcs11_x64  0x1?  C_?x  a?2J | ??\u00e1\n");
    EXPECT_EQ(printer.Line(Parsed(PlainLine("INFO", "Thu Nov\r12 12:10:02\v2026", "d"))),
              "INFO  Thu Nov?12 12:10:02?2026  pkcs11_x64              d\n");
    EXPECT_EQ(printer.Line(ParseLine("x" + csi)), "x?\n");
}

TEST(Printer, JsonOnATerminalEscapesControlCharacters)
{
    Printer printer({true, false, 0, true});
    const std::string description = "\x1b[2J\x7f\u009b\u202e\u017e";
    const std::string text = printer.Line(Parsed(PlainLine("INFO", testTime, description)));
    EXPECT_NE(text.find("\\u001b[2J\\u007f\\u009b\\u202e\u017e"), std::string::npos) << text;
    EXPECT_EQ(nlohmann::json::parse(text).at("description"), description);
}

TEST(Printer, LineThatIsLongerThanIsReadIsMarked)
{
    const LogLine line = ParseLine(std::string(longestReadLine, 'x'));
    EXPECT_TRUE(Printer({}).Line(line).ends_with("x [cut]\n"));
    EXPECT_EQ(nlohmann::json::parse(Printer({true, false, 0}).Line(line)).at("cut"), true);
}

TEST(Printer, LongestLineIsBrokenWhole)
{
    Printer printer({false, false, 80, true});
    std::string text = printer.Line(ParseLine(std::string(longestReadLine - 1, 'x')));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
              static_cast<std::ptrdiff_t>(longestReadLine / 80 + 1));
    std::erase(text, '\n');
    EXPECT_EQ(text.size(), longestReadLine - 1);
}

TEST(Printer, ColumnsDoNotGrowBeyondTheLibrarysLongestLine)
{
    Printer printer({});
    printer.Line(
        Parsed(ExtensiveLine("INFO", testTime, "text", std::string(longestLibraryLine, '1'), "C_Sign")));
    EXPECT_EQ(printer.Line(Parsed(ExtensiveLine("INFO", testTime, "text", "1", "C_Sign"))),
              "INFO  " + testTime + "  pkcs11_x64  0x1  C_Sign  text\n");
}

TEST(Printer, BytesThatAreNoUtf8AreReplaced)
{
    EXPECT_EQ(Printable("a\xFF"
                        "b\xC5",
                        false),
              "a\uFFFDb\uFFFD");
}

TEST(Printer, LineAsJsonHasEveryField)
{
    Printer printer({true, true, 20});
    const std::string text = printer.Line(sample);
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json, (nlohmann::json{{"level", "error"},
                                    {"time", "2026-11-12T12:10:02"},
                                    {"counter", nullptr},
                                    {"module", "pkcs11_x64"},
                                    {"description", "Session opened"},
                                    {"thread", "0x1f3c"},
                                    {"function", "C_OpenSession"},
                                    {"verbose", "slotID 1"},
                                    {"cut", false}}));
}

TEST(Printer, JsonIsUtf8WhateverTheBytes)
{
    Printer printer({true, false, 0});
    const auto json =
        nlohmann::json::parse(printer.Line(Parsed(PlainLine("INFO", "00000005", "\xFF\x01\"\\"))));
    EXPECT_EQ(json.at("description"), "\uFFFD\x01\"\\");
    EXPECT_EQ(json.at("counter"), 5);
    EXPECT_EQ(json.at("time"), nullptr);
    EXPECT_EQ(nlohmann::json::parse(printer.Line(ParseLine("no frame"))),
              (nlohmann::json{{"text", "no frame"}}));
}

TEST(Printer, CallHasItsDurationFirst)
{
    Printer printer({});
    EXPECT_EQ(printer.OneCall(SampleCall("0 CKR_OK", Unit::milliseconds, 1134)),
              "   1134 ms  " + testTime + "  0x1f3c  C_Sign  0 CKR_OK\n");
    EXPECT_EQ(printer.OneCall(SampleCall("0 CKR_OK", Unit::seconds, 3)),
              "       3 s  " + testTime + "  0x1f3c  C_Sign  0 CKR_OK\n");
    EXPECT_EQ(printer.OneCall(SampleCall("", Unit::none, 0)),
              "         -  " + testTime + "  0x1f3c  C_Sign  no leaving line\n");
}

TEST(Printer, FailedCallsAreRed)
{
    Printer printer({false, true, 0});
    EXPECT_TRUE(
        printer.OneCall(SampleCall("a0 CKR_PIN_INCORRECT", Unit::milliseconds, 1)).starts_with("\x1b[31m"));
    EXPECT_FALSE(printer.OneCall(SampleCall("0 CKR_OK", Unit::milliseconds, 1)).starts_with("\x1b"));
    EXPECT_FALSE(printer.OneCall(SampleCall("", Unit::none, 0)).starts_with("\x1b"));
}

TEST(Printer, CallAsJsonSaysTheUnit)
{
    Printer printer({true, false, 0});
    const auto timed = nlohmann::json::parse(printer.OneCall(SampleCall("0 CKR_OK", Unit::milliseconds, 7)));
    EXPECT_EQ(timed.at("duration"), 7);
    EXPECT_EQ(timed.at("unit"), "ms");
    EXPECT_EQ(timed.at("function"), "C_Sign");
    EXPECT_EQ(timed.at("result"), "0 CKR_OK");
    const auto open = nlohmann::json::parse(printer.OneCall(SampleCall("", Unit::none, 0)));
    EXPECT_EQ(open.at("duration"), nullptr);
    EXPECT_EQ(open.at("unit"), nullptr);
    EXPECT_EQ(open.at("result"), nullptr);
}
