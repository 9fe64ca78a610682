#include "tests/softcard/card_library.h"

#include "tests/softcard/shared_library.h"

#include <stdexcept>

namespace softcard::test {
namespace {

template <typename Pointer>
void Bind(Pointer& pointer, const char* name)
{
    pointer = reinterpret_cast<Pointer>(FindSymbol(name));
}

CardLibrary BindAll()
{
    CardLibrary library{};
    Bind(library.getAppDataDir, "CardAPI_GetAppDataDir");
    Bind(library.getUserDataDir, "CardAPI_GetUserDataDir");
    Bind(library.initialize, "CardAPI_Initialize");
    Bind(library.finalize, "CardAPI_Finalize");
    Bind(library.getReaderList, "CardAPI_GetReaderList");
    Bind(library.openSession, "CardAPI_OpenSession");
    Bind(library.closeSession, "CardAPI_CloseSession");
    Bind(library.startTransaction, "CardAPI_StartTransaction");
    Bind(library.stopTransaction, "CardAPI_StopTransaction");
    Bind(library.getTokenInfo, "CardAPI_GetTokenInfo");
    Bind(library.getSessionFlags, "CardAPI_GetSessionFlags");
    Bind(library.waitForReaderEvent, "CardAPI_WaitForReaderEvent");
    Bind(library.qesGetCertificates, "CardAPI_QES_GetCertificates");
    Bind(library.esGetCertificates, "CardAPI_ES_GetCertificates");
    Bind(library.qesGetKeyInfo, "CardAPI_QES_GetKeyInfo");
    Bind(library.esGetKeyInfo, "CardAPI_ES_GetKeyInfo");
    Bind(library.qesSignData, "CardAPI_QES_SignData");
    Bind(library.esSignData, "CardAPI_ES_SignData");
    Bind(library.esDecryptData, "CardAPI_ES_DecryptData");
    Bind(library.verifyBok, "CardAPI_Passwords_VerifyBOK");
    Bind(library.verifyPin, "CardAPI_QES_VerifyPin");
    return library;
}

VerifyResult FreshResult()
{
    VerifyResult result{};
    result.unread4 = -1;
    return result;
}

} // namespace

void* FindSymbol(const char* name)
{
    void* const symbol = FindInLibrary(CARD_LIBRARY, name);
    if (symbol == nullptr) {
        throw std::runtime_error(std::string("missing: ") + name);
    }
    return symbol;
}

const CardLibrary& Library()
{
    static const CardLibrary library = BindAll();
    return library;
}

Verified VerifyBok(CardSession session, const char* code)
{
    Verified verified{0, FreshResult()};
    verified.returned = Library().verifyBok(session, code, &verified.result, nullptr, 0, 0, 0);
    return verified;
}

Verified VerifyPin(CardSession session, const char* code)
{
    Verified verified{0, FreshResult()};
    verified.returned = Library().verifyPin(session, code, &verified.result, nullptr, 0, 2, 0);
    return verified;
}

} // namespace softcard::test
