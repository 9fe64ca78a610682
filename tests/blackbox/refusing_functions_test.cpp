// The functions that only ever answer a fixed code.
#include "tests/support/black_box_test.h"
#include "tests/support/frame_lines.h"
#include "tests/support/function_calls.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"
#include "tests/support/test_certificates.h"

#include <array>
#include <thread>

namespace blackbox {
namespace {

constexpr uintptr_t garbage = 0xDEADBEEF;

struct Refusal
{
    std::string function;
    CK_RV answer;
    std::string result; // as the leaving line has it
};

// Refuse with nulls too.
const std::vector<Refusal> withoutArgumentTest = [] {
    std::vector<Refusal> refusals{
        {"C_GetFunctionStatus", CKR_FUNCTION_NOT_PARALLEL, "51 CKR_FUNCTION_NOT_PARALLEL"},
        {"C_CancelFunction", CKR_FUNCTION_NOT_PARALLEL, "51 CKR_FUNCTION_NOT_PARALLEL"}};
    for (const char* function : {"C_InitToken",           "C_InitPIN",           "C_SetPIN",
                                 "C_GetOperationState",   "C_SetOperationState", "C_CopyObject",
                                 "C_DestroyObject",       "C_SetAttributeValue", "C_EncryptUpdate",
                                 "C_EncryptFinal",        "C_DecryptUpdate",     "C_DecryptFinal",
                                 "C_DigestUpdate",        "C_DigestKey",         "C_DigestFinal",
                                 "C_SignUpdate",          "C_SignFinal",         "C_VerifyUpdate",
                                 "C_VerifyFinal",         "C_SignRecoverInit",   "C_SignRecover",
                                 "C_VerifyRecoverInit",   "C_VerifyRecover",     "C_DigestEncryptUpdate",
                                 "C_DecryptDigestUpdate", "C_SignEncryptUpdate", "C_DecryptVerifyUpdate",
                                 "C_GenerateKey",         "C_GenerateKeyPair",   "C_WrapKey",
                                 "C_UnwrapKey",           "C_DeriveKey",         "C_WaitForSlotEvent"}) {
        refusals.push_back({function, CKR_FUNCTION_NOT_SUPPORTED, "54 CKR_FUNCTION_NOT_SUPPORTED"});
    }
    return refusals;
}();

// Refuse alike, once their one pointer is not null.
const std::vector<Refusal> withArgumentTest{
    {"C_SeedRandom", CKR_RANDOM_NO_RNG, "121 CKR_RANDOM_NO_RNG"},
    {"C_GenerateRandom", CKR_RANDOM_NO_RNG, "121 CKR_RANDOM_NO_RNG"},
    {"C_GetObjectSize", CKR_SESSION_HANDLE_INVALID, "b3 CKR_SESSION_HANDLE_INVALID"}};

// Each of the functions in turn, on one library: none of them changes anything.
class RefusingFunctionTest : public BlackBoxTest
{
protected:
    CK_RV Call(const Refusal& refusal, uintptr_t value) const
    {
        return FunctionCallNamed(refusal.function).call(f, value);
    }

    template <typename Check>
    static void ForEach(const std::vector<Refusal>& refusals, const Check& check)
    {
        for (const Refusal& refusal : refusals) {
            SCOPED_TRACE(refusal.function);
            check(refusal);
        }
    }

