// What each card function records and gives back.
#include "tests/support/scripted_card/scripted_card_core.h"

#include <botan/hash.h>

#include <algorithm>
#include <array>

namespace scripted {
namespace {

constexpr CardStatus insufficientBuffer = 6;
constexpr CardStatus noSmartCard = 75;
constexpr uint8_t signatureFill = 0x5A;

bool StoresOutputs(const Answer& answer)
{
    return answer.outputs == Outputs::Always || (answer.outputs == Outputs::OnSuccess && answer.status == 0);
}

template <typename Record>
bool IsClear(const Record* records, size_t count)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(records);
    return std::all_of(bytes, bytes + (sizeof(Record) * count), [](uint8_t byte) { return byte == 0; });
}

CardCall CallOn(const char* function, CardSession session)
{
    CardCall call;
    call.function = function;
    call.session = session;
    return call;
}

void CopyText(char* field, size_t width, const std::string& text)
{
    std::copy_n(text.data(), std::min(width, text.size()), field);
}

void FillTokenInfo(CardTokenInfo* info, const Card& card)
{
    std::copy(std::begin(card.versions), std::end(card.versions), info->versions);
    CopyText(info->manufacturer, sizeof info->manufacturer, card.manufacturer);
    CopyText(info->model, sizeof info->model, card.model);
}

} // namespace

void Core::WriteDirectory(const char* function, char16_t* buffer, uint32_t capacity)
{
    CardCall call;
    call.function = function;
    call.capacity = capacity;
    call.outputsClear = IsClear(buffer, capacity + size_t{1});
    const bool appData = call.function == "GetAppDataDir";
    static_cast<void>(Enter(std::move(call)));
    const std::lock_guard lock(mutex);
    const std::u16string& directory = appData ? appDataDirectory : userDataDirectory;
    const size_t length = std::min<size_t>(directory.size(), capacity - size_t{1});
    std::copy_n(directory.data(), length, buffer);
    buffer[length] = 0;
}

int32_t Core::ReaderList(char16_t* buffer, uint32_t capacity)
{
    CardCall call;
    call.function = "GetReaderList";
    call.capacity = capacity;
    if (Enter(std::move(call)).status != 0) {
        return -1;
    }
    const std::lock_guard lock(mutex);
    std::u16string content;
    for (const Reader& reader : readers) {
        content += reader.name;
        content += u'\0';
    }
    int32_t result = static_cast<int32_t>(content.size());
    if (content.empty()) {
        content += u'\0';
    }
    if (forcedReaderList) {
        content = forcedReaderList->first;
        result = forcedReaderList->second;
    }
    std::copy_n(content.data(), std::min<size_t>(content.size(), capacity), buffer);
    return result;
}

CardStatus Core::Open(const char16_t* readerName, CardSession* session)
{
    CardCall call;
    call.function = "OpenSession";
    call.reader = readerName;
    call.outputsClear = *session == 0;
    const std::u16string name = call.reader;
    const Answer answer = Enter(std::move(call));
    const std::lock_guard lock(mutex);
    const auto found = std::find_if(readers.begin(), readers.end(),
                                    [&](const Reader& reader) { return reader.name == name; });
    if (found == readers.end() || !found->card) {
        return answer.status != 0 ? answer.status : noSmartCard;
    }
    if (StoresOutputs(answer)) {
        *session = OpenOn(*found, false);
    }
    return answer.status;
}

CardStatus Core::OnSession(const char* function, CardSession session)
{
    return Enter(CallOn(function, session)).status;
}

CardStatus Core::TokenInfo(CardSession session, CardTokenInfo* info, const char* text,
                           const uint32_t* capacity)
{
    CardCall call = CallOn("GetTokenInfo", session);
    call.capacity = *capacity;
    call.outputsClear = IsClear(info, 1) && IsClear(text, *capacity + size_t{1});
    const Answer answer = Enter(std::move(call));
    const std::lock_guard lock(mutex);
    const std::shared_ptr<Card> card = CardOf(session);
    if (card && StoresOutputs(answer)) {
        FillTokenInfo(info, *card);
    }
    return answer.status;
}

CardStatus Core::SessionFlags(CardSession session, uint32_t* flags)
{
    const Answer answer = Enter(CallOn("GetSessionFlags", session));
    const std::lock_guard lock(mutex);
    const std::shared_ptr<Card> card = CardOf(session);
    if (card && StoresOutputs(answer)) {
        *flags = card->flags;
    }
    return answer.status;
}

