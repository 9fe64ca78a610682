#include "tests/front/front_test.h"
#include "tests/support/script.h"
#include "tests/support/system.h"
#include "tests/support/test_certificates.h"

#include <botan/auto_rng.h>
#include <botan/hash.h>
#include <botan/pubkey.h>

#include <functional>

namespace front_test {
namespace {

class OperationsTest : public FrontTest
{
protected:
    // By the key of the ordinary slot.
    static Bytes SignWith(const Bytes& message, const std::string& padding)
    {
        Botan::AutoSeeded_RNG random;
        Botan::PK_Signer signer(blackbox::TestKey(1), random, padding);
        return signer.sign_message(message, random);
    }
};

TEST_F(OperationsTest, EveryHashAndSignMechanismVerifies)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PUBLIC_KEY);
    const std::vector<std::pair<CK_MECHANISM_TYPE, std::string>> mechanisms = {
        {CKM_SHA1_RSA_PKCS, "SHA-1"},
        {CKM_SHA224_RSA_PKCS, "SHA-224"},
        {CKM_SHA256_RSA_PKCS, "SHA-256"},
        {CKM_SHA384_RSA_PKCS, "SHA-384"},
        {CKM_SHA512_RSA_PKCS, "SHA-512"}};
    for (const auto& [type, hash] : mechanisms) {
        const Bytes signature = SignWith(Text("message"), "EMSA3(" + hash + ")");
        ASSERT_EQ(VerifyInit(session, type, key), CKR_OK);
        EXPECT_EQ(Verify(session, Text("message"), signature), CKR_OK) << hash;
        ASSERT_EQ(VerifyInit(session, type, key), CKR_OK);
        EXPECT_EQ(Verify(session, Text("massage"), signature), CKR_SIGNATURE_INVALID) << hash;
    }
}

TEST_F(OperationsTest, VerifyingEndsAndStartsAgain)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PUBLIC_KEY);
    const Bytes signature = SignWith(Text("message"), "EMSA3(Raw)");
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(Verify(session, Text("message"), signature), CKR_OK);
    EXPECT_EQ(Verify(session, Text("message"), signature), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Verify(session, Text("message"), Bytes(127, 1)), CKR_SIGNATURE_LEN_RANGE);
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Verify(session, Text("message"), Bytes(128, 0)), CKR_SIGNATURE_INVALID);
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Verify(session, Text("message"), Bytes(128, 0xFF)), CKR_SIGNATURE_INVALID);
}

TEST_F(OperationsTest, VerifyingInParts)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    Bytes signature = SignWith(Text("message"), "EMSA3(SHA-256)");
    ASSERT_EQ(VerifyInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PUBLIC_KEY)), CKR_OK);
    Bytes first = Text("mess");
    Bytes second = Text("age");
    ASSERT_EQ(f->C_VerifyUpdate(session, first.data(), Length(first)), CKR_OK);
    EXPECT_EQ(Verify(session, second, signature), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(f->C_VerifyUpdate(session, second.data(), Length(second)), CKR_OK);
    EXPECT_EQ(f->C_VerifyFinal(session, signature.data(), Length(signature)), CKR_OK);
    EXPECT_EQ(f->C_VerifyFinal(session, signature.data(), Length(signature)), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(OperationsTest, DataTooLongForASignatureAreNotVerified)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PUBLIC_KEY);
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Verify(session, Bytes(117), Bytes(128, 1)), CKR_SIGNATURE_INVALID);
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Verify(session, Bytes(118), Bytes(128, 1)), CKR_DATA_LEN_RANGE);
}

