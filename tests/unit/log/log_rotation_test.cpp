// The files of the Logger: its start, its rotations, and what it does when they fail.
#include "src/log/logger.h"

#include "tests/support/linux/counted_calls.h"
#include "tests/unit/log/local_time_text.h"
#include "tests/unit/log/log_folder.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <fstream>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace {

using Names = std::vector<std::string>;

const std::string separator = "\r\n" + std::string(71, '-') + "\r\n";
constexpr std::size_t sizeLimit = 2097152;
constexpr std::time_t day = 86400;

class LogRotationTest : public testing::Test
{
protected:
    LogRotationTest()
    {
        settings.logDirectory = folder.Directory();
        settings.logFileName = u"Pkcs11";
        settings.fileCount = 5;
    }

    // The system of the Loggers. Its command, which a header runs once, counts the headers.
    LogSystem System()
    {
        LogSystem system;
        system.calendarTime = [this] { return now.load(); };
        system.osVersion = [] { return OsVersion{6, 1, 0, "test"}; };
        system.runCommand = [this](const char*, std::string&) { ++headers; };
        return system;
    }
    void Start() { logger->Initialize(&settings); }
    void StartAnew()
    {
        logger = std::make_unique<Logger>(System());
        Start();
    }

    void Emit(const std::string& text)
    {
        std::string message = text;
        logger->Emit(LogLevel_Info, message.data(), "C_Sample");
    }

    // Files named after their own names.
    void Fill(const Names& names) const
    {
        for (const auto& name : names) {
            folder.Write(name, name);
        }
    }
    void Rotate() const { logger->RotateLogFiles(settings.logDirectory + u"Pkcs11*", settings.logDirectory); }

    std::string Current() const { return folder.Read("Pkcs11.log"); }

    const LogFolder folder;
    LogSettings settings;
    std::atomic<std::time_t> now = 1794485402;
    std::atomic<int> headers = 0; // that were written
    std::unique_ptr<Logger> logger = std::make_unique<Logger>(System());
};

std::string HeaderOf(std::time_t time)
{
    return "CardAPI, version: v4.8_RC2\r\nDateTime: " + LocalTimeText(time) + "\r\nLog Level; Time\r\n";
}

bool BeginsWithHeader(const std::string& text)
{
    return text.starts_with("CardAPI, version: v4.8_RC2\r\nProcess name: ");
}

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (auto found = text.find(part); found != std::string::npos; found = text.find(part, found + 1)) {
        ++count;
    }
    return count;
}

const std::string headerEnd = "Verbose Description\r\n" + std::string(71, '-') + "\r\n\r\n";

} // namespace

TEST_F(LogRotationTest, FirstStartWritesASeparatorAndThenTheHeader)
{
    Start();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    const std::string text = Current();
    ASSERT_TRUE(text.starts_with(separator));
    EXPECT_TRUE(BeginsWithHeader(text.substr(separator.size())));
    EXPECT_TRUE(text.ends_with(headerEnd));
    EXPECT_EQ(logger->LastRotationTime(), 0);
}

TEST_F(LogRotationTest, LinesStandInTheFileAtOnce)
{
    Start();
    Emit("first");
    EXPECT_TRUE(Current().ends_with("; first\r\n"));
    Emit("second");
    EXPECT_TRUE(Current().ends_with("; second\r\n"));
}

TEST_F(LogRotationTest, StartWithoutSettingsKeepsThoseThatAreThere)
{
    logger->Settings() = settings;
    logger->Initialize(nullptr);
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
}

TEST_F(LogRotationTest, StartTakesAllOfTheSettings)
{
    settings.logToConsole = false;
    settings.logFromLevel = LogLevel_Debug;
    settings.extensive = true;
    settings.timeFormat = LogTimeFormat_Millisec;
    settings.fileCount = 9;
    settings.maxFileAgeDays = 3;
    Start();
    const auto& taken = logger->Settings();
    EXPECT_EQ(int{taken.logFromLevel}, 3);
    EXPECT_TRUE(taken.extensive);
    EXPECT_EQ(int{taken.timeFormat}, 2);
    EXPECT_EQ(taken.fileCount, 9);
    EXPECT_EQ(taken.maxFileAgeDays, 3U);
    EXPECT_EQ(taken.logDirectory, settings.logDirectory);
}

