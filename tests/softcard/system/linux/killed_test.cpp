// A program that is killed at any moment leaves a card that opens and counts truthfully.
#include "softcard/card/code_record.h"
#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/system/linux/use_report.h"
#include "tests/support/linux/program_output.h"

#include <chrono>
#include <cmath>
#include <iostream>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace softcard::test;
using std::chrono::microseconds;

namespace {

constexpr int rounds = 500;
constexpr uint32_t allTries = softcard::defaultTries;

// In microseconds from the first step on. A step writes the spent try at once, within a fraction of a
// millisecond or many of them as the disk has it, then derives for some fifty milliseconds, and may write
// again.
constexpr double shortestLife = 50;
constexpr double longestShortLife = 15000;
constexpr double longestLife = 120000;

// Half of the lives end around the first writing, however long that takes, the others anywhere in two steps.
microseconds DrawLife(std::mt19937& random, bool isShort)
{
    if (isShort) {
        std::uniform_real_distribution<double> magnitude(std::log(shortestLife), std::log(longestShortLife));
        return microseconds(static_cast<int64_t>(std::exp(magnitude(random))));
    }
    return microseconds(static_cast<int64_t>(std::uniform_real_distribution<double>(0, longestLife)(random)));
}

// A running softcard_use_card and what it tells.
class User
{
public:
    explicit User(unsigned seed)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        reports = softcard::FileDescriptor(ends[0]);
        const softcard::FileDescriptor output(ends[1]);
        process = StartProgram({USE_CARD, std::to_string(seed)}, output.Get());
    }

    // Waits until it begins its first step.
    void AwaitStep() { Take(); }

    // Whether it was running still.
    [[nodiscard]] bool Kill() const
    {
        KillProgram(process);
        int status = 0;
        return waitpid(static_cast<pid_t>(process), &status, 0) == process && WIFSIGNALED(status);
    }

    // What may be left after all that it told, given what was left before.
    std::set<uint32_t> TruthfulTries(uint32_t before)
    {
        while (Take()) {
        }
        before = triesLeft.value_or(before);
        // A step whose outcome nobody learned may have been counted or not.
        std::set<uint32_t> possible = {before};
        if (begun == UseStep::wrongPin || begun == UseStep::rightPin) {
            possible.insert(before - 1);
        }
        if (begun == UseStep::rightPin || begun == UseStep::unblocking) {
            possible.insert(allTries);
        }
        return possible;
    }

private:
    bool Take()
    {
        UseReport report{};
        if (read(reports.Get(), &report, sizeof report) != sizeof report) {
            return false;
        }
        if (report.step == UseStep::done) {
            triesLeft = report.triesLeft;
        }
        begun = report.step;
        return true;
    }

    softcard::FileDescriptor reports;
    Process process = 0;
    UseStep begun = UseStep::done;
    std::optional<uint32_t> triesLeft;
};

class Killed : public CardTest
{
protected:
    [[nodiscard]] std::filesystem::path CardFolder() const { return State() / "cards/ref2"; }
    [[nodiscard]] std::ptrdiff_t FilesInCard() const
    {
        return std::distance(std::filesystem::directory_iterator(CardFolder()), {});
    }

    // Whether the program died while it wrote. What it left is taken away, to be found anew.
    [[nodiscard]] bool ClearHalfWrittenFile() const
    {
        return std::filesystem::remove(CardFolder() / ".state.json.new");
    }

    // Being killed while it is compared costs the PUK a try too.
    void GivePukTriesBack() const
    {
        auto records = softcard::ReadCodeRecords(CardFolder());
        EXPECT_GE(records.puk.triesLeft, records.puk.maximumTries - 1);
        if (records.puk.triesLeft < records.puk.maximumTries) {
            records.puk.triesLeft = records.puk.maximumTries;
            softcard::WriteCodeRecords(CardFolder(), records);
        }
    }

    [[nodiscard]] uint32_t TriesLeft() const { return softcard::ReadCodeRecords(CardFolder()).pin.triesLeft; }
};

TEST_F(Killed, AtAnyMomentLeavesATruthfulCount)
{
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << std::endl;
    std::mt19937 random(seed);
    EXPECT_EQ(VerifyPin(InsertAndOpen("ref2"), pin).returned, 0) << "and the files for locks are made";
    const auto filesBefore = FilesInCard();
    // Of the lives that ended within a step: how many left the fewest tries that it could, how many left
    // more, and how many were just writing.
    int leftFewest = 0;
    int leftMore = 0;
    int halfWritten = 0;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        const uint32_t before = TriesLeft();
        User user(static_cast<unsigned>(random()));
        user.AwaitStep();
        std::this_thread::sleep_for(DrawLife(random, round % 2 == 0));
        ASSERT_TRUE(user.Kill()) << "it ended by itself";

        const std::set<uint32_t> possible = user.TruthfulTries(before);
        const uint32_t left = TriesLeft();
        ASSERT_TRUE(possible.contains(left)) << left << " left";
        ASSERT_LE(FilesInCard(), filesBefore + 1) << "at most the file that was being written is left over";
        EXPECT_EQ(Library().closeSession(Open()), 0) << "the card opens";
        if (possible.size() > 1) {
            ++(left == *possible.begin() ? leftFewest : leftMore);
        }
        halfWritten += ClearHalfWrittenFile() ? 1 : 0;
        GivePukTriesBack();
    }
    std::cout << halfWritten << " of " << rounds << " died while they wrote\n";
    EXPECT_GT(leftFewest, 0);
    EXPECT_GT(leftMore, 0);
    EXPECT_GT(halfWritten, 0);
    EXPECT_EQ(RunTool({"unblock", "ref2", "pin", "--puk", templatePuk}).exitCode, 0);
    EXPECT_EQ(VerifyPin(Open(), pin).returned, 0) << "and the key is reached";
}

} // namespace
