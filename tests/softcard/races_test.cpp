// What others do at the same moment.
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <system_error>
#include <vector>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

class Races : public CardTest
{
protected:
    static std::string List() { return RunTool({"list"}).output; }
    [[nodiscard]] bool CardIsThere(const std::string& name) const
    {
        return fs::exists(State() / "cards" / name);
    }

    // Nothing is left in the store but cards, and the locks where they lie beside the card.
    void ExpectNoLitterOf(const std::string& name) const
    {
        const fs::path card = State() / "cards" / name;
        for (const auto& entry : fs::directory_iterator(State() / "cards")) {
            const bool isLock = entry.path() == softcard::LockFileOf(card, "lock") ||
                                entry.path() == softcard::LockFileOf(card, "transaction");
            EXPECT_TRUE(isLock || !entry.path().filename().string().starts_with('.')) << entry.path();
        }
    }
};

// Starts all at once, and gives their exit codes.
std::vector<int> RunTogether(const std::vector<std::vector<std::string>>& commands)
{
    std::vector<Process> processes;
    for (std::vector<std::string> command : commands) {
        command.insert(command.begin(), CARD_TOOL);
        processes.push_back(StartProgram(command));
    }
    std::vector<int> exitCodes;
    std::transform(processes.begin(), processes.end(), std::back_inserter(exitCodes), AwaitProgram);
    return exitCodes;
}

TEST_F(Races, OneOfTwoDeletesSucceeds)
{
    for (int round = 0; round < 10 / START_COST; ++round) {
        fs::copy(State() / "cards/ref1", State() / "cards/twin", fs::copy_options::recursive);
        std::vector<int> exitCodes =
            RunTogether({{"delete", "twin"}, {"delete", "twin"}, {"delete", "twin"}});
        std::sort(exitCodes.begin(), exitCodes.end());
        EXPECT_EQ(exitCodes, (std::vector<int>{0, exitUnknownCard, exitUnknownCard}));
        EXPECT_FALSE(CardIsThere("twin"));
    }
    ExpectNoLitterOf("twin");
}

TEST_F(Races, OneOfDeleteAndInsertSucceeds)
{
    for (int round = 0; round < 15 / START_COST; ++round) {
        fs::copy(State() / "cards/ref1", State() / "cards/torn", fs::copy_options::recursive);
        const std::vector<int> exitCodes = RunTogether({{"delete", "torn"}, {"insert", "torn"}});
        if (exitCodes[0] == 0) {
            EXPECT_EQ(exitCodes[1], exitUnknownCard);
            EXPECT_FALSE(CardIsThere("torn"));
            EXPECT_FALSE(fs::exists(fs::symlink_status(State() / "readers/Reader 0/card")));
        } else {
            EXPECT_EQ(exitCodes, (std::vector<int>{exitAlreadyInserted, 0}));
            EXPECT_NE(List().find("torn\tReader 0\t"), std::string::npos);
            ASSERT_EQ(RunTool({"delete", "torn", "--force"}).exitCode, 0);
        }
    }
    ExpectNoLitterOf("torn");
}

TEST_F(Races, OfDeleteAndNewReportWhatHappened)
{
    for (int round = 0; round < 5 / START_COST; ++round) {
        ASSERT_EQ(RunTool({"new", "anew", "--puk", "1"}).exitCode, 0);
        const std::vector<int> exitCodes = RunTogether({{"delete", "anew"}, {"new", "anew", "--puk", "2"}});
        EXPECT_EQ(exitCodes[0], 0);
        EXPECT_TRUE(exitCodes[1] == 0 || exitCodes[1] == exitNameTaken) << exitCodes[1];
        EXPECT_EQ(CardIsThere("anew"), exitCodes[1] == 0);
        if (CardIsThere("anew")) {
            EXPECT_EQ(RunTool({"unblock", "anew", "bok", "--puk", "2"}).exitCode, 0)
                << "and it is the new one";
            ASSERT_EQ(RunTool({"delete", "anew"}).exitCode, 0);
        }
    }
    ExpectNoLitterOf("anew");
}

// What is being taken apart elsewhere does not stand in the way.
TEST_F(Races, DeleteIgnoresTheRemainsOfAnotherDelete)
{
    fs::create_directories(State() / "cards/.ref1.deleted");
    WriteText(State() / "cards/.ref1.deleted/es-1.key", "of the other");
    EXPECT_EQ(RunTool({"delete", "ref1"}).exitCode, 0);
    EXPECT_FALSE(CardIsThere("ref1"));
    EXPECT_EQ(softcard::ReadFile(State() / "cards/.ref1.deleted/es-1.key"), "of the other");
}

TEST_F(Races, DeleteWaitsForAVerification)
{
    const softcard::FileLock use =
        softcard::FileLock::TryShared(softcard::LockFileOf(State() / "cards/ref1", "transaction")).value();
    EXPECT_EQ(RunTool({"delete", "ref1"}).exitCode, exitCardBusy);
    EXPECT_TRUE(CardIsThere("ref1"));
}

TEST(Locks, AreWaitedForAsLongAsIsAskedFor)
{
    const TemporaryHome home;
    const fs::path file = home.Folder() / "lock";
    const softcard::FileLock held(file);
    const auto start = std::chrono::steady_clock::now();
    try {
        const softcard::FileLock another(file, std::chrono::milliseconds(50));
        ADD_FAILURE() << "it is held";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), softcard::FileFault::lockHeld);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

} // namespace