TEST_F(OperationsTest, SigningHandsTheCardTheDigestInfo)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(SignInit(session), CKR_OK);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Sign(session, nullptr, 0, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 128U);
    Bytes signature(200);
    Bytes message = Text("message");
    length = 127;
    EXPECT_EQ(f->C_Sign(session, message.data(), Length(message), signature.data(), &length),
              CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 128U);
    EXPECT_TRUE(script->CallsOf("ES_SignData").empty());
    ASSERT_EQ(Sign(session, message, signature), CKR_OK);
    const Bytes handed = script->CallsOf("ES_SignData").at(0).data;
    ASSERT_EQ(handed.size(), 51U);
    const auto hash = Botan::HashFunction::create("SHA-256")->process(message.data(), message.size());
    EXPECT_EQ(Bytes(handed.begin() + 19, handed.end()), Bytes(hash.begin(), hash.end()));
    EXPECT_EQ(signature, blackbox::TestSignature(1, handed));
    EXPECT_EQ(Sign(session, message, signature), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(OperationsTest, SigningInPartsGivesTheCardTheSame)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes signature;
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    ASSERT_EQ(Sign(session, Text("message"), signature), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    for (Bytes part : {Text("mes"), Text(""), Text("sage")}) {
        ASSERT_EQ(f->C_SignUpdate(session, part.data(), Length(part)), CKR_OK);
    }
    signature.resize(128);
    CK_ULONG length = 1;
    EXPECT_EQ(f->C_SignFinal(session, signature.data(), &length), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(f->C_SignFinal(session, signature.data(), &length), CKR_OK);
    const auto calls = script->CallsOf("ES_SignData");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].data, calls[1].data);
}

TEST_F(OperationsTest, KeyForAllDataSignsWithEveryHash)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes signature;
    for (const CK_MECHANISM_TYPE type : {CKM_SHA1_RSA_PKCS, CKM_SHA224_RSA_PKCS, CKM_SHA256_RSA_PKCS,
                                         CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS, CKM_RSA_PKCS}) {
        ASSERT_EQ(SignInit(session, type, key), CKR_OK) << type;
        EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK) << type;
    }
    const auto calls = script->CallsOf("ES_SignData");
    ASSERT_EQ(calls.size(), 6U);
    const std::vector<std::size_t> lengths = {35, 47, 51, 67, 83, 1}; // of a DigestInfo, and of the data
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i].data.size(), lengths[i]);
    }
}

TEST_F(OperationsTest, KeyForOneKindOfHashRefusesTheOthersWithoutASignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified); // whose key has reference 2
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes signature;
    for (const CK_MECHANISM_TYPE type :
         {CKM_SHA1_RSA_PKCS, CKM_SHA224_RSA_PKCS, CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS, CKM_RSA_PKCS}) {
        ASSERT_EQ(SignInit(session, type, key), CKR_OK) << type;
        EXPECT_EQ(Sign(session, Text("m"), signature), CKR_FUNCTION_FAILED) << type;
    }
    EXPECT_TRUE(script->CallsOf("QES_SignData").empty());
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_SignData").at(0).data.size(), 32U);
}

TEST_F(OperationsTest, DataToSignLeaveRoomForTheirFraming)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes signature;
    for (const auto& [size, answer] :
         {std::pair(0U, CKR_DATA_LEN_RANGE), {1U, CKR_OK}, {117U, CKR_OK}, {118U, CKR_DATA_LEN_RANGE}}) {
        ASSERT_EQ(SignInit(session, CKM_RSA_PKCS, key), CKR_OK);
        EXPECT_EQ(Sign(session, Bytes(size, 1), signature), answer) << size;
    }
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, {}, signature), CKR_OK); // of nothing there is a hash
}

TEST_F(OperationsTest, DataTooLongForEveryKeyAreRefusedAtOnce)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(SignInit(session, CKM_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    Bytes part(600);
    EXPECT_EQ(f->C_SignUpdate(session, part.data(), Length(part)), CKR_OK);
    EXPECT_EQ(f->C_SignUpdate(session, part.data(), Length(part)), CKR_DATA_LEN_RANGE);
    EXPECT_EQ(f->C_SignUpdate(session, part.data(), 1), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(OperationsTest, SignatureAfterAFailedOneSucceeds)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes signature;
    script->Next("ES_SignData", {.status = eCardCommErr});
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_FUNCTION_FAILED);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
}

TEST_F(OperationsTest, CallAnswersDeviceRemovedWhenItsCardGoes)
{
    StartWithCard();
    const auto cardGoes = [this] { RemoveCard(readerA); };
    const auto cardIsBack = [this] {
        InsertCard(readerA);
        const CK_SESSION_HANDLE session = Open(ordinary);
        EXPECT_EQ(Login(session), CKR_OK);
        return session;
    };
    CK_SESSION_HANDLE session = Open(ordinary);
    script->Next("Passwords_VerifyBOK", {.hook = cardGoes});
    EXPECT_EQ(Login(session), CKR_DEVICE_REMOVED);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);

    session = cardIsBack();
    Bytes block(128, 1);
    script->Next("ES_SignData", {.status = eCardCommErr, .hook = cardGoes});
    ASSERT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), block), CKR_DEVICE_REMOVED);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);

    session = cardIsBack();
    script->Next("ES_DecryptData", {.status = eCardCommErr, .hook = cardGoes});
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    block.resize(128);
    CK_ULONG length = Length(block);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), block.data(), &length), CKR_DEVICE_REMOVED);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
}

