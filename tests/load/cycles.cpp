#include "tests/load/cycles.h"

#include "tests/load/card_box.h"
#include "tests/load/resources.h"
#include "tests/support/module_types.h"
#include "tests/support/script.h"
#include "tests/support/system.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>
#include <string>

namespace load {
namespace {

// The names of the log's folder and of the library's own, in bytes: they stay in memory that nobody frees, since threads
// may still use them while a process ends.
constexpr std::size_t growthOfCycle = 512;

template <typename Answer>
void Expect(Answer answer, const char* function)
{
    if (answer != CKR_OK) {
        throw std::runtime_error(std::string(function) + " answered " + std::to_string(answer));
    }
}

// From C_Initialize to C_Finalize, with a signature of the last slot's key.
template <typename Types>
void UseOnce(typename Types::FunctionList* f, uint64_t number)
{
    using Ulong = typename Types::Ulong;
    Expect(f->C_Initialize(nullptr), "C_Initialize");
    std::array<Ulong, 2> slots{};
    auto count = static_cast<Ulong>(slots.size());
    Expect(f->C_GetSlotList(CK_TRUE, slots.data(), &count), "C_GetSlotList");
    Ulong session = 0;
    Expect(f->C_OpenSession(slots.at(1), CKF_SERIAL_SESSION, nullptr, nullptr, &session), "C_OpenSession");
    std::array<unsigned char, 6> code{'1', '2', '3', '4', '5', '6'};
    Expect(f->C_Login(session, CKU_USER, code.data(), static_cast<Ulong>(code.size())), "C_Login");
    Ulong wanted = CKO_PRIVATE_KEY;
    typename Types::Attribute record{CKA_CLASS, &wanted, sizeof wanted};
    Ulong key = 0;
    Expect(f->C_FindObjectsInit(session, &record, 1), "C_FindObjectsInit");
    Expect(f->C_FindObjects(session, &key, 1, &count), "C_FindObjects");
    Expect(f->C_FindObjectsFinal(session), "C_FindObjectsFinal");
    typename Types::Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
    Expect(f->C_SignInit(session, &mechanism, key), "C_SignInit");
    Bytes data = DigestInfo(number);
    Bytes signature(256);
    auto length = static_cast<Ulong>(signature.size());
    Expect(f->C_Sign(session, data.data(), static_cast<Ulong>(data.size()), signature.data(), &length),
           "C_Sign");
    signature.resize(length);
    if (!IsSignatureOf(number, signature)) {
        throw std::runtime_error("the signature does not verify");
    }
    Expect(f->C_Finalize(nullptr), "C_Finalize");
}

template <typename Types>
void Cycle(uint64_t number)
{
    const auto file = blackbox::ScriptedFolder() / Types::fileName;
    void* const library = blackbox::Load(file);
    UseOnce<Types>(blackbox::FunctionListOf<Types>(library), number);
    blackbox::Unload(library);
    blackbox::Script()->ForgetLedger(); // the card's session stays open: an unload makes no call to the card
}

template <typename Types>
bool Repeat(unsigned count)
{
    const unsigned warm = std::max(count / 10, 1U);
    Resources atFirst;
    for (unsigned number = 0; number < count; ++number) {
        Cycle<Types>(number);
        if (number + 1 == warm) {
            atFirst = ResourcesInUse();
        }
    }
    const Resources held = ResourcesInUse();
    const bool right = HasNotGrown(atFirst, held, (count - warm) * growthOfCycle);
    std::cout << "cycles of " << Types::fileName << ": " << count << "; after " << warm << ": "
              << Text(atFirst) << "; at the end: " << Text(held) << (right ? "" : "  WRONG: has grown")
              << '\n';
    return right;
}

} // namespace

bool RunCycles(unsigned count)
{
    constexpr unsigned readers = 1;
    ScriptedCard& script = *blackbox::Script();
    CardBox cards(script, readers);
    script.SetLongestWait(std::chrono::milliseconds(1));
    bool right = Repeat<blackbox::LibraryTypes>(count);
    right = Repeat<blackbox::FrontTypes>(count) && right;
    return right && script.Violations().empty();
}

} // namespace load
