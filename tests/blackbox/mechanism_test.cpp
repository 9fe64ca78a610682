// The mechanisms of a slot: the list, which is made once from what the card says of its key, and the details.
#include "tests/blackbox/object_helpers.h"

#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"

namespace blackbox {
namespace {

using Mechanisms = std::vector<CK_MECHANISM_TYPE>;

const Mechanisms digests{CKM_SHA_1, CKM_SHA256, CKM_SHA384, CKM_SHA512};
constexpr CK_ULONG untouchedSize = 0x1111;
constexpr CK_FLAGS untouchedFlags = 0x2222;
const std::string askQualified = "QES_GetKeyInfo(101, 0, true)";
const std::string askOrdinary = "ES_GetKeyInfo(101, 0, true)";

Mechanisms WithSigning(CK_MECHANISM_TYPE mechanism)
{
    Mechanisms list{mechanism};
    list.insert(list.end(), digests.begin(), digests.end());
    return list;
}

Card CardWithReferences(uint32_t qualified, uint32_t ordinary)
{
    Card card;
    card.qesKeyInfo.keyReference = qualified;
    card.qesKeyInfo.modulusBits = 2048;
    card.esKeyInfo.keyReference = ordinary;
    card.esKeyInfo.modulusBits = 3072;
    return card;
}

class MechanismTest : public ObjectsTest
{
protected:
    CK_ULONG CountOf(CK_SLOT_ID slot)
    {
        CK_ULONG count = untouchedLength;
        EXPECT_EQ(f->C_GetMechanismList(slot, nullptr, &count), CKR_OK);
        return count;
    }

    Mechanisms ListOf(CK_SLOT_ID slot)
    {
        Mechanisms list(16, 0xEEEEEEEE);
        CK_ULONG count = 16;
        EXPECT_EQ(f->C_GetMechanismList(slot, list.data(), &count), CKR_OK);
        EXPECT_EQ(list.at(count), 0xEEEEEEEEU);
        list.resize(count);
        return list;
    }

    CK_RV Info(CK_SLOT_ID slot, CK_MECHANISM_TYPE type)
    {
        info = {untouchedSize, untouchedSize, untouchedFlags};
        return f->C_GetMechanismInfo(slot, type, &info);
    }

    void ExpectInfo(CK_ULONG size, CK_FLAGS flags) const
    {
        const CK_ULONG smallest = info.ulMinKeySize;
        const CK_ULONG largest = info.ulMaxKeySize;
        const CK_FLAGS got = info.flags;
        EXPECT_EQ(smallest, size);
        EXPECT_EQ(largest, size);
        EXPECT_EQ(got, flags);
    }

