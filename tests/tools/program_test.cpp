// The program as a whole, from its command line.
#include "tests/tools/run_tool.h"
#include "tests/tools/test_log.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

class ProgramTest : public testing::Test
{
protected:
    std::string Quoted() const { return "'" + log.Folder().string() + "'"; }

    // A retired file and a current one, with a session each.
    void WriteSample() const
    {
        log.Append("Pkcs11_1.log",
                   Header("2026-11-11 09:00:00") +
                       ExtensiveLine(" DBG", "Wed Nov 11 09:00:01 2026 00000100", entering, "a", "C_Login") +
                       ExtensiveLine(" ERR", "Wed Nov 11 09:00:02 2026 00001100",
                                     "PKCS11_FUNCTION_LEAVING, result a0 CKR_PIN_INCORRECT", "a", "C_Login"));
        log.Append("Pkcs11.log", Header("2026-11-12 12:00:00") +
                                     ExtensiveLine(" DBG", testTime + " 00000100", entering, "b", "C_Sign") +
                                     ExtensiveLine("INFO", testTime + " 00000105", "Session opened", "b",
                                                   "C_OpenSession", "slotID 1") +
                                     ExtensiveLine(" DBG", testTime + " 00000117", leaving, "b", "C_Sign"));
    }

    const TestLog log;
};

std::size_t LineCount(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

TEST_F(ProgramTest, PrintsTheFilesInTheirOrderWithTheirHeaders)
{
    WriteSample();
    const ToolRun run = RunTool(Quoted());
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
    const ToolRun run = RunTool("'" + (log.Folder() / "Pkcs11_1.log").string() + "'");
    EXPECT_NE(run.output.find("C_Login"), std::string::npos);
    EXPECT_EQ(run.output.find("C_Sign"), std::string::npos);
}

TEST_F(ProgramTest, FiltersByLevelFunctionAndTime)
{
    WriteSample();
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --level error").output), 1U);
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --level info").output), 2U);
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --function 'C_S*'").output), 2U);
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --function C_Sign --function C_Login").output), 4U);
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --since 2026-11-12").output), 3U);
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --until '2026-11-11 09:00:01'").output), 1U);
    EXPECT_EQ(LineCount(RunTool(Quoted() + " --since 2026-11-11 --level error --function C_Login").output),
              1U);
}

TEST_F(ProgramTest, ListsCallsWithTheirTimes)
{
    WriteSample();
    const ToolRun run = RunTool("calls " + Quoted());
    EXPECT_EQ(run.output,
              "   1000 ms  Wed Nov 11 09:00:01 2026 00000100  0xa  C_Login  a0 CKR_PIN_INCORRECT\n"
              "     17 ms  " +
                  testTime + " 00000100  0xb  C_Sign   0 CKR_OK\n");
    EXPECT_EQ(LineCount(RunTool("calls --function C_Sign " + Quoted()).output), 1U);
    EXPECT_EQ(LineCount(RunTool("calls --since 2026-11-12 " + Quoted()).output), 1U);
}

TEST_F(ProgramTest, CallsOfALogWithoutFunctionsAreExplained)
{
    log.Append("Pkcs11.log", PlainLine(" DBG", testTime, entering));
    const ToolRun run = RunTool("calls " + Quoted());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("\"extensive\" in config.json"), std::string::npos);
}

TEST_F(ProgramTest, JsonIsOneObjectPerLine)
{
    WriteSample();
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "bad \xFF byte"));
    std::istringstream lines(RunTool("--json " + Quoted()).output);
    int framed = 0;
    for (std::string line; std::getline(lines, line);) {
        framed += nlohmann::json::parse(line).contains("level") ? 1 : 0;
    }
    EXPECT_EQ(framed, 6);
    std::istringstream calls(RunTool("calls --json " + Quoted()).output);
    std::string first;
    std::getline(calls, first);
    EXPECT_EQ(nlohmann::json::parse(first).at("duration"), 1000);
}

TEST_F(ProgramTest, TerminalGetsColoursAndItsWidth)
{
    log.Append("Pkcs11.log", PlainLine(" ERR", testTime, std::string(100, 'x')));
    const ToolRun run = RunToolOnTerminal(Quoted(), 80, "NO_COLOR=");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "\x1b[31mERR   " + testTime + "  pkcs11_x64  " + std::string(36, 'x') + "\n" +
                              std::string(44, ' ') + std::string(36, 'x') + "\n" + std::string(44, ' ') +
                              std::string(28, 'x') + "\x1b[0m\n");
}