CardStatus Core::Certificates(bool qes, CardSession session, CardCertificate* certificates, uint32_t* count,
                              CardKeyInfo* keys)
{
    CardCall call = CallOn(qes ? "QES_GetCertificates" : "ES_GetCertificates", session);
    call.outputsClear = *count == 0 && IsClear(keys, maxCertificates);
    const Answer answer = Enter(std::move(call));
    const std::lock_guard lock(mutex);
    const std::shared_ptr<Card> card = CardOf(session);
    if (!card || !StoresOutputs(answer)) {
        return answer.status;
    }
    const std::vector<CertifiedKey>& list = qes ? card->qes : card->es;
    const size_t filled = std::min<size_t>(list.size(), maxCertificates);
    for (size_t index = 0; index < filled; ++index) {
        const Bytes& bytes = list[index].certificate;
        const size_t length = std::min(bytes.size(), sizeof certificates[index].data);
        certificates[index].length = list[index].reportedLength.value_or(static_cast<uint32_t>(length));
        std::copy_n(bytes.data(), length, certificates[index].data);
        keys[index] = list[index].key;
    }
    *count = answer.count.value_or(static_cast<uint32_t>(filled));
    return answer.status;
}

CardStatus Core::KeyInfo(bool qes, CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    CardCall call = CallOn(qes ? "QES_GetKeyInfo" : "ES_GetKeyInfo", session);
    call.constants = {zero};
    call.flag = yes;
    call.outputsClear = IsClear(key, 1);
    const Answer answer = Enter(std::move(call));
    const std::lock_guard lock(mutex);
    const std::shared_ptr<Card> card = CardOf(session);
    if (card && StoresOutputs(answer)) {
        *key = qes ? card->qesKeyInfo : card->esKeyInfo;
    }
    return answer.status;
}

CardStatus Core::Sign(const char* function, CardSession session, const uint8_t* data, uint32_t length,
                      uint8_t* output, uint32_t* outputLength, uint32_t last)
{
    CardCall call = CallOn(function, session);
    call.data.assign(data, data + length);
    call.capacity = *outputLength;
    call.constants = {last};
    const Bytes given = call.data;
    const Answer answer = Enter(std::move(call));
    if (!StoresOutputs(answer)) {
        return answer.status;
    }
    const Bytes result = answer.output ? *answer.output : ResultOf(function, given, *outputLength);
    if (result.size() > *outputLength) {
        return insufficientBuffer;
    }
    std::copy(result.begin(), result.end(), output);
    *outputLength = answer.length.value_or(static_cast<uint32_t>(result.size()));
    return answer.status;
}

Bytes Core::ResultOf(const std::string& function, const Bytes& data, uint32_t capacity) const
{
    if (function == "ES_DecryptData") {
        return data;
    }
    std::unique_lock lock(mutex);
    const auto sign = signing;
    lock.unlock();
    return sign ? sign(function, data) : Bytes(capacity, signatureFill);
}

CardStatus Core::Verify(const char* function, CardSession session, const char* code, VerifyResult* result,
                        const void* null, std::vector<uint32_t> constants)
{
    CardCall call = CallOn(function, session);
    if (code != nullptr) {
        call.code = code;
    }
    call.verifyResult = *result;
    call.pointer = null;
    call.constants = std::move(constants);
    const bool bok = call.function == "Passwords_VerifyBOK";
    const Answer answer = Enter(std::move(call));
    if (answer.verify) {
        *result = *answer.verify;
    } else if (StoresOutputs(answer)) {
        result->verified = 1;
    }
    const std::lock_guard lock(mutex);
    const std::shared_ptr<Card> card = CardOf(session);
    if (card && bok && result->verified == 1 && card->verifyActivatesMessaging) {
        card->flags |= secureMessagingFlag;
    }
    return answer.status;
}

Bytes Core::Hash(const std::string& name, Bytes data)
{
    CardCall call;
    call.function = "Hash";
    call.data = std::move(data);
    const std::unique_ptr<Botan::HashFunction> hash = Botan::HashFunction::create_or_throw(name);
    hash->update(call.data.data(), call.data.size());
    const Answer answer = Enter(std::move(call));
    if (answer.output) {
        return *answer.output;
    }
    Bytes digest(hash->output_length());
    hash->final(digest.data());
    return digest;
}

} // namespace scripted
