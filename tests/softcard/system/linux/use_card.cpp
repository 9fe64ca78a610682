// softcard_use_card SEED: verifies the PIN of the card "ref2" in "Reader 0", rightly and wrongly by chance,
// and unblocks it when it is locked, until it is killed. Says before each step what it begins, and behind it
// what came of it (see use_report.h).
#include "softcard/card/code_change.h"
#include "softcard/card/directories.h"
#include "tests/softcard/card_library.h"
#include "tests/softcard/system/linux/use_report.h"

#include <exception>
#include <iostream>
#include <random>
#include <string>

#include <unistd.h>

using namespace softcard::test;
using softcard::CodeKind;

namespace {

void Tell(UseStep step, uint32_t triesLeft = 0)
{
    const UseReport report{step, triesLeft};
    if (write(STDOUT_FILENO, &report, sizeof report) != sizeof report) {
        throw std::runtime_error("Nobody listens.");
    }
}

void Unblock(const std::filesystem::path& cardFolder)
{
    Tell(UseStep::unblocking);
    softcard::UnblockCode(cardFolder, CodeKind::pin, softcard::MakeSecretText(templatePuk), {});
    Tell(UseStep::done, softcard::defaultTries);
}

void Verify(CardSession session, bool rightly)
{
    Tell(rightly ? UseStep::rightPin : UseStep::wrongPin);
    const Verified verified = VerifyPin(session, rightly ? pin : wrongCode);
    const auto left = static_cast<uint32_t>(verified.result.unread4);
    Tell(UseStep::done, verified.returned == 0 ? softcard::defaultTries : left);
}

[[noreturn]] void UseCardForever(unsigned seed)
{
    std::minstd_rand random(seed);
    const std::filesystem::path cardFolder = softcard::FindDirectories().Cards() / "ref2";
    Library().initialize(nullptr);
    CardSession session = 0;
    Library().openSession(u"Reader 0", &session);
    if (session == 0) {
        throw std::runtime_error("The card does not open.");
    }
    while (true) {
        if (softcard::ReadCodeRecords(cardFolder).pin.triesLeft == 0) {
            Unblock(cardFolder);
        } else {
            Verify(session, random() % 3 == 0);
        }
    }
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    try {
        UseCardForever(argumentCount == 2 ? static_cast<unsigned>(std::stoul(argumentValues[1])) : 0);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
