#include "tests/fuzz/calls/results.h"

#include "tavrik/cryptoki.h"
#include "tests/fuzz/calls/check.h"

#include <algorithm>
#include <map>

namespace fuzz {
namespace {

using Results = std::vector<uint64_t>;
using Table = std::map<Function, Results>;

Results operator+(Results left, const Results& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

void CheckAgainst(const Table& table, const CallRecord& call)
{
    const auto found = table.find(call.function);
    const bool refuses = found == table.end(); // what is not in a table only refuses
    const Results& allowed =
        refuses ? Results{CKR_FUNCTION_NOT_SUPPORTED, CKR_FUNCTION_NOT_PARALLEL} : found->second;
    Check(std::find(allowed.begin(), allowed.end(), call.result) != allowed.end(), NameOf(call.function),
          "gives a result that it may give", call.result);
}

const Table& FrontTable()
{
    const Results onSession{CKR_OK, CKR_SESSION_HANDLE_INVALID};
    const Results argued = onSession + Results{CKR_ARGUMENTS_BAD};
    const Results onSlot{CKR_OK, CKR_ARGUMENTS_BAD, CKR_SLOT_ID_INVALID};
    const Results onToken = onSlot + Results{CKR_TOKEN_NOT_PRESENT};
    const Results onTemplate = argued + Results{CKR_ATTRIBUTE_VALUE_INVALID};
    const Results begun =
        argued + Results{CKR_OPERATION_ACTIVE, CKR_MECHANISM_INVALID, CKR_MECHANISM_PARAM_INVALID};
    const Results begunWithKey = begun + Results{CKR_KEY_HANDLE_INVALID, CKR_KEY_TYPE_INCONSISTENT,
                                                 CKR_KEY_FUNCTION_NOT_PERMITTED, CKR_KEY_SIZE_RANGE};
    const Results working = argued + Results{CKR_OPERATION_NOT_INITIALIZED};
    const Results giving = working + Results{CKR_BUFFER_TOO_SMALL};
    const Results onCard{CKR_FUNCTION_FAILED,         CKR_DEVICE_REMOVED, CKR_USER_NOT_LOGGED_IN,
                         CKR_FUNCTION_CANCELED,       CKR_PIN_INCORRECT,  CKR_PIN_LOCKED,
                         CKR_USER_PIN_NOT_INITIALIZED};
    const Results signing = giving + onCard + Results{CKR_DATA_LEN_RANGE};
    const Results verifying = working + Results{CKR_SIGNATURE_INVALID, CKR_SIGNATURE_LEN_RANGE,
                                                CKR_DATA_LEN_RANGE, CKR_FUNCTION_FAILED};
    const Results loggingIn = onSession + onCard +
                              Results{CKR_DEVICE_ERROR,
                                      CKR_USER_TYPE_INVALID,
                                      CKR_PIN_LEN_RANGE,
                                      CKR_PIN_INVALID,
                                      CKR_USER_ALREADY_LOGGED_IN,
                                      CKR_OPERATION_NOT_INITIALIZED,
                                      CKR_SESSION_READ_ONLY_EXISTS,
                                      CKR_USER_ANOTHER_ALREADY_LOGGED_IN,
                                      CKR_FUNCTION_NOT_SUPPORTED};
    static const Table table{
        {Function::C_GetInfo, {CKR_OK, CKR_ARGUMENTS_BAD}},
        {Function::C_GetSlotList, {CKR_OK, CKR_ARGUMENTS_BAD, CKR_BUFFER_TOO_SMALL}},
        {Function::C_Finalize, {CKR_OK}},
        {Function::C_GetSlotInfo, onSlot},
        {Function::C_GetTokenInfo, onToken},
        {Function::C_GetMechanismList, onToken + Results{CKR_BUFFER_TOO_SMALL}},
        {Function::C_GetMechanismInfo, onToken + Results{CKR_MECHANISM_INVALID}},
        {Function::C_OpenSession, onToken + Results{CKR_SESSION_PARALLEL_NOT_SUPPORTED}},
        {Function::C_CloseSession, onSession},
        {Function::C_CloseAllSessions, {CKR_OK, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT}},
        {Function::C_GetSessionInfo, argued},
        {Function::C_Login, loggingIn},
        {Function::C_Logout, onSession + Results{CKR_USER_NOT_LOGGED_IN, CKR_DEVICE_REMOVED}},
        {Function::C_CreateObject,
         onTemplate + Results{CKR_ATTRIBUTE_READ_ONLY, CKR_ATTRIBUTE_TYPE_INVALID, CKR_TEMPLATE_INCOMPLETE,
                              CKR_TEMPLATE_INCONSISTENT, CKR_TOKEN_WRITE_PROTECTED, CKR_SESSION_READ_ONLY,
                              CKR_USER_NOT_LOGGED_IN, CKR_DEVICE_REMOVED, CKR_PUBLIC_KEY_INVALID}},
        {Function::C_CopyObject,
         {CKR_SESSION_HANDLE_INVALID, CKR_ARGUMENTS_BAD, CKR_OBJECT_HANDLE_INVALID, CKR_ACTION_PROHIBITED}},
        {Function::C_DestroyObject, onSession + Results{CKR_OBJECT_HANDLE_INVALID, CKR_ACTION_PROHIBITED}},
        {Function::C_GetObjectSize, argued + Results{CKR_OBJECT_HANDLE_INVALID}},
        {Function::C_GetAttributeValue, argued + Results{CKR_OBJECT_HANDLE_INVALID, CKR_ATTRIBUTE_SENSITIVE,
                                                         CKR_ATTRIBUTE_TYPE_INVALID, CKR_BUFFER_TOO_SMALL}},
        {Function::C_FindObjectsInit, onTemplate + Results{CKR_OPERATION_ACTIVE}},
        {Function::C_FindObjects, working},
        {Function::C_FindObjectsFinal, onSession + Results{CKR_OPERATION_NOT_INITIALIZED}},
        {Function::C_EncryptInit, begunWithKey},
        {Function::C_Encrypt, giving + Results{CKR_DATA_LEN_RANGE, CKR_FUNCTION_FAILED}},
        {Function::C_DecryptInit, begunWithKey},
        {Function::C_Decrypt, giving + onCard + Results{CKR_ENCRYPTED_DATA_LEN_RANGE}},
        {Function::C_DigestInit, begun},
        {Function::C_Digest, giving},
        {Function::C_DigestUpdate, working},
        {Function::C_DigestFinal, giving},
        {Function::C_SignInit, begunWithKey},
        {Function::C_Sign, signing},
        {Function::C_SignUpdate, working},
        {Function::C_SignFinal, signing},
        {Function::C_VerifyInit, begunWithKey},
        {Function::C_Verify, verifying},
        {Function::C_VerifyUpdate, working},
        {Function::C_VerifyFinal, verifying},
        {Function::C_SeedRandom,
         {CKR_SESSION_HANDLE_INVALID, CKR_ARGUMENTS_BAD, CKR_RANDOM_SEED_NOT_SUPPORTED}},
        {Function::C_GenerateRandom, argued},
        {Function::C_WaitForSlotEvent, {CKR_OK, CKR_ARGUMENTS_BAD, CKR_NO_EVENT}},
        {Function::C_GetInterfaceList, {CKR_OK, CKR_ARGUMENTS_BAD, CKR_BUFFER_TOO_SMALL}},
        {Function::C_GetInterface, {CKR_OK, CKR_ARGUMENTS_BAD}},
        {Function::C_LoginUser, loggingIn + Results{CKR_ARGUMENTS_BAD}},
        {Function::C_SessionCancel, onSession + Results{CKR_OPERATION_CANCEL_FAILED}},
    };
    return table;
}

const Table& LibraryTable()
{
    const Results onSession{CKR_OK, CKR_SESSION_HANDLE_INVALID};
    const Results onRecords = onSession + Results{CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT};
    const Results onCode{CKR_PIN_INCORRECT,     CKR_PIN_LOCKED,      CKR_USER_PIN_NOT_INITIALIZED,
                         CKR_FUNCTION_CANCELED, CKR_FUNCTION_FAILED, CKR_TOKEN_NOT_RECOGNIZED};
    const Results giving = onSession + Results{CKR_OPERATION_NOT_INITIALIZED, CKR_FUNCTION_FAILED,
                                               CKR_MECHANISM_INVALID, CKR_DATA_LEN_RANGE};
    const Results begun =
        onSession + Results{CKR_OPERATION_ACTIVE, CKR_KEY_HANDLE_INVALID, CKR_MECHANISM_INVALID,
                            CKR_MECHANISM_PARAM_INVALID, CKR_KEY_FUNCTION_NOT_PERMITTED};
    static const Table table{
        {Function::C_GetInfo, {CKR_OK, CKR_ARGUMENTS_BAD}},
        {Function::C_GetSlotList, {CKR_OK, CKR_ARGUMENTS_BAD, CKR_BUFFER_TOO_SMALL}},
        {Function::C_Finalize, {CKR_OK}},
        {Function::C_GetSlotInfo, {CKR_OK, CKR_ARGUMENTS_BAD, CKR_SLOT_ID_INVALID}},
        {Function::C_GetTokenInfo, {CKR_OK, CKR_ARGUMENTS_BAD, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT}},
        {Function::C_GetMechanismList,
         {CKR_OK, CKR_ARGUMENTS_BAD, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT, CKR_BUFFER_TOO_SMALL}},
        {Function::C_GetMechanismInfo,
         {CKR_OK, CKR_ARGUMENTS_BAD, CKR_SLOT_ID_INVALID, CKR_MECHANISM_INVALID}},
        {Function::C_OpenSession,
         {CKR_OK, CKR_ARGUMENTS_BAD, CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT,
          CKR_SESSION_PARALLEL_NOT_SUPPORTED}},
        {Function::C_CloseSession, onSession + Results{CKR_TOKEN_NOT_PRESENT}},
        {Function::C_CloseAllSessions, onSession + Results{CKR_TOKEN_NOT_PRESENT}},
        {Function::C_GetSessionInfo, onSession + Results{CKR_ARGUMENTS_BAD}},
        {Function::C_Login, onRecords + onCode + Results{CKR_USER_ALREADY_LOGGED_IN}},
        {Function::C_Logout, onSession + Results{CKR_TOKEN_NOT_PRESENT, CKR_USER_NOT_LOGGED_IN}},
        {Function::C_CreateObject, onSession + Results{CKR_SLOT_ID_INVALID, CKR_ATTRIBUTE_TYPE_INVALID}},
        {Function::C_GetObjectSize, {CKR_SESSION_HANDLE_INVALID, CKR_ARGUMENTS_BAD}},
        {Function::C_GetAttributeValue,
         onSession + Results{CKR_SLOT_ID_INVALID, CKR_ARGUMENTS_BAD, CKR_OBJECT_HANDLE_INVALID,
                             CKR_ATTRIBUTE_TYPE_INVALID, CKR_FUNCTION_FAILED}},
        {Function::C_FindObjectsInit, onSession + Results{CKR_OPERATION_ACTIVE}},
        {Function::C_FindObjects, onSession + Results{CKR_ARGUMENTS_BAD}},
        {Function::C_FindObjectsFinal, onSession},
        {Function::C_EncryptInit, onSession},
        {Function::C_Encrypt, giving + Results{CKR_ATTRIBUTE_TYPE_INVALID}},
        {Function::C_DecryptInit, onSession},
        {Function::C_Decrypt, giving},
        {Function::C_DigestInit, onSession},
        {Function::C_Digest, giving},
        {Function::C_SignInit, begun},
        {Function::C_Sign, onRecords + onCode + Results{CKR_OPERATION_NOT_INITIALIZED}},
        {Function::C_VerifyInit, begun},
        {Function::C_Verify,
         onRecords + Results{CKR_OPERATION_NOT_INITIALIZED, CKR_ARGUMENTS_BAD, CKR_FUNCTION_FAILED}},
        {Function::C_SeedRandom, {CKR_ARGUMENTS_BAD, CKR_RANDOM_NO_RNG}},
        {Function::C_GenerateRandom, {CKR_ARGUMENTS_BAD, CKR_RANDOM_NO_RNG}},
    };
    return table;
}

} // namespace

void CheckFrontResult(const CallRecord& call, bool throwsBelow)
{
    if (!throwsBelow || call.result != CKR_FUNCTION_FAILED) {
        CheckAgainst(FrontTable(), call);
    }
}

void CheckLibraryResult(const CallRecord& call)
{
    if (!call.thrown) {
        CheckAgainst(LibraryTable(), call);
    }
}

} // namespace fuzz
