// The card-access library as its user sees it: opened at run time, its functions found by name.
#pragma once

#include "src/card/card_api.h"

#include <string>

namespace softcard::test {

// The codes of the cards that the tests use.
inline constexpr const char* bok = "123456";
inline constexpr const char* pin = "654321";
inline constexpr const char* templatePuk = "11223344";
inline constexpr const char* wrongCode = "000000";

// Throws std::runtime_error when the library or the symbol is missing.
void* FindSymbol(const char* name);

template <typename Function>
Function* FindFunction(const char* name)
{
    return reinterpret_cast<Function*>(FindSymbol(name));
}

struct CardLibrary
{
    decltype(&CardAPI_GetAppDataDir) getAppDataDir;
    decltype(&CardAPI_GetUserDataDir) getUserDataDir;
    decltype(&CardAPI_Initialize) initialize;
    decltype(&CardAPI_Finalize) finalize;
    decltype(&CardAPI_GetReaderList) getReaderList;
    decltype(&CardAPI_OpenSession) openSession;
    decltype(&CardAPI_CloseSession) closeSession;
    decltype(&CardAPI_StartTransaction) startTransaction;
    decltype(&CardAPI_StopTransaction) stopTransaction;
    decltype(&CardAPI_GetTokenInfo) getTokenInfo;
    decltype(&CardAPI_GetSessionFlags) getSessionFlags;
    decltype(&CardAPI_WaitForReaderEvent) waitForReaderEvent;
    decltype(&CardAPI_QES_GetCertificates) qesGetCertificates;
    decltype(&CardAPI_ES_GetCertificates) esGetCertificates;
    decltype(&CardAPI_QES_GetKeyInfo) qesGetKeyInfo;
    decltype(&CardAPI_ES_GetKeyInfo) esGetKeyInfo;
    decltype(&CardAPI_QES_SignData) qesSignData;
    decltype(&CardAPI_ES_SignData) esSignData;
    decltype(&CardAPI_ES_DecryptData) esDecryptData;
    decltype(&CardAPI_Passwords_VerifyBOK) verifyBok;
    decltype(&CardAPI_QES_VerifyPin) verifyPin;
};

const CardLibrary& Library();

// A verification with the arguments that the library's user passes.
struct Verified
{
    CardStatus returned;
    VerifyResult result;
};
Verified VerifyBok(CardSession session, const char* code);
Verified VerifyPin(CardSession session, const char* code);

} // namespace softcard::test
