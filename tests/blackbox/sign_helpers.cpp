#include "tests/blackbox/sign_helpers.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

namespace blackbox {

std::string SignCall(const std::string& family, const Bytes& data, size_t capacity)
{
    std::string text;
    for (const uint8_t byte : data) {
        std::array<char, 3> digits{};
        static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02x", byte));
        text += digits.data();
    }
    return family + "_SignData(101, " + text + ", " + std::to_string(capacity) + ", 0)";
}

Texts KeyboardLines()
{
    return {"DBG C_Sign: Virtualkeyboard for Signature PIN opened...",
            "DBG C_Sign: Virtualkeyboard for Signature PIN closed"};
}

Texts QualifiedSignLines(const Bytes& data)
{
    return {"DBG C_Sign: SignManager going to sign data",
            "DBG SignManager::Sign: Going to sign data with QES key",
            "DBG SignManager::Sign: DataToSign: " + UpperHex(data),
            "DBG SignManager::Sign: Data was signed with QES key"};
}

Texts OrdinarySignLines()
{
    return {"DBG C_Sign: SignManager going to sign data",
            "DBG SignManager::Sign: Going to sign data with ES key",
            "DBG SignManager::Sign: Data was signed with ES key"};
}

Texts EndOfSignLines()
{
    return {"DBG C_Sign: signManager.isLogged set to false",
            "DBG SignManager::Reset: SignManager::Reset called",
            "DBG SignManager::Reset: SignManager::Reset end"};
}

Texts Framed(const std::string& function, const Texts& inside, const std::string& result)
{
    return Texts{EnteringLine(function)} + inside + Texts{LeavingLine(function, result)};
}

VerifyResult Verified()
{
    VerifyResult result{};
    result.verified = 1;
    return result;
}

VerifyResult NotVerified(uint32_t status)
{
    VerifyResult result{};
    result.status = status;
    return result;
}

VerifyResult AsPassed(uint32_t status)
{
    VerifyResult result{};
    result.status = status;
    result.unread4 = -1;
    return result;
}

void PrintTo(const Signature& signature, std::ostream* stream)
{
    *stream << "result " << signature.result << ", length " << signature.length << ", value "
            << UpperHex(signature.value);
}

Signature Failed(CK_RV result)
{
    return {result, untouchedLength, {}};
}

Signature Signed(const Bytes& value)
{
    return {CKR_OK, static_cast<CK_ULONG>(value.size()), value};
}

Signature SignedByDefault(size_t length)
{
    return Signed(Bytes(length, defaultSignatureByte));
}

CK_RV SigningTest::SignInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE mechanism)
{
    CK_MECHANISM record{mechanism, nullptr, 0};
    return f->C_SignInit(session, &record, key);
}

Signature SigningTest::Sign(CK_SESSION_HANDLE session, const Bytes& data)
{
    Bytes exact = data;
    Bytes room(signatureRoom, 0xEE);
    Signature signature;
    signature.result =
        f->C_Sign(session, exact.data(), static_cast<CK_ULONG>(exact.size()), room.data(), &signature.length);
    const size_t used = signature.result == CKR_OK ? signature.length : 0;
    if (used > room.size()) {
        ADD_FAILURE() << "a length of " << used;
        return signature;
    }
    const auto end = room.begin() + static_cast<std::ptrdiff_t>(used);
    EXPECT_TRUE(std::all_of(end, room.end(), [](uint8_t byte) { return byte == 0xEE; }));
    signature.value.assign(room.begin(), end);
    return signature;
}

Signature SigningTest::InitAndSign(CK_SESSION_HANDLE session, const Bytes& data, CK_OBJECT_HANDLE key)
{
    EXPECT_EQ(SignInit(session, key), CKR_OK);
    return Sign(session, data);
}

CK_RV SigningTest::AskLength(CK_SESSION_HANDLE session, CK_ULONG& length)
{
    length = untouchedLength;
    return f->C_Sign(session, nullptr, 0, nullptr, &length);
}

void SigningTest::GivePin(CK_SESSION_HANDLE session)
{
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    script->ForgetCalls();
}

void SigningTest::ExpectActive(CK_SESSION_HANDLE session)
{
    EXPECT_EQ(SignInit(session), CKR_OPERATION_ACTIVE);
}

void SigningTest::ExpectIdle(CK_SESSION_HANDLE session)
{
    CK_ULONG length = 0;
    EXPECT_EQ(AskLength(session, length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(length, untouchedLength);
}

} // namespace blackbox
