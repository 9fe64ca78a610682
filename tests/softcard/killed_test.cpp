// A process that is killed at any moment leaves a card that opens and counts truthfully.
#include "card_home.h"
#include "card_store.h"
#include "code_change.h"
#include "code_check.h"

#include <chrono>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace softcard::test;
using softcard::CodeKind;

namespace {

constexpr int rounds = 500;
constexpr uint32_t quickCost = 16; // of the derivation, so that most of the time goes into files
constexpr uint32_t allTries = softcard::defaultTries;
constexpr std::chrono::microseconds longestLife{30000};

// What the process is about to do, or its outcome: one record in a pipe, written at once.
struct Report
{
    char step; // 'w' trying a wrong PIN, 'r' the right one, 'u' unblocking, 'd' done
    uint32_t triesLeft;
};

class Killed : public CardTest
{
protected:
    Killed()
    {
        Insert("ref2");
        auto records = softcard::ReadCodeRecords(CardFolder());
        const auto secret =
            softcard::OpenWithCode(CardFolder(), CodeKind::pin, softcard::MakeSecretText(pin));
        const auto puk = softcard::MakeUnblockingCode(softcard::MakeSecretText(templatePuk), quickCost);
        records.pin = softcard::MakeCode(softcard::MakeSecretText(pin), secret, quickCost);
        records.pin.recoverySecret = softcard::WrapSecret(secret, puk.wrappingKey);
        records.puk = puk.record;
        softcard::WriteCodeRecords(CardFolder(), records);
    }

    [[nodiscard]] std::filesystem::path CardFolder() const { return State() / "cards/ref2"; }
    [[nodiscard]] std::ptrdiff_t FilesInCard() const
    {
        return std::distance(std::filesystem::directory_iterator(CardFolder()), {});
    }
    [[nodiscard]] uint32_t TriesLeft() const { return softcard::ReadCodeRecords(CardFolder()).pin.triesLeft; }

    // Never returns, not by an exception either: behind it is the test.
    [[noreturn]] void UseCardForever(int pipe, unsigned seed) const noexcept
    {
        std::minstd_rand random(seed);
        const CardSession session = Open();
        while (true) {
            const bool locked = TriesLeft() == 0;
            const char step = locked ? 'u' : (random() % 3 == 0 ? 'r' : 'w');
            Tell(pipe, {step, 0});
            if (step == 'u') {
                softcard::UnblockCode(CardFolder(), CodeKind::pin, softcard::MakeSecretText(templatePuk), {});
                Tell(pipe, {'d', allTries});
            } else {
                const Verified verified = VerifyPin(session, step == 'r' ? pin : wrongCode);
                const auto left = static_cast<uint32_t>(verified.result.unread4);
                Tell(pipe, {'d', verified.returned == 0 ? allTries : left});
            }
        }
    }

    // Being killed while it is compared costs the PUK a try too, which is not what this is about.
    void GivePukTriesBack() const
    {
        auto records = softcard::ReadCodeRecords(CardFolder());
        if (records.puk.triesLeft < records.puk.maximumTries) {
            records.puk.triesLeft = records.puk.maximumTries;
            softcard::WriteCodeRecords(CardFolder(), records);
        }
    }

    static void Tell(int pipe, Report report)
    {
        if (write(pipe, &report, sizeof report) != sizeof report) {
            _exit(1);
        }
    }

    // What may be left after the reports, given what was left before them.
    static std::set<uint32_t> TruthfulTries(int pipe, uint32_t before)
    {
        std::optional<char> begun;
        Report report{};
        while (read(pipe, &report, sizeof report) == sizeof report) {
            if (report.step == 'd') {
                before = report.triesLeft;
                begun.reset();
            } else {
                begun = report.step;
            }
        }
        // A step whose outcome nobody learned may have been counted or not.
        std::set<uint32_t> possible = {before};
        const char step = begun.value_or('-');
        if (step == 'w' || step == 'r') {
            possible.insert(before - 1);
        }
        if (step == 'r' || step == 'u') {
            possible.insert(allTries);
        }
        return possible;
    }
};

TEST_F(Killed, AtAnyMomentLeavesATruthfulCount)
{
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    std::uniform_int_distribution<int64_t> life(0, longestLife.count());
    int interrupted = 0;
    EXPECT_EQ(VerifyPin(Open(), pin).returned, 0) << "and the files for locks are made";
    const auto filesBefore = FilesInCard();
    for (int round = 0; round < rounds; ++round) {
        const uint32_t before = TriesLeft();
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const unsigned processSeed = static_cast<unsigned>(random());
        const pid_t process = fork();
        ASSERT_GE(process, 0);
        if (process == 0) {
            UseCardForever(ends[1], processSeed);
        }
        close(ends[1]);
        std::this_thread::sleep_for(std::chrono::microseconds(life(random)));
        kill(process, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(process, &status, 0), process);
        ASSERT_TRUE(WIFSIGNALED(status)) << "it ended by itself, seed " << seed << ", round " << round;

        const std::set<uint32_t> possible = TruthfulTries(ends[0], before);
        close(ends[0]);
        interrupted += possible.size() > 1 ? 1 : 0;
        ASSERT_TRUE(possible.contains(TriesLeft()))
            << TriesLeft() << " left, seed " << seed << ", round " << round;
        EXPECT_EQ(Library().closeSession(Open()), 0) << "the card opens";
        GivePukTriesBack();
    }
    EXPECT_GT(interrupted, rounds / 10) << "too few of them were doing something";
    EXPECT_LE(FilesInCard(), filesBefore + 1) << "at most the file that was being written is left over";
    softcard::UnblockCode(CardFolder(), CodeKind::pin, softcard::MakeSecretText(templatePuk), {});
    EXPECT_EQ(VerifyPin(Open(), pin).returned, 0) << "and the key is reached";
}

} // namespace
