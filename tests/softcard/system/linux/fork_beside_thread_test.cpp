// A process that forks while another thread of it looks at the readers.
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <atomic>
#include <filesystem>
#include <thread>

#include <unistd.h>

using namespace softcard::test;

namespace {

constexpr int manyReaders = 400; // so that the thread looks at them for most of the time
constexpr int forks = 20;
constexpr unsigned longestChild = 60; // seconds

void IgnoreEvent(uint32_t /*event*/, const char16_t* /*reader*/, CardSession /*session*/,
                 const CardStatus* /*status*/)
{
}

class ForkedBesideAThread : public CardTest
{
};

TEST_F(ForkedBesideAThread, ChildStartsTheLibraryAgain)
{
    for (int i = 0; i < manyReaders; ++i) {
        std::filesystem::create_directories(State() / "readers" / ("Reader " + std::to_string(i)));
    }
    std::atomic<bool> looking{true};
    std::atomic<int> looks{0};
    std::thread thread([&] {
        while (looking) {
            Library().waitForReaderEvent(0, IgnoreEvent);
            ++looks;
        }
    });
    while (looks == 0) {
        std::this_thread::yield();
    }
    for (int i = 0; i < forks; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(longestChild);
            Library().finalize();
            Library().initialize(nullptr);
            Library().waitForReaderEvent(0, IgnoreEvent);
            _exit(0);
        }
        EXPECT_EQ(AwaitProgram(child), 0) << "fork " << i;
    }
    looking = false;
    thread.join();
}

} // namespace
