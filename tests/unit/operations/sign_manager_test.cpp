#include "src/operations/sign_manager.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <malloc.h>

#include <algorithm>

namespace {

constexpr CK_MECHANISM_TYPE rsaPkcs = 0x1;
constexpr CK_MECHANISM_TYPE sha256RsaPkcs = 0x40;
constexpr CardSession cardSession = 61;

Bytes Rising(std::size_t count)
{
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return bytes;
}

// A DigestInfo with SHA-256 as its algorithm, whatever the length of the hash, and with bytes behind it.
Bytes DigestInfo(const Bytes& hash, const Bytes& behind = {})
{
    Bytes encoded = FromHex("3000 300D 0609608648016503040201 0500");
    encoded.push_back(0x04);
    encoded.push_back(static_cast<uint8_t>(hash.size()));
    encoded.insert(encoded.end(), hash.begin(), hash.end());
    encoded[1] = static_cast<uint8_t>(encoded.size() - 2);
    encoded.insert(encoded.end(), behind.begin(), behind.end());
    return encoded;
}

class SignManagerTest : public StoreTest
{
protected:
    SignManagerTest() : card(AddCard("Reader", cardSession)) { StubCard().signature = Rising(256); }

    CK_RV Init(CK_SESSION_HANDLE sessionHandle, CK_OBJECT_HANDLE keyHandle, CK_MECHANISM_TYPE type = rsaPkcs)
    {
        const CK_MECHANISM mechanism{type, nullptr, 0};
        return manager.Init(sessionHandle, keyHandle, &mechanism);
    }

    // Makes a session and a key on a slot and begins a signature.
    void Begin(CK_SLOT_ID slotId, uint32_t keyReference, CK_MECHANISM_TYPE type = rsaPkcs)
    {
        session = AddSession(slotId);
        key = AddPrivateKey(slotId, keyReference);
        ASSERT_EQ(Init(session, key, type), 0U);
    }

    CK_RV Sign(const Bytes& data)
    {
        manager.SetData(std::make_unique<HexBinary>(data.data(), static_cast<int32_t>(data.size()), true));
        signature = nullptr;
        return manager.Sign(signature);
    }

    Bytes Signature() const { return {signature->data, signature->data + signature->length}; }

    // The key's attributes, to be changed by the test.
    PkcsAttributes& AttributesOfKey() const { return Cache().GetObject(key)->attributes; }

    void RemoveAttribute(CK_ATTRIBUTE_TYPE type) const
    {
        auto& attributes = AttributesOfKey();
        attributes.erase(std::remove_if(attributes.begin(), attributes.end(),
                                        [type](const auto& attribute) { return attribute->type == type; }),
                         attributes.end());
    }

    void SetAttribute(CK_ATTRIBUTE_TYPE type, const Bytes& value) const
    {
        RemoveAttribute(type);
        const HexBinary bytes(value.data(), static_cast<int32_t>(value.size()), true);
        AttributesOfKey().push_back(std::make_unique<PkcsAttribute>(type, &bytes));
    }

    // The fields as they are when nothing is under way.
    void ExpectReset() const
    {
        EXPECT_EQ(manager.dataToSign, nullptr);
        EXPECT_FALSE(manager.active);
        EXPECT_EQ(manager.modulusBits, 0U);
        EXPECT_TRUE(manager.alwaysAuthenticate);
        EXPECT_FALSE(manager.canSign);
        EXPECT_EQ(manager.mechanism, 112U);
        EXPECT_EQ(manager.keyHandle, 130U);
        EXPECT_EQ(manager.sessionHandle, 179U);
    }

