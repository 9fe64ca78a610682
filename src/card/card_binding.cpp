// The one place that knows how the card-access library is reached. Its functions stand here under their own
// names; each loads the library when it is the first, is resolved at its own first call, and then goes
// straight through.
#include "card/card_api.h"
#include "card/card_hash.h"
#include "log/logger.h"
#include "platform/platform.h"

#include <bit>
#include <new>
#include <stdexcept>

namespace {

constexpr char logFunction[] = "CardAPI";
constexpr char libraryStem[] = "CardAPI";

// Loads the library from beside this one, or else wherever the loader finds it.
void* LoadCardLibrary()
{
    const std::string file = Platform::LibraryFileName(libraryStem);
    const auto& directory = Platform::ModuleDirectory();
    try {
        return Platform::LoadSharedLibrary(directory / file);
    } catch (const std::runtime_error& notBeside) {
        try {
            return Platform::LoadSharedLibrary(file);
        } catch (const std::runtime_error& notAnywhere) {
            throw std::runtime_error(std::string(notBeside.what()) + "; " + notAnywhere.what());
        }
    }
}

[[noreturn]] void ThrowUnbound(const char* symbol, const char* reason)
{
    const std::string message = "Cannot bind " + std::string(symbol) + " of " +
                                Platform::LibraryFileName(libraryStem) + ": " + reason;
    LOG_LINE(LogLevel_Error, logFunction, "%s", message.c_str());
    throw std::runtime_error(message);
}

// The address of a symbol of the card-access library. Throws std::runtime_error with a message that names the
// library and the symbol; the next call tries again.
void* FindCardSymbol(const char* symbol)
{
    try {
        static void* const library = LoadCardLibrary();
        return Platform::FindSymbol(library, symbol);
    } catch (const std::runtime_error& error) {
        ThrowUnbound(symbol, error.what());
    }
}

// The function of the card-access library with the name and the type of our own `function`.
template <auto function>
auto Bound(const char* name)
{
    static const auto target = reinterpret_cast<decltype(function)>(FindCardSymbol(name));
    return target;
}

} // namespace

void CardAPI_GetAppDataDir(char16_t* buffer, uint32_t capacity)
{
    Bound<&CardAPI_GetAppDataDir>("CardAPI_GetAppDataDir")(buffer, capacity);
}

void CardAPI_GetUserDataDir(char16_t* buffer, uint32_t capacity)
{
    Bound<&CardAPI_GetUserDataDir>("CardAPI_GetUserDataDir")(buffer, capacity);
}

void CardAPI_Initialize(const void* logger)
{
    Bound<&CardAPI_Initialize>("CardAPI_Initialize")(logger);
}

void CardAPI_Finalize()
{
    Bound<&CardAPI_Finalize>("CardAPI_Finalize")();
}

int32_t CardAPI_GetReaderList(char16_t* buffer, uint32_t capacity)
{
    return Bound<&CardAPI_GetReaderList>("CardAPI_GetReaderList")(buffer, capacity);
}

CardStatus CardAPI_OpenSession(const char16_t* readerName, CardSession* session)
{
    return Bound<&CardAPI_OpenSession>("CardAPI_OpenSession")(readerName, session);
}

CardStatus CardAPI_CloseSession(CardSession session)
{
    return Bound<&CardAPI_CloseSession>("CardAPI_CloseSession")(session);
}

CardStatus CardAPI_StartTransaction(CardSession session)
{
    return Bound<&CardAPI_StartTransaction>("CardAPI_StartTransaction")(session);
}

CardStatus CardAPI_StopTransaction(CardSession session)
{
    return Bound<&CardAPI_StopTransaction>("CardAPI_StopTransaction")(session);
}

CardStatus CardAPI_GetTokenInfo(CardSession session, CardTokenInfo* info, char* text, uint32_t* capacity)
{
    return Bound<&CardAPI_GetTokenInfo>("CardAPI_GetTokenInfo")(session, info, text, capacity);
}

