#include "src/operations/verify_manager.h"

#include "src/log/function_lines.h"
#include "src/operations/key_attributes.h"

#include <exception>
#include <utility>
#include <vector>

namespace {

constexpr char verifyFunction[] = "VerifyManager::Verify";
constexpr char plainMode[] = "EMSA3(Raw)"; // no hash of its own

// The texts say "private key" although the key is a public one. They are fixed.
constexpr RsaOperationKind verification = {"VerifyManager::Init",
                                           "VerifyManager::Init private key found",
                                           CKA_VERIFY,
                                           "VerifyManager::Init private key has Verify attribute",
                                           "VerifyManager::Init private key has no Verify attribute set",
                                           true};

} // namespace

CK_RV VerifyManager::Init(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, const CK_MECHANISM* requested)
{
    signature = nullptr;
    message = nullptr;
    verifier = nullptr;
    publicKey = nullptr;
    return operation.Begin(verification, session, requested, key);
}

void VerifyManager::SetData(std::unique_ptr<HexBinary> newSignature, std::unique_ptr<HexBinary> newMessage)
{
    signature = std::move(newSignature);
    message = std::move(newMessage);
}

void VerifyManager::Verify(bool& result)
{
    if (signature == nullptr) {
        LogLeaving(verifyFunction, CKR_DATA_INVALID);
        return;
    }
    try {
        const CK_RV prepared = PrepareVerifier();
        if (prepared != CKR_OK) {
            LogLeaving(verifyFunction, prepared);
            return;
        }
        std::vector<uint8_t> messageBytes;
        std::vector<uint8_t> signatureBytes;
        message->ToByteVector(messageBytes);
        signature->ToByteVector(signatureBytes);
        result = verifier != nullptr ? verifier->Verify(std::move(messageBytes), std::move(signatureBytes))
                                     : publicKey->Verify(messageBytes, signatureBytes);
    } catch (const std::exception&) {
        LogLeaving(verifyFunction, CKR_FUNCTION_FAILED); // the parts of the key make no key
        return;
    }
    LogLeaving(verifyFunction, CKR_OK); // whatever the answer was
}

CK_RV VerifyManager::PrepareVerifier()
{
    if (publicKey != nullptr) {
        return CKR_OK;
    }
    if (operation.keyObject == nullptr) {
        return CKR_FUNCTION_FAILED;
    }
    auto key = operation.keyObject->PublicKey();
    if (key == nullptr) {
        return CKR_ATTRIBUTE_TYPE_INVALID;
    }
    if (key->OfBotan() != nullptr) {
        verifier = std::make_unique<Zelmo::Crypto::RsaVerifier>(key->OfBotan(), plainMode);
    }
    publicKey = std::move(key);
    return CKR_OK;
}
