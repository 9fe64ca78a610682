#include "src/platform/platform.h"

#include "src/platform/linux/os_listing.h"

#include "tests/unit/log/log_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

namespace {

std::string OutputOf(const std::string& command, std::string output = "unchanged")
{
    Platform::RunCommandCaptureOutput(command.c_str(), output);
    return output;
}

// What the child returns, in a process of its own, where signals and limits may be changed.
int ResultInChild(const std::function<int()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::chrono::milliseconds TimeOf(const std::string& command, std::string& output)
{
    const auto begin = std::chrono::steady_clock::now();
    Platform::RunCommandCaptureOutput(command.c_str(), output);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
}

std::size_t OpenDescriptors()
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        count += entry.path().empty() ? 0U : 1U;
    }
    return count;
}

std::atomic<int> childSignals{0};

bool HasChildren()
{
    return waitpid(-1, nullptr, WNOHANG | __WALL) >= 0 || errno != ECHILD;
}

} // namespace

TEST(RunCommand, TakesWhatTheCommandWrites)
{
    EXPECT_EQ(OutputOf("printf 'one\\ntwo'"), "one\ntwo");
}

TEST(RunCommand, TakesStandardErrorToo)
{
    EXPECT_EQ(OutputOf("printf out; printf err >&2"), "outerr");
}

TEST(RunCommand, ReplacesTheOutputThatWasThere)
{
    EXPECT_EQ(OutputOf("printf new", "a longer old text"), "new");
}

TEST(RunCommand, TakesAtMost1023Bytes)
{
    EXPECT_EQ(OutputOf("i=0; while [ $i -lt 2000 ]; do printf 0123456789; i=$((i+1)); done").size(), 1023U);
}

TEST(RunCommand, TextEndsAtAZeroByte)
{
    EXPECT_EQ(OutputOf("printf 'a\\000b'"), "a");
}

TEST(RunCommand, CommandThatSaysNothingGivesNothing)
{
    EXPECT_EQ(OutputOf("exit 0"), "");
    EXPECT_EQ(OutputOf("exit 7"), "");
}

TEST(RunCommand, CommandThatWritesMoreThanThePipeHoldsIsEndedAfterASecond)
{
    std::string output;
    const auto took = TimeOf("while :; do printf 0123456789abcdef; done", output);
    EXPECT_EQ(output.size(), 1023U);
    EXPECT_GE(took.count(), 900);
    EXPECT_LT(took.count(), 5000);
}

TEST(RunCommand, SilentCommandThatGoesOnIsEndedAfterASecond)
{
    std::string output;
    const auto took = TimeOf("sleep 60", output);
    EXPECT_EQ(output, "");
    EXPECT_GE(took.count(), 900);
    EXPECT_LT(took.count(), 5000);
    EXPECT_FALSE(HasChildren());
}

TEST(RunCommand, OutputBeforeTheLimitIsTaken)
{
    std::string output;
    TimeOf("printf early; sleep 60", output);
    EXPECT_EQ(output, "early");
}

