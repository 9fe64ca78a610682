// The program as a whole, from its command line.
#include "src/log/logger.h"
#include "tests/softcard/environment.h"
#include "tests/support/program.h"
#include "tests/tools/program_sample.h"
#include "tests/tools/run_tool.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

TEST_F(ProgramTest, PrintsTheFilesInTheirOrderWithTheirHeaders)
{
    WriteSample();
    const ToolRun run = RunTool({Folder()});
    EXPECT_EQ(run.exitCode, 0);
    const auto login = run.output.find("C_Login");
    const auto session = run.output.find("DateTime: 2026-11-12 12:00:00");
    const auto sign = run.output.find("C_Sign");
    EXPECT_LT(login, session);
    EXPECT_LT(session, sign);
    EXPECT_EQ(run.output.find('\x1b'), std::string::npos) << "no colours in a pipe";
    EXPECT_EQ(run.output.find('\r'), std::string::npos);
}

TEST_F(ProgramTest, PrintsOneFile)
{
    WriteSample();
    const ToolRun run = RunTool({FileInLog("Pkcs11_1.log")});
    EXPECT_NE(run.output.find("C_Login"), std::string::npos);
    EXPECT_EQ(run.output.find("C_Sign"), std::string::npos);
}

TEST_F(ProgramTest, TakesAFolderWithASeparatorAtItsEnd)
{
    WriteSample();
    const ToolRun run = RunTool({Folder() + "/"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("C_Sign"), std::string::npos);
}

TEST_F(ProgramTest, TakesNamesOfAnyCharacters)
{
    const std::u8string name = u8"\u017D \u65E5";
    const std::string text(name.begin(), name.end());
    std::filesystem::create_directory(log.Folder() / name);
    std::ofstream(log.Folder() / name / "Pkcs11.log", std::ios::binary) << PlainLine("INFO", testTime, text);
    const ToolRun run = RunTool({Folder() + "/" + text});
    EXPECT_EQ(run.exitCode, 0) << run.output;
    EXPECT_NE(run.output.find("  " + text + "\n"), std::string::npos) << run.output;
    EXPECT_NE(RunTool({Folder() + "/" + text + text}).output.find("in " + Folder()), std::string::npos);
    EXPECT_NE(RunTool({Folder() + "/" + text + text}).output.find(text + text + "."), std::string::npos);
}

TEST_F(ProgramTest, ReadsStandardInput)
{
    WriteSample();
    const auto finished =
        softcard::test::RunProgramOn(FileInLog("Pkcs11.log"), {LOG_TOOL, "--level", "info", "-"});
    EXPECT_EQ(finished.exitCode, 0) << finished.errors;
    EXPECT_EQ(LineCount(finished.output), 1U) << finished.output;
}

TEST_F(ProgramTest, FiltersByLevelFunctionAndTime)
{
    WriteSample();
    EXPECT_EQ(LineCount(RunTool({"--level", "error", Folder()}).output), 1U);
    EXPECT_EQ(LineCount(RunTool({"--level", "info", Folder()}).output), 2U);
    EXPECT_EQ(LineCount(RunTool({"--function", "C_S*", Folder()}).output), 2U);
    EXPECT_EQ(LineCount(RunTool({"--function", "C_Sign", "--function", "C_Login", Folder()}).output), 4U);
    EXPECT_EQ(LineCount(RunTool({"--since", "2026-11-12", Folder()}).output), 3U);
    EXPECT_EQ(LineCount(RunTool({"--until", "2026-11-11 09:00:01", Folder()}).output), 1U);
    EXPECT_EQ(
        LineCount(
            RunTool({"--since", "2026-11-11", "--level", "error", "--function", "C_Login", Folder()}).output),
        1U);
}

TEST_F(ProgramTest, ListsCallsWithTheirTimes)
{
    WriteSample();
    const ToolRun run = RunTool({"calls", Folder()});
    EXPECT_EQ(run.output,
              "   1000 ms  Wed Nov 11 09:00:01 2026 00000100  0xa  C_Login  a0 CKR_PIN_INCORRECT\n"
              "     17 ms  " +
                  testTime + " 00000100  0xb  C_Sign   0 CKR_OK\n");
    EXPECT_EQ(LineCount(RunTool({"calls", "--function", "C_Sign", Folder()}).output), 1U);
    EXPECT_EQ(LineCount(RunTool({"calls", "--since", "2026-11-12", Folder()}).output), 1U);
}

TEST_F(ProgramTest, CallsOfALogWithoutFunctionsAreExplained)
{
    log.Append("Pkcs11.log", PlainLine(" DBG", testTime, entering));
    const ToolRun run = RunTool({"calls", Folder()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("\"extensive\" in config.json"), std::string::npos);
}

TEST_F(ProgramTest, JsonIsOneObjectPerLine)
{
    WriteSample();
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "bad \xFF byte"));
    std::istringstream lines(RunTool({"--json", Folder()}).output);
    int framed = 0;
    for (std::string line; std::getline(lines, line);) {
        framed += nlohmann::json::parse(line).contains("level") ? 1 : 0;
    }
    EXPECT_EQ(framed, 6);
    std::istringstream calls(RunTool({"calls", "--json", Folder()}).output);
    std::string first;
    std::getline(calls, first);
    EXPECT_EQ(nlohmann::json::parse(first).at("duration"), 1000);
}