TEST_F(LogRotationTest, StartWithTheFileSinkOffOpensTheFileAndWritesNothing)
{
    settings.logToFile = false;
    Start();
    EXPECT_EQ(Current(), "");
    EXPECT_EQ(headers, 1) << "the command is run all the same";
}

TEST_F(LogRotationTest, NextSessionContinuesAFileThatIsWithinItsLimits)
{
    folder.Write("Pkcs11.log", "old text\r\n");
    Start();
    EXPECT_TRUE(Current().starts_with("old text\r\n" + separator + "CardAPI, version"));
}

TEST_F(LogRotationTest, FileOverItsSizeIsRetiredAtTheStart)
{
    folder.Write("Pkcs11.log", std::string(sizeLimit + 1, 'x'));
    Start();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_TRUE(BeginsWithHeader(Current())) << "no separator in a new file";
    EXPECT_EQ(CountOf(Current(), "CardAPI, version"), 1U);
    EXPECT_EQ(folder.Read("Pkcs11_1.log").size(), sizeLimit + 1);
}

TEST_F(LogRotationTest, FileOfExactlyTheLimitIsRetiredInTheMiddleOfTheHeader)
{
    folder.Write("Pkcs11.log", std::string(sizeLimit, 'x'));
    Start();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_EQ(folder.Read("Pkcs11_1.log").substr(sizeLimit), separator + "CardAPI, version: v4.8_RC2\r\n");
    const std::string text = Current();
    ASSERT_TRUE(BeginsWithHeader(text));
    const auto end = text.find(headerEnd);
    ASSERT_NE(end, std::string::npos);
    EXPECT_TRUE(text.substr(end + headerEnd.size()).starts_with("Process name: "))
        << "the rest of the first header";
    EXPECT_EQ(CountOf(text, "CardAPI, version"), 1U);
    EXPECT_EQ(CountOf(text, "DateTime: "), 2U);
}

TEST_F(LogRotationTest, FileIsRetiredByTheLineThatPassesTheLimit)
{
    Start();
    const std::size_t begun = Current().size();
    settings.maxFileSize = 0; // not this record: the Logger has its own
    logger->Settings().maxFileSize = begun + 40;
    Emit("one"); // 60 characters with its fields
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_TRUE(folder.Read("Pkcs11_1.log").ends_with("; one\r\n"));
    EXPECT_TRUE(BeginsWithHeader(Current()));
    EXPECT_TRUE(Current().ends_with(headerEnd));
}

TEST_F(LogRotationTest, FileOfExactlyTheLimitStaysAfterALine)
{
    Start();
    const std::size_t begun = Current().size();
    logger->WriteRaw("12345");
    logger->Settings().maxFileSize = begun + 10;
    logger->WriteRaw("67890");
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    logger->WriteRaw("x");
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
}

TEST_F(LogRotationTest, SizeIsThatOfTheFileWhoeverWroteIt)
{
    Start();
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'y'));
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    Emit("mine");
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
}

TEST_F(LogRotationTest, FileEightDaysOldIsRetiredAtTheStart)
{
    folder.Write("Pkcs11.log", HeaderOf(now - 8 * day));
    Start();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_TRUE(BeginsWithHeader(Current()));
    EXPECT_EQ(logger->LastRotationTime(), now);
}

TEST_F(LogRotationTest, FileASecondYoungerThanEightDaysStays)
{
    const std::time_t begun = now - 8 * day + 1;
    folder.Write("Pkcs11.log", HeaderOf(begun));
    Start();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    EXPECT_EQ(logger->LastRotationTime(), begun);
}

TEST_F(LogRotationTest, AgeCountsFromTheFirstHeaderInTheFile)
{
    folder.Write("Pkcs11.log", HeaderOf(now - day) + HeaderOf(now - 20 * day));
    Start();
    EXPECT_EQ(logger->LastRotationTime(), now - day);
}

