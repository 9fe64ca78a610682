// Arguments that can't be: null pointers, mechanisms with parameters, keys for something else.
#include "tests/front/front_test.h"

#include <functional>
#include <string>

namespace front_test {
namespace {

class ArgumentsTest : public FrontTest
{
protected:
    void StartOrdinary()
    {
        StartWithCard();
        session = Open(ordinary);
        ASSERT_EQ(Login(session), CKR_OK);
        privateKey = FindOne(session, CKO_PRIVATE_KEY);
        publicKey = FindOne(session, CKO_PUBLIC_KEY);
    }

    CK_RV Begin(CK_RV (*begin)(CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE), CK_MECHANISM_TYPE type,
                CK_OBJECT_HANDLE key) const
    {
        CK_MECHANISM mechanism{type, nullptr, 0};
        return begin(session, &mechanism, key);
    }

    CK_RV BeginDigest()
    {
        CK_MECHANISM mechanism{CKM_SHA256, nullptr, 0};
        return f->C_DigestInit(session, &mechanism);
    }

    // Starts an operation, makes a call that is refused, and sees that the operation is over.
    void ExpectEnded(const std::string& name, const std::function<CK_RV()>& begin,
                     const std::function<CK_RV()>& call, CK_RV answer = CKR_ARGUMENTS_BAD)
    {
        ASSERT_EQ(begin(), CKR_OK) << name;
        EXPECT_EQ(call(), answer) << name;
        EXPECT_EQ(call(), CKR_OPERATION_NOT_INITIALIZED) << name;
    }