    StoredCard card;
    SignManager manager;
    CK_SESSION_HANDLE session = 0;
    CK_OBJECT_HANDLE key = 0;
    std::unique_ptr<HexBinary> signature;
};

// What a key of this reference makes of a hash of this length.
struct KeyRow
{
    const char* name;
    std::size_t hashLength;
    uint32_t keyReference;
    bool accepted;
};

void PrintTo(const KeyRow& row, std::ostream* out)
{
    *out << row.name;
}

class SignManagerKeys : public SignManagerTest, public testing::WithParamInterface<KeyRow>
{
};

const KeyRow keyRows[] = {
    {"Sha256Key32", 32, 2, true},        {"Sha256Key20", 20, 2, false}, {"Sha256Key31", 31, 2, false},
    {"Sha256Key33", 33, 2, false},       {"Sha256Key48", 48, 2, false}, {"Sha256Key64", 64, 2, false},
    {"Sha256Key0", 0, 2, false},         {"Sha384Key48", 48, 3, true},  {"Sha384Key32", 32, 3, false},
    {"Sha384Key47", 47, 3, false},       {"Sha384Key49", 49, 3, false}, {"Sha384Key64", 64, 3, false},
    {"Sha512Key64", 64, 4, true},        {"Sha512Key32", 32, 4, false}, {"Sha512Key63", 63, 4, false},
    {"Sha512Key65", 65, 4, false},       {"Unfilled20", 20, 0, true},   {"Unfilled32", 32, 0, true},
    {"EllipticA32", 32, 5, true},        {"EllipticA48", 48, 5, true},  {"EllipticA0", 0, 5, true},
    {"EllipticB20", 20, 6, true},        {"EllipticB64", 64, 6, true},  {"Seven28", 28, 7, true},
    {"Largest32", 32, 0xFFFFFFFF, true},
};

} // namespace

TEST_F(SignManagerTest, BeginsWithZeros)
{
    EXPECT_EQ(manager.dataToSign, nullptr);
    EXPECT_FALSE(manager.active);
    EXPECT_FALSE(manager.isLogged);
    EXPECT_EQ(manager.modulusBits, 0U);
    EXPECT_FALSE(manager.alwaysAuthenticate);
    EXPECT_FALSE(manager.canSign);
    EXPECT_EQ(manager.mechanism, 0U);
    EXPECT_EQ(manager.keyHandle, 0U);
    EXPECT_EQ(manager.sessionHandle, 0U);
}

TEST_F(SignManagerTest, ResetSetsTheFieldsToTheirValuesForNone)
{
    Begin(card.qualifiedSlot, 1);
    manager.SetData(std::make_unique<HexBinary>(4));
    manager.Reset();
    ExpectReset();
}

TEST_F(SignManagerTest, ResetLeavesTheAuthorisationAlone)
{
    manager.isLogged = true;
    manager.Reset();
    EXPECT_TRUE(manager.isLogged);
    manager.isLogged = false;
    manager.Reset();
    EXPECT_FALSE(manager.isLogged);
}

TEST_F(SignManagerTest, ResetLogsItsBeginningAndEnd)
{
    LogCapture log;
    manager.Reset();
    EXPECT_EQ(log.Lines(),
              (std::vector<LoggedLine>{{" DBG", "SignManager::Reset called", "SignManager::Reset", ""},
                                       {" DBG", "SignManager::Reset end", "SignManager::Reset", ""}}));
}

TEST_F(SignManagerTest, InitFillsTheFieldsFromTheKeyOfTheQualifiedSlot)
{
    Begin(card.qualifiedSlot, 2);
    EXPECT_TRUE(manager.active);
    EXPECT_EQ(manager.sessionHandle, session);
    EXPECT_EQ(manager.keyHandle, key);
    EXPECT_EQ(manager.mechanism, rsaPkcs);
    EXPECT_TRUE(manager.canSign);
    EXPECT_EQ(manager.modulusBits, 2048U);
    EXPECT_TRUE(manager.alwaysAuthenticate);
    EXPECT_EQ(manager.dataToSign, nullptr);
    EXPECT_FALSE(manager.isLogged);
}

TEST_F(SignManagerTest, InitFillsTheFieldsFromTheKeyOfTheOrdinarySlot)
{
    Begin(card.ordinarySlot, 2, sha256RsaPkcs);
    EXPECT_TRUE(manager.active);
    EXPECT_EQ(manager.mechanism, sha256RsaPkcs);
    EXPECT_FALSE(manager.alwaysAuthenticate);
}

TEST_F(SignManagerTest, InitKeepsTheAuthorisation)
{
    manager.isLogged = true;
    Begin(card.qualifiedSlot, 2);
    EXPECT_TRUE(manager.isLogged);
    EXPECT_EQ(Init(session, 0xFFFF), 96U);
    EXPECT_TRUE(manager.isLogged);
}

