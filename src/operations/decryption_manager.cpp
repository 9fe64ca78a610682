#include "src/operations/decryption_manager.h"

#include "src/card/card_status.h"
#include "src/log/function_lines.h"
#include "src/log/logger.h"
#include "src/store/internal_cache.h"

#include <algorithm>
#include <vector>

namespace {

constexpr char startFunction[] = "DecryptionManager::Init";
constexpr char decryptFunction[] = "DecryptionManager::Decrypt";
constexpr char cardPrefix[] = "81"; // tells the card that encrypted data follow

constexpr RsaOperationKind decryption = {startFunction,
                                         "DecryptionManager::Init private key found",
                                         CKA_DECRYPT,
                                         "DecryptionManager::Init private key has Decrypt attribute",
                                         "DecryptionManager::Init private key has no Decrypt attribute set",
                                         false};

// The certificate with this CKA_ID, of any slot and any card; the last one made when there are several.
std::shared_ptr<const PkcsObject> FindCertificate(const PkcsAttribute& id)
{
    std::shared_ptr<const PkcsObject> found;
    for (const auto& object : InternalCache::GetInstance().GetObjects()) {
        PkcsAttribute ownId(CKA_ID);
        if (object->kind == certificateKind && object->GetAttribute(CKA_ID, ownId) == CKR_OK &&
            HexBinary::Compare(ownId.value.get(), id.value.get()) == 0) {
            found = object;
        }
    }
    return found;
}

} // namespace

CK_RV DecryptionManager::Init(CK_SESSION_HANDLE session, const CK_MECHANISM* requested, CK_OBJECT_HANDLE key)
{
    inputData = nullptr;
    const CK_RV begun = operation.Begin(decryption, session, requested, key);
    return begun == CKR_OK ? LogLeaving(startFunction, begun) : begun;
}

CK_RV DecryptionManager::GetLength(uint32_t& length) const
{
    return operation.GetModulusLength(
        "DecryptionManager::GetLength",
        "DecryptionManager::GetLength going to retrieve CKA_MODULUS_BITS attribute", length);
}

void DecryptionManager::SetData(const HexBinary& data)
{
    inputData = std::make_unique<HexBinary>(cardPrefix);
    inputData->Append(&data);
}

CK_RV DecryptionManager::Decrypt(HexBinary& output, uint32_t& outputLength) const
{
    outputLength = 0;
    if (inputData == nullptr) {
        return LogLeaving(decryptFunction, CKR_DATA_INVALID);
    }
    if (operation.keyObject == nullptr) {
        return LogLeaving(decryptFunction, CKR_FUNCTION_FAILED);
    }
    PkcsAttribute id(CKA_ID);
    if (operation.keyObject->GetAttribute(CKA_ID, id) != CKR_OK) {
        return LogLeaving(decryptFunction, CKR_ATTRIBUTE_TYPE_INVALID);
    }
    const auto certificate = FindCertificate(id);
    if (certificate == nullptr) {
        LOG_LINE(LogLevel_Debug, decryptFunction,
                 "DecryptionManager::Decrypt cannot find certificate to private key handle");
        return LogLeaving(decryptFunction, CKR_KEY_HANDLE_INVALID);
    }
    return LogLeaving(decryptFunction, DecryptOnCard(certificate->certificateIndex, output, outputLength));
}

CK_RV DecryptionManager::DecryptOnCard(uint32_t certificateIndex, HexBinary& output,
                                       uint32_t& outputLength) const
{
    const auto token = InternalCache::GetInstance().GetCardTokenOfSession(operation.sessionHandle);
    if (token == nullptr) {
        return CKR_OK;
    }
    const auto inputLength = static_cast<uint32_t>(inputData->length);
    std::vector<uint8_t> plain(inputLength);
    uint32_t plainLength = inputLength;
    const CardStatus status = CardAPI_ES_DecryptData(token->card.session, inputData->data, inputLength,
                                                     plain.data(), &plainLength, certificateIndex);
    if (status != eStatusOk) {
        return CKR_FUNCTION_FAILED;
    }
    outputLength = std::min({plainLength, inputLength, static_cast<uint32_t>(output.length)});
    std::copy_n(plain.begin(), outputLength, output.data);
    return CKR_OK;
}
