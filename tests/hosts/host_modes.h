// What the hostile host does. Each function takes the file of the module, the name of the mode and its arguments, and
// throws std::exception when something fails.
#pragma once

#include "tests/hosts/card_client.h"
#include "tests/hosts/host_process.h"
#include "tests/support/linux/refused_calls.h"

#include "softcard/base/secret.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <csignal>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace hosts {

using Arguments = std::vector<std::string>;

inline std::string loginCode = "123456"; // of both cards

inline void* Load(const std::string& file)
{
    void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    Require(module != nullptr, file + " is not loaded: " + (module == nullptr ? dlerror() : ""));
    return module;
}

template <typename Types>
void UsePlainly(const Arguments& arguments)
{
    CardClient<Types>(Load(arguments[0])).UseCard(loginCode.data());
}

template <typename Types>
void UseWithoutStreams(const Arguments& arguments)
{
    KeepErrorOutput();
    for (const int stream : standardStreams) {
        close(stream);
    }
    CardClient<Types> client(Load(arguments[0]));
    client.afterCall = [](const char* call) { RequireFreePlacesOfStreams(call); };
    client.UseCard(loginCode.data());
}

template <typename Types>
void UseOnSmallStack(const Arguments& arguments)
{
    CardClient<Types> client(Load(arguments[0]));
    RunOnStack(std::stoul(arguments[2]), [&client] { client.UseCard(loginCode.data()); });
}

template <typename Types>
void UseUnderSignals(const Arguments& arguments)
{
    const SignalCount signals(SIGALRM);
    const itimerval often{{0, 200}, {0, 200}};
    const itimerval never{};
    CardClient<Types> client(Load(arguments[0]));
    setitimer(ITIMER_REAL, &often, nullptr);
    client.UseCard(loginCode.data());
    setitimer(ITIMER_REAL, &never, nullptr);
    Require(SignalCount::taken > 500, "there were few signals");
    Require(SignalCount::byOthers == 0, "a thread of the module takes signals");
}

// Each of the signals is blocked in the host's only thread and has a handler, which no thread may run.
template <typename Types>
void WaitForSignals(const Arguments& arguments)
{
    const std::array waited{SIGUSR1, SIGIO, SIGALRM, SIGRTMIN};
    std::vector<std::unique_ptr<SignalCount>> handlers;
    handlers.reserve(waited.size());
    for (const int signal : waited) {
        handlers.push_back(std::make_unique<SignalCount>(signal));
    }
    CardClient<Types> client(Load(arguments[0]));
    client.Start();
    const BlockedSignals blocked(waited); // behind the start, whose thread is not to have it from here
    client.afterCall = [](const char*) { RequireSignalsHeldBackByOthers(); };
    client.UseOrdinaryKey(loginCode.data());
    client.UseQualifiedKey(loginCode.data());
    client.LogIn(loginCode.data());
    client.FindKey();
    for (const int signal : waited) {
        client.Sign();
        blocked.RequireTakenBySigwait(signal);
        blocked.RequireReadFromSignalfd(signal);
    }
    client.afterCall = nullptr;
    client.LogOut();
    Require(SignalCount::taken == 0, "a handler has run");
    client.End();
}

template <typename Types>
[[noreturn]] void BeChild(CardClient<Types>& client, const std::string& end)
{
    alarm(60);
    try {
        if (end == "again") {
            client.afterCall = nullptr;
            if (!Types::isFront) { // the front ends by itself what a child inherits
                static_cast<void>(client.f->C_Finalize(nullptr));
            }
            client.Start();
            client.LogIn(loginCode.data(), 1);
            client.FindKey();
            client.Sign();
            client.LogOut();
            client.End();
        }
    } catch (const std::exception& error) {
        static_cast<void>(dprintf(STDERR_FILENO, "the child: %s\n", error.what()));
        _exit(4);
    }
    if (end == "_exit") {
        _exit(0);
    }
    std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
}

template <typename Types>
void ForkBehindEveryCall(const Arguments& arguments)
{
    CardClient<Types> client(Load(arguments[0]));
    int forks = 0;
    client.afterCall = [&](const char* call) {
        if (arguments.size() > 3 && arguments[3] != call) {
            return;
        }
        const pid_t child = fork();
        if (child == 0) {
            BeChild(client, arguments[2]);
        }
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        Require(status == 0,
                std::string("the child behind ") + call + " ends with " + std::to_string(status));
        ++forks;
    };
    client.UseCard(loginCode.data());
    std::printf("forks: %d\n", forks);
}

// The thread that is at work when the process ends. What it does fails once the end has begun.
template <typename Types>
class Worker
{
public:
    Worker(CardClient<Types>& usedClient, const std::string& moment)
        : client(usedClient), thread([this, moment] { Run(moment); })
    {
        while (!begun) {
            std::this_thread::yield();
        }
        if (moment == "dialog") {
            AwaitFile(std::getenv("SLOW_PINENTRY_ASKED"));
        }
        if (moment == "card") {
            AwaitSleep(number);
        }
        thread.detach();
    }

private:
    void Run(const std::string& moment)
    {
        number = gettid();
        try {
            client.Start();
            if (moment != "start") {
                client.OpenSession(1);
                begun = moment == "dialog";
                static_cast<void>(client.Login(moment == "dialog" ? nullptr : loginCode.data()));
                client.FindKeys();
            }
            begun = true;
            while (true) {
                if (moment == "start") {
                    client.End();
                    client.Start();
                } else {
                    client.Sign();
                }
            }
        } catch (const std::exception&) {
            begun = true;
            pause();
        }
    }

    CardClient<Types>& client;
    std::atomic<bool> begun{false};
    std::atomic<pid_t> number{0};
    std::thread thread;
};

