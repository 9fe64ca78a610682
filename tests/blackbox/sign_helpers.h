// What the tests of signatures have in common.
#pragma once

#include "tests/blackbox/object_helpers.h"

#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"

namespace blackbox {

inline const std::string openKeyboard = "QES_VerifyPin(101, null, null, 0, 2, 0)";
inline constexpr CK_ULONG signatureRoom = 600; // more than any key of these tests needs
inline constexpr uint8_t defaultSignatureByte = 0x5A;

// The call of the card's signature on card session 101, with a buffer for this many bytes.
std::string SignCall(const std::string& family, const Bytes& data, size_t capacity = 128);

// The lines of one C_Sign between its frame lines, by what it does in turn.
Texts KeyboardLines();
Texts QualifiedSignLines(const Bytes& data);
Texts OrdinarySignLines();
Texts EndOfSignLines(); // isLogged cleared, manager reset
Texts Framed(const std::string& function, const Texts& inside, const std::string& result = "0 CKR_OK");

VerifyResult Verified();                    // accepted
VerifyResult NotVerified(uint32_t status);  // refused, with this state of the code
VerifyResult AsPassed(uint32_t status = 0); // as the library sets it up, with another status

struct Signature
{
    CK_RV result = CKR_OK;
    CK_ULONG length = untouchedLength; // stays so when the library does not write it
    Bytes value;                       // `length` bytes on success

    bool operator==(const Signature&) const = default;
};
void PrintTo(const Signature& signature, std::ostream* stream);

Signature Failed(CK_RV result);
Signature Signed(const Bytes& value);
// What the scripted card signs unless told otherwise.
Signature SignedByDefault(size_t length = 128);

class SigningTest : public ObjectsTest
{
protected:
    CK_RV SignInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key = firstPrivateKey,
                   CK_MECHANISM_TYPE mechanism = CKM_RSA_PKCS);
    // C_Sign with a buffer, whose bytes behind the signature must stay as they were.
    Signature Sign(CK_SESSION_HANDLE session, const Bytes& data);
    // The same after a C_SignInit that must succeed.
    Signature InitAndSign(CK_SESSION_HANDLE session, const Bytes& data,
                          CK_OBJECT_HANDLE key = firstPrivateKey);
    // C_Sign without a buffer.
    CK_RV AskLength(CK_SESSION_HANDLE session, CK_ULONG& length);
    // Gives the signature PIN; fails the test unless it is accepted. Forgets the calls.
    void GivePin(CK_SESSION_HANDLE session);

    void ExpectActive(CK_SESSION_HANDLE session);
    void ExpectIdle(CK_SESSION_HANDLE session);

    Bytes digestInfo = DigestInfo(Counting(32));
    Bytes hash = Counting(32);
};

} // namespace blackbox