    template <typename Check>
    static void ForEach(const Check& check)
    {
        ForEach(withoutArgumentTest, check);
        ForEach(withArgumentTest, check);
    }
};

TEST_F(RefusingFunctionTest, AnswersNotInitialisedBeforeInitialize)
{
    ForEach([&](const Refusal& refusal) {
        EXPECT_EQ(Call(refusal, 0), CKR_CRYPTOKI_NOT_INITIALIZED);
        EXPECT_EQ(Call(refusal, garbage), CKR_CRYPTOKI_NOT_INITIALIZED);
    });
    Initialize();
    Finalize();
    ForEach([&](const Refusal& refusal) {
        EXPECT_EQ(Call(refusal, 0), CKR_CRYPTOKI_NOT_INITIALIZED);
        EXPECT_EQ(Call(refusal, garbage), CKR_CRYPTOKI_NOT_INITIALIZED);
    });
}

TEST_F(RefusingFunctionTest, ReadsNoArgument)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    ASSERT_EQ(session, 1U);
    script->ForgetCalls();
    ForEach([&](const Refusal& refusal) {
        EXPECT_EQ(Call(refusal, garbage), refusal.answer);
        EXPECT_EQ(Call(refusal, 1), refusal.answer) << "1 is a session and a slot";
        EXPECT_EQ(StateOf(session), CKS_RO_PUBLIC_SESSION);
        EXPECT_EQ(script->Calls(), Texts{});
    });
}

TEST_F(RefusingFunctionTest, TakesNoLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    script->ForgetCalls();
    ForEach([&](const Refusal& refusal) {
        EXPECT_EQ(Call(refusal, 0), Call(refusal, 0));
        EXPECT_EQ(Call(refusal, garbage), refusal.answer);
        EXPECT_EQ(script->Calls(), Texts{});
    });
}

TEST_F(RefusingFunctionTest, AnswersWhileAnotherThreadIsInsideACardCall)
{
    InitializeWithCard();
    std::vector<std::pair<std::string, CK_RV>> answers;
    const auto callAll = [&] {
        ForEach(
            [&](const Refusal& refusal) { answers.emplace_back(refusal.function, Call(refusal, garbage)); });
    };
    script->Next("StartTransaction", {.hook = [&] { std::thread(callAll).join(); }});
    OpenSession(1);
    std::vector<std::pair<std::string, CK_RV>> expected;
    ForEach([&](const Refusal& refusal) { expected.emplace_back(refusal.function, refusal.answer); });
    EXPECT_EQ(answers, expected);
}

TEST_F(RefusingFunctionTest, LogsItsFrameAndNothingElse)
{
    LogCapture log(script);
    Initialize();
    ForEach([&](const Refusal& refusal) {
        log.Forget();
        EXPECT_EQ(Call(refusal, garbage), refusal.answer);
        EXPECT_EQ(log.Take(),
                  (Texts{EnteringLine(refusal.function), LeavingLine(refusal.function, refusal.result)}));
    });
    Finalize();
    ForEach([&](const Refusal& refusal) {
        log.Forget();
        EXPECT_EQ(Call(refusal, garbage), CKR_CRYPTOKI_NOT_INITIALIZED);
        EXPECT_EQ(log.Take(), (Texts{EnteringLine(refusal.function),
                                     LeavingLine(refusal.function, "190 CKR_CRYPTOKI_NOT_INITIALIZED")}));
    });
}

TEST_F(RefusingFunctionTest, WithoutArgumentTestAnswersItsCodeForNullArgumentsToo)
{
    Initialize();
    script->ForgetCalls();
    ForEach(withoutArgumentTest, [&](const Refusal& refusal) {
        EXPECT_EQ(Call(refusal, 0), refusal.answer);
        EXPECT_EQ(script->Calls(), Texts{});
    });
}

TEST_F(RefusingFunctionTest, WithArgumentTestAnswersArgumentsBadForANullPointerWithoutTheLock)
{
    ForEach(withArgumentTest, [&](const Refusal& refusal) {
        EXPECT_EQ(Call(refusal, 0), CKR_CRYPTOKI_NOT_INITIALIZED) << "the state is tested first";
    });
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    LogCapture log(script);
    Initialize(&arguments);
    script->ForgetCalls();
    ForEach(withArgumentTest, [&](const Refusal& refusal) {
        log.Forget();
        EXPECT_EQ(Call(refusal, 0), CKR_ARGUMENTS_BAD);
        EXPECT_EQ(log.Take(), (Texts{EnteringLine(refusal.function),
                                     LeavingLine(refusal.function, "7 CKR_ARGUMENTS_BAD")}));
        EXPECT_EQ(script->Calls(), Texts{});
    });
}

class RandomFunctionTest : public BlackBoxTest
{
};

TEST_F(RandomFunctionTest, GenerateRandomWritesNothing)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    std::array<CK_BYTE, 16> buffer{};
    buffer.fill(0xA5);
    const auto before = buffer;
    EXPECT_EQ(f->C_GenerateRandom(session, buffer.data(), buffer.size()), CKR_RANDOM_NO_RNG);
    EXPECT_EQ(f->C_GenerateRandom(session, buffer.data(), 0), CKR_RANDOM_NO_RNG) << "the length is not read";
    EXPECT_EQ(buffer, before);
}

TEST_F(RandomFunctionTest, SeedRandomHasNoGeneratorRatherThanNoSeeding)
{
    Initialize();
    CK_BYTE seed = 0;
    EXPECT_EQ(f->C_SeedRandom(1, &seed, 0), CKR_RANDOM_NO_RNG);
}

TEST_F(RandomFunctionTest, ObjectSizeLeavesTheSizeAloneEvenForAnExistingObject)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    CK_ULONG size = 77;
    for (const CK_OBJECT_HANDLE object : FindAll(session)) {
        EXPECT_EQ(f->C_GetObjectSize(session, object, &size), CKR_SESSION_HANDLE_INVALID);
    }
    EXPECT_EQ(size, 77U);
}

TEST_F(RandomFunctionTest, SetAttributeValueOnAnObjectChangesNothing)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    const std::vector<CK_OBJECT_HANDLE> objects = FindAll(session);
    ASSERT_FALSE(objects.empty());
    std::array<CK_BYTE, 64> label{};
    CK_ATTRIBUTE attribute{CKA_LABEL, label.data(), 3};
    label.fill('x');
    EXPECT_EQ(f->C_SetAttributeValue(session, objects.front(), &attribute, 1), CKR_FUNCTION_NOT_SUPPORTED);
    ASSERT_EQ(f->C_GetAttributeValue(session, objects.front(), &attribute, 1), CKR_OK);
    EXPECT_EQ(std::string(label.begin(), label.begin() + attribute.ulValueLen), "Signing Certificate");
}

TEST_F(RandomFunctionTest, WaitForSlotEventDoesNotWaitAndWritesNoSlot)
{
    Initialize();
    CK_SLOT_ID slot = 55;
    EXPECT_EQ(f->C_WaitForSlotEvent(0, &slot, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(slot, 55U);
}

} // namespace
} // namespace blackbox
