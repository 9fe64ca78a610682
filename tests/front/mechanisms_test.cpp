#include "tests/front/front_test.h"

#include <algorithm>
#include <map>

namespace front_test {
namespace {

constexpr CK_MECHANISM_TYPE lastTried = 0x1100; // beyond the numbers of hashes, RSA and elliptic curves

class MechanismsTest : public FrontTest
{
protected:
    using Start = CK_RV(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);

    MechanismsTest()
        : starts{{CKF_SIGN, f->C_SignInit},
                 {CKF_VERIFY, f->C_VerifyInit},
                 {CKF_ENCRYPT, f->C_EncryptInit},
                 {CKF_DECRYPT, f->C_DecryptInit}}
    {
    }

    std::vector<CK_MECHANISM_TYPE> Listed(CK_SLOT_ID slot)
    {
        CK_ULONG count = 0;
        EXPECT_EQ(f->C_GetMechanismList(slot, nullptr, &count), CKR_OK);
        std::vector<CK_MECHANISM_TYPE> list(count);
        EXPECT_EQ(f->C_GetMechanismList(slot, list.data(), &count), CKR_OK);
        return list;
    }

    // The operations that know the mechanism. None of them takes a parameter, so no start succeeds.
    CK_FLAGS OperationsThatKnow(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type)
    {
        CK_BYTE byte = 0;
        CK_MECHANISM withParameter{type, &byte, sizeof(byte)};
        CK_FLAGS known = 0;
        const auto note = [&](CK_FLAGS operation, CK_RV answer) {
            if (answer != CKR_MECHANISM_INVALID) {
                EXPECT_EQ(answer, CKR_MECHANISM_PARAM_INVALID) << std::hex << type;
                known |= operation;
            }
        };
        note(CKF_DIGEST, f->C_DigestInit(session, &withParameter));
        for (const auto& [operation, start] : starts) {
            note(operation, start(session, &withParameter, 0));
        }
        return known;
    }

    const std::map<CK_FLAGS, Start*> starts;
};

TEST_F(MechanismsTest, ListInfosAndStartsAgreeForEveryNumber)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    const auto listed = Listed(ordinary);
    ASSERT_EQ(listed.size(), 11U);
    for (CK_MECHANISM_TYPE type = 0; type <= lastTried; ++type) {
        const CK_FLAGS known = OperationsThatKnow(session, type);
        CK_MECHANISM_INFO info{};
        const CK_RV answer = f->C_GetMechanismInfo(ordinary, type, &info);
        if (std::find(listed.begin(), listed.end(), type) == listed.end()) {
            EXPECT_EQ(answer, CKR_MECHANISM_INVALID) << std::hex << type;
            EXPECT_EQ(known, 0U) << std::hex << type;
        } else {
            EXPECT_EQ(answer, CKR_OK) << std::hex << type;
            EXPECT_EQ(info.flags & ~CK_FLAGS{CKF_HW}, known) << std::hex << type;
        }
    }
}

TEST_F(MechanismsTest, EveryListedMechanismBeginsWhatItsInfoSays)
{
    StartWithCard();
    const CK_SESSION_HANDLE loggedIn = Open(ordinary);
    ASSERT_EQ(Login(loggedIn), CKR_OK);
    const std::map<CK_FLAGS, CK_OBJECT_HANDLE> keys = {{CKF_SIGN, FindOne(loggedIn, CKO_PRIVATE_KEY)},
                                                       {CKF_VERIFY, FindOne(loggedIn, CKO_PUBLIC_KEY)},
                                                       {CKF_ENCRYPT, FindOne(loggedIn, CKO_PUBLIC_KEY)},
                                                       {CKF_DECRYPT, FindOne(loggedIn, CKO_PRIVATE_KEY)}};
    for (const CK_MECHANISM_TYPE type : Listed(ordinary)) {
        CK_MECHANISM mechanism{type, nullptr, 0};
        CK_MECHANISM_INFO info{};
        ASSERT_EQ(f->C_GetMechanismInfo(ordinary, type, &info), CKR_OK);
        const CK_SESSION_HANDLE session = Open(ordinary); // its end is that of what it has begun
        EXPECT_EQ(f->C_DigestInit(session, &mechanism),
                  (info.flags & CKF_DIGEST) != 0 ? CKR_OK : CKR_MECHANISM_INVALID)
            << std::hex << type;
        for (const auto& [operation, start] : starts) {
            EXPECT_EQ(start(session, &mechanism, keys.at(operation)),
                      (info.flags & operation) != 0 ? CKR_OK : CKR_MECHANISM_INVALID)
                << std::hex << type << " for " << operation;
        }
        const bool needsKey = (info.flags & CKF_DIGEST) == 0;
        EXPECT_EQ(info.ulMinKeySize, needsKey ? 1024U : 0U);
        EXPECT_EQ(info.ulMaxKeySize, info.ulMinKeySize);
        EXPECT_EQ((info.flags & CKF_HW) != 0, needsKey) << "keys are the card's";
        ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    }
}

// The key of the qualified slot does not decrypt, but applications can make a public key there and encrypt with it.
TEST_F(MechanismsTest, SlotWhoseKeyDoesNotDecryptListsTheSameMechanismsWithoutEncryption)
{
    StartWithCard();
    EXPECT_EQ(Listed(qualified), Listed(ordinary));
    for (const CK_MECHANISM_TYPE type : Listed(qualified)) {
        CK_MECHANISM_INFO ofQualified{};
        CK_MECHANISM_INFO ofOrdinary{};
        ASSERT_EQ(f->C_GetMechanismInfo(qualified, type, &ofQualified), CKR_OK);
        ASSERT_EQ(f->C_GetMechanismInfo(ordinary, type, &ofOrdinary), CKR_OK);
        EXPECT_EQ(ofQualified.flags, ofOrdinary.flags & ~CK_FLAGS{CKF_ENCRYPT | CKF_DECRYPT})
            << std::hex << type;
    }
}

} // namespace
} // namespace front_test
