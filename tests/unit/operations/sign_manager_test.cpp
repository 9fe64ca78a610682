// What the black-box tests of signing cannot reach: objects and slots that no card gives, and records that are missing in
// ways that no reader event makes.
#include "src/operations/sign_manager.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/operations/rsa_store_fixture.h"

#include <malloc.h>

#include <iterator>
#include <utility>

namespace {

constexpr uint32_t rawKeyReference = 1;    // the card is given the data as they stand
constexpr uint32_t sha256KeyReference = 2; // the card is given the hash of a DigestInfo

Bytes Rising(std::size_t count)
{
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return bytes;
}

class SignManagerTest : public RsaStoreTest
{
protected:
    SignManagerTest() { StubCard().signature = Rising(256); }

    CK_RV Init(CK_SESSION_HANDLE sessionHandle, CK_OBJECT_HANDLE keyHandle)
    {
        return manager.Init(sessionHandle, keyHandle, &mechanism);
    }

    // Begins a signature with a new key of a slot.
    void Begin(CK_SLOT_ID slotId, uint32_t keyReference)
    {
        session = AddSession(slotId);
        key = AddPrivateKey(slotId, keyReference);
        ASSERT_EQ(Init(session, key), CKR_OK);
    }

    CK_RV Sign(const Bytes& data)
    {
        manager.SetData(Value(data));
        signature = nullptr;
        return manager.Sign(signature);
    }

    Bytes Signature() const { return {signature->data, signature->data + signature->length}; }

    SignManager manager;
    CK_OBJECT_HANDLE key = 0;
    std::unique_ptr<HexBinary> signature;
};

} // namespace

TEST_F(SignManagerTest, KeyMaySignWhenTheFirstByteOfCkaSignIsOne)
{
    key = AddPrivateKey(card.qualifiedSlot, sha256KeyReference);
    for (const Bytes& value : {Bytes{0}, Bytes{2}, Bytes{0xFF}, Bytes{}, Bytes{0, 1}}) {
        SetAttribute(ObjectOf(key), CKA_SIGN, value);
        EXPECT_EQ(Init(session, key), CKR_KEY_FUNCTION_NOT_PERMITTED);
        EXPECT_FALSE(manager.active);
    }
    RemoveAttribute(ObjectOf(key), CKA_SIGN);
    EXPECT_EQ(Init(session, key), CKR_KEY_FUNCTION_NOT_PERMITTED);
    SetAttribute(ObjectOf(key), CKA_SIGN, {1, 0});
    EXPECT_EQ(Init(session, key), CKR_OK);
}

