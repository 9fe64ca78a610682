// A host that ends, or forks, while the library or the front is at work with the software card.
//
//     exit_host library|front FILE WORK END
//
// WORK: sign, decrypt, verify, encrypt or digest, over and over in a thread of its own. END: how the process
// ends while that thread goes on ("exit", "quick_exit", "return"); or "fork", with which a child ends by
// exit() after one turn of the work, and so does the process after the child; or "handler", with which there
// is no thread, and a handler of the host, which runs after those of the module, closes the session and ends
// the module. Ends with 0; 3 when the work fails.
#include "tests/hosts/card_client.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace hosts;

namespace {

constexpr int workFailed = 3;
constexpr int turnsBeforeTheEnd = 3;

std::function<void()> endModule; // what the handler of the host calls

template <typename ItsClient>
std::function<void()> WorkOf(void* module, const std::string& name)
{
    auto& client = *new ItsClient(module); // never destroyed
    std::string code = "123456";
    client.Start();
    client.LogIn(code.data());
    client.FindKeys();
    client.Encrypt();
    client.Sign();
    endModule = [&client] { client.EndAnyhow(); };
    if (name == "sign") {
        return [&client] { client.Sign(); };
    }
    if (name == "decrypt") {
        return [&client] { client.Decrypt(); };
    }
    if (name == "verify") {
        return [&client] { client.Verify(); };
    }
    if (name == "encrypt") {
        return [&client] { client.Encrypt(); };
    }
    Require(name == "digest", "no such work");
    return [&client] { client.Digest(); };
}

// The thread goes on until the process has ended. That the work fails is nothing any more once the end has
// begun.
std::atomic<int> turns{0};
std::atomic<bool> ending{false};

void WorkForEver(const std::function<void()>& work)
{
    while (true) {
        try {
            work();
        } catch (const std::exception& error) {
            if (!ending) {
                static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
                _exit(workFailed);
            }
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
        ++turns;
    }
}

int ForkAfter(const std::function<void()>& work)
{
    work();
    const pid_t child = fork();
    if (child == 0) {
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

// What is thrown ends the process, which is what the test is told.
int main(int argc, char** argv) // NOLINT(bugprone-exception-escape)
{
    Require(argc == 5, "usage: exit_host library|front FILE WORK END");
    const std::string end = argv[4];
    if (end == "handler") {
        Require(std::atexit([] { endModule(); }) == 0,
                "atexit"); // before the module's own: it runs after them
    }
    void* const module = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
    Require(module != nullptr, "the module is not loaded");
    const auto work = std::string(argv[1]) == "front"
                          ? WorkOf<CardClient<blackbox::FrontTypes>>(module, argv[3])
                          : WorkOf<CardClient<blackbox::LibraryTypes>>(module, argv[3]);
    if (end == "fork") {
        return ForkAfter(work);
    }
    if (end == "handler") {
        work();
        return 0;
    }
    std::thread(WorkForEver, work).detach();
    while (turns < turnsBeforeTheEnd) {
        std::this_thread::yield();
    }
    ending = true;
    if (end == "quick_exit") {
        std::quick_exit(0);
    }
    if (end == "exit") {
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
    }
    return 0;
}