TEST_F(SignManagerTest, InitLogsItsSteps)
{
    LogCapture log;
    Begin(card.qualifiedSlot, 2);
    EXPECT_EQ(
        log.MessagesOf("SignManager::Init"),
        (std::vector<std::string>{
            "SignManager::Init called", "SignManager::Init going to retrieve private key",
            "SignManager::Init private key found", "SignManager::Init going to retrieve CKA_SIGN attribute",
            "SignManager::Init going to retrieve CKA_MODULUS_BITS attribute",
            "SignManager::Init going to retrieve CKA_ALWAYS_AUTHENTICATE attribute"}));
}

TEST_F(SignManagerTest, InitRefusesAnUnknownKey)
{
    LogCapture log;
    EXPECT_EQ(Init(77, 0xFFFF), 96U);
    const auto lines = log.Lines();
    EXPECT_FALSE(manager.active);
    EXPECT_EQ(manager.sessionHandle, 77U);
    EXPECT_EQ(manager.keyHandle, 130U);
    EXPECT_EQ(manager.mechanism, 112U);
    EXPECT_EQ(manager.modulusBits, 0U);
    EXPECT_FALSE(manager.canSign);
    EXPECT_TRUE(manager.alwaysAuthenticate);
    EXPECT_EQ(lines.back(), (LoggedLine{" ERR", "PKCS11_FUNCTION_LEAVING, result 60 CKR_KEY_HANDLE_INVALID",
                                        "SignManager::Init", ""}));
}

TEST_F(SignManagerTest, InitRefusesOtherMechanisms)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    for (const CK_MECHANISM_TYPE type :
         {0x0U, 0x2U, 0x3U, 0x6U, 0x41U, 0x42U, 0x250U, 0x1041U, 0x80000000U}) {
        EXPECT_EQ(Init(77, key, type), 112U) << type;
        EXPECT_FALSE(manager.active);
        EXPECT_EQ(manager.sessionHandle, 77U);
        EXPECT_EQ(manager.keyHandle, key);
        EXPECT_EQ(manager.mechanism, 112U);
        EXPECT_FALSE(manager.canSign);
        EXPECT_EQ(manager.modulusBits, 0U);
    }
}

TEST_F(SignManagerTest, InitLogsARefusedMechanismAsAnError)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    LogCapture log;
    Init(77, key, 0x250);
    EXPECT_EQ(log.Lines().back(),
              (LoggedLine{" ERR", "PKCS11_FUNCTION_LEAVING, result 70 CKR_MECHANISM_INVALID",
                          "SignManager::Init", ""}));
}

TEST_F(SignManagerTest, InitLooksForTheKeyBeforeTheMechanism)
{
    EXPECT_EQ(Init(77, 0xFFFF, 0x250), 96U);
}

TEST_F(SignManagerTest, InitCanFollowARefusedOne)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    EXPECT_EQ(Init(77, key, 0x250), 112U);
    EXPECT_EQ(Init(77, key), 0U);
    EXPECT_TRUE(manager.active);
}

TEST_F(SignManagerTest, InitRefusesAKeyThatMayNotSign)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    for (const Bytes& value : {Bytes{0}, Bytes{2}, Bytes{0xFF}, Bytes{}, Bytes{0, 1}}) {
        SetAttribute(0x108, value);
        EXPECT_EQ(Init(77, key, sha256RsaPkcs), 104U);
        EXPECT_FALSE(manager.active);
        EXPECT_FALSE(manager.canSign);
        EXPECT_EQ(manager.keyHandle, key);
        EXPECT_EQ(manager.mechanism, sha256RsaPkcs);
        EXPECT_EQ(manager.modulusBits, 0U);
        EXPECT_TRUE(manager.alwaysAuthenticate);
    }
    RemoveAttribute(0x108);
    LogCapture log;
    EXPECT_EQ(Init(77, key), 104U);
    EXPECT_EQ(log.Lines().back(),
              (LoggedLine{" ERR", "PKCS11_FUNCTION_LEAVING, result 68 CKR_KEY_FUNCTION_NOT_PERMITTED",
                          "SignManager::Init", ""}));
}

