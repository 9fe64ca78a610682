// The program among the pipes, devices and terminals of Linux.
#include "tests/tools/program_sample.h"
#include "tests/tools/system/linux/shell_tool.h"

#include <filesystem>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

class LinuxProgramTest : public ProgramTest
{
protected:
    std::string Quoted() const { return "'" + Folder() + "'"; }
};

} // namespace

TEST_F(LinuxProgramTest, TerminalGetsColoursAndItsWidth)
{
    log.Append("Pkcs11.log", PlainLine(" ERR", testTime, std::string(100, 'x')));
    const ToolRun run = RunToolOnTerminal(Quoted(), 80, "NO_COLOR=");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "\x1b[31mERR   " + testTime + "  pkcs11_x64  " + std::string(36, 'x') + "\n" +
                              std::string(44, ' ') + std::string(36, 'x') + "\n" + std::string(44, ' ') +
                              std::string(28, 'x') + "\x1b[0m\n");
}

TEST_F(LinuxProgramTest, ColoursCanBeChosen)
{
    log.Append("Pkcs11.log", PlainLine(" ERR", testTime, "x"));
    const std::string escape = "\x1b[31m";
    EXPECT_EQ(RunToolOnTerminal(Quoted(), 80, "NO_COLOR=1").output.find(escape), std::string::npos);
    EXPECT_EQ(RunToolOnTerminal("--color never " + Quoted(), 80, "NO_COLOR=").output.find(escape),
              std::string::npos);
    EXPECT_EQ(RunToolOnTerminal("--color always " + Quoted(), 80, "NO_COLOR=1").output.find(escape), 0U);
    EXPECT_EQ(RunToolInShell("--color always " + Quoted()).output.find(escape), 0U);
    EXPECT_EQ(RunToolInShell("--color sometimes " + Quoted()).exitCode, 2);
}

TEST_F(LinuxProgramTest, ControlCharactersOfALogDoNotReachATerminal)
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

TEST_F(LinuxProgramTest, PipeAndDeviceInTheFolderAreLeftOut)
{
    WriteSample();
    const auto fifo = log.Folder() / "Pkcs11_2.log";
    const auto device = log.Folder() / "Pkcs11_3.log";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", device);
    const ToolRun run = RunToolInShell("--level error " + Quoted(), "timeout 60");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("C_Login"), std::string::npos);
    EXPECT_NE(run.output.find(fifo.string() + " is no regular file and is left out."), std::string::npos);
    EXPECT_NE(run.output.find(device.string() + " is no regular file and is left out."), std::string::npos);
}

TEST_F(LinuxProgramTest, PathThatIsAPipeOrADeviceIsRefused)
{
    const auto fifo = log.Folder() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo.string(), std::string("/dev/zero")}) {
        const ToolRun run = RunToolInShell("'" + path + "'", "timeout 60");
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.output, "tavrik-log: " + path + " is no regular file.\n");
    }
}

TEST_F(LinuxProgramTest, StandardInputIsReadWhateverItIs)
{
    WriteSample();
    const std::string file = "'" + (log.Folder() / "Pkcs11.log").string() + "'";
    for (const ToolRun& run : {RunToolInShell("--level info /dev/stdin", "cat " + file + " |"),
                               RunToolInShell("--level info /dev/stdin <" + file),
                               RunToolInShell("--level info /dev/fd/5 5<" + file)}) {
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(LineCount(run.output), 1U) << run.output;
    }
}

TEST_F(LinuxProgramTest, LineOfAnyLengthTakesLittleMemory)
{
    constexpr std::uintmax_t lineLength = std::uintmax_t{600} << 20U;
    constexpr long memoryKilobytes = 300L << 10U; // room for a sanitizer's own
    log.Append("Pkcs11.log", "");
    std::filesystem::resize_file(log.Folder() / "Pkcs11.log", lineLength);
    log.Append("Pkcs11.log", "\r\n" + PlainLine("INFO", testTime, "behind it"));
    const ToolRun run = RunToolInShell(Quoted(), "", "| tail -c 100");
    EXPECT_TRUE(run.output.ends_with("? [cut]\nINFO  " + testTime + "  pkcs11_x64  behind it\n"))
        << run.output;
    rusage ended{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &ended), 0);
    EXPECT_LT(ended.ru_maxrss, memoryKilobytes);
}

TEST_F(LinuxProgramTest, PipeWhoseReaderGoesEndsItQuietly)
{
    std::string many;
    for (int count = 0; count < 20000; ++count) {
        many += PlainLine("INFO", testTime, "line " + std::to_string(count));
    }
    log.Append("Pkcs11.log", many);
    const ToolRun run = RunToolInShell(Quoted(), "bash -o pipefail -c \"", "| head -n 1\"");
    EXPECT_EQ(run.output, "INFO  " + testTime + "  pkcs11_x64  line 0\n");
    EXPECT_EQ(run.exitCode, 0);
}

TEST_F(LinuxProgramTest, FollowedCallsThatAreOpenAreShownAtTheEnd)
{
    log.Append("Pkcs11.log", ExtensiveLine(" DBG", testTime, entering, "a", "C_Login") +
                                 ExtensiveLine(" DBG", testTime, leaving, "a", "C_Login") +
                                 ExtensiveLine(" DBG", testTime, entering, "a", "C_Sign"));
    FollowingTool tool({"calls", Folder()});
    tool.ReadUntil("C_Login");
    EXPECT_EQ(tool.Interrupt(), 0);
    EXPECT_NE(tool.ReadUntil("C_Sign").find("C_Sign   no leaving line\n"), std::string::npos);
}