TEST_F(ProgramTest, LineWithAShortDateIsOneWithoutAFrame)
{
    log.Append("Pkcs11.log", "INFO; Thu Nov 1 12:10:02 2026; m; d\r\n" + PlainLine("INFO", testTime, "next"));
    const ToolRun run = RunTool({Folder()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "INFO; Thu Nov 1 12:10:02 2026; m; d\nINFO  " + testTime + "  pkcs11_x64  next\n");
}

TEST_F(ProgramTest, DefaultIsTheFolderOfTheSoftwareCard)
{
    std::filesystem::create_directory(log.Folder() / "state");
    log.Append("state/Pkcs11.log", PlainLine("INFO", testTime, "found"));
    softcard::test::SetVariable("TAVRIK_HOME", log.Folder());
    EXPECT_NE(RunTool({}).output.find("found"), std::string::npos);
    softcard::test::UnsetVariable("TAVRIK_HOME");
}

TEST_F(ProgramTest, StemOfTheFilesCanBeChosen)
{
    log.Append("Other.log", PlainLine("INFO", testTime, "other"));
    EXPECT_NE(RunTool({"--name", "Other", Folder()}).output.find("other"), std::string::npos);
}

TEST_F(ProgramTest, NoLogIsAFailureInOneSentence)
{
    const ToolRun run = RunTool({Folder()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "tavrik-log: There is no log in " + Folder() + ".\n");
}

TEST_F(ProgramTest, BadArgumentsAreTold)
{
    const std::vector<std::vector<std::string>> bad = {{"--level", "loud"},     {"--level", "0"},
                                                       {"--since", "tomorrow"}, {"--until", "x"},
                                                       {"--nothing"},           {"calls", "--level", "info"}};
    for (const std::vector<std::string>& arguments : bad) {
        const ToolRun run = RunTool(arguments);
        EXPECT_EQ(run.exitCode, 2) << arguments.front() << " " << arguments.back();
        EXPECT_TRUE(run.output.starts_with("tavrik-log: ")) << run.output;
        EXPECT_EQ(LineCount(run.output), 1U) << run.output;
    }
    EXPECT_EQ(RunTool({"--help"}).exitCode, 0);
}

TEST_F(ProgramTest, FollowsAcrossARotationAndADeletion)
{
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "first"));
    FollowingTool tool({Folder()});
    tool.ReadUntil("first\n");
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "second"));
    log.Rename("Pkcs11.log", "Pkcs11_1.log");
    log.Append("Pkcs11.log", Header("2026-11-12 13:00:00") + PlainLine("INFO", testTime, "third"));
    tool.ReadUntil("third\n");
    log.RemoveAndAwait("Pkcs11.log");
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "fourth"));
    const std::string text = tool.ReadUntil("fourth\n");
    EXPECT_EQ(tool.CloseReader(), 0);
    for (const char* word : {"first\n", "second\n", "third\n", "fourth\n"}) {
        const auto found = text.find(word);
        ASSERT_NE(found, std::string::npos) << word;
        EXPECT_EQ(text.find(word, found + 1), std::string::npos) << word << " is shown twice";
    }
    EXPECT_LT(text.find("second"), text.find("third"));
}

// Each line once, and no more files than the library is told to keep: it is not held up by who reads them.
TEST_F(ProgramTest, FollowsWhatTheLibraryWritesAndRetires)
{
    constexpr int lineCount = 150;
    LogSettings settings;
    settings.logDirectory = log.Folder().u16string() + u"/";
    settings.logFileName = u"Pkcs11";
    settings.rotationMode = 2; // by size
    settings.maxFileSize = 1500;
    settings.fileCount = 3;
    Logger logger;
    logger.Initialize(&settings);
    FollowingTool tool({"--level", "error", Folder()});
    for (int number = 1; number <= lineCount; ++number) {
        std::string message = "line " + std::to_string(number) + ".";
        message.push_back('\0');
        logger.Emit(LogLevel_Error, message.data(), "C_Sign");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const std::string last = "line " + std::to_string(lineCount) + ".";
    const std::string text = tool.ReadUntil(last);
    EXPECT_EQ(tool.CloseReader(), 0);
    for (int number = 1; number <= lineCount; ++number) {
        const std::string line = "line " + std::to_string(number) + ".";
        const auto found = text.find(line);
        ASSERT_NE(found, std::string::npos) << line;
        EXPECT_EQ(text.find(line, found + 1), std::string::npos) << line << " is shown twice";
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(log.Folder()), {}), settings.fileCount + 1);
    constexpr std::uintmax_t sizeWithALateMove = 3000;
    EXPECT_LT(std::filesystem::file_size(log.Folder() / "Pkcs11.log"), sizeWithALateMove);
}

TEST_F(ProgramTest, FollowsAFolderThatComesLater)
{
    FollowingTool tool({FileInLog("later")});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    std::filesystem::create_directory(log.Folder() / "later");
    log.Append("later/Pkcs11.log", PlainLine("INFO", testTime, "there"));
    EXPECT_NE(tool.ReadUntil("there\n").find("there\n"), std::string::npos);
}

TEST_F(ProgramTest, FollowingEndsWhenItsReaderGoes)
{
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "first"));
    FollowingTool tool({Folder()});
    tool.ReadUntil("first\n");
    EXPECT_EQ(tool.CloseReader(), 0) << "without anything more to write";
}