template <typename Types>
void EndAtTheMoment(const Arguments& arguments)
{
    // Neither is destroyed: the thread uses them until the process has ended.
    auto& client = *new CardClient<Types>(Load(arguments[0]));
    new Worker<Types>(client, arguments[3]);
    const auto end = [quickly = arguments[2] == "quick_exit"] {
        if (quickly) {
            std::quick_exit(0);
        }
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
    };
    if (arguments[4] == "thread") {
        std::thread(end).join();
    }
    end();
}

// One order of unloading, in a process of its own. `finalizedBefore` is the place in the order that C_Finalize comes
// before; that of no place leaves it out.
template <typename Types>
void UnloadInOrder(const Arguments& files, const std::array<unsigned, 3>& order, unsigned finalizedBefore)
{
    std::array<void*, 3> modules{};
    for (unsigned i = 0; i < modules.size(); ++i) {
        modules[i] = Load(files[i]);
    }
    CardClient<Types> client(modules[0]);
    client.Start();
    client.LogIn(loginCode.data());
    client.FindKeys();
    client.Sign();
    bool isLoaded = true;
    for (unsigned place = 0; place < order.size(); ++place) {
        if (place == finalizedBefore && isLoaded) {
            client.End();
        }
        isLoaded = isLoaded && order[place] != 0;
        dlclose(modules[order[place]]);
    }
    // The system takes a moment to clear away a thread that has been joined.
    AwaitCondition([] { return ThreadsOfProcess() == 1; }, "a thread is left");
    for (const std::string& file : {files[0], files[1]}) {
        Require(dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD) == nullptr, file + " is still loaded");
    }
    CardClient<Types> next(Load(files[0]));
    next.Start();
    next.End();
}

template <typename Types>
void UnloadInEveryOrder(const Arguments& arguments)
{
    const Arguments files{arguments[0], arguments[2], arguments[3]};
    std::array<unsigned, 3> order{0, 1, 2};
    int orders = 0;
    do {
        for (unsigned finalizedBefore = 0; finalizedBefore <= order.size(); ++finalizedBefore) {
            const pid_t child = fork();
            if (child == 0) {
                alarm(60);
                try {
                    UnloadInOrder<Types>(files, order, finalizedBefore);
                } catch (const std::exception& error) {
                    static_cast<void>(dprintf(STDERR_FILENO, "%u %u %u, C_Finalize before %u: %s\n", order[0],
                                              order[1], order[2], finalizedBefore, error.what()));
                    _exit(4);
                }
                std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
            }
            int status = 0;
            waitpid(child, &status, 0);
            Require(status == 0, "an order ends with " + std::to_string(status));
            ++orders;
        }
    } while (std::next_permutation(order.begin(), order.end()));
    std::printf("orders: %d\n", orders);
}

template <typename Types>
void UseWithRefusedCalls(const Arguments& arguments)
{
    const auto error = static_cast<unsigned>(std::stoul(arguments[2]));
    std::vector<unsigned> calls{SYS_inotify_init, SYS_inotify_init1, SYS_inotify_add_watch, SYS_memfd_create,
                                SYS_eventfd2,     SYS_close_range,   SYS_pidfd_open,        SYS_renameat2,
                                SYS_statx,        SYS_membarrier};
    if (error == ENOSYS) {
        calls.push_back(SYS_clone3); // any other error is one to the C library, which starts no thread then
    }
    blackbox::RefuseCalls(calls, error);
    CardClient<Types> client(Load(arguments[0]));
    client.UseCard(loginCode.data());
    client.Start();
    Require(client.Slots().size() == 2, "there is another card");
    RunToItsEnd({arguments[3], "insert", "boris", "Reader 1"});
    AwaitCondition([&client] { return client.Slots().size() == 4; }, "the inserted card is not seen");
    client.End();
}

// Signs with the key of the slot. With "authorised" the PIN is given; else the qualified key has the keyboard ask.
template <typename Types>
void SignAsTold(CardClient<Types>& client, const std::string& scenario)
{
    client.FindKey();
    if (scenario == "authorised") {
        client.SignAuthorised([&client] {
            softcard::SecretText code = ReadCode();
            return client.Login(code.data(), CKU_CONTEXT_SPECIFIC);
        });
    } else if (scenario == "wrong-pin") {
        Require(client.SignAnyhow() == CKR_FUNCTION_CANCELED, "C_Sign with a cancelled PIN");
    } else {
        client.Sign();
    }
    if (scenario == "decrypted") {
        client.FindKeys();
        client.Encrypt();
        client.Decrypt();
    }
}

// Every code is read where it is used, and the process ends where the scenario does.
template <typename Types>
void LeaveSecrets(const Arguments& arguments)
{
    const std::string& scenario = arguments[2];
    const bool isQualified = scenario == "qualified" || scenario == "authorised" || scenario == "wrong-pin";
    const std::map<std::string, unsigned long> refusals{{"wrong", CKR_PIN_INCORRECT},
                                                        {"cancelled", CKR_FUNCTION_CANCELED}};
    CardClient<Types> client(Load(arguments[0]));
    client.Start();
    client.OpenSession(isQualified ? 0 : 1);
    softcard::SecretText code;
    if (scenario != "asked" && scenario != "cancelled") {
        code = ReadCode();
    }
    const unsigned long login = client.Login(code.empty() ? nullptr : code.data());
    code = softcard::SecretText();
    const auto refusal = refusals.find(scenario);
    Require(login == (refusal == refusals.end() ? CKR_OK : refusal->second), "another answer of C_Login");
    if (login == CKR_OK) {
        SignAsTold(client, scenario);
    }
    if (login == CKR_OK && scenario != "logged-in") {
        client.LogOut();
    }
    if (arguments[3] == "finalized") {
        client.End();
    }
    _exit(0);
}

} // namespace hosts
