// The calls of version 3.0, which the front alone has.
#include "tests/fuzz/calls/call_decoder.h"

#include <cstring>
#include <string>

namespace fuzz {
namespace {

// What the standard lets a caller ask for, and there is.
bool IsOffered(const std::optional<std::string>& name, const std::optional<front::CK_VERSION>& version,
               uint64_t flags)
{
    const bool isNamed = !name || *name == "PKCS 11";
    const bool isOfVersion = !version || (version->major == 3 && version->minor == 0) ||
                             (version->major == 2 && version->minor == 40);
    return isNamed && isOfVersion && flags == 0;
}

} // namespace

template <>
bool CallDecoder<LibraryTypes>::PlayLaterOperation(char /*operation*/, CallText& /*text*/)
{
    return false;
}

template <>
bool CallDecoder<FrontTypes>::PlayLaterOperation(char operation, CallText& text)
{
    switch (operation) {
    case 'B':
        LoginWithName(text);
        return true;
    case 'c':
        CancelOperations(text);
        return true;
    case 'g':
        text.Take('l') ? ListInterfaces(text) : GetInterface(text);
        return true;
    case 'a':
        RefuseMessage(text);
        return true;
    default:
        return false;
    }
}

template <>
void CallDecoder<FrontTypes>::LoginWithName(CallText& text)
{
    CallRecord record{.function = Function::C_LoginUser, .session = Session(text)};
    record.key = text.Number(); // the user type
    std::optional<Bytes> code = TakeInput(text);
    std::optional<Bytes> name = TakeInput(text);
    record.lengthGiven = text.Take('?') || (name && !name->empty()); // or a length without a name
    Make(record, [&] {
        const Ulong length = name && !name->empty() ? name->size() : Ulong{record.lengthGiven};
        return f3->C_LoginUser(record.session, record.key, code ? code->data() : nullptr,
                               code ? code->size() : 0, name ? name->data() : nullptr, length);
    });
    judge.Called(record);
}

template <>
void CallDecoder<FrontTypes>::CancelOperations(CallText& text)
{
    CallRecord record{.function = Function::C_SessionCancel, .session = Session(text)};
    record.key = text.Take('*') ? text.Number() : uint64_t{1} << text.Choice(sizeof(Ulong) * 8);
    Make(record, [&] { return f3->C_SessionCancel(record.session, record.key); });
    judge.Called(record);
}

template <>
void CallDecoder<FrontTypes>::ListInterfaces(CallText& text)
{
    constexpr std::size_t mostRoom = 5;
    constexpr std::size_t size = sizeof(front::CK_INTERFACE);
    CallRecord record{.function = Function::C_GetInterfaceList};
    record.bufferGiven = !text.Take('n');
    record.lengthGiven = !text.Take('L');
    record.room = text.Number() % mostRoom;
    GuardedBuffer list(record.room * size);
    Ulong count = record.room;
    Make(record, [&] {
        return f3->C_GetInterfaceList(record.bufferGiven ? reinterpret_cast<front::CK_INTERFACE*>(list.Data())
                                                         : nullptr,
                                      record.lengthGiven ? &count : nullptr);
    });
    Check(list.GuardsHold(), NameOf(record.function), "writes into its list alone");
    record.told = count;
    const bool filled = record.result == CKR_OK && record.bufferGiven;
    Check(!filled || count <= record.room, NameOf(record.function), "gives no more than there is room for");
    record.untouched = list.IsUntouchedFrom(filled ? count * size : 0);
    judge.Called(record);
}

template <>
void CallDecoder<FrontTypes>::GetInterface(CallText& text)
{
    CallRecord record{.function = Function::C_GetInterface};
    std::optional<std::string> name;
    if (text.Take('p')) {
        name = "PKCS 11";
    } else if (!text.Take('n')) {
        const Bytes given = TakeInput(text).value_or(Bytes());
        name = std::string(given.begin(), given.end()).c_str(); // up to its first zero
    }
    std::optional<front::CK_VERSION> version;
    if (text.Take('v')) {
        version = {static_cast<uint8_t>(text.Number()), static_cast<uint8_t>(text.Number())};
    }
    record.key = text.Number(); // the flags
    front::CK_INTERFACE* found = nullptr;
    record.bufferGiven = !text.Take('n');
    Make(record, [&] {
        return f3->C_GetInterface(name ? reinterpret_cast<uint8_t*>(name->data()) : nullptr,
                                  version ? &*version : nullptr, record.bufferGiven ? &found : nullptr,
                                  record.key);
    });
    const bool isFound = record.result == CKR_OK;
    Check(isFound == (found != nullptr), NameOf(record.function), "gives an interface when it says so alone");
    Check(isFound == (record.bufferGiven && IsOffered(name, version, record.key)), NameOf(record.function),
          "finds what there is", record.result);
    if (isFound && version) {
        Check(std::memcmp(found->pFunctionList, &*version, sizeof(*version)) == 0, NameOf(record.function),
              "gives the version that is asked for");
    }
    judge.Called(record);
}

// With arguments of any kind, which nobody may read.
template <>
void CallDecoder<FrontTypes>::RefuseMessage(CallText& text)
{
    CallRecord record{.function = Function::C_EncryptMessage};
    const uint64_t wild = text.Number() * 0x0101010101010101U;
    auto* bytes = reinterpret_cast<uint8_t*>(wild);
    auto* number = reinterpret_cast<Ulong*>(wild);
    void* parameters = bytes;
    switch (text.Choice(4)) {
    case 0:
        Make(record, [&] {
            return f3->C_EncryptMessage(wild, parameters, wild, bytes, wild, bytes, wild, bytes, number);
        });
        break;
    case 1:
        record.function = Function::C_DecryptMessageNext;
        Make(record, [&] {
            return f3->C_DecryptMessageNext(wild, parameters, wild, bytes, wild, bytes, number, wild);
        });
        break;
    case 2:
        record.function = Function::C_MessageSignInit;
        Make(record,
             [&] { return f3->C_MessageSignInit(wild, reinterpret_cast<front::CK_MECHANISM*>(wild), wild); });
        break;
    default:
        record.function = Function::C_VerifyMessage;
        Make(record, [&] { return f3->C_VerifyMessage(wild, parameters, wild, bytes, wild, bytes, wild); });
        break;
    }
    judge.Called(record);
}

} // namespace fuzz
