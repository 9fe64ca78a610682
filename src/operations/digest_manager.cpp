#include "src/operations/digest_manager.h"

#include "src/card/card_hash.h"
#include "src/log/function_lines.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

struct DigestKind
{
    const char* constructorSymbol;
    CK_MECHANISM_TYPE mechanism;
    uint32_t length; // bytes
};

constexpr DigestKind digestKinds[] = {
    {Zelmo::Crypto::sha1ConstructorSymbol, CKM_SHA_1, 20},
    {Zelmo::Crypto::sha256ConstructorSymbol, CKM_SHA256, 32},
    {Zelmo::Crypto::sha224ConstructorSymbol, CKM_SHA224, 28},
    {Zelmo::Crypto::sha384ConstructorSymbol, CKM_SHA384, 48},
    {Zelmo::Crypto::sha512ConstructorSymbol, CKM_SHA512, 64},
};

// Null for a mechanism that is no digest.
const DigestKind* FindKind(CK_MECHANISM_TYPE mechanism)
{
    const auto* found =
        std::find_if(std::begin(digestKinds), std::end(digestKinds),
                     [mechanism](const DigestKind& kind) { return kind.mechanism == mechanism; });
    return found == std::end(digestKinds) ? nullptr : found;
}

} // namespace

CK_RV DigestManager::Init(CK_SESSION_HANDLE session, const CK_MECHANISM* requested)
{
    Reset();
    sessionHandle = session;
    if (FindKind(requested->mechanism) == nullptr) {
        return LogLeaving("DigestManager::Init", CKR_MECHANISM_INVALID);
    }
    mechanism = requested->mechanism;
    active = true;
    return CKR_OK;
}

CK_RV DigestManager::GetLength(uint32_t& length) const
{
    const DigestKind* kind = FindKind(mechanism);
    length = kind == nullptr ? 0 : kind->length;
    return kind == nullptr ? CKR_MECHANISM_INVALID : CKR_OK;
}

void DigestManager::SetData(std::unique_ptr<HexBinary> data)
{
    inputData = std::move(data);
}

CK_RV DigestManager::Digest(HexBinary& output) const
{
    constexpr char function[] = "DigestManager::Digest";
    const DigestKind* kind = FindKind(mechanism);
    if (inputData == nullptr || kind == nullptr) {
        return LogLeaving(function, CKR_DATA_INVALID);
    }
    const auto hash = Zelmo::Crypto::MakeHash(kind->constructorSymbol);
    const auto digest = hash->Hash(inputData->data, static_cast<uint64_t>(inputData->length));
    const auto room = static_cast<std::size_t>(output.length);
    std::copy_n(digest.begin(), std::min(digest.size(), room), output.data);
    return LogLeaving(function, CKR_OK);
}

void DigestManager::Reset()
{
    // A missing mechanism or handle is stored as the error code that stands for it.
    mechanism = CKR_MECHANISM_INVALID;
    sessionHandle = CKR_SESSION_HANDLE_INVALID;
    active = false;
    inputData = nullptr;
}
