// The fuzzers of calls. Each is this program with its name in CALL_FUZZER.
#include "tests/fuzz/calls/run_input.h"

#include <algorithm>
#include <array>
#include <cstdlib>

extern "C" {
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}

namespace fuzz {
namespace {

struct CallFuzzer
{
    std::string_view name;
    void (*start)();
    void (*run)(std::string_view input);
};

constexpr Powers anyCalls{.cards = true, .restarts = true};
constexpr Powers anyAnswers{.cards = true, .answers = true, .restarts = true};
// Objects and templates, and what works with keys.
constexpr Powers valuesOfFront{.operations = "NFfxGZDYKkpPVvEeQqc"};
constexpr Powers valuesOfLibrary{.operations = "NFfxGZKkVvEeQq"};
// Sessions are open and logged in on both slots.
constexpr std::string_view prologueOfFront = "O0 4, O1 4, L01\"123456\" L11\"123456\" F0.f050,x0 F1.f150,x1";
constexpr std::string_view prologueOfLibrary = "O0 4 O1 4 L01\"123456\" F0.f050x0 F1.f150x1";

constexpr std::array<CallFuzzer, 8> fuzzers{{
    // Sequences of calls with good, stale and wild arguments, while cards come and go; on the front, against a model of
    // what must hold.
    {"library_calls", [] { StartLibrary(false); },
     [](std::string_view input) { RunOnLibrary(input, anyCalls); }},
    {"front_calls", [] { StartFront(false); }, [](std::string_view input) { RunOnFront(input, anyCalls); }},
    // The same above a card layer whose every answer comes from the input.
    {"library_card", [] { StartLibrary(true); },
     [](std::string_view input) { RunOnLibrary(input, anyAnswers); }},
    {"front_card", [] { StartFront(true); }, [](std::string_view input) { RunOnFront(input, anyAnswers); }},
    // From up to four threads at once.
    {"library_threads", StartLibraryForThreads, RunThreadsOnLibrary},
    {"front_threads", [] { StartFront(false); }, RunThreadsOnFront},
    // Templates, and data to be signed.
    {"library_values", [] { StartLibrary(true); },
     [](std::string_view input) { RunOnLibrary(input, valuesOfLibrary, prologueOfLibrary); }},
    {"front_values", [] { StartFront(true); },
     [](std::string_view input) { RunOnFront(input, valuesOfFront, prologueOfFront); }},
}};

const CallFuzzer& ThisFuzzer()
{
    const auto* const found = std::find_if(
        fuzzers.begin(), fuzzers.end(), [](const CallFuzzer& fuzzer) { return fuzzer.name == CALL_FUZZER; });
    if (found == fuzzers.end()) {
        std::abort();
    }
    return *found;
}

} // namespace
} // namespace fuzz

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    fuzz::ThisFuzzer().start();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const auto& fuzzer = fuzz::ThisFuzzer();
    fuzzer.run({reinterpret_cast<const char*>(data), size});
    return 0;
}