TEST(RunCommand, BackgroundProcessesEndWithTheCommand)
{
    const LogFolder folder;
    const std::string pipe = folder.Path("pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    std::string output;
    TimeOf("(exec 9>'" + pipe + "'; printf x >&9; sleep 60) & sleep 60", output);
    char text = 0;
    ASSERT_EQ(read(reader, &text, 1), 1) << "the background process has not begun";
    // The pipe ends when nobody has it open for writing any more.
    pollfd end{reader, POLLIN, 0};
    ASSERT_EQ(poll(&end, 1, 30000), 1) << "the background process still runs";
    EXPECT_EQ(read(reader, &text, 1), 0);
    close(reader);
}

TEST(RunCommand, SubreaperHostGetsNoOrphans)
{
    EXPECT_EQ(ResultInChild([] {
                  if (prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0) {
                      return 2;
                  }
                  OutputOf("sleep 60 & printf x");
                  return HasChildren() ? 1 : 0;
              }),
              0);
}

TEST(RunCommand, BackgroundProcessThatKeepsTheOutputOpenIsNotWaitedFor)
{
    std::string output;
    const auto took = TimeOf("sleep 60 & printf done", output);
    EXPECT_EQ(output, "done");
    EXPECT_LT(took.count(), 900);
}

TEST(RunCommand, LeavesNoChildAndNoDescriptor)
{
    const auto before = OpenDescriptors();
    for (int run = 0; run < 20; ++run) {
        OutputOf("printf x");
        EXPECT_FALSE(HasChildren());
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(RunCommand, NoDescriptorOfTheHostReachesTheCommand)
{
    const LogFolder folder;
    folder.Write("secret", "text");
    const int plain = open(folder.Path("secret").c_str(), O_RDONLY); // without O_CLOEXEC, on purpose
    ASSERT_GE(plain, 0);
    const int high = fcntl(plain, F_DUPFD, 200);
    EXPECT_EQ(OutputOf("cd /proc/self/fd; for fd in *; do readlink $fd; done | "
                       "grep -c secret"),
              "0\n");
    EXPECT_EQ(OutputOf("readlink /proc/self/fd/0"), "/dev/null\n");
    close(plain);
    close(high);
}

TEST(RunCommand, WorksInAHostWithoutStandardStreams)
{
    EXPECT_EQ(ResultInChild([] {
                  close(0);
                  close(1);
                  close(2);
                  return OutputOf("printf 'out'; printf 'err' >&2; cat") == "outerr" ? 0 : 1;
              }),
              0);
}

TEST(RunCommand, LeavesTheOutputAloneWhenNoPipeCanBeMade)
{
    EXPECT_EQ(ResultInChild([] {
                  while (open("/dev/null", O_RDONLY) >= 0) {
                  }
                  return OutputOf("printf x") == "unchanged" ? 0 : 1;
              }),
              0);
}

TEST(RunCommand, HostIsSentNoSignal)
{
    childSignals = 0;
    const auto before = std::signal(SIGCHLD, [](int) { ++childSignals; });
    OutputOf("printf x");
    std::string output;
    TimeOf("sleep 60", output);
    EXPECT_EQ(childSignals, 0);
    static_cast<void>(std::signal(SIGCHLD, before));
}

TEST(RunCommand, WorksInAHostThatIgnoresTheEndOfItsChildren)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(OutputOf("printf '%s' $(printf x)"), "x");
    static_cast<void>(std::signal(SIGCHLD, before));
}

// A host that waits for just any child must get its own, and only its own.
TEST(RunCommand, HostsWaitForAnyChildGetsItsOwnChildrenOnly)
{
    EXPECT_EQ(ResultInChild([] {
                  std::atomic<bool> done{false};
                  std::atomic<int> foreign{0};
                  std::thread reaper([&] {
                      while (!done) {
                          if (waitpid(-1, nullptr, WNOHANG) > 0) {
                              ++foreign;
                          }
                      }
                  });
                  bool right = true;
                  for (int run = 0; run < 50; ++run) {
                      right = right && OutputOf("printf x") == "x";
                  }
                  done = true;
                  reaper.join();
                  return right && foreign == 0 ? 0 : 1;
              }),
              0);
}

TEST(RunCommand, SignalsOfTheHostAreNotLostAndNotHeldBack)
{
    sigset_t before{};
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    OutputOf("printf x");
    sigset_t after{};
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGUSR1}) {
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    }
}

TEST(RunCommand, NeitherSearchPathsNorPreloadsOfTheHostReachTheCommand)
{
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread runs
    EXPECT_EQ(ResultInChild([] {
                  setenv("PATH", "/nowhere", 1);
                  setenv("LD_PRELOAD", "/nowhere/lib.so", 1);
                  setenv("LC_ALL", "sk_SK.UTF-8", 1);
                  return OutputOf("printf '%s|%s|%s|%s' \"$PATH\" \"$LD_PRELOAD\" \"$LC_ALL\""
                                  " \"$HOST_LANGUAGE\"") == "/usr/bin:/bin||C|sk_SK.UTF-8"
                             ? 0
                             : 1;
              }),
              0);
    // NOLINTEND(concurrency-mt-unsafe)
}

TEST(RunCommand, NoShellComplainsOfALocaleThatIsNotThere)
{
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread runs
    EXPECT_EQ(ResultInChild([] {
                  setenv("LC_ALL", "xx_XX.UTF-8", 1);
                  setenv("LANG", "xx_XX.UTF-8", 1);
                  return OutputOf("exec bash -c 'printf said'") == "said" ? 0 : 1;
              }),
              0);
    // NOLINTEND(concurrency-mt-unsafe)
}

TEST(OsListing, HasTheFivePropertiesInTheirOrder)
{
    std::istringstream lines(OutputOf(Platform::OsListingCommand()));
    std::vector<std::string> names;
    std::vector<std::string> values;
    for (std::string line; std::getline(lines, line);) {
        const auto sign = line.find('=');
        ASSERT_NE(sign, std::string::npos) << line;
        names.push_back(line.substr(0, sign));
        values.push_back(line.substr(sign + 1));
    }
    ASSERT_EQ(names, (std::vector<std::string>{"Caption", "OSArchitecture", "CSDVersion", "MUILanguages",
                                               "Version"}));

    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    EXPECT_EQ(values[1], system.machine);
    EXPECT_EQ(values[2], system.version);
    EXPECT_EQ(values[4], system.release);
    std::ifstream release("/etc/os-release");
    const std::string text{std::istreambuf_iterator<char>(release), {}};
    EXPECT_NE(text.find("PRETTY_NAME=\"" + values[0] + "\""), std::string::npos) << values[0];
}

