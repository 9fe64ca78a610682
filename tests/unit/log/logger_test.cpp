#include "src/log/logger.h"

#include "src/platform/platform.h"
#include "tests/support/host_locale.h"
#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

#include <regex.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <map>
#include <sstream>
#include <thread>

namespace {

// What `emit` makes a new Logger with these settings write to the standard output.
template <typename Work>
std::string ConsoleOf(const LogSettings& settings, Work&& emit, const LogSystem& system = {})
{
    Logger logger(system);
    logger.Settings() = settings;
    testing::internal::CaptureStdout();
    emit(logger);
    return testing::internal::GetCapturedStdout();
}

LogSettings ConsoleSettings(LogTimeFormat timeFormat = LogTimeFormat_Millisec, bool extensive = false)
{
    LogSettings settings;
    settings.logToConsole = true;
    settings.logToFile = false;
    settings.timeFormat = timeFormat;
    settings.extensive = extensive;
    return settings;
}

// The line of one message.
std::string LineOf(const LogSettings& settings, const std::string& text, LogLevel level = LogLevel_Info,
                   const char* function = "C_Sample", const LogSystem& system = {})
{
    const auto emit = [&](Logger& logger) {
        std::vector<char> message(text.begin(), text.end());
        message.resize(logMessageSize);
        logger.Emit(level, message.data(), function);
    };
    return ConsoleOf(settings, emit, system);
}

std::string ThreadField()
{
    char field[32] = {};
    static_cast<void>(snprintf(field, sizeof(field), "ThID: 0x%x", static_cast<unsigned>(gettid())));
    return field;
}

// The line without its level, time and module fields.
std::string MessageOf(const std::string& line)
{
    const std::string module = "      pkcs11_x64; ";
    const auto found = line.find(module);
    return found == std::string::npos ? "no module field: " + line : line.substr(found + module.size());
}

std::string DateTimeNow()
{
    const std::time_t now = std::time(nullptr);
    char text[64] = {};
    ctime_r(&now, text);
    text[std::strlen(text) - 1] = '\0';
    return text;
}

// Whether the whole text has the form of an extended regular expression of the C library.
bool HasForm(const std::string& text, const std::string& form)
{
    regex_t compiled{};
    if (regcomp(&compiled, ("^" + form + "$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        ADD_FAILURE() << "not a regular expression: " << form;
        return false;
    }
    const bool matches = regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&compiled);
    return matches;
}

constexpr int64_t nanosecondsPerMillisecond = 1000000;

// The line of the message "text" so long after the Logger was made.
std::string LineAfter(int64_t nanoseconds, LogTimeFormat timeFormat)
{
    int64_t reading = 777 * nanosecondsPerMillisecond + 5;
    LogSystem system;
    system.steadyClockNanoseconds = [&reading] { return reading; };
    const auto emit = [&reading, nanoseconds](Logger& logger) {
        reading += nanoseconds;
        char message[] = "text";
        logger.Emit(LogLevel_Info, message, "C_Sample");
    };
    return ConsoleOf(ConsoleSettings(timeFormat), emit, system);
}

// Gives the process's Logger back its settings.
class LogLine : public testing::Test
{
protected:
    LogLine() : saved(Logger::Instance().Settings()) { Set(ConsoleSettings()); }
    ~LogLine() override { Set(saved); }

    static void Set(const LogSettings& settings) { Logger::Instance().Settings() = settings; }

private:
    LogSettings saved;
};

struct LevelRow
{
    int level;
    const char* text;
};

class LevelTexts : public testing::TestWithParam<LevelRow>
{
};

} // namespace

TEST_P(LevelTexts, BeginTheLine)
{
    const auto line = LineOf(ConsoleSettings(), "text", static_cast<LogLevel>(GetParam().level));
    EXPECT_EQ(line.substr(0, line.find(';') + 2), std::string(GetParam().text) + "; ");
}
INSTANTIATE_TEST_SUITE_P(All, LevelTexts,
                         testing::Values(LevelRow{0, " ERR"}, LevelRow{1, "WARN"}, LevelRow{2, "INFO"},
                                         LevelRow{3, " DBG"}, LevelRow{4, "Unknown"},
                                         LevelRow{255, "Unknown"}),
                         [](const auto& row) { return "Level" + std::to_string(row.param.level); });

TEST(Logger, HasItsSettingsAtItsAddress)
{
    const Logger logger;
    EXPECT_EQ(static_cast<const void*>(&logger), static_cast<const void*>(&logger.Settings()));
}

TEST(Logger, InstanceIsAlwaysTheSame)
{
    Logger* fromThread = nullptr;
    std::thread([&fromThread] { fromThread = &Logger::Instance(); }).join();
    EXPECT_EQ(&Logger::Instance(), fromThread);
}

TEST(Logger, TimeFieldOfFormatDateTimeIsTheDateAndTimeText)
{
    const auto before = DateTimeNow();
    const auto line = LineOf(ConsoleSettings(LogTimeFormat_DateTime), "text");
    const auto after = DateTimeNow();
    const std::string rest = ";      pkcs11_x64; text\r\n";
    EXPECT_TRUE(line == "INFO; " + before + rest || line == "INFO; " + after + rest) << line;
    EXPECT_TRUE(
        HasForm(line, "INFO; [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4};.*"))
        << line;
}

TEST(Logger, TimeFieldOfFormatDateTimeMillisecAddsTheCounter)
{
    const auto before = DateTimeNow();
    const auto line = LineAfter(123 * nanosecondsPerMillisecond, LogTimeFormat_DateTimeMillisec);
    const auto after = DateTimeNow();
    const std::string rest = " 00000123;      pkcs11_x64; text\r\n";
    EXPECT_TRUE(line == "INFO; " + before + rest || line == "INFO; " + after + rest) << line;
}

TEST(Logger, TimeFieldOfFormatMillisecIsTheCounterAlone)
{
    EXPECT_EQ(LineAfter(123 * nanosecondsPerMillisecond, LogTimeFormat_Millisec),
              "INFO; 00000123;      pkcs11_x64; text\r\n");
}

TEST(Logger, TimeFieldOfAnyOtherFormatIsEmpty)
{
    EXPECT_EQ(LineOf(ConsoleSettings(static_cast<LogTimeFormat>(3)), "text"),
              "INFO; ;      pkcs11_x64; text\r\n");
    EXPECT_EQ(LineOf(ConsoleSettings(static_cast<LogTimeFormat>(255)), "text"),
              "INFO; ;      pkcs11_x64; text\r\n");
}

TEST(Logger, CounterCountsFromTheMakingOfTheLogger)
{
    EXPECT_EQ(LineAfter(0, LogTimeFormat_Millisec), "INFO; 00000000;      pkcs11_x64; text\r\n");
}

TEST(Logger, CounterGrowsBeyondEightDigits)
{
    EXPECT_EQ(LineAfter(99999999 * nanosecondsPerMillisecond, LogTimeFormat_Millisec),
              "INFO; 99999999;      pkcs11_x64; text\r\n");
    EXPECT_EQ(LineAfter(100000000 * nanosecondsPerMillisecond, LogTimeFormat_Millisec),
              "INFO; 100000000;      pkcs11_x64; text\r\n");
}

TEST(Logger, CounterIsCutToWholeMilliseconds)
{
    EXPECT_EQ(LineAfter(7 * nanosecondsPerMillisecond - 1, LogTimeFormat_Millisec),
              "INFO; 00000006;      pkcs11_x64; text\r\n");
}

TEST(Logger, ModuleFieldIsFifteenCharactersWide)
{
    const auto line = LineOf(ConsoleSettings(static_cast<LogTimeFormat>(9)), "text");
    EXPECT_EQ(line.substr(8, 15), "     pkcs11_x64");
}

TEST(Logger, ShowsTheDescriptionAloneWithoutExtensive)
{
    EXPECT_EQ(MessageOf(LineOf(ConsoleSettings(), "Session opened VERB:slotID 1 session handle 0x5")),
              "Session opened\r\n");
}

TEST(Logger, ShowsThreadFunctionAndVerboseTextWithExtensive)
{
    EXPECT_EQ(
        MessageOf(LineOf(ConsoleSettings(LogTimeFormat_Millisec, true),
                         "Session opened VERB:slotID 1 session handle 0x5", LogLevel_Info, "C_OpenSession")),
        "Session opened; " + ThreadField() + "; VERB: C_OpenSession;  slotID 1 session handle 0x5\r\n");
}

TEST(Logger, KeepsTheBlankBehindTheMarker)
{
    EXPECT_EQ(MessageOf(LineOf(ConsoleSettings(LogTimeFormat_Millisec, true),
                               "Log parse info VERB: File is too large", LogLevel_Debug, "InitializePKCS11")),
              "Log parse info; " + ThreadField() + "; VERB: InitializePKCS11;   File is too large\r\n");
}

TEST(Logger, EndsTheLineWithTheFunctionWhenThereIsNoMarker)
{
    EXPECT_EQ(MessageOf(LineOf(ConsoleSettings(LogTimeFormat_Millisec, true), "Going to initialize CardAPI",
                               LogLevel_Debug, "InitializePKCS11")),
              "Going to initialize CardAPI; " + ThreadField() + "; VERB: InitializePKCS11\r\n");
}

TEST(Logger, SplitsAtTheFirstOfTwoMarkers)
{
    EXPECT_EQ(MessageOf(LineOf(ConsoleSettings(LogTimeFormat_Millisec, true), "one VERB:two VERB:three")),
              "one; " + ThreadField() + "; VERB: C_Sample;  two VERB:three\r\n");
}

TEST(Logger, ShowsAnEmptyVerboseText)
{
    EXPECT_EQ(MessageOf(LineOf(ConsoleSettings(LogTimeFormat_Millisec, true), "one VERB:")),
              "one; " + ThreadField() + "; VERB: C_Sample;  \r\n");
}

TEST(Logger, LeavesOnlyTheDescriptionInTheCallersBuffer)
{
    for (const bool extensive : {false, true}) {
        char message[] = "Session closed VERB: handle 0x5";
        ConsoleOf(ConsoleSettings(LogTimeFormat_Millisec, extensive),
                  [&](Logger& logger) { logger.Emit(LogLevel_Info, message, "C_CloseSession"); });
        EXPECT_STREQ(message, "Session closed");
    }
}

TEST(Logger, KeepsTheCallersBufferWhenThereIsNoMarker)
{
    char message[] = "nothing to split";
    ConsoleOf(ConsoleSettings(), [&](Logger& logger) { logger.Emit(LogLevel_Info, message, "C_Sample"); });
    EXPECT_STREQ(message, "nothing to split");
}

TEST(Logger, TakesPercentSignsAsTheyStand)
{
    EXPECT_EQ(MessageOf(LineOf(ConsoleSettings(), "100%s %n done")), "100%s %n done\r\n");
}

TEST(Logger, LongestMessageWithExtensiveGivesALineOfAtMost4095Characters)
{
    const auto line = LineOf(ConsoleSettings(LogTimeFormat_DateTimeMillisec, true), std::string(3839, 'm'));
    EXPECT_LE(line.size(), 4095U);
    EXPECT_EQ(line.substr(line.size() - 2), "\r\n");
    EXPECT_NE(line.find(std::string(3839, 'm') + "; " + ThreadField() + "; VERB: C_Sample\r\n"),
              std::string::npos);
}

TEST(Logger, CutsTheTailOfALineAtItsBounds)
{
    // 30 characters of description and 3800 of verbose text: the tail is cut at 3581 characters.
    const std::string description(30, 'd');
    const auto line = LineOf(ConsoleSettings(static_cast<LogTimeFormat>(9), true),
                             description + " VERB:" + std::string(3800, 'v'));
    const std::string front = "INFO; ;      pkcs11_x64; " + description;
    EXPECT_EQ(line.size(), front.size() + 3581 + 2);
    EXPECT_EQ(line.substr(0, front.size()), front);
    EXPECT_EQ(line.substr(line.size() - 3), "v\r\n");
}

TEST(Logger, CutsALineAt4093CharactersBeforeItsEnd)
{
    // 1900 characters before the marker and 1900 behind it, and a function name as long as they come.
    const std::string function(62, 'f');
    const auto line =
        LineOf(ConsoleSettings(LogTimeFormat_DateTimeMillisec, true),
               std::string(1900, 'd') + " VERB:" + std::string(1900, 'v'), LogLevel_Info, function.c_str());
    EXPECT_LE(line.size(), 4095U);
    EXPECT_EQ(line.substr(line.size() - 2), "\r\n");

    // Through Emit itself, with a message longer than any statement makes one.
    std::string text(5000, 'x');
    const auto cut = ConsoleOf(ConsoleSettings(LogTimeFormat_DateTimeMillisec, true),
                               [&](Logger& logger) { logger.Emit(LogLevel_Info, text.data(), "C_Sample"); });
    EXPECT_EQ(cut.size(), 4095U);
    EXPECT_EQ(cut.substr(4090), "xxx\r\n");
}

TEST(Logger, WriteRawSendsTheTextAsItStands)
{
    EXPECT_EQ(ConsoleOf(ConsoleSettings(), [](Logger& logger) { logger.WriteRaw("as it %s stands"); }),
              "as it %s stands");
}

TEST(Logger, SetConsoleTurnsTheConsoleOnAndOff)
{
    LogSettings settings;
    settings.logToFile = false;
    const auto text = ConsoleOf(settings, [](Logger& logger) {
        logger.WriteRaw("a");
        logger.SetConsole(true);
        EXPECT_TRUE(logger.Settings().logToConsole);
        logger.WriteRaw("b");
        logger.SetConsole(false);
        EXPECT_FALSE(logger.Settings().logToConsole);
        logger.WriteRaw("c");
    });
    EXPECT_EQ(text, "b");
}

TEST(Logger, FileSinkThatIsNotOpenTakesNothingAndRaisesNothing)
{
    LogSettings settings; // the defaults: the file sink alone
    const auto text = ConsoleOf(settings, [](Logger& logger) {
        char message[] = "into nothing";
        EXPECT_NO_THROW(logger.Emit(LogLevel_Error, message, "C_Sample"));
        EXPECT_NO_THROW(logger.WriteRaw("into nothing"));
    });
    EXPECT_EQ(text, "");
}

TEST(Logger, OtherSinksGoOnWhenTheFileSinkFails)
{
    LogSettings settings = ConsoleSettings();
    settings.logToFile = true;
    const auto text = ConsoleOf(settings, [](Logger& logger) {
        logger.WriteRaw("one ");
        logger.WriteRaw("two");
    });
    EXPECT_EQ(text, "one two");
}

TEST(Logger, DebuggerSinkGetsTheWholeLineAndTheConsoleNothing)
{
    std::vector<std::string> texts;
    LogSystem system;
    system.writeToDebugger = [&texts](const char* text) { texts.emplace_back(text); };
    LogSettings settings = ConsoleSettings(static_cast<LogTimeFormat>(9));
    settings.logToConsole = false;
    settings.logToDebugger = true;
    EXPECT_EQ(LineOf(settings, "100% to the debugger", LogLevel_Info, "C_Sample", system), "");
    EXPECT_EQ(texts, std::vector<std::string>{"INFO; ;      pkcs11_x64; 100% to the debugger\r\n"});
}

TEST(Logger, AllSinksOffWritesNothingThroughEmit)
{
    LogSettings settings;
    settings.logToFile = false;
    LogSystem system;
    system.writeToDebugger = [](const char* text) { ADD_FAILURE() << text; };
    EXPECT_EQ(LineOf(settings, "nowhere", LogLevel_Error, "C_Sample", system), "");
}

TEST(Logger, LetsThroughByLevelAndSink)
{
    Logger logger;
    auto& settings = logger.Settings();
    for (const int from : {0, 1, 2, 3}) {
        settings.logFromLevel = static_cast<LogLevel>(from);
        for (const int level : {0, 1, 2, 3}) {
            for (const int sinks : {0, 1, 2, 4, 7}) {
                settings.logToConsole = (sinks & 1) != 0;
                settings.logToDebugger = (sinks & 2) != 0;
                settings.logToFile = (sinks & 4) != 0;
                const bool expected = sinks != 0 && (level == 0 || from >= level);
                EXPECT_EQ(logger.LetsThrough(static_cast<LogLevel>(level)), expected)
                    << "from " << from << " level " << level << " sinks " << sinks;
            }
        }
    }
}

TEST(Logger, LinesOfSeveralThreadsNeverInterleave)
{
    constexpr std::size_t threadCount = 4;
    constexpr int lineCount = 200;
    Logger logger;
    logger.Settings() = ConsoleSettings(static_cast<LogTimeFormat>(9), true);
    std::vector<std::string> lineOfThread(threadCount);
    testing::internal::CaptureStdout();
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&logger, &line = lineOfThread[i], letter = static_cast<char>('a' + i)] {
            const std::string description(300, letter);
            const std::string verbose(400, letter);
            line = "INFO; ;      pkcs11_x64; " + description;
            line.append("; ")
                .append(ThreadField())
                .append("; VERB: C_Sample;  ")
                .append(verbose)
                .append("\r");
            for (int count = 0; count < lineCount; ++count) {
                std::string message = description;
                message.append(" VERB:").append(verbose);
                logger.Emit(LogLevel_Info, message.data(), "C_Sample");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::map<std::string, int> counts;
    std::istringstream text(testing::internal::GetCapturedStdout());
    std::string line;
    while (std::getline(text, line)) {
        ++counts[line];
    }
    EXPECT_EQ(counts.size(), threadCount);
    for (const auto& expected : lineOfThread) {
        EXPECT_EQ(counts[expected], lineCount) << expected;
    }
}

TEST(FormatInto, WritesATextThatFits)
{
    char buffer[8] = {};
    EXPECT_EQ(FormatInto(buffer, sizeof(buffer), "%d-%s", 12, "ab"), 5);
    EXPECT_STREQ(buffer, "12-ab");
}

TEST(FormatInto, FillsTheBufferToItsLastCharacter)
{
    char buffer[6] = {};
    EXPECT_EQ(FormatInto(buffer, sizeof(buffer), "%s", "12345"), 5);
    EXPECT_STREQ(buffer, "12345");
}

TEST(FormatInto, CutsALongTextAndReturnsWhatItNeeds)
{
    char buffer[] = "########";
    EXPECT_EQ(FormatInto(buffer, 5, "%s", "123456789"), 9);
    EXPECT_STREQ(buffer, "1234");
    EXPECT_EQ(buffer[5], '#');
}

TEST(FormatInto, WritesOnlyATerminatorIntoOneByte)
{
    char buffer[] = "##";
    EXPECT_EQ(FormatInto(buffer, 1, "%s", "12"), 2);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '#');
}

TEST(FormatInto, ReturnsMinusOneForAPrintThatFails)
{
    // A wide character that the locale of the process cannot express.
    char buffer[16] = {};
    EXPECT_EQ(FormatInto(buffer, sizeof(buffer), "%lc", static_cast<wint_t>(0x20AC)), -1);
}

TEST(FormatThreadId, AppendsTheThreadInLowercaseHexadecimal)
{
    char text[64] = "before ";
    FormatThreadId(text, 63);
    EXPECT_EQ(text, "before " + ThreadField());
    EXPECT_TRUE(HasForm(text, "before ThID: 0x[1-9a-f][0-9a-f]*"));
}

TEST(FormatThreadId, IsTheSameInAHostThatGroupsDigits)
{
    char plain[64] = {};
    FormatThreadId(plain, 63);
    const HostLocale locale;
    char text[64] = {};
    FormatThreadId(text, 63);
    EXPECT_STREQ(text, plain);
}

TEST(FormatThreadId, StopsAtTheGivenLength)
{
    char text[64] = "1234";
    FormatThreadId(text, 10);
    EXPECT_STREQ(text, "1234ThID: ");
    FormatThreadId(text, 10);
    EXPECT_STREQ(text, "1234ThID: ");
}

TEST(FormatThreadId, DiffersBetweenThreads)
{
    char own[64] = {};
    FormatThreadId(own, 63);
    char other[64] = {};
    std::thread([&other] { FormatThreadId(other, 63); }).join();
    EXPECT_STRNE(own, other);
}

TEST_F(LogLine, DoesNotEvaluateItsArgumentsWhenItIsNotLetThrough)
{
    int evaluated = 0;
    Logger::Instance().Settings().logFromLevel = LogLevel_Info;
    testing::internal::CaptureStdout();
    LOG_LINE(LogLevel_Debug, "C_Sample", "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    LOG_LINE(LogLevel_Info, "C_Sample", "%d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(MessageOf(testing::internal::GetCapturedStdout()), "1\r\n");
}

TEST_F(LogLine, WritesNothingAtAnyLevelWithAllSinksOff)
{
    LogSettings settings;
    settings.logToFile = false;
    settings.logFromLevel = LogLevel_Debug;
    Set(settings);
    int evaluated = 0;
    for (const int level : {0, 1, 2, 3}) {
        LOG_LINE(static_cast<LogLevel>(level), "C_Sample", "%d", ++evaluated);
    }
    EXPECT_EQ(evaluated, 0);
}

TEST_F(LogLine, WritesErrorsButNoWarningsFromLevelError)
{
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    testing::internal::CaptureStdout();
    LOG_LINE(LogLevel_Warning, "C_Sample", "warning");
    LOG_LINE(LogLevel_Error, "C_Sample", "error");
    EXPECT_EQ(MessageOf(testing::internal::GetCapturedStdout()), "error\r\n");
}

TEST_F(LogLine, CutsAMessageAt3839Characters)
{
    const std::string text(5000, 'm');
    testing::internal::CaptureStdout();
    LOG_LINE(LogLevel_Info, "C_Sample", "%s", text.c_str());
    EXPECT_EQ(MessageOf(testing::internal::GetCapturedStdout()), std::string(3839, 'm') + "\r\n");
}

TEST_F(LogLine, CutsAFunctionNameAt62Characters)
{
    Set(ConsoleSettings(LogTimeFormat_Millisec, true));
    const std::string longest(62, 'f');
    testing::internal::CaptureStdout();
    LOG_LINE(LogLevel_Info, longest.c_str(), "text");
    LOG_LINE(LogLevel_Info, (longest + "gh").c_str(), "text");
    const std::string expected = "; VERB: " + longest + "\r\n";
    const auto text = testing::internal::GetCapturedStdout();
    const auto first = text.find(expected);
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(text.find(expected, first + 1), std::string::npos);
    EXPECT_EQ(text.find('g'), std::string::npos);
}

TEST_F(LogLine, FormatsItsArguments)
{
    testing::internal::CaptureStdout();
    LOG_LINE(LogLevel_Info, "C_Sample", "Cannot open session, invalid slot VERB:slotID %lu", 7UL);
    EXPECT_EQ(MessageOf(testing::internal::GetCapturedStdout()), "Cannot open session, invalid slot\r\n");
}
