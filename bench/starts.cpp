// What a program pays once: the start of a module, the first login, and all from the program's start to its first
// signature, with one reader and with eight. And what the card layer and a child process take by themselves.
#include "bench/card_layer.h"
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/registration.h"
#include "bench/token.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <optional>

namespace bench {
namespace {

template <typename Call>
void Time(benchmark::State& state, Call call)
{
    const auto begin = std::chrono::steady_clock::now();
    call();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
}

// A few times each, because a start takes long.
template <typename Body>
void Register(const std::string& name, Body body)
{
    constexpr int64_t times = 5;
    AddMeasurement(name,
                   [body](benchmark::State& state) {
                       for ([[maybe_unused]] auto ignored : state) {
                           body(state);
                       }
                   })
        ->UseManualTime()
        ->Iterations(times)
        ->Unit(benchmark::kMillisecond);
}

template <class Form>
void RegisterStart(const std::string& name, const std::filesystem::path& module, const char* home)
{
    Register("C_Initialize/" + name, [=](benchmark::State& state) {
        UseHome(home);
        auto* const f = LoadModule<Form>(module);
        Time(state, [&] { Require(Start<Form>(f), "C_Initialize"); });
        Require(f->C_Finalize(nullptr), "C_Finalize");
    });
    Register("C_Login/" + name, [=](benchmark::State& state) {
        UseHome(home);
        const Token<Form> token(module);
        Require(token.f->C_Logout(token.session), "C_Logout");
        Time(state, [&] { token.Login(); });
    });
}

// A child process whose output is read. Throws std::runtime_error when it cannot be started, and at its end unless it has
// succeeded.
class Program
{
public:
    explicit Program(std::vector<const char*> arguments) : name(arguments.front())
    {
        arguments.push_back(nullptr);
        std::array<int, 2> ends{-1, -1};
        posix_spawn_file_actions_t actions;
        if (pipe2(ends.data(), O_CLOEXEC) != 0 || posix_spawn_file_actions_init(&actions) != 0) {
            Fail();
        }
        output = ends[0];
        const bool started = posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO) == 0 &&
                             posix_spawn(&child, name, &actions, nullptr,
                                         const_cast<char* const*>(arguments.data()), environ) == 0;
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        if (!started) {
            Fail();
        }
    }
    ~Program() { close(output); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Returns when it has written something or has ended.
    void WaitForOutput() const
    {
        char byte = 0;
        if (read(output, &byte, 1) < 0) {
            Fail();
        }
    }
    void WaitForEnd() const
    {
        int status = -1;
        if (waitpid(child, &status, 0) != child || status != 0) {
            Fail();
        }
    }

private:
    [[noreturn]] void Fail() const { throw std::runtime_error(std::string("a program failed: ") + name); }

    const char* name;
    pid_t child = 0;
    int output = -1;
};

// The time until the program writes something, or until it has ended.
void RegisterProgram(const std::string& name, const char* home, std::vector<const char*> arguments)
{
    Register(name, [=](benchmark::State& state) {
        UseHome(home);
        std::optional<Program> program;
        Time(state, [&] {
            program.emplace(arguments);
            program->WaitForOutput();
        });
        program->WaitForEnd();
    });
}

void RegisterAll(const char* firstSignature)
{
    for (const char* home : {"1-reader", "8-readers"}) {
        const std::string readers = std::string("/") + home[0];
        RegisterStart<Packed>("library" + readers, LibraryFile(), home);
        RegisterStart<Natural>("front" + readers, FrontFile(), home);
    }
    RegisterStart<Natural>("softhsm", SoftHsmFile(), "1-reader");
    RegisterProgram("C_Initialize/child process", "1-reader", {"/usr/bin/true"});
    for (const char* subject : {"library", "front", "softhsm", "card layer"}) {
        RegisterProgram(std::string("first signature/") + subject, "1-reader", {firstSignature, subject});
    }
}

} // namespace
} // namespace bench

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    return bench::Guarded([] {
        const std::string firstSignature =
            std::filesystem::canonical("/proc/self/exe").parent_path() / "bench_first_signature";
        bench::RegisterAll(firstSignature.c_str());
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
    });
}
