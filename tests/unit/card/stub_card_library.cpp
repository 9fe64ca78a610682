// The functions and the hashing of the card-access library, as the unit tests want them.
#include "tests/unit/card/stub_card.h"

#include "tavrik/hash_functions.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

namespace {

std::unique_ptr<StubCardState>& State()
{
    static auto state = std::make_unique<StubCardState>();
    return state;
}

void Record(const std::string& function, CardSession session)
{
    auto& state = *State();
    const std::lock_guard<std::mutex> guard(state.lock);
    state.calls.push_back(function + " " + std::to_string(session));
}

CardStatus GiveCertificates(const char* function, CardSession session, CardCertificate* certificates,
                            uint32_t* count, CardKeyInfo* keys)
{
    Record(function, session);
    const auto& state = *State();
    for (std::size_t i = 0; i < std::min<std::size_t>(state.certificates.size(), maxCertificates); ++i) {
        certificates[i].length = static_cast<uint32_t>(state.certificates[i].size());
        std::copy(state.certificates[i].begin(), state.certificates[i].end(), certificates[i].data);
    }
    std::copy_n(state.keys.begin(), std::min<std::size_t>(state.keys.size(), maxCertificates), keys);
    *count = state.certificateCount;
    return state.certificateStatus;
}

CardStatus WorkWithKey(const char* function, CardSession session, const uint8_t* data, uint32_t length,
                       uint8_t* output, uint32_t* outputLength, uint32_t last)
{
    auto& state = *State();
    Record(function, session);
    state.signCalls.push_back({function, session, {data, data + length}, *outputLength, last});
    const auto used = std::min<std::size_t>(state.signature.size(), *outputLength);
    std::copy_n(state.signature.begin(), used, output);
    *outputLength = state.announcedLength.value_or(static_cast<uint32_t>(used));
    return state.signStatus;
}

CardStatus Verify(bool signaturePin, CardSession session, const char* code, VerifyResult* result,
                  const void* null, uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    auto& state = *State();
    Record(signaturePin ? "VerifyPin" : "VerifyBOK", session);
    std::optional<std::string> text;
    if (code != nullptr) {
        text = code;
    }
    state.verifyCalls.push_back(
        {signaturePin, session, text, *result, null == nullptr, fifth, sixth, seventh});
    if (state.verifyAnswers.empty()) {
        return 1;
    }
    const StubVerifyAnswer answer = state.verifyAnswers.front();
    state.verifyAnswers.erase(state.verifyAnswers.begin());
    result->status = answer.codeStatus;
    result->verified = answer.verified;
    return answer.status;
}

} // namespace

extern "C" {

StubCardState* StubCard_State()
{
    return State().get();
}

void StubCard_Reset()
{
    State() = std::make_unique<StubCardState>();
}

void CardAPI_GetAppDataDir(char16_t* buffer, uint32_t capacity)
{
    Record("GetAppDataDir", 0);
    State()->appDataCapacity = capacity;
    buffer[0] = u'a';
    buffer[1] = u'\0';
}

void CardAPI_GetUserDataDir(char16_t* buffer, uint32_t capacity)
{
    Record("GetUserDataDir", 0);
    State()->userDataCapacity = capacity;
    buffer[0] = u'u';
    buffer[1] = u'\0';
}

void CardAPI_Initialize(const void* logger)
{
    Record("Initialize", 0);
    State()->logger = logger;
}

void CardAPI_Finalize()
{
    Record("Finalize", 0);
}

int32_t CardAPI_GetReaderList(char16_t* buffer, uint32_t capacity)
{
    Record("GetReaderList", capacity);
    std::copy(State()->readers.begin(), State()->readers.end(), buffer);
    return State()->readerCount;
}

CardStatus CardAPI_OpenSession(const char16_t* readerName, CardSession* session)
{
    auto& state = *State();
    state.openedReaders.emplace_back(readerName);
    if (state.nextSession == 0) {
        return 1;
    }
    *session = state.nextSession++;
    Record("OpenSession", *session);
    return 0;
}

CardStatus CardAPI_CloseSession(CardSession session)
{
    Record("CloseSession", session);
    if (State()->onCloseSession) {
        State()->onCloseSession(session);
    }
    return State()->closeStatus;
}

CardStatus CardAPI_StartTransaction(CardSession session)
{
    Record("StartTransaction", session);
    return State()->transactionStatus;
}

CardStatus CardAPI_StopTransaction(CardSession session)
{
    Record("StopTransaction", session);
    return State()->transactionStatus;
}

CardStatus CardAPI_GetTokenInfo(CardSession session, CardTokenInfo* info, char* text, uint32_t* capacity)
{
    Record("GetTokenInfo", session);
    *info = State()->tokenInfo;
    State()->tokenInfoCapacity = *capacity;
    text[0] = '\0';
    return State()->tokenInfoStatus;
}

CardStatus CardAPI_GetSessionFlags(CardSession session, uint32_t* flags)
{
    Record("GetSessionFlags", session);
    *flags = State()->flags;
    return State()->flagsStatus;
}

CardStatus CardAPI_WaitForReaderEvent(uint32_t milliseconds, ReaderCallback callback)
{
    auto& state = *State();
    {
        const std::lock_guard<std::mutex> guard(state.lock);
        state.waits.push_back(milliseconds);
    }
    if (state.onWait) {
        state.onWait(callback);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(milliseconds, 2U)));
    return 0;
}

CardStatus CardAPI_QES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                       CardKeyInfo* keys)
{
    return GiveCertificates("QES_GetCertificates", session, certificates, count, keys);
}

CardStatus CardAPI_ES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                      CardKeyInfo* keys)
{
    return GiveCertificates("ES_GetCertificates", session, certificates, count, keys);
}

CardStatus CardAPI_QES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    Record("QES_GetKeyInfo", session);
    key->keyReference = zero == 0 && yes ? 2 : 99;
    return 0;
}

CardStatus CardAPI_ES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    Record("ES_GetKeyInfo", session);
    key->keyReference = zero == 0 && yes ? 3 : 99;
    return 0;
}

CardStatus CardAPI_QES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                uint32_t* outputLength, uint32_t zero)
{
    return WorkWithKey("QES_SignData", session, data, length, output, outputLength, zero);
}

CardStatus CardAPI_ES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                               uint32_t* outputLength, uint32_t zero)
{
    return WorkWithKey("ES_SignData", session, data, length, output, outputLength, zero);
}

CardStatus CardAPI_ES_DecryptData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                  uint32_t* outputLength, uint32_t certificateIndex)
{
    return WorkWithKey("ES_DecryptData", session, data, length, output, outputLength, certificateIndex);
}

CardStatus CardAPI_Passwords_VerifyBOK(CardSession session, const char* code, VerifyResult* result,
                                       void* null, uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    return Verify(false, session, code, result, null, fifth, sixth, seventh);
}

CardStatus CardAPI_QES_VerifyPin(CardSession session, const char* code, VerifyResult* result, void* null,
                                 uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    return Verify(true, session, code, result, null, fifth, sixth, seventh);
}
}

namespace Zelmo::Crypto {

// The digest is no hash: the name of the class and the data, so that a test sees what arrived.
std::vector<unsigned char> HashFunction::Hash(const unsigned char* data, uint64_t length)
{
    std::vector<unsigned char> digest(name.begin(), name.end());
    digest.insert(digest.end(), data, data + length);
    return digest;
}

} // namespace Zelmo::Crypto