// The library answers that it has decrypted nothing when its card goes between its look at the session and that at the
// card. Nothing stops a call there, so a function that does the same has its place in the library's list.
TEST_F(OperationsTest, CardThatGoesDuringADecryptionHasNotDecryptedNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    void* library = blackbox::Load(ScriptedLibrary());
    packed::CK_FUNCTION_LIST* functions = nullptr;
    using GetFunctionList = packed::CK_RV(packed::CK_FUNCTION_LIST**);
    ASSERT_EQ(
        reinterpret_cast<GetFunctionList*>(blackbox::SymbolOf(library, "C_GetFunctionList"))(&functions),
        CKR_OK);
    static std::function<void()> cardGoes;
    cardGoes = [this] { RemoveCard(readerA); };
    const auto decrypt = functions->C_Decrypt;
    functions->C_Decrypt = [](packed::CK_SESSION_HANDLE, packed::CK_BYTE_PTR, packed::CK_ULONG,
                              packed::CK_BYTE_PTR, packed::CK_ULONG_PTR length) -> packed::CK_RV {
        cardGoes();
        *length = 0;
        return CKR_OK;
    };
    Bytes block(128, 1);
    CK_ULONG length = Length(block);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), block.data(), &length), CKR_DEVICE_REMOVED);
    functions->C_Decrypt = decrypt;
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(OperationsTest, SignatureAnswersDeviceRemovedWhenItsCardGoesDuringTheDialog)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes signature;
    script->Next("QES_VerifyPin", {.status = eCardCommErr});
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_FUNCTION_FAILED);
    script->Next("QES_VerifyPin", {.status = eCardCommErr, .hook = [this] { RemoveCard(readerA); }});
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_DEVICE_REMOVED);
}

TEST_F(OperationsTest, KeyWithMoreBitsThanItsModulusSignsNothing)
{
    auto card = blackbox::CertifiedCard();
    card.es.front().key.modulusBits = 2048; // a signature of 256 bytes, where the modulus promises 128
    script->AddReader(readerA, card);
    Start();
    const CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(SignInit(session), CKR_KEY_SIZE_RANGE);
}

TEST_F(OperationsTest, CancelledPinEndsTheOperationWhichStartsAgain)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    script->Next("QES_VerifyPin", {.status = eUserInputError});
    Bytes signature;
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_FUNCTION_CANCELED);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(State(session), CKS_RO_USER_FUNCTIONS);
}

TEST_F(OperationsTest, LogoutEndsWhatAPrivateKeyHasBegun)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    Bytes signature;
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(SignInit(session), CKR_OK);
}

TEST_F(OperationsTest, EncryptionIsPaddedAtRandomAndTheKeyReadsIt)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PUBLIC_KEY);
    Bytes message = Text("secret");
    std::vector<Bytes> blocks;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(EncryptInit(session, key), CKR_OK);
        Bytes block(128);
        CK_ULONG length = 127;
        EXPECT_EQ(f->C_Encrypt(session, message.data(), Length(message), block.data(), &length),
                  CKR_BUFFER_TOO_SMALL);
        ASSERT_EQ(f->C_Encrypt(session, message.data(), Length(message), block.data(), &length), CKR_OK);
        blocks.push_back(block);
    }
    EXPECT_NE(blocks[0], blocks[1]);
    Botan::AutoSeeded_RNG random;
    const Botan::PK_Decryptor_EME decryptor(blackbox::TestKey(1), random, "EME-PKCS1-v1_5");
    const auto plain = decryptor.decrypt(blocks[0]);
    EXPECT_EQ(Bytes(plain.begin(), plain.end()), message);
}

