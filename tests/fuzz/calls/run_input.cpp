#include "tests/fuzz/calls/run_input.h"

#include "tests/fuzz/calls/front_model.h"
#include "tests/fuzz/calls/results.h"
#include "tests/fuzz/calls/used_handles.h"
#include "tests/support/script.h"
#include "tests/support/system.h"

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <thread>

namespace fuzz {
namespace {

packed::CK_RV CreateMutex(packed::CK_VOID_PTR_PTR place)
{
    *place = new std::mutex;
    return CKR_OK;
}

packed::CK_RV DestroyMutex(packed::CK_VOID_PTR mutex)
{
    delete static_cast<std::mutex*>(mutex);
    return CKR_OK;
}

packed::CK_RV LockMutex(packed::CK_VOID_PTR mutex)
{
    static_cast<std::mutex*>(mutex)->lock();
    return CKR_OK;
}

packed::CK_RV UnlockMutex(packed::CK_VOID_PTR mutex)
{
    static_cast<std::mutex*>(mutex)->unlock();
    return CKR_OK;
}

// What holds of the library, and of both with several threads: each result is one that the call may give, and no handle
// comes twice.
class OutsideJudge : public Judge
{
public:
    explicit OutsideJudge(bool itsIsFront) : isFront(itsIsFront) {}

    void NextInput()
    {
        sessions.NextInput();
        objects.NextInput();
    }

    void Called(const CallRecord& call) override
    {
        isFront ? CheckFrontResult(call, false) : CheckLibraryResult(call);
        if (call.function == Function::C_OpenSession && !call.untouched) {
            Check(sessions.Add(call.handle), NameOf(call.function), "gives no handle twice");
        }
        // The library's public keys have numbers of their own, above those of the others.
        if (call.function == Function::C_CreateObject && !call.untouched) {
            Check(objects.Add(call.handle) || call.handle == 0, NameOf(call.function),
                  "gives no handle twice");
        }
        const bool failed = call.thrown || call.result != CKR_OK;
        const bool givesAnyway = call.function == Function::C_OpenSession; // the card has gone meanwhile
        Check(!failed || call.untouched || givesAnyway, NameOf(call.function), "writes nothing when it fails",
              call.result);
    }
    void SlotsAre(const std::vector<uint64_t>& /*slots*/) override {}
    void Restarted() override {}

private:
    bool isFront;
    UsedHandles sessions;
    UsedHandles objects;
};

template <typename Types>
class Target
{
public:
    Target(typename Types::InitializeArguments* arguments, bool logs) : world(logs)
    {
        void* const loaded = blackbox::Load(blackbox::ScriptedFolder() / Types::fileName);
        f = blackbox::FunctionListOf<Types>(loaded);
        f3 = Types::isFront ? blackbox::LaterFunctionsOf(loaded) : nullptr;
        // The log's lines go there.
        static_cast<void>(std::freopen("/dev/null", "w", stdout));
        Check(f->C_Initialize(arguments) == CKR_OK, "C_Initialize", "starts");
    }

    void Begin()
    {
        pool.slots.Forget();
        pool.sessions.Forget();
        pool.objects.Forget();
        world.Begin();
    }
    void End() { world.End(); }

    CallDecoder<Types> Decoder(Judge& judge, const Powers& powers)
    {
        return {f, f3, pool, world, judge, powers};
    }

    typename Types::FunctionList* f = nullptr;
    front::CK_FUNCTION_LIST_3_0* f3 = nullptr;
    CardWorld world;
    CallPool pool;
};

template <typename Types>
void RunWith(Target<Types>& target, Judge& judge, std::string_view input, const Powers& powers,
             std::string_view prologue)
{
    target.Begin();
    Powers all = powers;
    all.operations = "";
    CallText first(prologue);
    auto beginning = target.Decoder(judge, all);
    beginning.LookAtSlots();
    beginning.Play(first);
    CallText text(input);
    target.Decoder(judge, powers).Play(text);
    target.End();
}

template <typename Types>
void RunThreads(Target<Types>& target, OutsideJudge& judge, std::string_view input)
{
    constexpr std::size_t mostThreads = 4;
    constexpr std::size_t roomOfOutputs = 2048; // bytes
    judge.NextInput();
    target.Begin();
    const Powers powers{.cards = true, .room = roomOfOutputs};
    target.Decoder(judge, powers).LookAtSlots();
    std::vector<std::thread> threads;
    while (threads.size() < mostThreads && !input.empty()) {
        const std::size_t end = std::min(input.find('|'), input.size());
        const std::string_view share = input.substr(0, end);
        input.remove_prefix(std::min(end + 1, input.size()));
        threads.emplace_back([&target, &judge, &powers, share] {
            CallText text(share);
            target.Decoder(judge, powers).Play(text);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    target.End();
}

// Made by a start, and never destroyed.
Target<LibraryTypes>* library = nullptr;
Target<FrontTypes>* frontTarget = nullptr;

} // namespace

void StartLibrary(bool logs)
{
    library = new Target<LibraryTypes>(nullptr, logs);
}

void StartFront(bool logs)
{
    static front::CK_C_INITIALIZE_ARGS arguments{nullptr, nullptr,           nullptr,
                                                 nullptr, CKF_OS_LOCKING_OK, nullptr};
    frontTarget = new Target<FrontTypes>(&arguments, logs);
}

void StartLibraryForThreads()
{
    static packed::CK_C_INITIALIZE_ARGS arguments{CreateMutex, DestroyMutex, LockMutex, UnlockMutex,
                                                  0,           nullptr};
    library = new Target<LibraryTypes>(&arguments, false);
}

void RunOnLibrary(std::string_view input, const Powers& powers, std::string_view prologue)
{
    static auto& judge = *new OutsideJudge(false);
    judge.NextInput();
    RunWith(*library, judge, input, powers, prologue);
}

void RunOnFront(std::string_view input, const Powers& powers, std::string_view prologue)
{
    static auto& model = *new FrontModel(frontTarget->f, frontTarget->world);
    model.NextInput();
    RunWith(*frontTarget, model, input, powers, prologue);
}

void RunThreadsOnLibrary(std::string_view input)
{
    static auto& judge = *new OutsideJudge(false);
    RunThreads(*library, judge, input);
}

void RunThreadsOnFront(std::string_view input)
{
    static auto& judge = *new OutsideJudge(true);
    RunThreads(*frontTarget, judge, input);
}

} // namespace fuzz
