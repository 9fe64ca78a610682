#include "src/operations/sign_manager.h"

#include "src/card/card_status.h"
#include "src/crypto/asn1_object.h"
#include "src/log/function_lines.h"
#include "src/log/logger.h"
#include "src/operations/key_attributes.h"
#include "src/store/session_records.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr char initFunction[] = "SignManager::Init";
constexpr char signFunction[] = "SignManager::Sign";
constexpr uint8_t octetStringTag = 4;

// How a key wants to be handed what it signs.
constexpr uint32_t rawKeyReference = 1;
constexpr uint32_t sha256KeyReference = 2;
constexpr uint32_t sha384KeyReference = 3;
constexpr uint32_t sha512KeyReference = 4;

// The OCTET STRING of a DigestInfo; null when there is none. Throws what the decoder throws on malformed
// input.
std::unique_ptr<HexBinary> HashOfDigestInfo(const HexBinary& digestInfo)
{
    ASN1Object root;
    root.Parse(&digestInfo);
    const ASN1Object* hash = root.FindChild(octetStringTag);
    return hash == nullptr ? nullptr : hash->GetValue();
}

bool IsLengthForKey(int32_t hashLength, uint32_t keyReference)
{
    switch (keyReference) {
    case sha256KeyReference:
        return hashLength == 32;
    case sha384KeyReference:
        return hashLength == 48;
    case sha512KeyReference:
        return hashLength == 64;
    default:
        return true;
    }
}

// One signature by the card. `output` has `outputLength` bytes on the way in, and as many are valid on the
// way out.
CardStatus SignOnCard(const CardToken& token, bool qualified, const HexBinary& data, HexBinary& output,
                      uint32_t& outputLength)
{
    const auto dataLength = static_cast<uint32_t>(data.length);
    CardStatus status = eStatusOk;
    if (qualified) {
        LOG_LINE(LogLevel_Debug, signFunction, "Going to sign data with QES key");
        LOG_LINE(LogLevel_Debug, signFunction, "DataToSign: %s", data.ToHexString().c_str());
        status =
            CardAPI_QES_SignData(token.card.session, data.data, dataLength, output.data, &outputLength, 0);
        LOG_LINE(LogLevel_Debug, signFunction, "Data was signed with QES key");
    } else {
        LOG_LINE(LogLevel_Debug, signFunction, "Going to sign data with ES key");
        status =
            CardAPI_ES_SignData(token.card.session, data.data, dataLength, output.data, &outputLength, 0);
        LOG_LINE(LogLevel_Debug, signFunction, "Data was signed with ES key");
    }
    return status;
}

} // namespace

CK_RV SignManager::Init(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, const CK_MECHANISM* requested)
{
    LOG_LINE(LogLevel_Debug, initFunction, "SignManager::Init called");
    Reset();
    sessionHandle = session;

    LOG_LINE(LogLevel_Debug, initFunction, "SignManager::Init going to retrieve private key");
    const auto object = InternalCache::GetInstance().GetObject(key);
    if (object == nullptr) {
        return LogLeaving(initFunction, CKR_KEY_HANDLE_INVALID);
    }
    LOG_LINE(LogLevel_Debug, initFunction, "SignManager::Init private key found");
    keyHandle = object->objectHandle;

    if (requested->mechanism != CKM_RSA_PKCS && requested->mechanism != CKM_SHA256_RSA_PKCS) {
        return LogLeaving(initFunction, CKR_MECHANISM_INVALID);
    }
    mechanism = requested->mechanism;

    LOG_LINE(LogLevel_Debug, initFunction, "SignManager::Init going to retrieve CKA_SIGN attribute");
    canSign = ReadFlag(*object, CKA_SIGN).value_or(canSign);
    if (!canSign) {
        return LogLeaving(initFunction, CKR_KEY_FUNCTION_NOT_PERMITTED);
    }
    LOG_LINE(LogLevel_Debug, initFunction, "SignManager::Init going to retrieve CKA_MODULUS_BITS attribute");
    modulusBits = ReadNumber(*object, CKA_MODULUS_BITS).value_or(modulusBits);
    LOG_LINE(LogLevel_Debug, initFunction,
             "SignManager::Init going to retrieve CKA_ALWAYS_AUTHENTICATE attribute");
    alwaysAuthenticate = ReadFlag(*object, CKA_ALWAYS_AUTHENTICATE).value_or(alwaysAuthenticate);

    active = true;
    return CKR_OK;
}

void SignManager::SetData(std::unique_ptr<HexBinary> data)
{
    dataToSign = std::move(data);
}

CK_RV SignManager::Sign(std::unique_ptr<HexBinary>& signature)
{
    SessionRecords records;
    const CK_RV found = FindSessionRecords(sessionHandle, records);
    if (found != CKR_OK) {
        return LogLeaving(signFunction, found);
    }
    const auto key = InternalCache::GetInstance().GetObject(keyHandle);
    if (key == nullptr) {
        return LogLeaving(signFunction, CKR_KEY_HANDLE_INVALID);
    }
    const auto data = DataForCard(key->keyReference);
    if (data == nullptr) {
        return LogLeaving(signFunction, CKR_ARGUMENTS_BAD);
    }

    const std::string_view label = records.slot->label;
    const bool qualified = label.starts_with(qualifiedLabel);
    if (!qualified && !label.starts_with(ordinaryLabel)) {
        LOG_LINE(LogLevel_Error, signFunction, "Neither %s nor %s labels was found", qualifiedLabel.data(),
                 ordinaryLabel.data());
        return LogLeaving(signFunction, CKR_GENERAL_ERROR);
    }
    const uint32_t capacity = modulusBits / bitsPerByte;
    uint32_t outputLength = capacity;
    auto output = std::make_unique<HexBinary>(static_cast<int32_t>(capacity));
    std::fill_n(output->data, capacity, uint8_t{0}); // a card may report more than it writes
    const CardStatus status = SignOnCard(*records.token, qualified, *data, *output, outputLength);
    output->length = static_cast<int32_t>(std::min(outputLength, capacity));
    signature = std::move(output);
    return status == eStatusOk ? CKR_OK : LogLeaving(signFunction, CKR_FUNCTION_FAILED);
}

void SignManager::Reset()
{
    constexpr char resetFunction[] = "SignManager::Reset";
    LOG_LINE(LogLevel_Debug, resetFunction, "SignManager::Reset called");
    // A missing handle or mechanism is stored as the error code that stands for it.
    active = false;
    modulusBits = 0;
    alwaysAuthenticate = true;
    canSign = false;
    mechanism = CKR_MECHANISM_INVALID;
    keyHandle = CKR_OBJECT_HANDLE_INVALID;
    sessionHandle = CKR_SESSION_HANDLE_INVALID;
    dataToSign = nullptr;
    LOG_LINE(LogLevel_Debug, resetFunction, "SignManager::Reset end");
}

std::unique_ptr<HexBinary> SignManager::DataForCard(uint32_t keyReference) const
{
    if (keyReference == rawKeyReference) {
        return std::make_unique<HexBinary>(dataToSign->data, dataToSign->length, true);
    }
    try {
        auto hash = HashOfDigestInfo(*dataToSign);
        return hash != nullptr && IsLengthForKey(hash->length, keyReference) ? std::move(hash) : nullptr;
    } catch (...) {
        return nullptr; // no DER, so no DigestInfo
    }
}
