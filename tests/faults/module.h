// A Cryptoki module under test, the library or the front, behind one interface: numbers are as wide as the wider of the two
// has them, and what a call throws is an answer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace faults {

using Bytes = std::vector<uint8_t>;
using Number = uint64_t;
using Numbers = std::vector<Number>;

// Answers of a call that threw; no CK_RV has these numbers.
inline constexpr Number threwNoMemory = 0x100000001; // std::bad_alloc
inline constexpr Number threwStandard = 0x100000002; // another std::exception
inline constexpr Number threwForeign = 0x100000003;  // anything else

inline constexpr Number success = 0; // CKR_OK

// "CKR_OK" and so on, or what was thrown.
std::string AnswerName(Number answer);

// The records of an object's template or of a search.
using Template = std::vector<std::pair<Number, Bytes>>;
Bytes NumberValue(Number value, std::size_t width);

class Module
{
public:
    Module() = default;
    virtual ~Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    [[nodiscard]] virtual std::string Name() const = 0;
    [[nodiscard]] virtual bool LetsExceptionsOut() const = 0;
    [[nodiscard]] virtual std::size_t NumberWidth() const = 0; // bytes of a CK_ULONG

    // The exported functions. Outputs are empty, or zero, unless the call answered CKR_OK.
    virtual Number Initialize() = 0;
    virtual Number Finalize() = 0;
    virtual Number SlotList(Numbers& slots) = 0;
    virtual Number SlotInfo(Number slot, std::string& description) = 0;
    virtual Number TokenInfo(Number slot) = 0;
    virtual Number MechanismList(Number slot, Numbers& mechanisms) = 0;
    virtual Number OpenSession(Number slot, Number& session) = 0;
    virtual Number CloseSession(Number session) = 0;
    virtual Number CloseAllSessions(Number slot) = 0;
    virtual Number SessionInfo(Number session) = 0;
    virtual Number Login(Number session, Number user) = 0;
    virtual Number Logout(Number session) = 0;
    virtual Number CreateObject(Number session, const Template& content, Number& object) = 0;
    virtual Number Attribute(Number session, Number object, Number type, Bytes& value) = 0;
    virtual Number FindInit(Number session, Number objectClass) = 0;
    virtual Number Find(Number session, Numbers& objects) = 0;
    virtual Number FindFinal(Number session) = 0;
    virtual Number SignInit(Number session, Number mechanism, Number key) = 0;
    virtual Number SignLength(Number session, Number& length) = 0;
    virtual Number Sign(Number session, Bytes data, Bytes& signature) = 0;
    virtual Number VerifyInit(Number session, Number mechanism, Number key) = 0;
    virtual Number Verify(Number session, Bytes data, Bytes signature) = 0;
    virtual Number EncryptInit(Number session, Number mechanism, Number key) = 0;
    virtual Number Encrypt(Number session, Bytes data, Bytes& output) = 0;
    virtual Number DecryptInit(Number session, Number mechanism, Number key) = 0;
    virtual Number Decrypt(Number session, Bytes data, Bytes& output) = 0;
    virtual Number DigestInit(Number session, Number mechanism) = 0;
    virtual Number Digest(Number session, Bytes data, Bytes& output) = 0;
};

// The modules, loaded from the folder and never unloaded. They throw std::runtime_error when that is impossible.
std::unique_ptr<Module> LoadLibrary(const std::filesystem::path& folder);
std::unique_ptr<Module> LoadFront(const std::filesystem::path& folder);

} // namespace faults
