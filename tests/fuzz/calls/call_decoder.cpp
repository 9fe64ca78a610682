#include "tests/fuzz/calls/call_decoder.h"

#include <algorithm>

namespace fuzz {
namespace {

constexpr std::array mechanismTypes = {
    CKM_RSA_PKCS,        CKM_SHA256_RSA_PKCS, CKM_SHA_1,           CKM_SHA256,
    CKM_SHA224,          CKM_SHA384,          CKM_SHA512,          CKM_SHA1_RSA_PKCS,
    CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS, CKM_SHA224_RSA_PKCS, CKM_ECDSA,
};

struct NamedAttribute
{
    char letter;
    unsigned type;
};

constexpr std::array attributeTypes = {
    NamedAttribute{'c', CKA_CLASS},
    NamedAttribute{'k', CKA_KEY_TYPE},
    NamedAttribute{'m', CKA_MODULUS},
    NamedAttribute{'e', CKA_PUBLIC_EXPONENT},
    NamedAttribute{'v', CKA_VERIFY},
    NamedAttribute{'t', CKA_TOKEN},
    NamedAttribute{'p', CKA_PRIVATE},
    NamedAttribute{'l', CKA_LABEL},
    NamedAttribute{'i', CKA_ID},
    NamedAttribute{'s', CKA_SIGN},
    NamedAttribute{'d', CKA_DECRYPT},
    NamedAttribute{'n', CKA_ENCRYPT},
    NamedAttribute{'b', CKA_MODULUS_BITS},
    NamedAttribute{'V', CKA_VALUE},
    NamedAttribute{'S', CKA_SUBJECT},
    NamedAttribute{'I', CKA_ISSUER},
    NamedAttribute{'N', CKA_SERIAL_NUMBER},
    NamedAttribute{'a', CKA_ALWAYS_AUTHENTICATE},
    NamedAttribute{'u', CKA_TRUSTED},
    NamedAttribute{'1', CKA_PRIVATE_EXPONENT},
    NamedAttribute{'2', CKA_PRIME_1},
    NamedAttribute{'D', CKA_START_DATE},
    NamedAttribute{'w', CKA_WRAP_TEMPLATE},
    NamedAttribute{'M', CKA_ALLOWED_MECHANISMS},
    NamedAttribute{'C', CKA_CERTIFICATE_TYPE},
    NamedAttribute{'L', CKA_LOCAL},
    NamedAttribute{'U', CKA_UNIQUE_ID},
    NamedAttribute{'P', CKA_PUBLIC_KEY_INFO},
    NamedAttribute{'y', CKA_COPYABLE},
    NamedAttribute{'x', CKA_DESTROYABLE},
};

constexpr std::size_t longestTemplate = 40; // records that a text gives
constexpr std::size_t largestTold = 16384;  // bytes of a result that a buffer is made for

// '*' and a number, or a letter of the table.
uint64_t AttributeType(char letter, CallText& text)
{
    if (letter == '*') {
        return text.Number();
    }
    const auto* found = std::find_if(attributeTypes.begin(), attributeTypes.end(),
                                     [letter](const NamedAttribute& one) { return one.letter == letter; });
    return found == attributeTypes.end()
               ? attributeTypes.at(static_cast<unsigned char>(letter) % attributeTypes.size()).type
               : found->type;
}

template <typename Value>
Value* PointerTo(std::optional<std::vector<Value>>& bytes)
{
    return bytes ? bytes->data() : nullptr;
}

} // namespace

const char* NameOf(Function function)
{
    constexpr const char* names[] = {
#define CRYPTOKI_WORKS(name, parameters) #name,
#define CRYPTOKI_REFUSES(name, parameters, answer) #name,
#define CRYPTOKI_3_WORKS CRYPTOKI_WORKS
#define CRYPTOKI_3_REFUSES CRYPTOKI_REFUSES
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    return names[static_cast<std::size_t>(function)];
}

template <typename Types>
void CallDecoder<Types>::Make(CallRecord& record, const std::function<Ulong()>& call)
{
    try {
        record.result = call();
    } catch (const std::exception&) {
        Check(!Types::isFront && world.Throws(), NameOf(record.function),
              "throws only what the card layer throws");
        record.thrown = true;
    }
}

template <typename Types>
void CallDecoder<Types>::Play(CallText& text)
{
    constexpr int mostCalls = 200;
    // A restart takes as long as a hundred calls. So most of the texts that an earlier one with a restart is changed to do
    // without.
    constexpr std::size_t restartingLengths = 8;
    mayRestart = powers.restarts && text.Rest().size() % restartingLengths == 0;
    for (int calls = 0; calls < mostCalls; ++calls) {
        char operation = text.Operation();
        if (operation == 0) {
            return;
        }
        if (!powers.operations.empty() && powers.operations.find(operation) == std::string_view::npos) {
            operation = powers.operations[static_cast<unsigned char>(operation) % powers.operations.size()];
        }
        PlayOperation(operation, text);
    }
}

template <typename Types>
void CallDecoder<Types>::PlayOperation(char operation, CallText& text)
{
    static_cast<void>(PlayCardOperation(operation, text) || PlayGeneralOperation(operation, text) ||
                      PlayObjectOperation(operation, text) || PlayCryptoOperation(operation, text) ||
                      PlayLaterOperation(operation, text));
}

template <typename Types>
bool CallDecoder<Types>::PlayCardOperation(char operation, CallText& text)
{
    switch (operation) {
    case '+':
    case '-':
        if (powers.cards) {
            operation == '+' ? world.Insert(text) : world.Remove(text);
            LookAtSlots();
        }
        return true;
    case '!':
    case '=':
    case '%':
    case '&':
        if (powers.answers) {
            if (operation == '!') {
                world.TakeAnswer(text);
            } else if (operation == '=') {
                world.ChangeCard(text);
            } else if (operation == '%') {
                world.TellEvent(text);
            } else {
                world.SetReaderList(text);
            }
            LookAtSlots();
        }
        return true;
    case '^':
        if (text.Take('r') && text.Take('e') && mayRestart) {
            Restart();
        }
        return true;
    default:
        return false;
    }
}

template <typename Types>
bool CallDecoder<Types>::PlayGeneralOperation(char operation, CallText& text)
{
    switch (operation) {
    case 'S': {
        const uint8_t present = static_cast<uint8_t>(text.Choice(256));
        AskForList({.function = Function::C_GetSlotList}, text,
                   [&](Ulong* list, Ulong* count) { return f->C_GetSlotList(present, list, count); });
        return true;
    }
    case 'I':
        AskForInfo<typename Types::Info>({.function = Function::C_GetInfo}, text,
                                         [&](auto* info) { return f->C_GetInfo(info); });
        return true;
    case 'i': {
        const Ulong slot = Slot(text);
        AskForInfo<typename Types::SlotInfo>({.function = Function::C_GetSlotInfo, .session = slot}, text,
                                             [&](auto* info) { return f->C_GetSlotInfo(slot, info); });
        return true;
    }
    case 't': {
        const Ulong slot = Slot(text);
        AskForInfo<typename Types::TokenInfo>({.function = Function::C_GetTokenInfo, .session = slot}, text,
                                              [&](auto* info) { return f->C_GetTokenInfo(slot, info); });
        return true;
    }
    case 'm': {
        const Ulong slot = Slot(text);
        AskForList({.function = Function::C_GetMechanismList, .session = slot}, text,
                   [&](Ulong* list, Ulong* count) { return f->C_GetMechanismList(slot, list, count); });
        return true;
    }
    case 'M': {
        const Ulong slot = Slot(text);
        const auto* wanted = TakeMechanism(text);
        const Ulong type = wanted == nullptr ? 0 : wanted->mechanism;
        AskForInfo<typename Types::MechanismInfo>(
            {.function = Function::C_GetMechanismInfo, .session = slot}, text,
            [&](auto* info) { return f->C_GetMechanismInfo(slot, type, info); });
        return true;
    }
    case 'O':
        OpenSession(text);
        return true;
    case 'C': {
        CallRecord record{.function = Function::C_CloseSession, .session = pool.sessions.Take(text)};
        Make(record, [&] { return f->C_CloseSession(static_cast<Ulong>(record.session)); });
        judge.Called(record);
        return true;
    }
    case 'A': {
        CallRecord record{.function = Function::C_CloseAllSessions, .session = pool.slots.Take(text)};
        Make(record, [&] { return f->C_CloseAllSessions(static_cast<Ulong>(record.session)); });
        judge.Called(record);
        return true;
    }
    case 's': {
        const Ulong session = Session(text);
        AskForInfo<typename Types::SessionInfo>(
            {.function = Function::C_GetSessionInfo, .session = session}, text,
            [&](auto* info) { return f->C_GetSessionInfo(session, info); });
        return true;
    }
    case 'L':
        Login(text);
        return true;
    case 'U': {
        CallRecord record{.function = Function::C_Logout, .session = pool.sessions.Take(text)};
        Make(record, [&] { return f->C_Logout(static_cast<Ulong>(record.session)); });
        judge.Called(record);
        return true;
    }
    case 'T': {
        GuardedBuffer slot(sizeof(Ulong));
        const bool given = text.Choice(4) != 0;
        CallRecord record{.function = Function::C_WaitForSlotEvent};
        Make(record, [&] {
            return f->C_WaitForSlotEvent(CKF_DONT_BLOCK,
                                         given ? reinterpret_cast<Ulong*>(slot.Data()) : nullptr, nullptr);
        });
        Check(slot.GuardsHold(), NameOf(record.function), "writes into its result alone");
        judge.Called(record);
        return true;
    }
    case 'r':
        GenerateRandom(text);
        return true;
    case 'X':
        Refuse(text);
        return true;
    default:
        return false;
    }
}

template <typename Types>
bool CallDecoder<Types>::PlayObjectOperation(char operation, CallText& text)
{
    switch (operation) {
    case 'N':
        CreateObject(text);
        return true;
    case 'Y':
        CopyObject(text);
        return true;
    case 'D': {
        CallRecord record{.function = Function::C_DestroyObject, .session = Session(text)};
        record.key = Object(text);
        Make(record, [&] {
            return f->C_DestroyObject(static_cast<Ulong>(record.session), static_cast<Ulong>(record.key));
        });
        judge.Called(record);
        return true;
    }
    case 'Z': {
        const Ulong session = Session(text);
        const Ulong object = Object(text);
        AskForInfo<Ulong>({.function = Function::C_GetObjectSize, .session = session, .key = object}, text,
                          [&](Ulong* size) { return f->C_GetObjectSize(session, object, size); });
        return true;
    }
    case 'G':
        ReadAttributes(text);
        return true;
    case 'F':
        BeginSearch(text);
        return true;
    case 'f':
        ContinueSearch(text);
        return true;
    case 'x': {
        CallRecord record{.function = Function::C_FindObjectsFinal,
                          .operation = Operation::search,
                          .step = Step::end,
                          .session = Session(text)};
        Make(record, [&] { return f->C_FindObjectsFinal(static_cast<Ulong>(record.session)); });
        judge.Called(record);
        return true;
    }
    default:
        return false;
    }
}

template <typename Types>
bool CallDecoder<Types>::PlayCryptoOperation(char operation, CallText& text)
{
    switch (operation) {
    case 'E':
        BeginOperation({Function::C_EncryptInit, Operation::encrypt, f->C_EncryptInit}, text);
        return true;
    case 'Q':
        BeginOperation({Function::C_DecryptInit, Operation::decrypt, f->C_DecryptInit}, text);
        return true;
    case 'K':
        BeginOperation({Function::C_SignInit, Operation::sign, f->C_SignInit}, text);
        return true;
    case 'V':
        BeginOperation({Function::C_VerifyInit, Operation::verify, f->C_VerifyInit}, text);
        return true;
    case 'H': {
        CallRecord record{.function = Function::C_DigestInit,
                          .operation = Operation::digest,
                          .step = Step::begin,
                          .session = Session(text)};
        auto* wanted = TakeMechanism(text);
        record.mechanism = wanted == nullptr ? std::nullopt : std::optional<uint64_t>(wanted->mechanism);
        Make(record, [&] { return f->C_DigestInit(static_cast<Ulong>(record.session), wanted); });
        judge.Called(record);
        return true;
    }
    case 'e':
        DoWork({Function::C_Encrypt, Operation::encrypt, Step::whole}, text, f->C_Encrypt);
        return true;
    case 'q':
        DoWork({Function::C_Decrypt, Operation::decrypt, Step::whole}, text, f->C_Decrypt);
        return true;
    case 'h':
        DoWork({Function::C_Digest, Operation::digest, Step::whole}, text, f->C_Digest);
        return true;
    case 'k':
        DoWork({Function::C_Sign, Operation::sign, Step::whole}, text, f->C_Sign);
        return true;
    case 'J':
        DoWork({Function::C_DigestFinal, Operation::digest, Step::end}, text,
               [this](Ulong session, uint8_t* /*data*/, Ulong /*length*/, uint8_t* out, Ulong* outLength) {
                   return f->C_DigestFinal(session, out, outLength);
               });
        return true;
    case 'P':
        DoWork({Function::C_SignFinal, Operation::sign, Step::end}, text,
               [this](Ulong session, uint8_t* /*data*/, Ulong /*length*/, uint8_t* out, Ulong* outLength) {
                   return f->C_SignFinal(session, out, outLength);
               });
        return true;
    case 'j':
        Feed({Function::C_DigestUpdate, Operation::digest, Step::part}, text, f->C_DigestUpdate);
        return true;
    case 'p':
        Feed({Function::C_SignUpdate, Operation::sign, Step::part}, text, f->C_SignUpdate);
        return true;
    case 'w':
        Feed({Function::C_VerifyUpdate, Operation::verify, Step::part}, text, f->C_VerifyUpdate);
        return true;
    case 'W':
        Feed({Function::C_VerifyFinal, Operation::verify, Step::end}, text, f->C_VerifyFinal);
        return true;
    case 'v': {
        CallRecord record{.function = Function::C_Verify,
                          .operation = Operation::verify,
                          .step = Step::whole,
                          .session = Session(text)};
        auto data = TakeInput(text);
        auto signature = TakeInput(text);
        if (!Types::isFront && signature && signature->empty()) {
            signature->push_back(0); // the library looks at the first byte, whatever the length
        }
        record.data = data.value_or(Bytes());
        Make(record, [&] {
            return f->C_Verify(static_cast<Ulong>(record.session), PointerTo(data),
                               static_cast<Ulong>(record.data.size()), PointerTo(signature),
                               static_cast<Ulong>(signature.value_or(Bytes()).size()));
        });
        judge.Called(record);
        return true;
    }
    default:
        return false;
    }
}

template <typename Types>
void CallDecoder<Types>::LookAtSlots()
{
    std::array<Ulong, 256> slots{};
    Ulong count = slots.size();
    if (f->C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) {
        return;
    }
    pool.slots.Forget();
    std::vector<uint64_t> present(slots.begin(), slots.begin() + count);
    for (const uint64_t slot : present) {
        pool.slots.Add(slot);
    }
    judge.SlotsAre(present);
}

// A function that fills a record.
template <typename Types>
template <typename Info>
void CallDecoder<Types>::AskForInfo(CallRecord record, CallText& text,
                                    const std::function<Ulong(Info*)>& call)
{
    GuardedBuffer info(sizeof(Info));
    record.bufferGiven = !text.Take('n');
    Make(record, [&] { return call(record.bufferGiven ? reinterpret_cast<Info*>(info.Data()) : nullptr); });
    Check(info.GuardsHold(), NameOf(record.function), "writes into its record alone");
    record.untouched = record.thrown || record.result == CKR_OK || info.IsUntouchedFrom(0);
    record.output = info.First(record.result == CKR_OK ? sizeof(Info) : 0);
    judge.Called(record);
}

// A function that gives a list of numbers.
template <typename Types>
void CallDecoder<Types>::AskForList(CallRecord record, CallText& text,
                                    const std::function<Ulong(Ulong*, Ulong*)>& call)
{
    constexpr std::size_t mostRoom = 300;
    record.bufferGiven = !text.Take('n');
    record.lengthGiven = !text.Take('L');
    record.room = text.Number() % mostRoom;
    GuardedBuffer list(record.room * sizeof(Ulong));
    auto count = static_cast<Ulong>(record.room);
    Make(record, [&] {
        return call(record.bufferGiven ? reinterpret_cast<Ulong*>(list.Data()) : nullptr,
                    record.lengthGiven ? &count : nullptr);
    });
    Check(list.GuardsHold(), NameOf(record.function), "writes into its list alone");
    record.told = count;
    const bool filled = !record.thrown && record.result == CKR_OK && record.bufferGiven;
    Check(!filled || count <= record.room, NameOf(record.function), "gives no more than there is room for");
    record.untouched = list.IsUntouchedFrom(filled ? count * sizeof(Ulong) : 0);
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::OpenSession(CallText& text)
{
    CallRecord record{.function = Function::C_OpenSession, .session = Slot(text)};
    const auto flags = static_cast<Ulong>(text.Number());
    GuardedBuffer handle(sizeof(Ulong));
    record.bufferGiven = !text.Take('n');
    Make(record, [&] {
        return f->C_OpenSession(static_cast<Ulong>(record.session), flags, nullptr, nullptr,
                                record.bufferGiven ? reinterpret_cast<Ulong*>(handle.Data()) : nullptr);
    });
    Check(handle.GuardsHold(), NameOf(record.function), "writes into the handle alone");
    if (!handle.IsUntouchedFrom(0)) {
        record.handle = *reinterpret_cast<Ulong*>(handle.Data());
        record.untouched = false;
        pool.sessions.Add(record.handle);
    }
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::Login(CallText& text)
{
    CallRecord record{.function = Function::C_Login, .session = Session(text)};
    record.key = text.Number(); // the user type
    std::optional<Bytes> code = TakeInput(text);
    auto length = static_cast<Ulong>(code ? code->size() : 0);
    if (text.Take('?')) { // a length that no code has; the front refuses it before it reads
        length = Types::isFront && code ? 256 + static_cast<Ulong>(text.Number()) : length;
    }
    Make(record, [&] {
        return f->C_Login(static_cast<Ulong>(record.session), static_cast<Ulong>(record.key), PointerTo(code),
                          length);
    });
    judge.Called(record);
}

// Bytes that a call reads. The library gets an address for each length.
template <typename Types>
std::optional<Bytes> CallDecoder<Types>::TakeInput(CallText& text)
{
    auto bytes = world.TakeBytes(text);
    if (bytes) {
        bytes->shrink_to_fit(); // so that a sanitizer sees a read past it
    }
    return bytes;
}

template <typename Types>
typename Types::Mechanism* CallDecoder<Types>::TakeMechanism(CallText& text)
{
    const char letter = text.Letter();
    mechanism = {};
    parameter.reset();
    if (letter == 'n' && Types::isFront) {
        return nullptr;
    }
    if (letter == '*') {
        mechanism.mechanism = static_cast<Ulong>(text.Number());
    } else {
        const std::size_t place = letter >= '0' && letter <= '9' ? static_cast<std::size_t>(letter - '0')
                                                                 : static_cast<unsigned char>(letter);
        mechanism.mechanism = mechanismTypes.at(place % mechanismTypes.size());
    }
    if (text.Take('p')) {
        parameter = world.TakeBytes(text);
        mechanism.pParameter = PointerTo(parameter);
        mechanism.ulParameterLen = static_cast<Ulong>(parameter.value_or(Bytes()).size());
    }
    return &mechanism;
}

// Records up to a '.', each a type and its value, "n" and a number being a null pointer with that length.
template <typename Types>
typename CallDecoder<Types>::Template CallDecoder<Types>::TakeTemplate(CallText& text)
{
    Template read;
    std::vector<std::pair<Ulong, Ulong>> heads; // type and length
    while (heads.size() < longestTemplate && !text.Rest().empty() && !text.Take('.')) {
        const auto type = static_cast<Ulong>(AttributeType(text.Letter(), text));
        std::optional<Bytes> value;
        Ulong length = 0;
        if (text.Take('n')) {
            length = static_cast<Ulong>(text.Number());
        } else if (text.Take('N')) { // a number as wide as those of the form
            const uint64_t number = text.Number();
            value.emplace(sizeof(Ulong));
            for (std::size_t i = 0; i < sizeof(Ulong); ++i) {
                (*value)[i] = static_cast<uint8_t>(number >> (8 * i));
            }
        } else {
            value = TakeInput(text);
        }
        length = value ? static_cast<Ulong>(value->size()) : length;
        heads.emplace_back(type, length);
        read.values.push_back(std::move(value));
    }
    for (std::size_t i = 0; i < heads.size(); ++i) {
        typename Types::Attribute record{};
        record.type = heads[i].first;
        record.pValue = PointerTo(read.values[i]);
        record.ulValueLen = heads[i].second;
        read.records.push_back(record);
    }
    read.records.shrink_to_fit();
    read.data = text.Take('0') ? nullptr : read.records.data();
    read.count = static_cast<Ulong>(read.records.size());
    if (text.Take('?') && Types::isFront) { // so many that they are not read
        read.count = static_cast<Ulong>(4097 + text.Number());
    }
    return read;
}

template <typename Types>
void CallDecoder<Types>::CreateObject(CallText& text)
{
    CallRecord record{.function = Function::C_CreateObject, .session = Session(text)};
    const Template wanted = TakeTemplate(text);
    GuardedBuffer handle(sizeof(Ulong));
    record.bufferGiven = !Types::isFront || !text.Take('n');
    Make(record, [&] {
        return f->C_CreateObject(static_cast<Ulong>(record.session), wanted.data, wanted.count,
                                 record.bufferGiven ? reinterpret_cast<Ulong*>(handle.Data()) : nullptr);
    });
    Check(handle.GuardsHold(), NameOf(record.function), "writes into the handle alone");
    record.untouched = handle.IsUntouchedFrom(0);
    if (!record.untouched) {
        record.handle = *reinterpret_cast<Ulong*>(handle.Data());
        pool.objects.Add(record.handle);
    }
    judge.Called(record);
}

// The template is wild, since nobody may read it.
template <typename Types>
void CallDecoder<Types>::CopyObject(CallText& text)
{
    CallRecord record{.function = Function::C_CopyObject, .session = Session(text)};
    record.key = Object(text);
    const uint64_t wild = text.Number() * 0x0101010101010101U;
    GuardedBuffer handle(sizeof(Ulong));
    record.bufferGiven = !text.Take('n');
    Make(record, [&] {
        return f->C_CopyObject(static_cast<Ulong>(record.session), static_cast<Ulong>(record.key),
                               reinterpret_cast<typename Types::Attribute*>(wild), static_cast<Ulong>(wild),
                               record.bufferGiven ? reinterpret_cast<Ulong*>(handle.Data()) : nullptr);
    });
    Check(handle.GuardsHold(), NameOf(record.function), "writes into the handle alone");
    record.untouched = handle.IsUntouchedFrom(0);
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::ReadAttributes(CallText& text)
{
    constexpr std::size_t roomOfLibrary = 8192; // bytes, more than a certificate or a key has
    CallRecord record{.function = Function::C_GetAttributeValue, .session = Session(text)};
    record.key = Object(text);
    std::vector<GuardedBuffer> buffers;
    std::vector<typename Types::Attribute> records;
    std::vector<uint64_t> rooms;
    while (records.size() < longestTemplate && !text.Rest().empty() && !text.Take('.')) {
        typename Types::Attribute one{};
        one.type = static_cast<Ulong>(AttributeType(text.Letter(), text));
        const bool given = !text.Take('n');
        rooms.push_back(text.Number() % roomOfLibrary);
        one.ulValueLen = static_cast<Ulong>(rooms.back());
        buffers.emplace_back(Types::isFront ? rooms.back() : roomOfLibrary);
        one.pValue = given ? buffers.back().Data() : nullptr;
        records.push_back(one);
    }
    for (std::size_t i = 0; i < records.size(); ++i) { // the buffers do not move any more
        records[i].pValue = records[i].pValue == nullptr ? nullptr : buffers[i].Data();
    }
    records.shrink_to_fit();
    record.bufferGiven = !text.Take('0');
    auto count = static_cast<Ulong>(records.size());
    if (text.Take('?') && Types::isFront) {
        count = static_cast<Ulong>(4097 + text.Number());
    }
    Make(record, [&] {
        return f->C_GetAttributeValue(static_cast<Ulong>(record.session), static_cast<Ulong>(record.key),
                                      record.bufferGiven ? records.data() : nullptr, count);
    });
    bool allTold = true;
    for (std::size_t i = 0; i < records.size(); ++i) {
        Check(buffers[i].GuardsHold(), NameOf(record.function), "writes into its values alone");
        const bool told = records[i].ulValueLen != static_cast<Ulong>(~Ulong{0});
        allTold = allTold && told;
        const std::size_t used = told && records[i].pValue != nullptr ? records[i].ulValueLen : 0;
        Check(record.thrown || record.result != CKR_OK || buffers[i].IsUntouchedFrom(used),
              NameOf(record.function), "writes no more than it tells");
        Check(!Types::isFront || !told || records[i].pValue == nullptr || records[i].ulValueLen <= rooms[i],
              NameOf(record.function), "tells no more than there is room for");
    }
    Check(!Types::isFront || record.result != CKR_OK || allTold, NameOf(record.function),
          "has all values when it says so");
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::BeginSearch(CallText& text)
{
    CallRecord record{.function = Function::C_FindObjectsInit,
                      .operation = Operation::search,
                      .step = Step::begin,
                      .session = Session(text)};
    const Template wanted = TakeTemplate(text);
    Make(record,
         [&] { return f->C_FindObjectsInit(static_cast<Ulong>(record.session), wanted.data, wanted.count); });
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::ContinueSearch(CallText& text)
{
    constexpr std::size_t mostObjects = 1000; // more than a slot has here
    CallRecord record{.function = Function::C_FindObjects,
                      .operation = Operation::search,
                      .step = Step::whole,
                      .session = Session(text)};
    record.bufferGiven = !Types::isFront || !text.Take('n');
    record.lengthGiven = !text.Take('L');
    record.room = text.Number();
    const std::size_t size = Types::isFront ? std::min<uint64_t>(record.room, mostObjects) : mostObjects;
    record.room = Types::isFront ? size : record.room;
    GuardedBuffer found(size * sizeof(Ulong));
    Ulong count = 0x5555;
    Make(record, [&] {
        return f->C_FindObjects(static_cast<Ulong>(record.session),
                                record.bufferGiven ? reinterpret_cast<Ulong*>(found.Data()) : nullptr,
                                static_cast<Ulong>(record.room), record.lengthGiven ? &count : nullptr);
    });
    Check(found.GuardsHold(), NameOf(record.function), "writes into its list alone");
    record.told = count;
    const bool filled = !record.thrown && record.result == CKR_OK;
    Check(!filled || count <= record.room, NameOf(record.function), "gives no more than there is room for");
    const std::size_t used = filled && record.bufferGiven ? count : 0;
    record.untouched = found.IsUntouchedFrom(used * sizeof(Ulong));
    for (std::size_t i = 0; i < used; ++i) {
        const uint64_t object = reinterpret_cast<Ulong*>(found.Data())[i];
        record.handles.push_back(object);
        pool.objects.Add(object);
    }
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::GenerateRandom(CallText& text)
{
    const bool seeds = text.Take('s');
    CallRecord record{.function = seeds ? Function::C_SeedRandom : Function::C_GenerateRandom,
                      .session = Session(text)};
    record.bufferGiven = !text.Take('n');
    const std::size_t size = text.Number() % 600;
    GuardedBuffer bytes(size);
    Make(record, [&] {
        auto* call = seeds ? f->C_SeedRandom : f->C_GenerateRandom;
        return call(static_cast<Ulong>(record.session), record.bufferGiven ? bytes.Data() : nullptr,
                    static_cast<Ulong>(size));
    });
    Check(bytes.GuardsHold(), NameOf(record.function), "writes into its buffer alone");
    record.untouched = bytes.IsUntouchedFrom(0);
    judge.Called(record);
}

// The functions that only refuse, with arguments of any kind, which nobody may read.
template <typename Types>
void CallDecoder<Types>::Refuse(CallText& text)
{
    CallRecord record{.function = Function::C_GetFunctionStatus};
    const uint64_t wild = text.Number() * 0x0101010101010101U;
    const auto number = static_cast<Ulong>(wild);
    auto* bytes = reinterpret_cast<uint8_t*>(wild);
    auto* numbers = reinterpret_cast<Ulong*>(wild);
    auto* attributes = reinterpret_cast<typename Types::Attribute*>(wild);
    auto* wildMechanism = reinterpret_cast<typename Types::Mechanism*>(wild);
    switch (text.Choice(8)) {
    case 0:
        record.function = Function::C_InitToken;
        Make(record, [&] { return f->C_InitToken(number, bytes, number, bytes); });
        break;
    case 1:
        record.function = Function::C_SetPIN;
        Make(record, [&] { return f->C_SetPIN(number, bytes, number, bytes, number); });
        break;
    case 2:
        record.function = Function::C_GetOperationState;
        Make(record, [&] { return f->C_GetOperationState(number, bytes, numbers); });
        break;
    case 3:
        record.function = Function::C_SetAttributeValue;
        Make(record, [&] { return f->C_SetAttributeValue(number, number, attributes, number); });
        break;
    case 4:
        record.function = Function::C_DecryptVerifyUpdate;
        Make(record, [&] { return f->C_DecryptVerifyUpdate(number, bytes, number, bytes, numbers); });
        break;
    case 5:
        record.function = Function::C_GenerateKeyPair;
        Make(record, [&] {
            return f->C_GenerateKeyPair(number, wildMechanism, attributes, number, attributes, number,
                                        numbers, numbers);
        });
        break;
    case 6:
        record.function = Function::C_UnwrapKey;
        Make(record, [&] {
            return f->C_UnwrapKey(number, wildMechanism, number, bytes, number, attributes, number, numbers);
        });
        break;
    default:
        Make(record, [&] { return f->C_GetFunctionStatus(number); });
        break;
    }
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::Restart()
{
    mayRestart = false; // one is enough
    CallRecord end{.function = Function::C_Finalize};
    Make(end, [&] { return f->C_Finalize(nullptr); });
    judge.Called(end);
    Ulong count = 0;
    CallRecord early{.function = Function::C_GetSlotList};
    Make(early, [&] { return f->C_GetSlotList(CK_TRUE, nullptr, &count); });
    Check(early.result == CKR_CRYPTOKI_NOT_INITIALIZED, "C_GetSlotList",
          "is refused between an end and a start", early.result);
    judge.Restarted();
    CallRecord start{.function = Function::C_Initialize};
    Make(start, [&] { return f->C_Initialize(nullptr); });
    Check(start.result == CKR_OK || world.Throws(), "C_Initialize", "starts again", start.result);
    for (int tries = 0; start.result != CKR_OK;
         ++tries) { // what the card layer throws holds for one call each
        Check(tries < 50, "C_Initialize", "starts once the faults are gone", start.result);
        Make(start, [&] { return f->C_Initialize(nullptr); });
    }
    LookAtSlots();
}

template <typename Types>
void CallDecoder<Types>::BeginOperation(const Begin& begin, CallText& text)
{
    CallRecord record{.function = begin.function,
                      .operation = begin.operation,
                      .step = Step::begin,
                      .session = Session(text)};
    auto* wanted = TakeMechanism(text);
    record.mechanism = wanted == nullptr ? std::nullopt : std::optional<uint64_t>(wanted->mechanism);
    record.key = Object(text);
    Make(record, [&] {
        return begin.call(static_cast<Ulong>(record.session), wanted, static_cast<Ulong>(record.key));
    });
    judge.Called(record);
}

// After the data comes "n" for a null buffer, "L" for a null length, or the room.
template <typename Types>
void CallDecoder<Types>::DoWork(const Work& work, CallText& text, const WorkCall& call)
{
    constexpr std::size_t mostRoom = 2100;
    CallRecord record{
        .function = work.function, .operation = work.operation, .step = work.step, .session = Session(text)};
    std::optional<Bytes> data;
    if (work.step == Step::whole) {
        data = TakeInput(text);
        record.data = data.value_or(Bytes());
    }
    record.bufferGiven = !text.Take('n');
    record.lengthGiven = !Types::isFront || !text.Take('L');
    record.room = text.Number() % mostRoom;
    const auto session = static_cast<Ulong>(record.session);
    const auto dataLength = static_cast<Ulong>(record.data.size());
    if (!Types::isFront && record.bufferGiven) {
        // As the library wants it: the length is asked for first.
        Ulong told = 0;
        CallRecord question = record;
        Make(question, [&] { return call(session, PointerTo(data), dataLength, nullptr, &told); });
        if (told > largestTold) {
            return;
        }
        record.room = std::max<uint64_t>({told, dataLength, powers.room});
    }
    GuardedBuffer output(record.room);
    auto length = static_cast<Ulong>(record.room);
    Make(record, [&] {
        return call(session, PointerTo(data), dataLength, record.bufferGiven ? output.Data() : nullptr,
                    record.lengthGiven ? &length : nullptr);
    });
    Check(output.GuardsHold(), NameOf(record.function), "writes into its buffer alone");
    record.told = length;
    const bool filled = !record.thrown && record.result == CKR_OK && record.bufferGiven;
    Check(!filled || length <= record.room, NameOf(record.function), "gives no more than there is room for");
    record.untouched = output.IsUntouchedFrom(filled ? length : 0);
    if (filled) {
        record.output = output.First(length);
        CardWorld::SetLastOutput(record.output);
    }
    judge.Called(record);
}

template <typename Types>
void CallDecoder<Types>::Feed(const Work& work, CallText& text, Ulong (*call)(Ulong, uint8_t*, Ulong))
{
    CallRecord record{
        .function = work.function, .operation = work.operation, .step = work.step, .session = Session(text)};
    auto data = TakeInput(text);
    record.data = data.value_or(Bytes());
    const bool isLie = Types::isFront && !data && text.Take('?'); // a length without an address
    Make(record, [&] {
        return call(static_cast<Ulong>(record.session), PointerTo(data),
                    isLie ? 5 : static_cast<Ulong>(record.data.size()));
    });
    judge.Called(record);
}

template class CallDecoder<LibraryTypes>;
template class CallDecoder<FrontTypes>;

} // namespace fuzz