TEST_F(SignManagerTest, ResetLeavesTheAuthorisationAlone)
{
    Begin(card.qualifiedSlot, sha256KeyReference);
    EXPECT_EQ(manager.mechanism, mechanism.mechanism);
    manager.SetData(Value({1}));
    manager.isLogged = true;
    manager.Reset();
    EXPECT_EQ(manager.dataToSign, nullptr);
    EXPECT_FALSE(manager.active);
    EXPECT_EQ(manager.modulusBits, 0U);
    EXPECT_TRUE(manager.alwaysAuthenticate);
    EXPECT_FALSE(manager.canSign);
    EXPECT_EQ(manager.mechanism, CKR_MECHANISM_INVALID);
    EXPECT_TRUE(manager.isLogged);
    EXPECT_EQ(manager.keyHandle, CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(manager.sessionHandle, CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SignManagerTest, MechanismIsTestedBeforeThePermissionOfTheKey)
{
    key = AddPrivateKey(card.qualifiedSlot, sha256KeyReference);
    SetAttribute(ObjectOf(key), CKA_SIGN, {0});
    const CK_MECHANISM other{CKM_ECDSA, nullptr, 0};
    EXPECT_EQ(manager.Init(session, key, &other), CKR_MECHANISM_INVALID);
}

TEST_F(SignManagerTest, KindOfAnObjectThatMaySignIsNotTested)
{
    key = AddPublicKey(card.qualifiedSlot);
    SetAttribute(ObjectOf(key), CKA_SIGN, {1});
    EXPECT_EQ(Init(session, key), CKR_OK);
}

TEST_F(SignManagerTest, ModulusBitsHaveAtMostFourBytes)
{
    key = AddPrivateKey(card.qualifiedSlot, sha256KeyReference);
    const std::vector<std::pair<Bytes, uint32_t>> rows = {
        {{0, 8, 0, 0}, 2048}, {{0, 8}, 2048}, {{200}, 200}, {{0, 4, 0, 0, 9, 9}, 1024}, {{}, 0}};
    for (const auto& [value, bits] : rows) {
        SetAttribute(ObjectOf(key), CKA_MODULUS_BITS, value);
        EXPECT_EQ(Init(session, key), CKR_OK);
        EXPECT_EQ(manager.modulusBits, bits);
    }
}

TEST_F(SignManagerTest, KeyWithoutModulusBitsLeavesNoRoomForASignature)
{
    Begin(card.qualifiedSlot, rawKeyReference);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS_BITS);
    ASSERT_EQ(Init(session, key), CKR_OK);
    EXPECT_EQ(Sign({1}), CKR_OK);
    EXPECT_EQ(StubCard().signCalls.at(0).capacity, 0U);
    EXPECT_EQ(signature->length, 0);
}

TEST_F(SignManagerTest, LabelIsComparedByItsBeginning)
{
    Begin(AddSlot(card.tokenId, "Sig_ZEP_more"), rawKeyReference);
    EXPECT_EQ(Sign({1}), CKR_OK);
    EXPECT_EQ(StubCard().signCalls.back().function, "QES_SignData");
    Begin(AddSlot(card.tokenId, "Sig_EP2"), rawKeyReference);
    EXPECT_EQ(Sign({1}), CKR_OK);
    EXPECT_EQ(StubCard().signCalls.back().function, "ES_SignData");
}

TEST_F(SignManagerTest, OtherLabelIsAGeneralError)
{
    for (const char* label : {"", "Sig_ZE", "Sig_E", "sig_zep", "XSig_EP"}) {
        Begin(AddSlot(card.tokenId, label), rawKeyReference);
        LogCapture log;
        EXPECT_EQ(Sign({1}), CKR_GENERAL_ERROR) << label;
        EXPECT_EQ(log.MessagesOf("SignManager::Sign"),
                  (std::vector<std::string>{"Neither Sig_ZEP nor Sig_EP labels was found",
                                            Leaving("5 CKR_GENERAL_ERROR")}));
    }
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(SignManagerTest, DataAreTestedBeforeTheLabel)
{
    Begin(AddSlot(card.tokenId, "other"), sha256KeyReference);
    EXPECT_EQ(Sign({1}), CKR_ARGUMENTS_BAD);
}

TEST_F(SignManagerTest, MissingRecordsAreReportedInTheirOrder)
{
    const auto other = AddCard("Other Reader", cardSession + 1);
    key = AddPrivateKey(card.qualifiedSlot, sha256KeyReference);
    const CK_SESSION_HANDLE withoutSlot = AddSession(0xFFFF);
    const CK_SESSION_HANDLE withoutToken = AddSession(AddSlot(0xFFFF, "Sig_ZEP"));
    const CK_SESSION_HANDLE withoutKey = AddSession(other.qualifiedSlot);
    const std::pair<CK_SESSION_HANDLE, CK_RV> faults[] = {{0xFFFF, CKR_SESSION_HANDLE_INVALID},
                                                          {withoutSlot, CKR_SLOT_ID_INVALID},
                                                          {withoutToken, CKR_TOKEN_NOT_PRESENT},
                                                          {withoutKey, CKR_KEY_HANDLE_INVALID}};
    std::vector<SignManager> managers(std::size(faults));
    for (std::size_t i = 0; i < std::size(faults); ++i) {
        ASSERT_EQ(managers[i].Init(faults[i].first, key, &mechanism), CKR_OK);
        managers[i].SetData(std::make_unique<HexBinary>("01")); // no DigestInfo
    }
    Cache().RemoveCardToken("Reader");
    for (std::size_t i = 0; i < std::size(faults); ++i) {
        LogCapture log;
        EXPECT_EQ(managers[i].Sign(signature), faults[i].second);
        EXPECT_EQ(log.Lines().size(), 1U);
    }
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(SignManagerTest, SignatureIsNeverLongerThanItsBuffer)
{
    Begin(card.qualifiedSlot, rawKeyReference);
    StubCard().announcedLength = 100000;
    EXPECT_EQ(Sign({1}), CKR_OK);
    EXPECT_EQ(Signature(), Rising(256));
}

TEST_F(SignManagerTest, BytesThatTheCardReportsButDoesNotWriteAreZero)
{
    Begin(card.qualifiedSlot, rawKeyReference);
    StubCard().signature = Rising(16);
    StubCard().announcedLength = 256;
    mallopt(M_PERTURB, 0x55); // new blocks are not zero
    const CK_RV answer = Sign({1});
    mallopt(M_PERTURB, 0);
    EXPECT_EQ(answer, CKR_OK);
    Bytes expected = Rising(16);
    expected.resize(256, 0);
    EXPECT_EQ(Signature(), expected);
}
