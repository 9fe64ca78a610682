#include "src/operations/encryption_manager.h"

#include "src/log/function_lines.h"
#include "src/operations/type2_padding.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace {

constexpr char encryptFunction[] = "EncryptionManager::Encrypt";
constexpr uint32_t leastPadding = 11; // of a type 2 block, framing included

// The texts say "private key" although the key is a public one. They are fixed.
constexpr RsaOperationKind encryption = {"EncryptionManager::Init",
                                         "EncryptionManager::Init private key found",
                                         CKA_ENCRYPT,
                                         "EncryptionManager::Init private key has Encrypt attribute",
                                         "EncryptionManager::Init private key has no Encrypt attribute set",
                                         false};

} // namespace

CK_RV EncryptionManager::Init(CK_SESSION_HANDLE session, const CK_MECHANISM* requested, CK_OBJECT_HANDLE key)
{
    inputData = nullptr;
    return operation.Begin(encryption, session, requested, key);
}

CK_RV EncryptionManager::GetLength(uint32_t& length) const
{
    return operation.GetModulusLength(
        "EncryptionManager::GetLength",
        "EncryptionManager::GetLength going to retrieve CKA_MODULUS_BITS attribute", length);
}

void EncryptionManager::SetData(std::unique_ptr<HexBinary> data)
{
    inputData = std::move(data);
}

CK_RV EncryptionManager::Encrypt(HexBinary& output) const
{
    if (inputData == nullptr) {
        return LogLeaving(encryptFunction, CKR_DATA_INVALID);
    }
    uint32_t modulusLength = 0;
    static_cast<void>(GetLength(modulusLength)); // a failure counts as a length of 0
    // Unsigned on both sides: below 11 the difference wraps around, and any data pass.
    if (static_cast<uint32_t>(inputData->length) > modulusLength - leastPadding) {
        return LogLeaving(encryptFunction, CKR_DATA_LEN_RANGE);
    }
    if (operation.keyObject == nullptr) {
        return LogLeaving(encryptFunction, CKR_FUNCTION_FAILED);
    }
    try {
        return LogLeaving(encryptFunction, EncryptBlock(output));
    } catch (const std::exception&) {
        return LogLeaving(encryptFunction, CKR_FUNCTION_FAILED); // the parts of the key make no key
    }
}

CK_RV EncryptionManager::EncryptBlock(HexBinary& output) const
{
    const auto key = operation.keyObject->PublicKey();
    PkcsAttribute modulus(CKA_MODULUS);
    if (key == nullptr || operation.keyObject->GetAttribute(CKA_MODULUS, modulus) != CKR_OK) {
        return CKR_ATTRIBUTE_TYPE_INVALID;
    }
    const auto block = ApplyType2Padding(&modulus.value->length, *inputData);
    if (block == nullptr) {
        return CKR_DATA_LEN_RANGE; // the key's two lengths disagree
    }
    std::vector<uint8_t> blockBytes;
    block->ToByteVector(blockBytes);
    const auto encrypted = key->Encrypt(std::move(blockBytes));
    const auto room = static_cast<std::size_t>(output.length);
    std::copy_n(encrypted.begin(), std::min(encrypted.size(), room), output.data);
    return CKR_OK;
}
