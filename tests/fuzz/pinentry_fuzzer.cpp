// A pinentry program that says anything at all. It is no process here: what it says lies in its pipe at once, and the
// first byte of the input tells how it hears.
#include "softcard/cardapi/assuan_client.h"
#include "softcard/cardapi/assuan_text.h"
#include "softcard/cardapi/system/pinentry_program.h"
#include "tests/fuzz/rules.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using fuzz::Require;
using namespace softcard;

constexpr pid_t process = 1 << 29; // more than any has
constexpr size_t mostSaid = 65536; // what fits into a pipe

// The program of the present input.
struct Program
{
    std::string_view says;
    bool hears = true; // keeps its input open
    bool starts = true;
    int itsInput = -1; // as it was told to have them
    int itsOutput = -1;
    int input = -1; // while it runs
};

Program present;

} // namespace

// In the place of the system's functions.
extern "C" int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* /*actions*/, int fd, int newfd)
{
    (newfd == STDIN_FILENO ? present.itsInput : present.itsOutput) = fd;
    return 0;
}

extern "C" int posix_spawn(pid_t* pid, const char* /*path*/, const posix_spawn_file_actions_t* /*actions*/,
                           const posix_spawnattr_t* /*attributes*/, char* const* /*arguments*/,
                           char* const* /*environment*/)
{
    if (!present.starts) {
        return ENOENT;
    }
    *pid = process;
    present.input = present.hears ? fcntl(present.itsInput, F_DUPFD_CLOEXEC, 3) : -1;
    const auto said = write(present.itsOutput, present.says.data(), present.says.size());
    Require(said == static_cast<ssize_t>(present.says.size()), "A pipe has room for what is said.");
    return 0;
}

extern "C" pid_t waitpid(pid_t pid, int* /*status*/, int /*options*/)
{
    Require(pid == process, "The own program alone is waited for.");
    return pid;
}

namespace {

// What the user typed, by the protocol alone: the data of the last command, when all commands before were answered.
struct Expected
{
    bool answered = false;
    std::string code;
};

// Reads lines as the protocol has them; nothing at the end and after a line that is too long.
class Lines
{
public:
    explicit Lines(std::string_view text) : rest(text) {}

    bool Next(std::string_view& line)
    {
        const size_t end = rest.find('\n');
        if (end > longestAssuanLine) { // or there is none
            return false;
        }
        line = rest.substr(0, end);
        rest.remove_prefix(end + 1);
        return true;
    }

private:
    std::string_view rest;
};

enum class Answer
{
    ok,
    refused,
    none
};

bool IsWord(std::string_view line, std::string_view word)
{
    return line == word || line.starts_with(std::string(word) + " ");
}

// Adds to the data what comes before the answer.
Answer AnswerIn(Lines& lines, bool hears, std::string& data)
{
    std::string_view line;
    size_t said = 0;
    while (lines.Next(line)) {
        said += line.size() + 1;
        if (IsWord(line, "OK")) {
            return Answer::ok;
        }
        if (IsWord(line, "ERR")) {
            return Answer::refused;
        }
        if (line.starts_with("D ")) {
            data += UnescapeFromAssuan(line.substr(2));
        }
        if ((IsWord(line, "INQUIRE") && !hears) || said > mostSaid) {
            break;
        }
    }
    return Answer::none;
}

// `settings`: the commands that may be refused.
Expected ExpectedOf(std::string_view says, bool hears, size_t settings)
{
    Lines lines(says);
    std::string ignored;
    Expected expected;
    if (AnswerIn(lines, hears, ignored) != Answer::ok) {
        return expected;
    }
    for (size_t number = 0; number < settings; ++number) {
        if (!hears || AnswerIn(lines, hears, ignored) == Answer::none) {
            return expected;
        }
    }
    expected.answered = hears && AnswerIn(lines, hears, ignored) == Answer::ok &&
                        AnswerIn(lines, hears, ignored) == Answer::ok &&
                        AnswerIn(lines, hears, expected.code) == Answer::ok;
    return expected;
}

// What the program heard are lines, and commands of the protocol.
void RequireHeard(int file)
{
    std::string heard(mostSaid, '\0');
    const auto length = read(file, heard.data(), heard.size());
    heard.resize(length > 0 ? static_cast<size_t>(length) : 0);
    Require(heard.empty() || heard.ends_with("\n"), "Lines are told.");
    for (size_t begin = 0, end = 0; begin < heard.size(); begin = end + 1) {
        end = heard.find('\n', begin);
        const std::string_view line(heard.data() + begin, end - begin);
        const auto known = {"SETTIMEOUT ", "OPTION ", "SETDESC ", "SETPROMPT ", "GETPIN", "BYE", "CAN"};
        Require(
            std::any_of(known.begin(), known.end(), [&](const char* word) { return line.starts_with(word); }),
            "The commands are those of the protocol.");
    }
}

void RequireSameText(const std::string& text)
{
    const std::string escaped = EscapeForAssuan(text);
    Require(std::none_of(escaped.begin(), escaped.end(), [](char c) { return c >= 0 && c < ' '; }),
            "An escaped text is one line.");
    Require(UnescapeFromAssuan(escaped) == text, "The same text comes back.");
    Require(UnescapeFromAssuan(text).size() <= text.size(), "A text gets no longer.");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool isPlain = setenv("TERM", "dumb", 1) == 0 && unsetenv("GPG_TTY") == 0 &&
                                unsetenv("LC_ALL") == 0 && unsetenv("LC_CTYPE") == 0;
    static const bool hasNoTerminal =
        close(STDIN_FILENO) == 0 && open("/dev/null", O_RDONLY | O_CLOEXEC) == STDIN_FILENO;
    Require(isPlain && hasNoTerminal, "The options are one: the type of the terminal.");
    if (size == 0 || size > mostSaid) {
        return -1;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    present = {text, (data[0] & 1U) != 0, data[0] != 0xFF};
    const Question question{"First line\nsecond \"" + text.substr(0, 100) + "\"",
                            "PIN:", std::chrono::seconds(3600)};
    const auto code = AskThroughProgram("/bin/sh", question);
    const Expected expected = present.starts ? ExpectedOf(text, present.hears, 2) : Expected();
    Require(code.has_value() == expected.answered, "A code is given where the protocol gives one.");
    Require(!code || std::string(code->begin(), code->end()) == expected.code, "The code is what was typed.");
    if (present.input >= 0) {
        RequireHeard(present.input);
        close(present.input);
    }
    RequireSameText(text);
    return 0;
}
