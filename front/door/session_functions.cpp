// Sessions and logins.
#include "front/door/boundary.h"
#include "front/door/sign_ending.h"
#include "front/model/key_use.h"

#include <algorithm>
#include <chrono>

namespace front {
namespace {

constexpr CK_ULONG longestCode = 255; // bytes

// Firefox opens a window for a login that the card's keyboard asks for, and begins to listen for the end of the login when
// that window is open. A login that ends before leaves the window open, and the browser waits until the user cancels. This
// is three times what the window takes to open on a slow machine.
constexpr std::chrono::milliseconds leastTimeOfDialog{300};

// A null code has the card side ask for it. One that can't be a code costs no try.
void CheckCode(const CK_UTF8CHAR* code, CK_ULONG length)
{
    if (code == nullptr) {
        return;
    }
    Require(length > 0 && length <= longestCode, CKR_PIN_LEN_RANGE);
    // The library ends a code at its first zero.
    Require(std::find(code, code + length, CK_UTF8CHAR{0}) == code + length, CKR_PIN_INVALID);
}

CK_RV LoginAtOnce(Front& front, CK_SESSION_HANDLE handle, CK_USER_TYPE user, const CK_UTF8CHAR* code,
                  CK_ULONG length, CK_ULONG lengthOfName)
{
    const SessionUse session = front.Use(handle);
    Require(lengthOfName == 0, CKR_ARGUMENTS_BAD); // the card knows no names
    if (user == CKU_SO) {
        return front.logins.RefusalOfSecurityOfficer(*session);
    }
    Require(user == CKU_USER || user == CKU_CONTEXT_SPECIFIC, CKR_USER_TYPE_INVALID);
    CheckCode(code, length);
    if (user == CKU_USER) {
        return front.logins.LoginUser(*session, code, length);
    }
    RequireActive(front, *session, session->sign);
    return front.cardWork.Authorise(*session, code, length);
}

CK_RV Login(Front& front, CK_SESSION_HANDLE handle, CK_USER_TYPE user, const CK_UTF8CHAR* code,
            CK_ULONG length, CK_ULONG lengthOfName = 0)
{
    const auto begun = std::chrono::steady_clock::now();
    const CK_RV answer =
        Guarded([&] { return LoginAtOnce(front, handle, user, code, length, lengthOfName); });
    if (code == nullptr) {
        front.waits.Until(begun + leastTimeOfDialog); // with no lock, so that nobody else waits
    }
    return answer;
}

// Ends the operations, where there are any, as if each had come to its own end.
void EndOperations(Front& front, Session& session, CK_FLAGS operations)
{
    const auto end = [operations](CK_FLAGS flag, auto& operation) {
        if ((operations & flag) != 0) {
            operation.reset();
        }
    };
    if ((operations & CKF_SIGN) != 0) {
        const SignEnding ending(front, session);
    }
    end(CKF_FIND_OBJECTS, session.search);
    end(CKF_DIGEST, session.digest);
    end(CKF_VERIFY, session.verify);
    end(CKF_ENCRYPT, session.encrypt);
    end(CKF_DECRYPT, session.decrypt);
}

} // namespace

CK_RV C_OpenSession(CK_SLOT_ID slotID, CK_FLAGS flags, CK_VOID_PTR /*pApplication*/, CK_NOTIFY /*Notify*/,
                    CK_SESSION_HANDLE_PTR phSession)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(phSession != nullptr, CKR_ARGUMENTS_BAD);
        Require((flags & CKF_SERIAL_SESSION) != 0, CKR_SESSION_PARALLEL_NOT_SUPPORTED);
        *phSession = front.readers.OpenSession(slotID, (flags & CKF_RW_SESSION) != 0);
        return CKR_OK;
    });
}

CK_RV C_CloseSession(CK_SESSION_HANDLE hSession)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        front.CloseSession(*session);
        return CKR_OK;
    });
}

CK_RV C_CloseAllSessions(CK_SLOT_ID slotID)
{
    return InFront([&](Front& front) -> CK_RV {
        front.CloseAllSessions(slotID);
        return CKR_OK;
    });
}

CK_RV C_GetSessionInfo(CK_SESSION_HANDLE hSession, CK_SESSION_INFO_PTR pInfo)
{
    return InFront([&](Front& front) -> CK_RV {
        const CK_SESSION_INFO info = front.InfoOf(hSession);
        Require(pInfo != nullptr, CKR_ARGUMENTS_BAD);
        *pInfo = info;
        return CKR_OK;
    });
}

CK_RV C_Login(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen)
{
    return InFront([&](Front& front) { return Login(front, hSession, userType, pPin, ulPinLen); });
}

CK_RV C_LoginUser(CK_SESSION_HANDLE hSession, CK_USER_TYPE userType, CK_UTF8CHAR_PTR pPin, CK_ULONG ulPinLen,
                  CK_UTF8CHAR_PTR /*pUsername*/, CK_ULONG ulUsernameLen)
{
    return InFront(
        [&](Front& front) { return Login(front, hSession, userType, pPin, ulPinLen, ulUsernameLen); });
}

CK_RV C_Logout(CK_SESSION_HANDLE hSession)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        front.logins.Logout(*session);
        return CKR_OK;
    });
}

CK_RV C_SessionCancel(CK_SESSION_HANDLE hSession, CK_FLAGS flags)
{
    return InFront([&](Front& front) -> CK_RV {
        Require(!front.IsAtCard(hSession, flags), CKR_OPERATION_CANCEL_FAILED);
        const SessionUse session = front.Use(hSession);
        EndOperations(front, *session, flags);
        return CKR_OK;
    });
}

} // namespace front
