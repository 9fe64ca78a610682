#include "front/model/operations.h"

#include "front/abi/refusal.h"
#include "front/model/rsa_public.h"
#include "src/crypto/pkcs1.h"

namespace front {
namespace {

constexpr std::size_t longestRawData = 1024; // bytes; no key takes more

} // namespace

DigestOperation::DigestOperation(const char* hash) : function(Botan::HashFunction::create_or_throw(hash)) {}

void DigestOperation::Add(Input part)
{
    function->update(part.data(), part.size());
}

Bytes DigestOperation::Finish()
{
    return function->final_stdvec();
}

Message::Message(const char* itsHash) : hash(itsHash)
{
    if (hash != nullptr) {
        digest.emplace(hash);
    }
}

void Message::Add(Input part)
{
    if (digest) {
        digest->Add(part);
        return;
    }
    Require(part.size() <= longestRawData - data.size(), CKR_DATA_LEN_RANGE);
    data.insert(data.end(), part.begin(), part.end());
}

Bytes Message::Finish()
{
    if (!digest) {
        return data;
    }
    return pkcs1::DigestInfo(hash, digest->Finish());
}

KeyOperation::KeyOperation(std::shared_ptr<const Object> itsKey, uint64_t itsLogin,
                           const Mechanism& /*mechanism*/)
    : key(std::move(itsKey)), modulusLength(ModulusLength(*key)), login(itsLogin)
{
}

MessageOperation::MessageOperation(std::shared_ptr<const Object> itsKey, uint64_t itsLogin,
                                   const Mechanism& mechanism)
    : KeyOperation(std::move(itsKey), itsLogin, mechanism), message(mechanism.hash)
{
}

} // namespace front
