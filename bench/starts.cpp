// What a program pays once: the start of a module, the first login, and all from the program's start to its first
// signature, with one reader and with eight. And what the card layer and a child process take by themselves.
#include "bench/card_layer.h"
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/registration.h"
#include "bench/token.h"

#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

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

void RunProgram(std::vector<const char*> arguments)
{
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (posix_spawn(&child, arguments.front(), nullptr, nullptr, const_cast<char* const*>(arguments.data()),
                    environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error(std::string("a program failed: ") + arguments.front());
    }
}

void RegisterProgram(const std::string& name, const char* home, std::vector<const char*> arguments)
{
    Register(name, [=](benchmark::State& state) {
        UseHome(home);
        Time(state, [&] { RunProgram(arguments); });
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