    CK_MECHANISM_INFO info{};
};

TEST_F(MechanismTest, FunctionsBeforeTheStartAreRefused)
{
    CK_ULONG count = untouchedLength;
    EXPECT_EQ(f->C_GetMechanismList(1, nullptr, &count), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_GetMechanismList(1, nullptr, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(Info(1, CKM_RSA_PKCS), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_GetMechanismInfo(1, CKM_RSA_PKCS, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(count, untouchedLength);
    ExpectInfo(untouchedSize, untouchedFlags);
}

TEST_F(MechanismTest, NullPointersAreRefusedBeforeTheLockAndTheSlot)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    CK_MECHANISM_TYPE list = 0;
    EXPECT_EQ(f->C_GetMechanismList(99, &list, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetMechanismInfo(99, 99, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(MechanismTest, UnknownSlotIsRefusedUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    CK_ULONG count = untouchedLength;
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(f->C_GetMechanismList(1, nullptr, &count), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(Info(1, 99), CKR_SLOT_ID_INVALID) << "before the mechanism";
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(count, untouchedLength);
    ExpectInfo(untouchedSize, untouchedFlags);
}

TEST_F(MechanismTest, CountOnlyFillsTheListWithOneCallAndNoTransaction)
{
    InitializeWithCard(CardWithReferences(1, 2));
    EXPECT_EQ(CountOf(qualifiedSlot), 5U);
    EXPECT_EQ(TakeCalls(), Texts{askQualified});
    EXPECT_EQ(CountOf(ordinarySlot), 5U);
    EXPECT_EQ(TakeCalls(), Texts{askOrdinary});
}

TEST_F(MechanismTest, CardIsGivenAClearedRecordUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(CardWithReferences(1, 2), &arguments);
    CountOf(qualifiedSlot);
    ASSERT_EQ(script->CallsOf("QES_GetKeyInfo").size(), 1U);
    EXPECT_TRUE(script->CallsOf("QES_GetKeyInfo").front().outputsClear);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", askQualified, "UnlockMutex(1)"}));
}

TEST_F(MechanismTest, SecondListDoesNotCallTheCard)
{
    InitializeWithCard(CardWithReferences(1, 5));
    CountOf(qualifiedSlot);
    script->ForgetCalls();
    script->ChangeCard(readerA, [](Card& card) { card.qesKeyInfo.keyReference = 5; });
    EXPECT_EQ(ListOf(qualifiedSlot), WithSigning(CKM_RSA_PKCS));
    EXPECT_EQ(CountOf(qualifiedSlot), 5U);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(MechanismTest, EachRsaReferenceListsRsaFirstAndThenTheDigests)
{
    for (const uint32_t reference : {1U, 2U, 3U, 4U}) {
        script->InsertCard(readerA, CardWithReferences(reference, reference));
    }
    Initialize();
    ProcessEvents();
    const std::vector<CK_SLOT_ID> slots = Slots();
    ASSERT_GE(slots.size(), 8U);
    for (const CK_SLOT_ID slot : slots) {
        EXPECT_EQ(ListOf(slot), WithSigning(CKM_RSA_PKCS)) << "slot " << slot;
    }
}

TEST_F(MechanismTest, EllipticReferencesListEcdsaWhichHasNoDetails)
{
    InitializeWithCard(CardWithReferences(5, 6));
    EXPECT_EQ(ListOf(qualifiedSlot), WithSigning(CKM_ECDSA));
    EXPECT_EQ(ListOf(ordinarySlot), WithSigning(CKM_ECDSA));
    EXPECT_EQ(Info(qualifiedSlot, CKM_ECDSA), CKR_MECHANISM_INVALID);
    ExpectInfo(untouchedSize, untouchedFlags);
}

TEST_F(MechanismTest, ReferencesOutsideTheRangeListDigestsOnly)
{
    InitializeWithCard(CardWithReferences(0, 7));
    EXPECT_EQ(ListOf(qualifiedSlot), digests);
    EXPECT_EQ(ListOf(ordinarySlot), digests);
}

TEST_F(MechanismTest, EachSlotAsksForTheKeyOfItsFamily)
{
    InitializeWithCard(CardWithReferences(1, 5));
    EXPECT_EQ(ListOf(ordinarySlot), WithSigning(CKM_ECDSA));
    EXPECT_EQ(TakeCalls(), Texts{askOrdinary});
    EXPECT_EQ(ListOf(qualifiedSlot), WithSigning(CKM_RSA_PKCS));
    EXPECT_EQ(TakeCalls(), Texts{askQualified});
}

TEST_F(MechanismTest, FailedKeyInfoGivesTheShortListForTheLifeOfTheSlot)
{
    InitializeWithCard(CardWithReferences(1, 2));
    script->Next("QES_GetKeyInfo", {.status = anyOtherStatus});
    EXPECT_EQ(CountOf(qualifiedSlot), 4U);
    EXPECT_EQ(ListOf(qualifiedSlot), digests);
    EXPECT_EQ(TakeCalls(), Texts{askQualified}) << "not asked again";
    EXPECT_EQ(Info(qualifiedSlot, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(0, 0x2801); // the cleared record counts as a record
}

TEST_F(MechanismTest, StatusOfKeyInfoIsIgnoredWhenTheRecordIsFilled)
{
    InitializeWithCard(CardWithReferences(1, 2));
    script->Next("QES_GetKeyInfo", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    EXPECT_EQ(ListOf(qualifiedSlot), WithSigning(CKM_RSA_PKCS));
}

TEST_F(MechanismTest, BufferTooSmallLeavesCountAndBufferAlone)
{
    InitializeWithCard(CardWithReferences(1, 2));
    Mechanisms list(5, 0xEEEEEEEE);
    CK_ULONG count = 4;
    EXPECT_EQ(f->C_GetMechanismList(qualifiedSlot, list.data(), &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(list, Mechanisms(5, 0xEEEEEEEE));
    EXPECT_EQ(TakeCalls(), Texts{askQualified}) << "the list was filled all the same";
    count = 5;
    EXPECT_EQ(f->C_GetMechanismList(qualifiedSlot, list.data(), &count), CKR_OK);
    EXPECT_EQ(list, WithSigning(CKM_RSA_PKCS));
    EXPECT_EQ(TakeCalls(), Texts{});
    count = 0;
    EXPECT_EQ(f->C_GetMechanismList(qualifiedSlot, list.data(), &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 0U);
}

TEST_F(MechanismTest, LargerCountIsBroughtDownToTheRealOne)
{
    InitializeWithCard(CardWithReferences(1, 2));
    Mechanisms list(9, 0xEEEEEEEE);
    CK_ULONG count = 9;
    EXPECT_EQ(f->C_GetMechanismList(qualifiedSlot, list.data(), &count), CKR_OK);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(list[5], 0xEEEEEEEEU);
}

TEST_F(MechanismTest, NullListIgnoresTheCountOnTheWayIn)
{
    InitializeWithCard(CardWithReferences(1, 2));
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetMechanismList(qualifiedSlot, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 5U);
}

TEST_F(MechanismTest, RsaDetailsHaveTheCallersSizesBeforeTheListAndTheKeysAfterIt)
{
    InitializeWithCard(CardWithReferences(1, 2));
    EXPECT_EQ(Info(qualifiedSlot, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(untouchedSize, 0x2801);
    EXPECT_EQ(TakeCalls(), Texts{}) << "the details never call the card";
    CountOf(qualifiedSlot);
    EXPECT_EQ(Info(qualifiedSlot, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(2048, 0x2801);
    EXPECT_EQ(Info(ordinarySlot, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(untouchedSize, 0x2801); // each slot has its own
    CountOf(ordinarySlot);
    EXPECT_EQ(Info(ordinarySlot, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(3072, 0x2801);
}

TEST_F(MechanismTest, RsaDetailsAreGivenForAnEllipticKeyToo)
{
    InitializeWithCard(CardWithReferences(5, 6));
    CountOf(qualifiedSlot);
    EXPECT_EQ(Info(qualifiedSlot, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(2048, 0x2801);
}

TEST_F(MechanismTest, DigestsHaveTheirFlagAndNoSizesSha224Among)
{
    InitializeWithCard(CardWithReferences(1, 2));
    for (const CK_MECHANISM_TYPE type : {CKM_SHA_1, CKM_SHA224, CKM_SHA256, CKM_SHA384, CKM_SHA512}) {
        EXPECT_EQ(Info(qualifiedSlot, type), CKR_OK) << type;
        ExpectInfo(0, 0x400);
    }
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(MechanismTest, EverythingElseHasNoDetails)
{
    InitializeWithCard(CardWithReferences(1, 2));
    CountOf(qualifiedSlot);
    for (const CK_MECHANISM_TYPE type :
         {CKM_SHA256_RSA_PKCS, CKM_ECDSA, CK_MECHANISM_TYPE{0}, CK_MECHANISM_TYPE{3},
          CK_MECHANISM_TYPE{0x80000001}, CK_MECHANISM_TYPE{0xFFFFFFFF}}) {
        EXPECT_EQ(Info(qualifiedSlot, type), CKR_MECHANISM_INVALID) << type;
        ExpectInfo(untouchedSize, untouchedFlags);
    }
}

TEST_F(MechanismTest, NeitherSessionNorLoginIsNeeded)
{
    InitializeWithCard(CertifiedCard());
    EXPECT_EQ(ListOf(qualifiedSlot), WithSigning(CKM_RSA_PKCS));
    EXPECT_EQ(TakeCalls(), Texts{askQualified});
}

TEST_F(MechanismTest, FailuresAndSuccessesLogTheFrameOnly)
{
    LogCapture log(script);
    InitializeWithCard(CardWithReferences(1, 2));
    log.Forget();
    CK_ULONG count = 1;
    CK_MECHANISM_TYPE list = 0;
    EXPECT_EQ(f->C_GetMechanismList(9, nullptr, &count), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(f->C_GetMechanismList(1, &list, &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(f->C_GetMechanismList(1, nullptr, &count), CKR_OK);
    const std::string entering = EnteringLine("C_GetMechanismList");
    EXPECT_EQ(log.Take(), (Texts{entering, LeavingLine("C_GetMechanismList", "3 CKR_SLOT_ID_INVALID"),
                                 entering, LeavingLine("C_GetMechanismList", "150 CKR_BUFFER_TOO_SMALL"),
                                 entering, LeavingLine("C_GetMechanismList", "0 CKR_OK")}));
    EXPECT_EQ(Info(1, CKM_ECDSA), CKR_MECHANISM_INVALID);
    EXPECT_EQ(Info(1, CKM_SHA_1), CKR_OK);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_GetMechanismInfo"),
                     LeavingLine("C_GetMechanismInfo", "70 CKR_MECHANISM_INVALID"),
                     EnteringLine("C_GetMechanismInfo"), LeavingLine("C_GetMechanismInfo", "0 CKR_OK")}));
}

TEST_F(MechanismTest, ListDiesWithTheSlotAndTheNextCardIsAsked)
{
    InitializeWithCard(CardWithReferences(1, 2));
    CountOf(qualifiedSlot);
    script->RemoveCard(readerA);
    script->InsertCard(readerA, CardWithReferences(5, 2));
    ProcessEvents();
    script->ForgetCalls();
    CK_ULONG count = untouchedLength;
    EXPECT_EQ(f->C_GetMechanismList(1, nullptr, &count), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(Info(1, CKM_RSA_PKCS), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(Info(3, CKM_RSA_PKCS), CKR_OK);
    ExpectInfo(untouchedSize, 0x2801);
    EXPECT_EQ(ListOf(3), WithSigning(CKM_ECDSA));
    EXPECT_EQ(TakeCalls(), Texts{"QES_GetKeyInfo(102, 0, true)"});
}

} // namespace
} // namespace blackbox
