#include "tests/hosts/card_for_hosts.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace hosts {
namespace {

namespace fs = std::filesystem;

void SetHome(const fs::path& folder)
{
    setenv("TAVRIK_HOME", folder.c_str(), 1);
}

// Keys take their time, so the cards are made once in a process, and copied.
const fs::path& CardsMadeOnce()
{
    static const TemporaryFolder folder("tavrik_host_cards_");
    static const bool made = [] {
        SetHome(folder.Path());
        for (const char* card : {"anna", "boris"}) {
            const auto making = softcard::test::RunProgram(
                {CARD_TOOL, "new", card, "--bok", bok, "--pin", pin, "--puk", puk});
            EXPECT_EQ(making.exitCode, 0) << making.errors;
        }
        return true;
    }();
    static_cast<void>(made);
    return folder.Path();
}

} // namespace

HostTest::HostTest()
{
    fs::copy(CardsMadeOnce(), Home(), fs::copy_options::recursive);
    SetHome(Home());
    Tool({"insert", "anna"});
    fs::create_directories(Home() / "config");
    std::ofstream(Home() / "config/config.json")
        << R"({"pinPadEnabled": false, "log": {"logToConsole": true, "logToDebugger": false, "logToFile": true,)"
        << R"( "extensive": true, "fileCount": 5, "logFromLevel": "LogLevel_Debug",)"
        << R"( "timeFormat": "LogTimeFormat_DateTimeMillisec"}})";
    setenv("TAVRIK_PINENTRY", SCRIPTED_PINENTRY, 1);
    setenv("TAVRIK_PINENTRY_ANSWERS", (Home() / "answers").c_str(), 1);
    std::string answers;
    for (int i = 0; i < 100; ++i) {
        answers.append(pin).append("\n");
    }
    Answer(answers);
}

void HostTest::Tool(const std::vector<std::string>& arguments)
{
    std::vector<std::string> all{CARD_TOOL};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const auto done = softcard::test::RunProgram(all);
    EXPECT_EQ(done.exitCode, 0) << done.errors;
}

void HostTest::Answer(const std::string& lines) const
{
    std::ofstream(Home() / "answers") << lines;
}

std::string HostTest::Module(const std::string& kind)
{
    return kind == "front" ? FRONT : LIBRARY;
}

std::string HostTest::OtherModule(const std::string& kind)
{
    return kind == "front" ? LIBRARY : FRONT;
}

std::vector<std::string> HostTest::HostCommand(const std::vector<std::string>& mode)
{
    std::vector<std::string> command{HOSTILE_HOST, GetParam(), Module(GetParam())};
    command.insert(command.end(), mode.begin(), mode.end());
    return command;
}

void HostTest::ExpectHostSucceeds(const std::vector<std::string>& mode)
{
    const auto ended = softcard::test::RunProgram(HostCommand(mode));
    EXPECT_EQ(ended.exitCode, 0) << testing::PrintToString(mode) << "\n" << ended.errors;
}

std::string HostTest::Log() const
{
    std::string all;
    for (const auto& entry : fs::recursive_directory_iterator(Home() / "state")) {
        if (entry.path().extension() == ".log") {
            all += ContentOf(entry.path());
        }
    }
    return all;
}

std::string ContentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace hosts