TEST_F(LogRotationTest, FileThatGrowsOldDuringASessionIsRetiredByTheNextLine)
{
    const std::time_t begun = now - 8 * day + 2;
    folder.Write("Pkcs11.log", HeaderOf(begun));
    Start();
    Emit("young");
    ASSERT_EQ(folder.Names(), Names{"Pkcs11.log"});
    now += 2;
    Emit("old");
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_TRUE(folder.Read("Pkcs11_1.log").ends_with("; old\r\n"));
}

TEST_F(LogRotationTest, RotationBySizeKeepsTheAgeOfTheOldFile)
{
    const std::time_t begun = now - 2 * day;
    folder.Write("Pkcs11.log", HeaderOf(begun) + std::string(sizeLimit, 'x'));
    Start();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_EQ(logger->LastRotationTime(), begun);
}

TEST_F(LogRotationTest, FileWithoutADateCountsFromNow)
{
    folder.Write("Pkcs11.log", "no date\r\n");
    Start();
    EXPECT_EQ(logger->LastRotationTime(), now);
}

TEST_F(LogRotationTest, DateLineWithNothingBehindItDoesNotCount)
{
    const std::time_t begun = now - 3 * day;
    folder.Write("Pkcs11.log", "DateTime: \nDateTime: " + LocalTimeText(begun) + " \t\r\n");
    Start();
    EXPECT_EQ(logger->LastRotationTime(), begun);
}

TEST_F(LogRotationTest, DateLineWithBlanksAloneEndsTheSearch)
{
    folder.Write("Pkcs11.log", "DateTime: \r\n" + HeaderOf(now - 20 * day));
    Start();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    EXPECT_EQ(logger->LastRotationTime(), now);
}

TEST_F(LogRotationTest, DateIsFoundBehindOtherTextOnItsLine)
{
    const std::time_t begun = now - 3 * day;
    folder.Write("Pkcs11.log", " 6.1.7601 Service Pack 1DateTime: " + LocalTimeText(begun) + "\r\n");
    Start();
    EXPECT_EQ(logger->LastRotationTime(), begun);
}

TEST_F(LogRotationTest, DateThatCannotBeReadIsNeverOld)
{
    folder.Write("Pkcs11.log", "DateTime: yesterday\r\n");
    Start();
    Emit("line");
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    EXPECT_LT(logger->LastRotationTime(), 0);
}

TEST_F(LogRotationTest, DateInTheFutureIsNeverOld)
{
    folder.Write("Pkcs11.log", HeaderOf(now + 100 * day));
    Start();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
}

TEST_F(LogRotationTest, StartTimeIsReadOnce)
{
    const std::time_t first = now - 2 * day;
    folder.Write("Pkcs11.log", HeaderOf(first));
    Start();
    folder.Write("Pkcs11.log", HeaderOf(first - 3 * day));
    logger->ReadLogStartTime(folder.Path("Pkcs11.log"));
    EXPECT_EQ(logger->LastRotationTime(), first);
}

TEST_F(LogRotationTest, ModeTwoRetiresBySizeAlone)
{
    settings.rotationMode = 2;
    folder.Write("Pkcs11.log", HeaderOf(now - 100 * day));
    Start();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    EXPECT_EQ(logger->LastRotationTime(), 0);
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    Emit("line");
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
}

TEST_F(LogRotationTest, ModeTwoRetiresAtTheStart)
{
    settings.rotationMode = 2;
    folder.Write("Pkcs11.log", std::string(sizeLimit + 1, 'x'));
    Start();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log"}));
    EXPECT_TRUE(BeginsWithHeader(Current()));
}

TEST_F(LogRotationTest, AnyOtherModeBeginsANewFileWithEachSession)
{
    for (const int mode : {0, 1, 4, 255}) {
        settings.rotationMode = static_cast<uint8_t>(mode);
        folder.Write("Pkcs11.log", "of the session before\r\n");
        StartAnew();
        EXPECT_TRUE(Current().starts_with(separator)) << mode;
        EXPECT_EQ(folder.Read("Pkcs11_1.log"), "of the session before\r\n") << mode;
    }
}

TEST_F(LogRotationTest, AnyOtherModeRetiresNothingAfterALine)
{
    settings.rotationMode = 1;
    Start();
    folder.Append("Pkcs11.log", std::string(sizeLimit + 1, 'x'));
    Emit("line");
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    EXPECT_FALSE(logger->CheckRotationBySize());
    EXPECT_FALSE(logger->CheckRotationByAge());
}