TEST(OsListing, IsWhatAShellAndItsToolsWouldPrint)
{
    const std::string byTools = OutputOf(
        "for file in /etc/os-release /usr/lib/os-release; do [ -r $file ] && . $file && break; done\n"
        "printf '%s\\n' \"Caption=$PRETTY_NAME\" \"OSArchitecture=$(uname -m)\" \"CSDVersion=$(uname -v)\""
        " \"MUILanguages=$HOST_LANGUAGE\" \"Version=$(uname -r)\"");
    EXPECT_EQ(OutputOf(Platform::OsListingCommand()), byTools);
}

TEST(OsListing, NeedsNoProcessOfItsOwn)
{
    std::array<int, 2> ends{-1, -1};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    WriteOsListing(ends[1], "xx_XX");
    close(ends[1]);
    std::array<char, 1024> room{};
    const ssize_t length = read(ends[0], room.data(), room.size());
    close(ends[0]);
    const std::string listing(room.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    const std::string ofCommand = OutputOf(Platform::OsListingCommand());
    const std::string language = "MUILanguages=";
    const auto before = ofCommand.find(language);
    const auto behind = ofCommand.find("\nVersion=");
    ASSERT_NE(behind, std::string::npos);
    EXPECT_EQ(listing, ofCommand.substr(0, before) + language + "xx_XX" + ofCommand.substr(behind));
}

// Nobody answers the process whose calls the filter hands on, as with a file system that has lost its server.
TEST(OsListing, FileThatIsNeverOpenedIsGivenUpAfterASecond)
{
    EXPECT_EQ(ResultInChild([] {
                  constexpr auto flags = static_cast<unsigned>(O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
                  std::array<sock_filter, 6> program{{
                      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
                      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args) + 2 * sizeof(uint64_t)),
                      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, flags, 0, 1),
                      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
                      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
                  }};
                  const sock_fprog filter{program.size(), program.data()};
                  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
                      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER,
                              &filter) < 0) {
                      return 1;
                  }
                  // The host's own ways with the alarm change nothing.
                  static_cast<void>(std::signal(SIGALRM, SIG_IGN));
                  std::string output = "old";
                  const auto took = TimeOf(Platform::OsListingCommand(), output);
                  if (!output.empty()) {
                      return 2;
                  }
                  return took.count() >= 900 && took.count() < 5000 ? 0 : 3;
              }),
              0);
}

TEST(OsListing, ReadsTheNameAsAShellDoes)
{
    for (const char* text : {
             "",
             "NAME=Debian\nID=debian\n",
             "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n",
             "# PRETTY_NAME=comment\nPRETTY_NAME='a \"quoted\" name'",
             "PRETTY_NAME=plain # and a comment\n",
             "  PRETTY_NAME=first\nPRETTY_NAME=\"the \"last'  one'\n",
             "PRETTY_NAME=\"\\$5 \\`x\\` \\\"y\\\" \\\\ \\n\"\n",
             "PRETTY_NAME=with\\ blanks\\;; ID=x\n",
             "PRETTY_NAME=\nMY_PRETTY_NAME=other\n",
         }) {
        const LogFolder folder;
        const std::string file = folder.Path("os-release").string();
        std::ofstream(file) << text;
        std::array<char, 200> room{};
        EXPECT_EQ(PrettyName(text, room), OutputOf(". " + file + "; printf %s \"$PRETTY_NAME\"", "")) << text;
    }
    std::array<char, 4> room{};
    EXPECT_EQ(PrettyName("PRETTY_NAME=longer", room), "long");
}

TEST(OsListing, ShowsTheLanguageThatCountsMost)
{
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread runs
    const auto languageWith = [](const char* all, const char* messages) {
        return ResultInChild([=] {
            setenv("LANG", "de_AT.UTF-8", 1);
            setenv("LC_MESSAGES", messages, 1);
            setenv("LC_ALL", all, 1);
            const std::string output = OutputOf(Platform::OsListingCommand());
            const std::string expected = *all != '\0' ? all : *messages != '\0' ? messages : "de_AT.UTF-8";
            return output.find("\nMUILanguages=" + expected + "\n") != std::string::npos ? 0 : 1;
        });
    };
    // NOLINTEND(concurrency-mt-unsafe)
    EXPECT_EQ(languageWith("", ""), 0);
    EXPECT_EQ(languageWith("", "cs_CZ.UTF-8"), 0);
    EXPECT_EQ(languageWith("sk_SK.UTF-8", "cs_CZ.UTF-8"), 0);
}
