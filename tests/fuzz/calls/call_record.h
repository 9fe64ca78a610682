// What a call was given and what it gave back, in one form for the library and the front.
#pragma once

#include "tests/fuzz/calls/call_text.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace fuzz {

// The functions in their standard order.
enum class Function
{
#define CRYPTOKI_WORKS(name, parameters) name,
#define CRYPTOKI_REFUSES(name, parameters, answer) name,
#define CRYPTOKI_3_WORKS CRYPTOKI_WORKS
#define CRYPTOKI_3_REFUSES CRYPTOKI_REFUSES
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
};

const char* NameOf(Function function);

enum class Operation
{
    none,
    search,
    digest,
    sign,
    verify,
    encrypt,
    decrypt
};
inline constexpr std::size_t operationCount = 7;

enum class Step
{
    none,
    begin,
    whole, // in one step
    part,
    end
};

struct CallRecord
{
    Function function;
    Operation operation = Operation::none;
    Step step = Step::none;
    uint64_t session = 0; // or the slot, of functions that take one
    uint64_t result = 0;  // CK_RV
    bool thrown = false;  // an exception left the call, and there is no result

    std::optional<uint64_t> mechanism{}; // none for a null pointer
    uint64_t key = 0;                    // or the object
    Bytes data{};

    // Of functions that give back bytes or a list.
    bool lengthGiven = false; // the pointer to the length is not null
    bool bufferGiven = false;
    uint64_t room = 0;     // as told in the length on the way in
    uint64_t told = 0;     // the length on the way out
    Bytes output{};        // what came back in the buffer, `told` elements at most
    bool untouched = true; // the buffer behind what was told, or all of it when the call failed

    uint64_t handle = 0;             // a new session or object
    std::vector<uint64_t> handles{}; // that a search found
};

// Looks at each call.
class Judge
{
public:
    Judge() = default;
    virtual ~Judge() = default;
    Judge(const Judge&) = delete;
    Judge& operator=(const Judge&) = delete;

    virtual void Called(const CallRecord& call) = 0;
    // The slots that are there after cards came or went.
    virtual void SlotsAre(const std::vector<uint64_t>& slots) = 0;
    virtual void Restarted() = 0;
};

} // namespace fuzz