TEST_F(LogRotationTest, AnyOtherModeGoesWithoutAFileWhenTheOldOneCannotBeMovedAway)
{
    settings.rotationMode = 1;
    // Found before Pkcs11.log, so it is the one of number 0 that is moved.
    Fill({"Pkcs11-a.log", "Pkcs11.log"});
    Start();
    EXPECT_EQ(headers, 0);
    Emit("nowhere");
    EXPECT_EQ(Current(), "Pkcs11.log");
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11-a_1.log", "Pkcs11.log"}));
}

TEST_F(LogRotationTest, ChecksAnswerWhetherTheyRotated)
{
    Start();
    EXPECT_FALSE(logger->CheckRotationBySize());
    EXPECT_FALSE(logger->CheckRotationByAge());
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    EXPECT_TRUE(logger->CheckRotationByAge());
    EXPECT_FALSE(logger->CheckRotationByAge());
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    EXPECT_TRUE(logger->CheckRotationBySize());
}

TEST_F(LogRotationTest, AgeIsNotCheckedInModeTwo)
{
    settings.rotationMode = 2;
    Start();
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    EXPECT_FALSE(logger->CheckRotationByAge());
    EXPECT_TRUE(logger->CheckRotationBySize());
}

TEST_F(LogRotationTest, SecondStartLosesItsLinesToTheFile)
{
    Start();
    const std::string first = Current();
    Start();
    Emit("lost");
    EXPECT_EQ(Current(), first);
    EXPECT_EQ(headers, 2);
}

TEST_F(LogRotationTest, LinesComeBackWithARotationAfterASecondStart)
{
    Start();
    Start();
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    Emit("lost, but it makes the check");
    EXPECT_TRUE(BeginsWithHeader(Current()));
    Emit("back");
    EXPECT_TRUE(Current().ends_with("; back\r\n"));
}

TEST_F(LogRotationTest, SecondStartThatRotatesOpensTheFile)
{
    Start();
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    Start();
    Emit("there");
    EXPECT_TRUE(Current().ends_with("; there\r\n"));
}

TEST_F(LogRotationTest, FolderThatIsNotThereLosesLinesToTheFileAlone)
{
    settings.logDirectory = folder.Directory() + u"no such folder/";
    settings.logToConsole = true;
    testing::internal::CaptureStdout();
    Start();
    Emit("line");
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(BeginsWithHeader(text)) << "the separator goes to the file alone";
    EXPECT_NE(text.find("; line\r\n"), std::string::npos);
    EXPECT_TRUE(folder.Names().empty());
}

TEST_F(LogRotationTest, HeaderGoesToTheConsoleToo)
{
    settings.logToConsole = true;
    testing::internal::CaptureStdout();
    Start();
    EXPECT_EQ(separator + testing::internal::GetCapturedStdout(), Current());
}

TEST_F(LogRotationTest, BeforeItsStartTheLoggerMindsTheFileOfItsConstructor)
{
    const auto home = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path(""));
    folder.Write("CardAPI_default.log", "small");
    Emit("nowhere");
    EXPECT_EQ(folder.Read("CardAPI_default.log"), "small");
    folder.Append("CardAPI_default.log", std::string(sizeLimit, 'x'));
    Emit("nowhere, but it makes the check");
    EXPECT_EQ(folder.Names(), (Names{"CardAPI_default.log", "CardAPI_default_1.log"}));
    EXPECT_TRUE(BeginsWithHeader(folder.Read("CardAPI_default.log")));
    // The file is open now, so the start can't open another.
    Start();
    Emit("to the file of the constructor's");
    EXPECT_FALSE(folder.Contains("Pkcs11.log"));
    std::filesystem::current_path(home);
}

