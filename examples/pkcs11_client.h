// What an application needs of the PKCS#11 library to sign, as C++: loading it, slots, sessions, objects,
// signatures.
#pragma once

#include <tavrik/cryptoki.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// A failed call. The text is one sentence that a person understands.
class Pkcs11Error : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct SlotDescription
{
    CK_SLOT_ID id;
    std::string description;  // reader and label
    std::string label;        // of the token
    std::string manufacturer; // of the token
    std::string model;
};

struct SigningKey
{
    CK_OBJECT_HANDLE key;
    Bytes certificate;     // DER
    std::string validFrom; // YYYYMMDD
    std::string validTo;
};

// Big-endian.
struct PublicKey
{
    Bytes modulus;
    Bytes exponent;
};

// The library, loaded and initialised as long as this object lives. All operations throw Pkcs11Error.
class Pkcs11Client
{
public:
    explicit Pkcs11Client(const std::filesystem::path& library);
    ~Pkcs11Client();
    Pkcs11Client(const Pkcs11Client&) = delete;
    Pkcs11Client& operator=(const Pkcs11Client&) = delete;

    [[nodiscard]] std::vector<SlotDescription> Slots() const;

    // Opens a session and returns its handle; the library closes it at the end.
    [[nodiscard]] CK_SESSION_HANDLE OpenSession(CK_SLOT_ID slot) const;

    // Closes all sessions on the slot's card, and so logs out. A card that went has none left.
    void CloseSessions(CK_SLOT_ID slot) const;

    // Logs in with the card's login code. Without one, the card side asks the user.
    void Login(CK_SESSION_HANDLE session, const std::optional<std::string>& code) const;

    // The first key of the slot that can sign, with the certificate that has the same CKA_ID.
    [[nodiscard]] SigningKey FindSigningKey(CK_SESSION_HANDLE session) const;

    // Signs a DigestInfo. The card side asks for the signature PIN where the key wants it.
    [[nodiscard]] Bytes Sign(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes digestInfo) const;

    // Makes an object of a public key, which lasts as long as the card is in.
    [[nodiscard]] CK_OBJECT_HANDLE CreatePublicKey(CK_SESSION_HANDLE session, PublicKey key) const;

    // Whether the signature is one of the DigestInfo. A session verifies with one key for good: the first
    // call chooses it, and VerifyAgain goes on with it.
    [[nodiscard]] bool Verify(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes digestInfo,
                              Bytes signature) const;
    [[nodiscard]] bool VerifyAgain(CK_SESSION_HANDLE session, Bytes digestInfo, Bytes signature) const;

    // Encrypts with a public key, and has the card decrypt with a private one.
    [[nodiscard]] Bytes Encrypt(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes data) const;
    [[nodiscard]] Bytes Decrypt(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Bytes encrypted) const;

    [[nodiscard]] Bytes Digest(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type, Bytes data) const;

private:
    using OneStep = CK_RV (*)(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR, CK_ULONG_PTR);
    // Asks an operation that has begun for its length and then makes it.
    static Bytes Finish(const std::string& step, OneStep function, CK_SESSION_HANDLE session, Bytes data);
    [[nodiscard]] std::vector<CK_OBJECT_HANDLE> Find(CK_SESSION_HANDLE session,
                                                     std::vector<CK_ATTRIBUTE> filter) const;
    [[nodiscard]] Bytes Attribute(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                  CK_ATTRIBUTE_TYPE type) const;

    CK_FUNCTION_LIST_PTR functions = nullptr;
};