TEST_F(ProgramTest, ColoursCanBeChosen)
{
    log.Append("Pkcs11.log", PlainLine(" ERR", testTime, "x"));
    const std::string escape = "\x1b[31m";
    EXPECT_EQ(RunToolOnTerminal(Quoted(), 80, "NO_COLOR=1").output.find(escape), std::string::npos);
    EXPECT_EQ(RunToolOnTerminal("--color never " + Quoted(), 80, "NO_COLOR=").output.find(escape),
              std::string::npos);
    EXPECT_EQ(RunToolOnTerminal("--color always " + Quoted(), 80, "NO_COLOR=1").output.find(escape), 0U);
    EXPECT_EQ(RunTool("--color always " + Quoted()).output.find(escape), 0U);
    EXPECT_EQ(RunTool("--color sometimes " + Quoted()).exitCode, 2);
}

TEST_F(ProgramTest, ControlCharactersOfALogDoNotReachATerminal)
{
    const std::string commands = "\x1b[2J\x7f\u009b2J\u202e";
    log.Append("Pkcs11.log", Header("2026-11-12 12:00:00" + commands) +
                                 ExtensiveLine("INFO", testTime, commands, commands, commands, commands));
    for (const char* arguments : {"--color never ", "--color never --json ", "--color never calls "}) {
        const ToolRun run = RunToolOnTerminal(arguments + Quoted(), 80, "");
        EXPECT_EQ(run.exitCode, 0);
        for (const char* command : {"\x1b", "\x7f", "\u009b", "\u202e"}) {
            EXPECT_EQ(run.output.find(command), std::string::npos) << run.output;
        }
    }
}

TEST_F(ProgramTest, PipeAndDeviceInTheFolderAreLeftOut)
{
    WriteSample();
    const auto fifo = log.Folder() / "Pkcs11_2.log";
    const auto device = log.Folder() / "Pkcs11_3.log";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", device);
    const ToolRun run = RunTool("--level error " + Quoted(), "timeout 60");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("C_Login"), std::string::npos);
    EXPECT_NE(run.output.find(fifo.string() + " is no regular file and is left out."), std::string::npos);
    EXPECT_NE(run.output.find(device.string() + " is no regular file and is left out."), std::string::npos);
}

TEST_F(ProgramTest, PathThatIsAPipeOrADeviceIsRefused)
{
    const auto fifo = log.Folder() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo.string(), std::string("/dev/zero")}) {
        const ToolRun run = RunTool("'" + path + "'", "timeout 60");
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.output, "tavrik-log: " + path + " is no regular file.\n");
    }
}

TEST_F(ProgramTest, StandardInputIsReadWhateverItIs)
{
    WriteSample();
    const std::string file = "'" + (log.Folder() / "Pkcs11.log").string() + "'";
    for (const ToolRun& run :
         {RunTool("--level info /dev/stdin", "cat " + file + " |"),
          RunTool("--level info /dev/stdin <" + file), RunTool("--level info /dev/fd/5 5<" + file)}) {
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(LineCount(run.output), 1U) << run.output;
    }
}

TEST_F(ProgramTest, LineOfAnyLengthTakesLittleMemory)
{
    constexpr std::uintmax_t lineLength = std::uintmax_t{600} << 20U;
    constexpr long memoryKilobytes = 300L << 10U; // room for a sanitizer's own
    log.Append("Pkcs11.log", "");
    std::filesystem::resize_file(log.Folder() / "Pkcs11.log", lineLength);
    log.Append("Pkcs11.log", "\r\n" + PlainLine("INFO", testTime, "behind it"));
    const ToolRun run = RunTool(Quoted(), "", "| tail -c 100");
    EXPECT_TRUE(run.output.ends_with("? [cut]\nINFO  " + testTime + "  pkcs11_x64  behind it\n"))
        << run.output;
    rusage ended{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &ended), 0);
    EXPECT_LT(ended.ru_maxrss, memoryKilobytes);
}

TEST_F(ProgramTest, LineWithAShortDateIsOneWithoutAFrame)
{
    log.Append("Pkcs11.log", "INFO; Thu Nov 1 12:10:02 2026; m; d\r\n" + PlainLine("INFO", testTime, "next"));
    const ToolRun run = RunTool(Quoted());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "INFO; Thu Nov 1 12:10:02 2026; m; d\nINFO  " + testTime + "  pkcs11_x64  next\n");
}

