// The operations of a session. Each is there from its start to its end and holds all that it needs: a copy of
// its key and what it was given so far. Every session has room for one of each kind, so what only some of them hold stands
// outside of them.
#pragma once

#include "front/model/objects.h"

#include <botan/hash.h>
#include <botan/secmem.h>

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace front {

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
    std::unique_ptr<DigestOperation> digest; // null without a hash
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

    // What the card has decrypted already, for a caller whose buffer was too small.
    struct Decrypted
    {
        Bytes block; // that it was decrypted out of
        Botan::secure_vector<uint8_t> data;
    };
    std::unique_ptr<const Decrypted> last;
};

} // namespace front
