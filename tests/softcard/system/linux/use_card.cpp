// softcard_use_card STEP MOMENT: does one step with the PIN of the card "ref2" in "Reader 0" and kills itself at a moment
// of it. STEP is "right" or "wrong" to verify the PIN so, and "unblock" to unblock it. The moments are counted from 0:
// each system call that changes files has one before it, and a write also one in its middle. Between these calls nothing
// changes outside the process, so a program that is killed at any other time leaves the same. Exits with 0 when the step
// has fewer moments.
#include "softcard/card/code_change.h"
#include "softcard/card/directories.h"
#include "tests/softcard/card_library.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <limits>
#include <string>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace softcard::test;
using softcard::CodeKind;

namespace {

constexpr int never = std::numeric_limits<int>::max();

int momentsLeft = never;

void PassMoment()
{
    if (momentsLeft == 0) {
        kill(getpid(), SIGKILL);
    }
    momentsLeft -= momentsLeft == never ? 0 : 1;
}

void DoStep(const std::string& step, int moment)
{
    const std::filesystem::path cardFolder = softcard::FindDirectories().Cards() / "ref2";
    Library().initialize(nullptr);
    CardSession session = 0;
    Library().openSession(u"Reader 0", &session);
    if (session == 0) {
        throw std::runtime_error("The card does not open.");
    }
    momentsLeft = moment;
    if (step == "unblock") {
        softcard::UnblockCode(cardFolder, CodeKind::pin, softcard::MakeSecretText(templatePuk), {});
    } else {
        VerifyPin(session, step == "right" ? pin : wrongCode);
    }
    momentsLeft = never;
}

} // namespace

// The library and this program call these in place of the system's.
extern "C" {
ssize_t WriteAtAMoment(int file, const void* data, size_t size) __asm__("write");
int SyncAtAMoment(int file) __asm__("fsync");
int RenameAtAMoment(const char* from, const char* to) __asm__("rename");
int UnlinkAtAMoment(const char* path) __asm__("unlink");
}

ssize_t WriteAtAMoment(int file, const void* data, size_t size)
{
    PassMoment();
    if (momentsLeft == 0) {
        syscall(SYS_write, file, data, size / 2);
    }
    PassMoment();
    return syscall(SYS_write, file, data, size);
}

int SyncAtAMoment(int file)
{
    PassMoment();
    return static_cast<int>(syscall(SYS_fsync, file));
}

int RenameAtAMoment(const char* from, const char* to)
{
    PassMoment();
    return static_cast<int>(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

int UnlinkAtAMoment(const char* path)
{
    PassMoment();
    return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int main(int argumentCount, char** argumentValues)
{
    try {
        DoStep(argumentValues[1], argumentCount == 3 ? std::stoi(argumentValues[2]) : never);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