CardStatus CardAPI_GetSessionFlags(CardSession session, uint32_t* flags)
{
    return Bound<&CardAPI_GetSessionFlags>("CardAPI_GetSessionFlags")(session, flags);
}

CardStatus CardAPI_WaitForReaderEvent(uint32_t milliseconds, ReaderCallback callback)
{
    return Bound<&CardAPI_WaitForReaderEvent>("CardAPI_WaitForReaderEvent")(milliseconds, callback);
}

CardStatus CardAPI_QES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                       CardKeyInfo* keys)
{
    return Bound<&CardAPI_QES_GetCertificates>("CardAPI_QES_GetCertificates")(session, certificates, count,
                                                                              keys);
}

CardStatus CardAPI_ES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                      CardKeyInfo* keys)
{
    return Bound<&CardAPI_ES_GetCertificates>("CardAPI_ES_GetCertificates")(session, certificates, count,
                                                                            keys);
}

CardStatus CardAPI_QES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    return Bound<&CardAPI_QES_GetKeyInfo>("CardAPI_QES_GetKeyInfo")(session, zero, key, yes);
}

CardStatus CardAPI_ES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    return Bound<&CardAPI_ES_GetKeyInfo>("CardAPI_ES_GetKeyInfo")(session, zero, key, yes);
}

CardStatus CardAPI_QES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                uint32_t* outputLength, uint32_t zero)
{
    return Bound<&CardAPI_QES_SignData>("CardAPI_QES_SignData")(session, data, length, output, outputLength,
                                                                zero);
}

CardStatus CardAPI_ES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                               uint32_t* outputLength, uint32_t zero)
{
    return Bound<&CardAPI_ES_SignData>("CardAPI_ES_SignData")(session, data, length, output, outputLength,
                                                              zero);
}

CardStatus CardAPI_ES_DecryptData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                  uint32_t* outputLength, uint32_t certificateIndex)
{
    return Bound<&CardAPI_ES_DecryptData>("CardAPI_ES_DecryptData")(session, data, length, output,
                                                                    outputLength, certificateIndex);
}

CardStatus CardAPI_Passwords_VerifyBOK(CardSession session, const char* code, VerifyResult* result,
                                       void* null, uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    return Bound<&CardAPI_Passwords_VerifyBOK>("CardAPI_Passwords_VerifyBOK")(session, code, result, null,
                                                                              fifth, sixth, seventh);
}

CardStatus CardAPI_QES_VerifyPin(CardSession session, const char* code, VerifyResult* result, void* null,
                                 uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    return Bound<&CardAPI_QES_VerifyPin>("CardAPI_QES_VerifyPin")(session, code, result, null, fifth, sixth,
                                                                  seventh);
}

namespace Zelmo::Crypto {

namespace {

using HashMethod = std::vector<unsigned char> (HashFunction::*)(const unsigned char*, uint64_t);

// A pointer to a member function that isn't virtual, made of the function's address.
HashMethod MethodAt(void* address)
{
    struct
    {
        void* address;
        std::ptrdiff_t thisAdjustment;
    } const representation{address, 0};
    return std::bit_cast<HashMethod>(representation);
}

} // namespace

std::unique_ptr<HashFunction> MakeHash(const char* constructorSymbol)
{
    using Constructor = void (*)(void*);
    const auto construct = reinterpret_cast<Constructor>(FindCardSymbol(constructorSymbol));
    void* storage = ::operator new(sizeof(HashFunction));
    try {
        construct(storage);
    } catch (...) {
        ::operator delete(storage);
        throw;
    }
    return std::unique_ptr<HashFunction>(static_cast<HashFunction*>(storage));
}

std::vector<unsigned char> HashFunction::Hash(const unsigned char* data, uint64_t length)
{
    static const HashMethod method = MethodAt(FindCardSymbol(hashMethodSymbol));
    return (this->*method)(data, length);
}

} // namespace Zelmo::Crypto