TEST_F(LogRotationTest, FilesMoveUpAndTheLastOneGoes)
{
    Fill({"Pkcs11.log", "Pkcs11_1.log", "Pkcs11_2.log", "Pkcs11_3.log", "Pkcs11_4.log", "Pkcs11_5.log"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(),
              (Names{"Pkcs11_1.log", "Pkcs11_2.log", "Pkcs11_3.log", "Pkcs11_4.log", "Pkcs11_5.log"}));
    EXPECT_EQ(folder.Read("Pkcs11_1.log"), "Pkcs11.log");
    EXPECT_EQ(folder.Read("Pkcs11_5.log"), "Pkcs11_4.log");
}

TEST_F(LogRotationTest, FileCountDecidesHowManyStay)
{
    for (const int count : {0, 1, 2, 9, 10, 255}) {
        const LogFolder own;
        logger->Settings().fileCount = static_cast<uint8_t>(count);
        own.Write("Pkcs11.log", "0");
        for (int number = 1; number <= 12; ++number) {
            own.Write("Pkcs11_" + std::to_string(number) + ".log", std::to_string(number));
        }
        logger->RotateLogFiles(own.Directory() + u"Pkcs11*", own.Directory());
        EXPECT_EQ(own.Names().size(), std::min<std::size_t>(static_cast<std::size_t>(count), 13U)) << count;
        if (count > 0) {
            EXPECT_EQ(own.Read("Pkcs11_1.log"), "0") << count;
        }
        if (count >= 10) {
            EXPECT_EQ(own.Read("Pkcs11_10.log"), "9") << "by number, not by text";
        }
    }
}

TEST_F(LogRotationTest, FileCountZeroDeletesTheCurrentFileAtEachRotation)
{
    settings.fileCount = 0;
    Start();
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    Emit("line");
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.log"});
    EXPECT_TRUE(BeginsWithHeader(Current()));
}

TEST_F(LogRotationTest, GapsCloseOnlyByOneStep)
{
    Fill({"Pkcs11.log", "Pkcs11_2.log", "Pkcs11_5.log", "Pkcs11_40.log"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11_1.log", "Pkcs11_3.log"}));
    EXPECT_EQ(folder.Read("Pkcs11_3.log"), "Pkcs11_2.log");
}

TEST_F(LogRotationTest, EntryWithoutAPointIsNeverTouched)
{
    // It has number 0 too, and comes first, so the current file has no turn.
    Fill({"Pkcs11", "Pkcs11.log", "Pkcs11_3"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11", "Pkcs11.log", "Pkcs11_3"}));
}

TEST_F(LogRotationTest, StrayFileThatComesFirstIsMovedInPlaceOfTheCurrentOne)
{
    Fill({"Pkcs11-old.txt", "Pkcs11.log"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11-old_1.log", "Pkcs11.log"}));
}

TEST_F(LogRotationTest, StrayFileThatComesLaterIsLeftOut)
{
    Fill({"Pkcs11.log", "Pkcs11_old.txt"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11_1.log", "Pkcs11_old.txt"}));
    EXPECT_EQ(folder.Read("Pkcs11_1.log"), "Pkcs11.log");
}

TEST_F(LogRotationTest, FileOfSeveralPointsGoesByItsLastOne)
{
    Fill({"Pkcs11.a.log"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.a_1.log"});
    // In the order it stays number 0 for good, so every rotation takes its number one higher.
    Rotate();
    EXPECT_EQ(folder.Names(), Names{"Pkcs11.a_2.log"});
}

TEST_F(LogRotationTest, FolderInTheWayIsMovedAndNotDeleted)
{
    std::filesystem::create_directory(folder.Path("Pkcs11_1.log"));
    std::filesystem::create_directory(folder.Path("Pkcs11_5.log"));
    Fill({"Pkcs11.log"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11_1.log", "Pkcs11_2.log", "Pkcs11_5.log"}));
    EXPECT_EQ(folder.Read("Pkcs11_1.log"), "Pkcs11.log");
}

TEST_F(LogRotationTest, OtherFilesAreLeftAlone)
{
    Fill({"Other.log", "Pkcs1.log", "pkcs11.log", "APkcs11.log"});
    logger->Settings().fileCount = 5;
    Rotate();
    EXPECT_EQ(folder.Names(), (Names{"APkcs11.log", "Other.log", "Pkcs1.log", "pkcs11.log"}));
}

// Each line tries again, without end and without a wait, and goes into the file that stays.
TEST_F(LogRotationTest, FileThatCannotBeMovedTakesItsLinesWithAHeaderBehindEach)
{
    Start();
    Fill({"Pkcs11-first.log"}); // has the turn of number 0 at every rotation: nothing moves the current file
    logger->Settings().fileCount = 255;
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    headers = 0;
    Emit("one");
    Fill({"Pkcs11-first.log"});
    Emit("two");
    EXPECT_EQ(headers, 2);
    const std::string text = Current();
    const auto one = text.find("; one\r\n");
    const auto two = text.find("; two\r\n");
    ASSERT_NE(one, std::string::npos);
    ASSERT_NE(two, std::string::npos);
    EXPECT_EQ(CountOf(text.substr(one, two - one), "CardAPI, version"), 1U);
    EXPECT_EQ(CountOf(text.substr(two), "CardAPI, version"), 1U);
}

TEST_F(LogRotationTest, RotationThatFailsIsToldToNobodyAndIsNotTheLast)
{
    bool fails = false;
    LogSystem system = System();
    system.runCommand = [&fails](const char*, std::string&) {
        if (std::exchange(fails, false)) {
            throw std::bad_alloc();
        }
    };
    logger = std::make_unique<Logger>(system);
    Start();
    fails = true;
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    EXPECT_NO_THROW(Emit("one"));
    EXPECT_FALSE(fails);
    EXPECT_TRUE(BeginsWithHeader(Current()));
    EXPECT_NO_THROW(Emit("two"));
    EXPECT_TRUE(Current().ends_with("; two\r\n"));
    folder.Append("Pkcs11.log", std::string(sizeLimit, 'x'));
    EXPECT_NO_THROW(Emit("three"));
    EXPECT_EQ(folder.Names(), (Names{"Pkcs11.log", "Pkcs11_1.log", "Pkcs11_2.log"}));
}

TEST_F(LogRotationTest, SizeIsThatOfTheFileThatTheSettingsName)
{
    Start();
    Emit("into the file that is open");
    const LogFolder other;
    other.Write("Other.log", std::string(sizeLimit + 1, 'x'));
    logger->Settings().logDirectory = other.Directory();
    logger->Settings().logFileName = u"Other";
    Emit("and the other is retired");
    EXPECT_EQ(other.Names(), (Names{"Other.log", "Other_1.log"}));
    EXPECT_TRUE(BeginsWithHeader(other.Read("Other.log")));
}

TEST_F(LogRotationTest, LineCostsAWriteAndAQuestionForTheSizeAndNoOtherSystemCall)
{
    Start();
    const auto emit = [this](int lines) {
        return [this, lines] {
            for (int line = 0; line < lines; ++line) {
                Emit("one of many");
            }
        };
    };
    const auto one = blackbox::CallsOf(emit(1));
    auto many = blackbox::CallsOf(emit(101));
    for (const auto& [call, count] : one) {
        many[call] -= count;
    }
    std::erase_if(many, [](const auto& entry) { return entry.second == 0; });
    EXPECT_EQ(many, (blackbox::CallCounts{{SYS_write, 100}, {SYS_newfstatat, 100}}));
}

TEST_F(LogRotationTest, TwoLoggersWriteIntoOneFile)
{
    Start();
    Logger other(System());
    other.Initialize(&settings);
    char message[] = "from the other";
    other.Emit(LogLevel_Info, message, "C_Sample");
    Emit("from the first");
    const std::string text = Current();
    EXPECT_NE(text.find("; from the other\r\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("; from the first\r\n"));
    EXPECT_EQ(CountOf(text, "CardAPI, version"), 2U);
}

// Lines go on while another thread starts the log again and again.
TEST_F(LogRotationTest, LinesOfOtherThreadsDuringAStartAreWhole)
{
    settings.maxFileSize = 20000;
    settings.fileCount = 255;
    Start();
    std::atomic<bool> done{false};
    std::thread writer([&] {
        while (!done) {
            Emit("a line of the writer");
        }
    });
    for (int run = 0; run < 50; ++run) {
        Start();
    }
    done = true;
    writer.join();
    for (const auto& name : folder.Names()) {
        const std::string text = folder.Read(name);
        EXPECT_EQ(CountOf(text, "INFO; "), CountOf(text, "a line of the writer\r\n")) << name;
    }
}
