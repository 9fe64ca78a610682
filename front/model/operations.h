// The operations of a session. Each is there from its start to its end and holds all that it needs: a copy of
// its key and what it was given so far.
#pragma once

#include "front/model/objects.h"

#include <botan/hash.h>
#include <botan/secmem.h>

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace front {

// An operation of a session, or null. Most sessions have none at a time, so they have no room for one.
template <typename Operation>
using Active = std::unique_ptr<Operation>;

using Input = std::span<const uint8_t>;

struct SearchOperation
{
    std::vector<CK_OBJECT_HANDLE> found;
    std::size_t next = 0;
};

class DigestOperation
{
public:
    explicit DigestOperation(const char* hash); // Botan's name
    [[nodiscard]] std::size_t Length() const { return function->output_length(); }
    void Add(Input part);
    Bytes Finish();

    bool multiPart = false; // parts have been given

private:
    std::unique_ptr<Botan::HashFunction> function;
};

// What is to be signed or was signed, given at once or in parts.
class Message
{
public:
    // `hash` is Botan's name, or null for data that are signed as they are.
    explicit Message(const char* hash);
    void Add(Input part);
    // What goes into the signature's block: a DigestInfo, or the data as they are.
    Bytes Finish();

private:
    const char* hash;
    std::optional<DigestOperation> digest;
    Bytes data;
};

struct KeyOperation
{
    KeyOperation(std::shared_ptr<const Object> itsKey, uint64_t itsLogin, const Mechanism& mechanism);

    std::shared_ptr<const Object> key;
    std::size_t modulusLength; // bytes
    uint64_t login;            // the slot's login that the key was found in
};

struct MessageOperation : KeyOperation
{
    MessageOperation(std::shared_ptr<const Object> itsKey, uint64_t itsLogin, const Mechanism& mechanism);

    Message message;
    bool multiPart = false; // parts have been given
};

struct SignOperation : MessageOperation
{
    using MessageOperation::MessageOperation;

    bool authorised = false; // by a login of its own
};

struct VerifyOperation : MessageOperation
{
    using MessageOperation::MessageOperation;
};

struct EncryptOperation : KeyOperation
{
    using KeyOperation::KeyOperation;
};

struct DecryptOperation : KeyOperation
{
    using KeyOperation::KeyOperation;

    // What the card has decrypted already, and out of which block, for a caller whose buffer was too small.
    Bytes block;
    std::optional<Botan::secure_vector<uint8_t>> decrypted;
};

} // namespace front