TEST_F(OperationsTest, MessageTooLongToEncryptIsRefused)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    Bytes message(118);
    Bytes block(128);
    CK_ULONG length = Length(block);
    ASSERT_EQ(EncryptInit(session, FindOne(session, CKO_PUBLIC_KEY)), CKR_OK);
    EXPECT_EQ(f->C_Encrypt(session, message.data(), 117, block.data(), &length), CKR_OK);
    ASSERT_EQ(EncryptInit(session, FindOne(session, CKO_PUBLIC_KEY)), CKR_OK);
    EXPECT_EQ(f->C_Encrypt(session, message.data(), Length(message), block.data(), &length),
              CKR_DATA_LEN_RANGE);
    EXPECT_EQ(f->C_Encrypt(session, message.data(), 1, block.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(OperationsTest, DecryptionAsksTheCardOnceForACallerWithTooLittleRoom)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    script->Always("ES_DecryptData", {.output = Text("plain")});
    Bytes block(128, 1);
    Bytes plain(128);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 128U);
    length = 4;
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), plain.data(), &length),
              CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 5U);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), plain.data(), &length), CKR_OK);
    EXPECT_EQ(Bytes(plain.begin(), plain.begin() + 5), Text("plain"));
    EXPECT_EQ(script->CallsOf("ES_DecryptData").size(), 1U);
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), 127, plain.data(), &length), CKR_ENCRYPTED_DATA_LEN_RANGE);
}

TEST_F(OperationsTest, QuestionOfLengthNeedsNoEncryptedData)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    Bytes block(128, 1);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Decrypt(session, nullptr, 0, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 128U);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), block.data(), &length), CKR_OK);
}

TEST_F(OperationsTest, AnotherBlockIsNotAnsweredWithTheTextOfTheFirst)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    Bytes first(128, 1);
    Bytes second(128, 2);
    Bytes plain(128);
    CK_ULONG length = 4;
    script->Next("ES_DecryptData", {.output = Text("first")});
    EXPECT_EQ(f->C_Decrypt(session, first.data(), Length(first), plain.data(), &length),
              CKR_BUFFER_TOO_SMALL);
    script->Next("ES_DecryptData", {.output = Text("other")});
    EXPECT_EQ(f->C_Decrypt(session, second.data(), Length(second), plain.data(), &length), CKR_OK);
    EXPECT_EQ(Bytes(plain.begin(), plain.begin() + 5), Text("other"));
}

TEST_F(OperationsTest, DigestInPartsIsTheDigestOfAll)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    Bytes whole;
    ASSERT_EQ(Digest(session, CKM_SHA256, Text("abc"), whole), CKR_OK);
    const auto expected = Botan::HashFunction::create("SHA-256")->process("abc");
    EXPECT_EQ(whole, Bytes(expected.begin(), expected.end()));
    CK_MECHANISM mechanism{CKM_SHA256, nullptr, 0};
    ASSERT_EQ(f->C_DigestInit(session, &mechanism), CKR_OK);
    EXPECT_EQ(f->C_DigestInit(session, &mechanism), CKR_OPERATION_ACTIVE);
    for (Bytes part : {Text("a"), Text("bc")}) {
        ASSERT_EQ(f->C_DigestUpdate(session, part.data(), Length(part)), CKR_OK);
    }
    Bytes parts(32);
    CK_ULONG length = 31;
    EXPECT_EQ(f->C_DigestFinal(session, parts.data(), &length), CKR_BUFFER_TOO_SMALL);
    ASSERT_EQ(f->C_DigestFinal(session, parts.data(), &length), CKR_OK);
    EXPECT_EQ(parts, whole);
    EXPECT_EQ(f->C_DigestUpdate(session, parts.data(), 1), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(OperationsTest, RefusedFunctionsRefuseOnceStarted)
{
    EXPECT_EQ(f->C_InitPIN(0, nullptr, 0), CKR_CRYPTOKI_NOT_INITIALIZED);
    StartWithCard();
    EXPECT_EQ(f->C_InitPIN(0, nullptr, 0), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(f->C_GenerateKey(0, nullptr, nullptr, 0, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(f->C_GetFunctionStatus(0), CKR_FUNCTION_NOT_PARALLEL);
}

} // namespace
} // namespace front_test