TEST_F(SignManagerTest, InitTestsTheMechanismBeforeTheKeysPermission)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    SetAttribute(0x108, {0});
    EXPECT_EQ(Init(77, key, 0x250), 112U);
}

TEST_F(SignManagerTest, InitTakesAnyKindOfObjectForAKeyWithoutPermission)
{
    EXPECT_EQ(Init(77, AddCertificate(card.qualifiedSlot)), 104U);
    EXPECT_EQ(Init(77, AddPublicKey(card.qualifiedSlot)), 104U);
}

TEST_F(SignManagerTest, InitDoesNotTestTheKindOfAnObjectThatMaySign)
{
    key = AddPublicKey(card.qualifiedSlot);
    SetAttribute(0x108, {1});
    EXPECT_EQ(Init(77, key), 0U);
    EXPECT_EQ(manager.modulusBits, 1024U);
}

TEST_F(SignManagerTest, InitReadsAsManyBytesOfTheModulusBitsAsThereAre)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    const std::vector<std::pair<Bytes, uint32_t>> rows = {
        {{0, 8, 0, 0}, 2048}, {{0, 8}, 2048}, {{200}, 200}, {{0, 4, 0, 0, 9, 9}, 1024}, {{}, 0}};
    for (const auto& [value, bits] : rows) {
        SetAttribute(0x121, value);
        EXPECT_EQ(Init(77, key), 0U);
        EXPECT_EQ(manager.modulusBits, bits);
    }
    RemoveAttribute(0x121);
    EXPECT_EQ(Init(77, key), 0U);
    EXPECT_EQ(manager.modulusBits, 0U);
    EXPECT_TRUE(manager.active);
}

TEST_F(SignManagerTest, InitPassesOverAMissingAlwaysAuthenticate)
{
    key = AddPrivateKey(card.ordinarySlot, 2);
    RemoveAttribute(0x202);
    EXPECT_EQ(Init(77, key), 0U);
    EXPECT_TRUE(manager.alwaysAuthenticate);
}

TEST_F(SignManagerTest, InitDoesNotReadTheParameter)
{
    key = AddPrivateKey(card.qualifiedSlot, 2);
    const CK_MECHANISM mechanism{rsaPkcs, reinterpret_cast<void*>(1), 0xFFFFFFFF};
    EXPECT_EQ(manager.Init(77, key, &mechanism), 0U);
}

TEST_F(SignManagerTest, InitDropsTheDataOfAnEarlierSignature)
{
    Begin(card.qualifiedSlot, 1);
    manager.SetData(std::make_unique<HexBinary>(4));
    EXPECT_EQ(Init(session, key), 0U);
    EXPECT_EQ(manager.dataToSign, nullptr);
}

TEST_F(SignManagerTest, InitDoesNotLookAtSessionSlotOrToken)
{
    EXPECT_EQ(Init(0xFFFF, AddPrivateKey(card.qualifiedSlot, 2)), 0U);
    EXPECT_TRUE(StubCard().calls.empty());
}

TEST_F(SignManagerTest, SetDataReplacesEarlierData)
{
    manager.SetData(std::make_unique<HexBinary>(std::string("01")));
    manager.SetData(std::make_unique<HexBinary>(std::string("0203")));
    EXPECT_EQ(manager.dataToSign->ToHexString(), "0203");
}

