// The rules that the fuzzers hold the front to: each is broken once here, by a call that did not take place.
#include "tests/fuzz/calls/front_model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fuzz {
namespace {

constexpr uint64_t session = 7;

front::CK_RV PublicSession(front::CK_SESSION_HANDLE /*session*/, front::CK_SESSION_INFO* info)
{
    info->state = CKS_RO_PUBLIC_SESSION;
    return CKR_OK;
}

front::CK_RV NoAttributes(front::CK_SESSION_HANDLE /*session*/, front::CK_OBJECT_HANDLE /*object*/,
                          front::CK_ATTRIBUTE* /*records*/, front::CK_ULONG /*count*/)
{
    return CKR_OBJECT_HANDLE_INVALID;
}

CallRecord Opened(uint64_t handle)
{
    return {.function = Function::C_OpenSession,
            .session = 0,
            .result = CKR_OK,
            .untouched = false,
            .handle = handle};
}

CallRecord DigestBegun(uint64_t result = CKR_OK)
{
    return {.function = Function::C_DigestInit,
            .operation = Operation::digest,
            .step = Step::begin,
            .session = session,
            .result = result,
            .mechanism = CKM_SHA_1};
}

CallRecord Digested(uint64_t result)
{
    return {.function = Function::C_Digest,
            .operation = Operation::digest,
            .step = Step::whole,
            .session = session,
            .result = result,
            .lengthGiven = true,
            .bufferGiven = true,
            .room = 20,
            .told = 20};
}

CallRecord Made(uint64_t handle)
{
    return {.function = Function::C_CreateObject,
            .session = session,
            .result = CKR_OK,
            .untouched = false,
            .handle = handle};
}

CallRecord Closed(uint64_t handle = session)
{
    return {.function = Function::C_CloseSession, .session = handle, .result = CKR_OK};
}

CallRecord Cancelled(uint64_t flags, uint64_t result = CKR_OK)
{
    return {.function = Function::C_SessionCancel, .session = session, .result = result, .key = flags};
}

CallRecord Copied(uint64_t object, uint64_t result)
{
    return {.function = Function::C_CopyObject, .session = session + 1, .result = result, .key = object};
}

struct BrokenRule
{
    std::string rule;
    std::vector<CallRecord> calls; // the last one breaks it
};

std::vector<BrokenRule> BrokenRules()
{
    CallRecord tooSmall = Digested(CKR_BUFFER_TOO_SMALL);
    tooSmall.room = 19;
    CallRecord written = tooSmall;
    written.untouched = false;
    CallRecord part{.function = Function::C_DigestUpdate,
                    .operation = Operation::digest,
                    .step = Step::part,
                    .session = session,
                    .result = CKR_OK};
    CallRecord found{.function = Function::C_FindObjects,
                     .operation = Operation::search,
                     .step = Step::whole,
                     .session = session + 1,
                     .result = CKR_OK,
                     .handles = {9}};
    const CallRecord searched{.function = Function::C_FindObjectsInit,
                              .operation = Operation::search,
                              .step = Step::begin,
                              .session = session + 1,
                              .result = CKR_OK};
    CallRecord otherLength = tooSmall;
    otherLength.told = 21;
    CallRecord longer = Digested(CKR_OK);
    longer.told = 21;
    CallRecord elsewhere = Opened(session);
    elsewhere.session = 5;
    return {
        {"gives a result that it may give", {Opened(session), Digested(CKR_SIGNATURE_INVALID)}},
        {"gives no handle twice", {Opened(session), Opened(session)}},
        {"gives no handle twice", {Opened(session), Made(9), Made(9)}},
        {"opens sessions with cards alone", {elsewhere}},
        {"refuses a session that is not open", {Closed()}},
        {"refuses a session that is not open", {Opened(session), Closed(), DigestBegun()}},
        {"takes a session that is open", {Opened(session), DigestBegun(CKR_SESSION_HANDLE_INVALID)}},
        {"begins no second operation", {Opened(session), DigestBegun(), DigestBegun()}},
        {"says that an operation is active", {Opened(session), DigestBegun(CKR_OPERATION_ACTIVE)}},
        {"works for an operation that was begun", {Opened(session), Digested(CKR_ARGUMENTS_BAD)}},
        {"knows an operation that is active",
         {Opened(session), DigestBegun(), Digested(CKR_OPERATION_NOT_INITIALIZED)}},
        {"works for an operation that was begun",
         {Opened(session), DigestBegun(), Digested(CKR_ARGUMENTS_BAD), Digested(CKR_ARGUMENTS_BAD)}},
        {"smaller than what it tells", {Opened(session), DigestBegun(), Digested(CKR_BUFFER_TOO_SMALL)}},
        {"tells the same length again", {Opened(session), DigestBegun(), tooSmall, otherLength}},
        {"no more than it told before", {Opened(session), DigestBegun(), tooSmall, longer}},
        {"nothing into a buffer that is too small", {Opened(session), DigestBegun(), written}},
        {"knows an operation that is active",
         {Opened(session), DigestBegun(), tooSmall, Digested(CKR_OPERATION_NOT_INITIALIZED)}},
        {"takes no whole after parts", {Opened(session), DigestBegun(), part, Digested(CKR_ARGUMENTS_BAD)}},
        {"gives the digest", {Opened(session), DigestBegun(), Digested(CKR_OK)}},
        {"works for an operation that was begun",
         {Opened(session), DigestBegun(), Cancelled(CKF_SIGN | CKF_DIGEST), Digested(CKR_ARGUMENTS_BAD)}},
        {"says that an operation is active",
         {Opened(session), DigestBegun(), Cancelled(CKF_DIGEST), DigestBegun(CKR_OPERATION_ACTIVE)}},
        {"knows an operation that is active",
         {Opened(session), DigestBegun(), Cancelled(CKF_SIGN), Digested(CKR_OPERATION_NOT_INITIALIZED)}},
        {"cancels what nobody works for",
         {Opened(session), Cancelled(CKF_DIGEST, CKR_OPERATION_CANCEL_FAILED)}},
        {"takes no user's name",
         {Opened(session),
          {.function = Function::C_LoginUser, .session = session, .result = CKR_OK, .lengthGiven = true}}},
        {"knows no object that has gone",
         {Opened(session), Opened(session + 1), Made(9), Closed(), Copied(9, CKR_ACTION_PROHIBITED)}},
        {"gives a result that it may give", {Opened(session + 1), Copied(9, CKR_OK)}},
        {"finds objects that there are",
         {Opened(session), Opened(session + 1), Made(9), Closed(), searched, found}},
    };
}

TEST(FrontModelTest, EachBrokenRuleEndsTheFuzzer)
{
    front::CK_FUNCTION_LIST functions{};
    functions.C_GetSessionInfo = PublicSession;
    functions.C_GetAttributeValue = NoAttributes;
    CardWorld world(false);
    for (const BrokenRule& broken : BrokenRules()) {
        FrontModel model(&functions, world);
        model.NextInput();
        model.SlotsAre({0});
        for (std::size_t i = 0; i + 1 < broken.calls.size(); ++i) {
            model.Called(broken.calls[i]);
        }
        EXPECT_DEATH(model.Called(broken.calls.back()), broken.rule) // NOLINT(cert-err33-c): in the macro
            << broken.rule;
    }
}

TEST(FrontModelTest, CallsThatKeepTheRulesGoOn)
{
    front::CK_FUNCTION_LIST functions{};
    functions.C_GetSessionInfo = PublicSession;
    CardWorld world(false);
    FrontModel model(&functions, world);
    model.NextInput();
    model.SlotsAre({0});
    CallRecord tooSmall = Digested(CKR_BUFFER_TOO_SMALL);
    tooSmall.room = 19;
    CallRecord right = Digested(CKR_OK); // SHA-1 of nothing
    right.output = {0xDA, 0x39, 0xA3, 0xEE, 0x5E, 0x6B, 0x4B, 0x0D, 0x32, 0x55,
                    0xBF, 0xEF, 0x95, 0x60, 0x18, 0x90, 0xAF, 0xD8, 0x07, 0x09};
    for (const CallRecord& call :
         {Opened(session), DigestBegun(), tooSmall, right, Digested(CKR_OPERATION_NOT_INITIALIZED), Closed(),
          DigestBegun(CKR_SESSION_HANDLE_INVALID)}) {
        model.Called(call);
    }
}

} // namespace
} // namespace fuzz