TEST_F(ProgramTest, PipeWhoseReaderGoesEndsItQuietly)
{
    std::string many;
    for (int count = 0; count < 20000; ++count) {
        many += PlainLine("INFO", testTime, "line " + std::to_string(count));
    }
    log.Append("Pkcs11.log", many);
    const ToolRun run = RunTool(Quoted(), "bash -o pipefail -c \"", "| head -n 1\"");
    EXPECT_EQ(run.output, "INFO  " + testTime + "  pkcs11_x64  line 0\n");
    EXPECT_EQ(run.exitCode, 0);
}

TEST_F(ProgramTest, DefaultIsTheFolderOfTheSoftwareCard)
{
    std::filesystem::create_directory(log.Folder() / "state");
    log.Append("state/Pkcs11.log", PlainLine("INFO", testTime, "found"));
    EXPECT_NE(RunTool("", "TAVRIK_HOME=" + Quoted()).output.find("found"), std::string::npos);
}

TEST_F(ProgramTest, StemOfTheFilesCanBeChosen)
{
    log.Append("Other.log", PlainLine("INFO", testTime, "other"));
    EXPECT_NE(RunTool("--name Other " + Quoted()).output.find("other"), std::string::npos);
}

TEST_F(ProgramTest, NoLogIsAFailureInOneSentence)
{
    const ToolRun run = RunTool(Quoted());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "tavrik-log: There is no log in " + log.Folder().string() + ".\n");
}

TEST_F(ProgramTest, BadArgumentsAreTold)
{
    for (const char* arguments :
         {"--level loud", "--level 0", "--since tomorrow", "--until x", "--nothing", "calls --level info"}) {
        const ToolRun run = RunTool(arguments);
        EXPECT_EQ(run.exitCode, 2) << arguments;
        EXPECT_TRUE(run.output.starts_with("tavrik-log: ")) << run.output;
        EXPECT_EQ(LineCount(run.output), 1U) << run.output;
    }
    EXPECT_EQ(RunTool("--help").exitCode, 0);
}

TEST_F(ProgramTest, FollowsAcrossARotationAndADeletion)
{
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "first"));
    FollowingTool tool(Quoted());
    tool.ReadUntil("first\n");
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "second"));
    log.Rename("Pkcs11.log", "Pkcs11_1.log");
    log.Append("Pkcs11.log", Header("2026-11-12 13:00:00") + PlainLine("INFO", testTime, "third"));
    tool.ReadUntil("third\n");
    log.Remove("Pkcs11.log");
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "fourth"));
    const std::string text = tool.ReadUntil("fourth\n");
    EXPECT_EQ(tool.Interrupt(), 0);
    for (const char* word : {"first\n", "second\n", "third\n", "fourth\n"}) {
        const auto found = text.find(word);
        ASSERT_NE(found, std::string::npos) << word;
        EXPECT_EQ(text.find(word, found + 1), std::string::npos) << word << " is shown twice";
    }
    EXPECT_LT(text.find("second"), text.find("third"));
}

TEST_F(ProgramTest, FollowsAFolderThatComesLater)
{
    FollowingTool tool("'" + (log.Folder() / "later").string() + "'");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    std::filesystem::create_directory(log.Folder() / "later");
    log.Append("later/Pkcs11.log", PlainLine("INFO", testTime, "there"));
    EXPECT_NE(tool.ReadUntil("there\n").find("there\n"), std::string::npos);
}

TEST_F(ProgramTest, FollowedCallsThatAreOpenAreShownAtTheEnd)
{
    log.Append("Pkcs11.log", ExtensiveLine(" DBG", testTime, entering, "a", "C_Login") +
                                 ExtensiveLine(" DBG", testTime, leaving, "a", "C_Login") +
                                 ExtensiveLine(" DBG", testTime, entering, "a", "C_Sign"));
    FollowingTool tool("calls " + Quoted());
    tool.ReadUntil("C_Login");
    EXPECT_EQ(tool.Interrupt(), 0);
    EXPECT_NE(tool.ReadUntil("C_Sign").find("C_Sign   no leaving line\n"), std::string::npos);
}

TEST_F(ProgramTest, FollowingEndsWhenItsReaderGoes)
{
    log.Append("Pkcs11.log", PlainLine("INFO", testTime, "first"));
    FollowingTool tool(Quoted());
    tool.ReadUntil("first\n");
    EXPECT_EQ(tool.CloseReader(), 0) << "without anything more to write";
}
