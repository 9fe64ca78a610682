#include "tests/faults/module.h"

#include "tests/faults/allocations.h"
#include "tests/support/module_types.h"
#include "tests/support/system.h"

#include <array>
#include <cstring>
#include <new>
#include <optional>
#include <stdexcept>

namespace faults {
namespace {

constexpr std::size_t outputRoom = 2048; // more than any key or digest gives
constexpr uint8_t untouched = 0xEE;

// Makes the call, whose allocations count as the module's.
template <typename Call>
Number Answer(Call&& call)
{
    const ModuleAtWork working;
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return threwNoMemory;
    } catch (const std::exception&) {
        return threwStandard;
    } catch (...) {
        return threwForeign;
    }
}

template <typename Types>
class CryptokiModule : public Module
{
public:
    explicit CryptokiModule(const std::filesystem::path& folder)
        : f(blackbox::FunctionListOf<Types>(blackbox::Load(folder / Types::fileName)))
    {
    }

    [[nodiscard]] std::string Name() const override { return Types::name; }
    [[nodiscard]] bool LetsExceptionsOut() const override { return !Types::isFront; }
    [[nodiscard]] std::size_t NumberWidth() const override { return sizeof(Ulong); }

    Number Initialize() override
    {
        return Answer([&] { return f->C_Initialize(nullptr); });
    }
    Number Finalize() override
    {
        return Answer([&] { return f->C_Finalize(nullptr); });
    }
    Number SlotList(Numbers& slots) override
    {
        return List(slots,
                    [&](Ulong* values, Ulong* count) { return f->C_GetSlotList(CK_TRUE, values, count); });
    }
    Number SlotInfo(Number slot, std::string& description) override
    {
        typename Types::SlotInfo record{};
        const Number answer = Answer([&] { return f->C_GetSlotInfo(Narrow(slot), &record); });
        description.assign(reinterpret_cast<const char*>(record.slotDescription),
                           sizeof(record.slotDescription));
        return answer;
    }
    Number TokenInfo(Number slot) override
    {
        typename Types::TokenInfo record{};
        return Answer([&] { return f->C_GetTokenInfo(Narrow(slot), &record); });
    }
    Number MechanismList(Number slot, Numbers& mechanisms) override
    {
        return List(mechanisms, [&](Ulong* values, Ulong* count) {
            return f->C_GetMechanismList(Narrow(slot), values, count);
        });
    }
    Number OpenSession(Number slot, Number& session) override
    {
        Ulong opened = 0;
        const Number answer = Answer(
            [&] { return f->C_OpenSession(Narrow(slot), CKF_SERIAL_SESSION, nullptr, nullptr, &opened); });
        session = opened; // also of a call that failed: the library may have handed it out before
        return answer;
    }
    Number CloseSession(Number session) override
    {
        return Answer([&] { return f->C_CloseSession(Narrow(session)); });
    }
    Number CloseAllSessions(Number slot) override
    {
        return Answer([&] { return f->C_CloseAllSessions(Narrow(slot)); });
    }
    Number SessionInfo(Number session) override
    {
        typename Types::SessionInfo record{};
        return Answer([&] { return f->C_GetSessionInfo(Narrow(session), &record); });
    }
    Number Login(Number session, Number user) override
    {
        Bytes code{'1', '2', '3', '4', '5', '6'};
        return Answer(
            [&] { return f->C_Login(Narrow(session), Narrow(user), code.data(), Narrow(code.size())); });
    }
    Number Logout(Number session) override
    {
        return Answer([&] { return f->C_Logout(Narrow(session)); });
    }
    Number CreateObject(Number session, const Template& content, Number& object) override
    {
        auto values = content;
        std::vector<typename Types::Attribute> records;
        for (auto& [type, value] : values) {
            records.push_back({Narrow(type), value.data(), Narrow(value.size())});
        }
        Ulong made = 0;
        const Number answer = Answer([&] {
            return f->C_CreateObject(Narrow(session), records.data(), Narrow(records.size()), &made);
        });
        object = made;
        return answer;
    }
    Number Attribute(Number session, Number object, Number type, Bytes& value) override
    {
        value.assign(8192, untouched);
        typename Types::Attribute record{Narrow(type), value.data(), Narrow(value.size())};
        const Number answer =
            Answer([&] { return f->C_GetAttributeValue(Narrow(session), Narrow(object), &record, 1); });
        value.resize(answer == CKR_OK ? record.ulValueLen : 0);
        return answer;
    }
    Number FindInit(Number session, Number objectClass) override
    {
        Bytes value = NumberValue(objectClass, sizeof(Ulong));
        typename Types::Attribute record{CKA_CLASS, value.data(), Narrow(value.size())};
        return Answer([&] { return f->C_FindObjectsInit(Narrow(session), &record, 1); });
    }
    Number Find(Number session, Numbers& objects) override
    {
        return List(objects, [&](Ulong* values, Ulong* count) {
            const Ulong most = *count;
            *count = 0;
            return f->C_FindObjects(Narrow(session), values, most, count);
        });
    }
    Number FindFinal(Number session) override
    {
        return Answer([&] { return f->C_FindObjectsFinal(Narrow(session)); });
    }
    Number SignInit(Number session, Number mechanism, Number key) override
    {
        return Begin(f->C_SignInit, session, mechanism, key);
    }
    Number SignLength(Number session, Number& length) override
    {
        Ulong told = 0;
        const Number answer = Answer([&] { return f->C_Sign(Narrow(session), nullptr, 0, nullptr, &told); });
        length = told;
        return answer;
    }
    Number Sign(Number session, Bytes data, Bytes& signature) override
    {
        return Produce(f->C_Sign, session, data, signature);
    }
    Number VerifyInit(Number session, Number mechanism, Number key) override
    {
        return Begin(f->C_VerifyInit, session, mechanism, key);
    }
    Number Verify(Number session, Bytes data, Bytes signature) override
    {
        return Answer([&] {
            return f->C_Verify(Narrow(session), data.data(), Narrow(data.size()), signature.data(),
                               Narrow(signature.size()));
        });
    }
    Number EncryptInit(Number session, Number mechanism, Number key) override
    {
        return Begin(f->C_EncryptInit, session, mechanism, key);
    }
    Number Encrypt(Number session, Bytes data, Bytes& output) override
    {
        return Produce(f->C_Encrypt, session, data, output);
    }
    Number DecryptInit(Number session, Number mechanism, Number key) override
    {
        return Begin(f->C_DecryptInit, session, mechanism, key);
    }
    Number Decrypt(Number session, Bytes data, Bytes& output) override
    {
        return Produce(f->C_Decrypt, session, data, output);
    }
    Number DigestInit(Number session, Number mechanism) override
    {
        typename Types::Mechanism record{Narrow(mechanism), nullptr, 0};
        return Answer([&] { return f->C_DigestInit(Narrow(session), &record); });
    }
    Number Digest(Number session, Bytes data, Bytes& output) override
    {
        return Produce(f->C_Digest, session, data, output);
    }

private:
    using Ulong = typename Types::Ulong;

