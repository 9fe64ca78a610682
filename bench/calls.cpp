// The works of works.h with the library, the front and SoftHSM in turn: alone, beside many sessions and objects, and on
// many threads. And what the bare operations take.
#include "bench/floors.h"
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/openssl_key.h"
#include "bench/registration.h"
#include "bench/threads.h"
#include "bench/works.h"

#include <benchmark/benchmark.h>

#include <algorithm>

namespace bench {
namespace {

// A started module, and how many sessions and objects it is tried with.
template <class Form>
struct Subject
{
    Subject(const char* itsName, const std::filesystem::path& module, SignedData& key,
            std::vector<int64_t> sessions, std::vector<int64_t> objects)
        : name(itsName),
          token(module), sizes{std::vector<int64_t>{0}, std::move(sessions), std::move(objects)}
    {
        token.UseKey(key);
    }

    std::string name;
    Token<Form> token;
    std::array<std::vector<int64_t>, 3> sizes; // by Beside
};

template <class Form>
void RegisterWork(Subject<Form>& subject, const NamedWork<Form>& work, int64_t size)
{
    const auto& sizes = subject.sizes[static_cast<std::size_t>(work.beside)];
    if (std::find(sizes.begin(), sizes.end(), size) == sizes.end()) {
        return;
    }
    const std::string name = work.name + ("/" + subject.name) + (size == 0 ? "" : "/" + std::to_string(size));
    AddMeasurement(name, [&, size](benchmark::State& state) {
        subject.token.SetSessions(static_cast<std::size_t>(work.beside == Beside::sessions ? size : 0));
        subject.token.SetObjects(static_cast<std::size_t>(work.beside == Beside::objects ? size : 0));
        work.call(subject.token); // which may have to clear up after what was before
        for ([[maybe_unused]] auto ignored : state) {
            work.call(subject.token);
        }
    });
}

// Each thread with a session of its own.
template <class Form>
double TimeOfSessionInfo(const Token<Form>& token, std::size_t threads)
{
    std::vector<typename Form::Ulong> sessions(threads);
    std::generate(sessions.begin(), sessions.end(), [&] { return token.Open(token.slot); });
    const double time = TimeOfCall(threads, [&](std::size_t thread) {
        typename Form::SessionInfo info;
        Require(token.f->C_GetSessionInfo(sessions[thread], &info), "C_GetSessionInfo");
    });
    for (const auto session : sessions) {
        token.Close(session);
    }
    return time;
}

template <class Form>
void RegisterThreads(Subject<Form>& subject, std::size_t threads)
{
    const std::string name = "session info, threads/" + subject.name + "/" + std::to_string(threads);
    AddMeasurement(name,
                   [&token = subject.token, threads](benchmark::State& state) {
                       for ([[maybe_unused]] auto ignored : state) {
                           state.SetIterationTime(TimeOfSessionInfo(token, threads));
                       }
                   })
        ->UseManualTime()
        ->Iterations(5);
}

// A check after the first: the library's operation goes on.
void RegisterSecondVerify(Subject<Packed>& library, const char* work, SignedData& key)
{
    AddMeasurement((std::string(work) + "/library"), [&](benchmark::State& state) {
        const auto& token = library.token;
        const auto session = token.Open(token.slot);
        Works<Packed>::BeginVerifying(token, session, token.Create(session, key));
        for ([[maybe_unused]] auto ignored : state) {
            Works<Packed>::VerifyOnce(token, session, key);
        }
        token.Close(session);
    });
}

// One behind the other what is compared with one another. Sessions and objects come to those that are there, since it
// takes long to make them.
template <class... Forms>
void RegisterAll(Beside beside, const std::vector<int64_t>& sizes, Subject<Forms>&... subjects)
{
    for (const int64_t size : sizes) {
        for (std::size_t i = 0; i < works<Packed>.size(); ++i) {
            if (works<Packed>[i].beside == beside) {
                (RegisterWork(subjects, works<Forms>[i], size), ...);
                RegisterFloors(works<Packed>[i].name, size);
            }
        }
    }
}

} // namespace

void Run()
{
    SignedData key = SignWithKeyOf(Folder() / "key-2048.pem");
    SignedData longKey = SignWithKeyOf(Folder() / "key-4096.pem");
    const std::vector<int64_t> some{10, 10000};
    const std::vector<int64_t> many{10, 10000, 100000};
    UseHome("library");
    Subject<Packed> library("library", LibraryFile(), key, many, {});
    UseHome("front");
    Subject<Natural> front("front", FrontFile(), key, many, {10, 1000, 100000});
    // SoftHSM's time for a session or an object grows with those that there are.
    Subject<Natural> softHsm("softhsm", SoftHsmFile(), key, some, {10, 1000});
    UseHome("card");
    RegisterAll(Beside::nothing, {0}, library, front, softHsm);
    RegisterSecondVerify(library, "second verify RSA-2048", key);
    RegisterFloors("second verify RSA-2048", 0);
    RegisterSecondVerify(library, "second verify RSA-4096", longKey);
    RegisterFloors("second verify RSA-4096", 0);
    for (const std::size_t threads : {1UL, 8UL, 64UL}) {
        RegisterThreads(library, threads);
        RegisterThreads(front, threads);
        RegisterThreads(softHsm, threads);
        RegisterFloors("session info, threads", static_cast<int64_t>(threads));
    }
    RegisterAll(Beside::objects, {10, 1000, 100000}, library, front, softHsm);
    RegisterAll(Beside::sessions, many, library, front, softHsm);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

} // namespace bench

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    return bench::Guarded(bench::Run);
}