TEST_P(SignManagerKeys, TakeTheHashOutOfTheDigestInfo)
{
    const auto& row = GetParam();
    Begin(card.qualifiedSlot, row.keyReference);
    const Bytes hash = Rising(row.hashLength);
    const CK_RV result = Sign(DigestInfo(hash));
    if (row.accepted) {
        EXPECT_EQ(result, 0U);
        ASSERT_EQ(StubCard().signCalls.size(), 1U);
        EXPECT_EQ(StubCard().signCalls[0].data, hash);
    } else {
        EXPECT_EQ(result, 7U);
        EXPECT_TRUE(StubCard().signCalls.empty());
        EXPECT_EQ(signature, nullptr);
    }
}
INSTANTIATE_TEST_SUITE_P(All, SignManagerKeys, testing::ValuesIn(keyRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(SignManagerTest, RawKeyHandsOverTheDataAsTheyStand)
{
    Begin(card.qualifiedSlot, 1);
    for (const Bytes& data : {DigestInfo(Rising(32)), Bytes{0xFF, 0x00, 0x30}, Bytes{}, Rising(300)}) {
        EXPECT_EQ(Sign(data), 0U);
        EXPECT_EQ(StubCard().signCalls.back().data, data);
    }
}

TEST_F(SignManagerTest, BytesBehindTheDigestInfoAreIgnored)
{
    Begin(card.qualifiedSlot, 2);
    EXPECT_EQ(Sign(DigestInfo(Rising(32), {0x04, 0x01, 0xFF, 0x00, 0x99})), 0U);
    EXPECT_EQ(StubCard().signCalls.at(0).data, Rising(32));
}

TEST_F(SignManagerTest, FirstOfTwoOctetStringsIsTheHash)
{
    Begin(card.ordinarySlot, 6);
    EXPECT_EQ(Sign(FromHex("3006 0401AA 0401BB")), 0U);
    EXPECT_EQ(StubCard().signCalls.at(0).data, Bytes{0xAA});
}

TEST_F(SignManagerTest, OctetStringOfTheAlgorithmIsNotTheHash)
{
    Begin(card.ordinarySlot, 6);
    EXPECT_EQ(Sign(FromHex("300C 3007 06012A 0402DEAD 0401BB")), 0U);
    EXPECT_EQ(StubCard().signCalls.at(0).data, Bytes{0xBB});
    EXPECT_EQ(Sign(FromHex("3009 3007 06012A 0402DEAD")), 7U);
}

TEST_F(SignManagerTest, AlgorithmIsNotComparedWithTheKey)
{
    Begin(card.ordinarySlot, 4); // wants 64 bytes, while the DigestInfo says SHA-256
    EXPECT_EQ(Sign(DigestInfo(Rising(64))), 0U);
}

TEST_F(SignManagerTest, DigestInfoWithoutOctetStringIsRefused)
{
    Begin(card.qualifiedSlot, 6);
    EXPECT_EQ(Sign(FromHex("3003 020101")), 7U);
    EXPECT_EQ(Sign(FromHex("3000")), 7U);
    EXPECT_EQ(Sign(FromHex("3003 840101")), 7U);
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(SignManagerTest, PrimitiveRootIsRefused)
{
    Begin(card.qualifiedSlot, 6);
    EXPECT_EQ(Sign(FromHex("0404 01020304")), 7U);
    EXPECT_EQ(Sign(FromHex("020101")), 7U);
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(SignManagerTest, DataThatIsNoDerIsRefusedAndLogged)
{
    Begin(card.qualifiedSlot, 2);
    for (const Bytes& data : {Rising(32), Bytes{}, Bytes{0x30}, FromHex("3020 0401AA"),
                              FromHex("3003 0405AA"), Bytes(51, 0xFF), Bytes(20, 0x00)}) {
        LogCapture log;
        EXPECT_EQ(Sign(data), 7U);
        EXPECT_EQ(log.Lines().back(),
                  (LoggedLine{" ERR", "PKCS11_FUNCTION_LEAVING, result 7 CKR_ARGUMENTS_BAD",
                              "SignManager::Sign", ""}));
    }
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(SignManagerTest, MechanismPlaysNoPart)
{
    Begin(card.qualifiedSlot, 2, sha256RsaPkcs);
    EXPECT_EQ(Sign(DigestInfo(Rising(32))), 0U);
    EXPECT_EQ(StubCard().signCalls.at(0).data, Rising(32));
    EXPECT_EQ(Sign(Rising(32)), 7U);
}

TEST_F(SignManagerTest, QualifiedSlotSignsWithTheQualifiedKey)
{
    Begin(card.qualifiedSlot, 1);
    EXPECT_EQ(Sign({1, 2, 3}), 0U);
    ASSERT_EQ(StubCard().signCalls.size(), 1U);
    const auto& call = StubCard().signCalls[0];
    EXPECT_EQ(call.function, "QES_SignData");
    EXPECT_EQ(call.session, cardSession);
    EXPECT_EQ(call.capacity, 256U);
    EXPECT_EQ(call.lastArgument, 0U);
    EXPECT_EQ(Signature(), Rising(256));
}

TEST_F(SignManagerTest, OrdinarySlotSignsWithTheOrdinaryKey)
{
    Begin(card.ordinarySlot, 1);
    EXPECT_EQ(Sign({1, 2, 3}), 0U);
    ASSERT_EQ(StubCard().signCalls.size(), 1U);
    EXPECT_EQ(StubCard().signCalls[0].function, "ES_SignData");
    EXPECT_EQ(StubCard().signCalls[0].session, cardSession);
    EXPECT_EQ(StubCard().signCalls[0].lastArgument, 0U);
    EXPECT_EQ(Signature(), Rising(256));
}

TEST_F(SignManagerTest, LabelIsComparedByItsBeginning)
{
    Begin(AddSlot(card.tokenId, "Sig_ZEP_more"), 1);
    EXPECT_EQ(Sign({1}), 0U);
    EXPECT_EQ(StubCard().signCalls.back().function, "QES_SignData");
    Begin(AddSlot(card.tokenId, "Sig_EP2"), 1);
    EXPECT_EQ(Sign({1}), 0U);
    EXPECT_EQ(StubCard().signCalls.back().function, "ES_SignData");
}

TEST_F(SignManagerTest, OtherLabelIsAGeneralError)
{
    for (const char* label : {"", "Sig_ZE", "Sig_E", "sig_zep", "XSig_EP"}) {
        Begin(AddSlot(card.tokenId, label), 1);
        LogCapture log;
        EXPECT_EQ(Sign({1}), 5U) << label;
        const auto lines = log.Lines();
        const LoggedLine expected{" ERR", "Neither Sig_ZEP nor Sig_EP labels was found", "SignManager::Sign",
                                  ""};
        EXPECT_EQ(std::count(lines.begin(), lines.end(), expected), 1) << label;
        EXPECT_EQ(lines.back(), (LoggedLine{" ERR", "PKCS11_FUNCTION_LEAVING, result 5 CKR_GENERAL_ERROR",
                                            "SignManager::Sign", ""}));
    }
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(SignManagerTest, DataAreTestedBeforeTheLabel)
{
    Begin(AddSlot(card.tokenId, "other"), 2);
    EXPECT_EQ(Sign({1}), 7U);
}

TEST_F(SignManagerTest, MissingRecordsAreReportedInTheirOrder)
{
    const auto other = AddCard("Other Reader", cardSession + 1);
    key = AddPrivateKey(card.qualifiedSlot, 2);
    const CK_SESSION_HANDLE withoutSlot = AddSession(0xFFFF);
    const CK_SESSION_HANDLE withoutToken = AddSession(AddSlot(0xFFFF, "Sig_ZEP"));
    const CK_SESSION_HANDLE withoutKey = AddSession(other.qualifiedSlot);
    const std::pair<CK_SESSION_HANDLE, CK_RV> faults[] = {{0xFFFF, CKR_SESSION_HANDLE_INVALID},
                                                          {withoutSlot, CKR_SLOT_ID_INVALID},
                                                          {withoutToken, CKR_TOKEN_NOT_PRESENT},
                                                          {withoutKey, CKR_KEY_HANDLE_INVALID}};
    std::vector<SignManager> managers(std::size(faults));
    const CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
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

TEST_F(SignManagerTest, ShorterSignatureIsGivenInItsLength)
{
    Begin(card.qualifiedSlot, 5);
    StubCard().signature = Rising(64);
    EXPECT_EQ(Sign(DigestInfo(Rising(32))), 0U);
    EXPECT_EQ(Signature(), Rising(64));
}

TEST_F(SignManagerTest, SignatureIsNeverLongerThanItsBuffer)
{
    Begin(card.qualifiedSlot, 1);
    StubCard().announcedLength = 100000;
    EXPECT_EQ(Sign({1}), 0U);
    EXPECT_EQ(Signature(), Rising(256));
}

TEST_F(SignManagerTest, WhatTheCardReportsButDidNotWriteIsZero)
{
    Begin(card.qualifiedSlot, 1);
    StubCard().signature = Rising(16);
    StubCard().announcedLength = 256;
    mallopt(M_PERTURB, 0x55); // blocks come with bytes in them
    const CK_RV answer = Sign({1});
    mallopt(M_PERTURB, 0);
    EXPECT_EQ(answer, 0U);
    Bytes expected = Rising(16);
    expected.resize(256, 0);
    EXPECT_EQ(Signature(), expected);
}

TEST_F(SignManagerTest, KeyWithoutModulusBitsLeavesNoRoomForASignature)
{
    Begin(card.qualifiedSlot, 1);
    RemoveAttribute(0x121);
    ASSERT_EQ(Init(session, key), 0U);
    EXPECT_EQ(Sign({1}), 0U);
    EXPECT_EQ(StubCard().signCalls.at(0).capacity, 0U);
    EXPECT_EQ(signature->length, 0);
}

TEST_F(SignManagerTest, RoomIsTheModulusBitsDividedByEightRoundedDown)
{
    Begin(card.qualifiedSlot, 1);
    SetAttribute(0x121, NumberBytes(1031));
    ASSERT_EQ(Init(session, key), 0U);
    EXPECT_EQ(Sign({1}), 0U);
    EXPECT_EQ(StubCard().signCalls.at(0).capacity, 128U);
}

TEST_F(SignManagerTest, CardFailureGivesFunctionFailedWithTheBufferHandedOver)
{
    for (const CardStatus status : {1, 15, 18, 95, -1}) {
        Begin(card.qualifiedSlot, 1);
        StubCard().signStatus = status;
        LogCapture log;
        EXPECT_EQ(Sign({1}), 6U) << status;
        EXPECT_EQ(log.Lines().back(),
                  (LoggedLine{" ERR", "PKCS11_FUNCTION_LEAVING, result 6 CKR_FUNCTION_FAILED",
                              "SignManager::Sign", ""}));
        EXPECT_NE(signature, nullptr);
    }
}

TEST_F(SignManagerTest, QualifiedSignatureIsLoggedWithItsData)
{
    Begin(card.qualifiedSlot, 1);
    LogCapture log;
    Sign({0xAB, 0x01});
    EXPECT_EQ(log.MessagesOf("SignManager::Sign"),
              (std::vector<std::string>{"Going to sign data with QES key", "DataToSign: AB01",
                                        "Data was signed with QES key"}));
}

TEST_F(SignManagerTest, OrdinarySignatureIsLoggedWithoutItsData)
{
    Begin(card.ordinarySlot, 1);
    LogCapture log;
    Sign({0xAB, 0x01});
    EXPECT_EQ(log.MessagesOf("SignManager::Sign"),
              (std::vector<std::string>{"Going to sign data with ES key", "Data was signed with ES key"}));
}

TEST_F(SignManagerTest, EndOfTheCardsWorkIsLoggedAfterAFailureToo)
{
    Begin(card.ordinarySlot, 1);
    StubCard().signStatus = 1;
    LogCapture log;
    Sign({0xAB});
    EXPECT_EQ(log.MessagesOf("SignManager::Sign"),
              (std::vector<std::string>{"Going to sign data with ES key", "Data was signed with ES key",
                                        "PKCS11_FUNCTION_LEAVING, result 6 CKR_FUNCTION_FAILED"}));
}

TEST_F(SignManagerTest, SignLeavesTheFieldsAsTheyAre)
{
    Begin(card.qualifiedSlot, 2);
    manager.isLogged = true;
    for (const Bytes& data : {DigestInfo(Rising(32)), DigestInfo(Rising(20))}) {
        Sign(data);
        EXPECT_TRUE(manager.active);
        EXPECT_TRUE(manager.isLogged);
        EXPECT_EQ(manager.keyHandle, key);
        EXPECT_EQ(manager.sessionHandle, session);
        EXPECT_EQ(manager.modulusBits, 2048U);
        EXPECT_NE(manager.dataToSign, nullptr);
    }
}
