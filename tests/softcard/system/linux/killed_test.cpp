// A program that is killed at any moment leaves a card that opens and counts truthfully.
#include "softcard/card/code_record.h"
#include "tests/softcard/card_home.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

constexpr uint32_t allTries = softcard::defaultTries;

class Killed : public CardTest
{
protected:
    // The PIN as it is before each run of a step.
    void Prepare(uint32_t triesLeft) const
    {
        softcard::CodeRecords records = softcard::ReadCodeRecords(CardFolder());
        records.pin.triesLeft = triesLeft;
        records.puk.triesLeft = records.puk.maximumTries;
        softcard::WriteCodeRecords(CardFolder(), records);
    }

    // Runs the step once for each of its moments, killed there. Returns the tries left of the PIN that were found, in the
    // order of the moments, and last those after the step that was not killed.
    std::vector<uint32_t> TriesLeftAtEachMoment(const std::string& step, uint32_t before)
    {
        EXPECT_EQ(VerifyPin(InsertAndOpen("ref2"), pin).returned, 0) << "and the files for locks are made";
        const auto filesBefore = FilesInCard();
        std::vector<uint32_t> found;
        for (int exitCode = -1; exitCode != 0;) {
            Prepare(before);
            exitCode = RunProgram({USE_CARD, step, std::to_string(found.size())}).exitCode;
            EXPECT_TRUE(exitCode == -1 || exitCode == 0) << "it failed";
            const softcard::CodeRecords left = softcard::ReadCodeRecords(CardFolder());
            found.push_back(left.pin.triesLeft);
            EXPECT_GE(left.puk.triesLeft, left.puk.maximumTries - 1);
            EXPECT_LE(FilesInCard(), filesBefore + 1) << "at most the file that was being written is left";
            halfWrittenFiles += std::filesystem::remove(CardFolder() / ".state.json.new") ? 1 : 0;
            EXPECT_EQ(Library().closeSession(Open()), 0) << "the card opens";
        }
        return found;
    }

    void ExpectThatTheKeyIsReached()
    {
        EXPECT_EQ(RunTool({"unblock", "ref2", "pin", "--puk", templatePuk}).exitCode, 0);
        EXPECT_EQ(VerifyPin(Open(), pin).returned, 0);
    }

    int halfWrittenFiles = 0;

private:
    [[nodiscard]] std::filesystem::path CardFolder() const { return State() / "cards/ref2"; }
    [[nodiscard]] std::ptrdiff_t FilesInCard() const
    {
        return std::distance(std::filesystem::directory_iterator(CardFolder()), {});
    }
};

// The same numbers without their repetitions.
std::vector<uint32_t> Changes(std::vector<uint32_t> numbers)
{
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

TEST_F(Killed, DuringAWrongVerificationLeavesTheTrySpentFromTheFirstWriteOn)
{
    EXPECT_EQ(Changes(TriesLeftAtEachMoment("wrong", 2)), (std::vector<uint32_t>{2, 1}));
    EXPECT_GT(halfWrittenFiles, 0);
    ExpectThatTheKeyIsReached();
}

TEST_F(Killed, DuringARightVerificationLeavesTheTrySpentUntilTheSecondWrite)
{
    EXPECT_EQ(Changes(TriesLeftAtEachMoment("right", 2)), (std::vector<uint32_t>{2, 1, allTries}));
    EXPECT_GT(halfWrittenFiles, 0);
    ExpectThatTheKeyIsReached();
}

TEST_F(Killed, DuringUnblockingLeavesTheCodeLockedOrWithAllTries)
{
    EXPECT_EQ(Changes(TriesLeftAtEachMoment("unblock", 0)), (std::vector<uint32_t>{0, allTries}));
    EXPECT_GT(halfWrittenFiles, 0);
    ExpectThatTheKeyIsReached();
}

} // namespace
