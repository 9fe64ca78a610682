// The library with a software card in its reader, and the openssl command beside it.
#pragma once

#include "tavrik/cryptoki.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace crosscheck {

using Bytes = std::vector<uint8_t>;

Bytes FromHex(const std::string& hex);
Bytes TextBytes(const std::string& text);
Bytes operator+(Bytes left, const Bytes& right);

// A public key as openssl tells it, big-endian.
struct PublicKey
{
    Bytes modulus;
    Bytes exponent;
};

struct Hash
{
    const char* name; // as a parameter of openssl
    CK_MECHANISM_TYPE mechanism;
    const char* digestInfoPrefix; // in hexadecimal
};
extern const std::vector<Hash> hashes; // all five

// A temporary store; the library is started on it at the first call of StartWithCard.
class CardFixture : public ::testing::Test
{
public:
    CardFixture(const CardFixture&) = delete;
    CardFixture& operator=(const CardFixture&) = delete;

protected:
    CardFixture();
    ~CardFixture() override;

    // Puts a card whose keys have so many bits into a reader, starts the library and opens a session on the
    // ordinary slot, logged in. The cards of all tests with as many bits are copies of one.
    void StartWithCard(unsigned bits = 2048);

    // An RSA key of openssl's making, as a PEM file of this name in the temporary folder. All tests get the same one.
    void MakeOpenSslKey(const std::string& name, unsigned bits, unsigned exponent) const;

    std::string File(const std::string& name) const { return (folder.Path() / name).string(); }
    void Write(const std::string& name, const Bytes& bytes) const;
    Bytes ReadFile(const std::string& name) const;

    // Runs openssl with these parameters, in the temporary folder. The first throws when it fails.
    std::string OpenSsl(const std::string& parameters) const;
    bool OpenSslAccepts(const std::string& parameters) const;

    // The public key of a file, by `openssl rsa` with further parameters in front.
    PublicKey ReadPublicKey(const std::string& parameters) const;

    CK_OBJECT_HANDLE CreateKey(const PublicKey& key) const;
    // A key object of the card's ordinary slot.
    CK_OBJECT_HANDLE FindPrivateKey(CK_SESSION_HANDLE inSession) const;

    // Each begins the operation and makes it; they fail the test when the library refuses.
    Bytes Digest(CK_MECHANISM_TYPE type, const Bytes& data) const;
    Bytes DigestInfo(const Hash& hash, const Bytes& data) const;
    Bytes Sign(CK_SESSION_HANDLE inSession, CK_OBJECT_HANDLE key, Bytes data) const;
    Bytes Encrypt(CK_OBJECT_HANDLE key, Bytes data) const;
    Bytes Decrypt(CK_OBJECT_HANDLE key, Bytes data) const;

    // In a session of its own, since a session verifies with one key for good.
    CK_RV Verify(CK_OBJECT_HANDLE key, Bytes data, Bytes signature) const;

    CK_SESSION_HANDLE OpenSession(CK_SLOT_ID slot) const;

    static constexpr CK_SLOT_ID qualifiedSlot = 1;
    static constexpr CK_SLOT_ID ordinarySlot = 2;
    TemporaryFolder folder{"tavrik_crosscheck_"};
    CK_FUNCTION_LIST* f = nullptr;
    CK_SESSION_HANDLE session = 0;

private:
    void LoadLibrary();
};

} // namespace crosscheck