    static Ulong Narrow(Number number) { return static_cast<Ulong>(number); }

    template <typename Call>
    static Number List(Numbers& list, Call&& call)
    {
        std::array<Ulong, 64> values{};
        Ulong count = values.size();
        const Number answer = Answer([&] { return call(values.data(), &count); });
        const std::size_t listed = answer == CKR_OK ? std::min<std::size_t>(count, values.size()) : 0;
        list.assign(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(listed));
        return answer;
    }

    template <typename Function>
    static Number Begin(Function* function, Number session, Number mechanism, Number key)
    {
        typename Types::Mechanism record{Narrow(mechanism), nullptr, 0};
        return Answer([&] { return function(Narrow(session), &record, Narrow(key)); });
    }

    template <typename Function>
    static Number Produce(Function* function, Number session, Bytes& data, Bytes& output)
    {
        output.assign(outputRoom, untouched);
        Ulong length = Narrow(output.size());
        const Number answer = Answer([&] {
            return function(Narrow(session), data.data(), Narrow(data.size()), output.data(), &length);
        });
        output.resize(answer == CKR_OK ? std::min<std::size_t>(length, outputRoom) : 0);
        return answer;
    }

    typename Types::FunctionList* f = nullptr;
};

} // namespace

std::string AnswerName(Number answer)
{
    switch (answer) {
    case threwNoMemory:
        return "std::bad_alloc";
    case threwStandard:
        return "std::exception";
    case threwForeign:
        return "an exception of a foreign type";
#define RESULT(name)                                                                                         \
    case name:                                                                                               \
        return #name;
#include "src/cryptoki/results.inc"
#undef RESULT
    default:
        return std::to_string(answer);
    }
}

Bytes NumberValue(Number value, std::size_t width)
{
    Bytes bytes(sizeof(value));
    std::memcpy(bytes.data(), &value, sizeof(value));
    bytes.resize(width);
    return bytes;
}

std::unique_ptr<Module> LoadLibrary(const std::filesystem::path& folder)
{
    return std::make_unique<CryptokiModule<blackbox::LibraryTypes>>(folder);
}

std::unique_ptr<Module> LoadFront(const std::filesystem::path& folder)
{
    return std::make_unique<CryptokiModule<blackbox::FrontTypes>>(folder);
}

} // namespace faults