    CK_SESSION_HANDLE session = 0;
    CK_OBJECT_HANDLE privateKey = 0;
    CK_OBJECT_HANDLE publicKey = 0;
    CK_BYTE byte = 1;
    CK_ULONG length = 1;
    Bytes block = Bytes(128, 1);
};

TEST_F(ArgumentsTest, NullPointersOfSlotsAndSessionsAreRefused)
{
    StartOrdinary();
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetFunctionList(nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetSlotInfo(ordinary, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetTokenInfo(ordinary, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetMechanismList(ordinary, nullptr, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetMechanismInfo(ordinary, CKM_SHA256, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetSessionInfo(session, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_SeedRandom(session, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GenerateRandom(session, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GenerateRandom(session, nullptr, 0), CKR_OK);
}

TEST_F(ArgumentsTest, NullPointersOfObjectsAreRefused)
{
    StartOrdinary();
    CK_ATTRIBUTE record{CKA_CLASS, nullptr, 0};
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(f->C_CreateObject(session, nullptr, 1, &object), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_CreateObject(session, &record, 1, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetObjectSize(session, publicKey, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetAttributeValue(session, publicKey, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetAttributeValue(session, publicKey, nullptr, 0), CKR_OK);
    EXPECT_EQ(f->C_GetAttributeValue(session, publicKey, &record, CK_UNAVAILABLE_INFORMATION),
              CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_FindObjectsInit(session, nullptr, 1), CKR_ARGUMENTS_BAD);
    ASSERT_EQ(f->C_FindObjectsInit(session, nullptr, 0), CKR_OK);
    EXPECT_EQ(f->C_FindObjects(session, nullptr, 1, &length), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_FindObjects(session, &object, 1, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_FindObjects(session, nullptr, 0, &length), CKR_OK);
}

TEST_F(ArgumentsTest, NullMechanismIsRefused)
{
    StartOrdinary();
    EXPECT_EQ(f->C_DigestInit(session, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_SignInit(session, nullptr, privateKey), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_VerifyInit(session, nullptr, publicKey), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_EncryptInit(session, nullptr, publicKey), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_DecryptInit(session, nullptr, privateKey), CKR_ARGUMENTS_BAD);
}

TEST_F(ArgumentsTest, KeyDoesOnlyWhatItSays)
{
    StartOrdinary();
    EXPECT_EQ(Begin(f->C_SignInit, CKM_RSA_PKCS, publicKey), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(Begin(f->C_VerifyInit, CKM_RSA_PKCS, privateKey), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(Begin(f->C_DecryptInit, CKM_RSA_PKCS, publicKey), CKR_KEY_FUNCTION_NOT_PERMITTED);
    const CK_SESSION_HANDLE other = Open(qualified);
    ASSERT_EQ(Login(other), CKR_OK);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(f->C_EncryptInit(other, &mechanism, FindOne(other, CKO_PUBLIC_KEY)),
              CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(f->C_DecryptInit(other, &mechanism, FindOne(other, CKO_PRIVATE_KEY)),
              CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(f->C_SignInit(other, &mechanism, privateKey), CKR_KEY_HANDLE_INVALID); // another slot's
}

TEST_F(ArgumentsTest, ObjectThatIsNoKeyIsRefusedByEveryOperation)
{
    StartOrdinary();
    const CK_OBJECT_HANDLE certificate = FindOne(session, CKO_CERTIFICATE);
    for (const CK_OBJECT_HANDLE object : {certificate, CK_OBJECT_HANDLE{0}, certificate + 1000}) {
        for (auto* begin : {f->C_SignInit, f->C_VerifyInit, f->C_EncryptInit, f->C_DecryptInit}) {
            EXPECT_EQ(Begin(begin, CKM_RSA_PKCS, object), CKR_KEY_HANDLE_INVALID) << object;
        }
    }
    EXPECT_EQ(Begin(f->C_SignInit, CKM_SHA256_RSA_PKCS, certificate), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(Begin(f->C_VerifyInit, CKM_SHA256_RSA_PKCS, certificate), CKR_KEY_HANDLE_INVALID);
}

TEST_F(ArgumentsTest, OperationIsActiveUntilItEnds)
{
    StartOrdinary();
    ASSERT_EQ(BeginDigest(), CKR_OK);
    EXPECT_EQ(BeginDigest(), CKR_OPERATION_ACTIVE);
    for (const auto& [begin, key] : {std::pair(f->C_SignInit, privateKey),
                                     {f->C_VerifyInit, publicKey},
                                     {f->C_EncryptInit, publicKey},
                                     {f->C_DecryptInit, privateKey}}) {
        ASSERT_EQ(Begin(begin, CKM_RSA_PKCS, key), CKR_OK);
        EXPECT_EQ(Begin(begin, CKM_RSA_PKCS, key), CKR_OPERATION_ACTIVE);
    }
    // What a private key has begun is over with the login; what a public key has, is not.
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    privateKey = FindOne(session, CKO_PRIVATE_KEY);
    publicKey = FindOne(session, CKO_PUBLIC_KEY);
    EXPECT_EQ(Begin(f->C_SignInit, CKM_RSA_PKCS, privateKey), CKR_OK);
    EXPECT_EQ(Begin(f->C_DecryptInit, CKM_RSA_PKCS, privateKey), CKR_OK);
    EXPECT_EQ(Begin(f->C_VerifyInit, CKM_RSA_PKCS, publicKey), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(Begin(f->C_EncryptInit, CKM_RSA_PKCS, publicKey), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(f->C_Encrypt(session, &byte, 1, block.data(), &(length = Length(block))), CKR_OK);
    EXPECT_EQ(f->C_Verify(session, &byte, 1, block.data(), Length(block)), CKR_SIGNATURE_INVALID);
}

TEST_F(ArgumentsTest, NullPointersEndADigest)
{
    StartOrdinary();
    const auto begin = [this] { return BeginDigest(); };
    ExpectEnded("C_Digest", begin,
                [this] { return f->C_Digest(session, nullptr, 1, block.data(), &length); });
    ExpectEnded("length of C_Digest", begin,
                [this] { return f->C_Digest(session, &byte, 1, block.data(), nullptr); });
    ExpectEnded("C_DigestUpdate", begin, [this] { return f->C_DigestUpdate(session, nullptr, 1); });
    ExpectEnded("C_DigestFinal", begin, [this] { return f->C_DigestFinal(session, block.data(), nullptr); });
}

TEST_F(ArgumentsTest, NullPointersEndASignature)
{
    StartOrdinary();
    const auto begin = [this] { return Begin(f->C_SignInit, CKM_SHA256_RSA_PKCS, privateKey); };
    ExpectEnded("C_Sign", begin, [this] { return f->C_Sign(session, nullptr, 1, block.data(), &length); });
    ExpectEnded("length of C_Sign", begin,
                [this] { return f->C_Sign(session, &byte, 1, block.data(), nullptr); });
    ExpectEnded("C_SignUpdate", begin, [this] { return f->C_SignUpdate(session, nullptr, 1); });
    ExpectEnded("C_SignFinal", begin, [this] { return f->C_SignFinal(session, block.data(), nullptr); });
    EXPECT_TRUE(script->CallsOf("ES_SignData").empty());
}

TEST_F(ArgumentsTest, NullPointersEndAVerification)
{
    StartOrdinary();
    const auto begin = [this] { return Begin(f->C_VerifyInit, CKM_SHA256_RSA_PKCS, publicKey); };
    ExpectEnded("C_Verify", begin, [this] { return f->C_Verify(session, nullptr, 1, block.data(), 128); });
    ExpectEnded("signature of C_Verify", begin,
                [this] { return f->C_Verify(session, &byte, 1, nullptr, 128); });
    ExpectEnded("C_VerifyUpdate", begin, [this] { return f->C_VerifyUpdate(session, nullptr, 1); });
    ExpectEnded("C_VerifyFinal", begin, [this] { return f->C_VerifyFinal(session, nullptr, 128); });
}

TEST_F(ArgumentsTest, NullPointersEndEncryptionAndDecryption)
{
    StartOrdinary();
    const auto encrypt = [this] { return Begin(f->C_EncryptInit, CKM_RSA_PKCS, publicKey); };
    ExpectEnded("C_Encrypt", encrypt,
                [this] { return f->C_Encrypt(session, nullptr, 1, block.data(), &length); });
    ExpectEnded("length of C_Encrypt", encrypt,
                [this] { return f->C_Encrypt(session, &byte, 1, block.data(), nullptr); });
    const auto decrypt = [this] { return Begin(f->C_DecryptInit, CKM_RSA_PKCS, privateKey); };
    ExpectEnded("C_Decrypt", decrypt,
                [this] { return f->C_Decrypt(session, nullptr, 128, block.data(), &length); });
    ExpectEnded("length of C_Decrypt", decrypt,
                [this] { return f->C_Decrypt(session, block.data(), 128, block.data(), nullptr); });
    EXPECT_TRUE(script->CallsOf("ES_DecryptData").empty());
}

TEST_F(ArgumentsTest, UnavailableLengthIsTooLongForEveryBlock)
{
    StartOrdinary();
    const CK_ULONG none = CK_UNAVAILABLE_INFORMATION;
    ASSERT_EQ(Begin(f->C_EncryptInit, CKM_RSA_PKCS, publicKey), CKR_OK);
    EXPECT_EQ(f->C_Encrypt(session, &byte, none, block.data(), &(length = 128)), CKR_DATA_LEN_RANGE);
    ASSERT_EQ(Begin(f->C_SignInit, CKM_RSA_PKCS, privateKey), CKR_OK);
    EXPECT_EQ(f->C_Sign(session, &byte, none, block.data(), &(length = 128)), CKR_DATA_LEN_RANGE);
    ASSERT_EQ(Begin(f->C_VerifyInit, CKM_RSA_PKCS, publicKey), CKR_OK);
    EXPECT_EQ(f->C_Verify(session, &byte, none, block.data(), 128), CKR_DATA_LEN_RANGE);
    ASSERT_EQ(Begin(f->C_VerifyInit, CKM_RSA_PKCS, publicKey), CKR_OK);
    EXPECT_EQ(f->C_Verify(session, &byte, 1, block.data(), none), CKR_SIGNATURE_LEN_RANGE);
    ASSERT_EQ(Begin(f->C_DecryptInit, CKM_RSA_PKCS, privateKey), CKR_OK);
    EXPECT_EQ(f->C_Decrypt(session, &byte, none, block.data(), &(length = 128)),
              CKR_ENCRYPTED_DATA_LEN_RANGE);
}

TEST_F(ArgumentsTest, EachOperationEndsWithItsResult)
{
    StartOrdinary();
    Bytes output(128);
    ASSERT_EQ(Begin(f->C_EncryptInit, CKM_RSA_PKCS, publicKey), CKR_OK);
    EXPECT_EQ(f->C_Encrypt(session, &byte, 1, output.data(), &(length = Length(output))), CKR_OK);
    EXPECT_EQ(f->C_Encrypt(session, &byte, 1, output.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(Begin(f->C_DecryptInit, CKM_RSA_PKCS, privateKey), CKR_OK);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), 128, output.data(), &(length = Length(output))), CKR_OK);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), 128, output.data(), &length),
              CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(BeginDigest(), CKR_OK);
    EXPECT_EQ(f->C_Digest(session, &byte, 1, output.data(), &(length = Length(output))), CKR_OK);
    EXPECT_EQ(f->C_Digest(session, &byte, 1, output.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(ArgumentsTest, SinglePartCallAfterPartsLeavesThem)
{
    StartOrdinary();
    ASSERT_EQ(BeginDigest(), CKR_OK);
    ASSERT_EQ(f->C_DigestUpdate(session, &byte, 1), CKR_OK);
    EXPECT_EQ(f->C_Digest(session, &byte, 1, block.data(), &(length = 128)), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_DigestFinal(session, block.data(), &(length = 128)), CKR_OK);
    Bytes whole;
    ASSERT_EQ(Digest(session, CKM_SHA256, {1}, whole), CKR_OK);
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 32), whole);

    ASSERT_EQ(Begin(f->C_SignInit, CKM_SHA256_RSA_PKCS, privateKey), CKR_OK);
    ASSERT_EQ(f->C_SignUpdate(session, &byte, 1), CKR_OK);
    EXPECT_EQ(f->C_Sign(session, &byte, 1, block.data(), &(length = 128)), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_SignFinal(session, block.data(), &(length = 128)), CKR_OK);
    const Bytes handed = script->CallsOf("ES_SignData").at(0).data;
    EXPECT_EQ(Bytes(handed.end() - 32, handed.end()), whole);
}

} // namespace
} // namespace front_test
