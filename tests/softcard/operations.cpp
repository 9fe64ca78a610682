#include "tests/softcard/operations.h"

#include "tests/softcard/card_home.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace softcard::test {
namespace {

using Operation = std::function<CardStatus(CardSession)>;

CardStatus ListReaders(CardSession /*session*/)
{
    std::u16string buffer(1024, u'\1');
    return -std::min(Library().getReaderList(buffer.data(), 1023), 0);
}

CardStatus OpenAnother(CardSession /*session*/)
{
    CardSession another = 0;
    const CardStatus status = Library().openSession(u"Reader 0", &another);
    if (another != 0) {
        Library().closeSession(another);
    }
    return status;
}

CardStatus CloseAnother(CardSession /*session*/)
{
    CardSession another = 0;
    Library().openSession(u"Reader 0", &another);
    const CardStatus status = Library().closeSession(another);
    Library().closeSession(another);
    return status;
}

CardStatus StartTransaction(CardSession session)
{
    const CardStatus status = Library().startTransaction(session);
    Library().stopTransaction(session);
    return status;
}

CardStatus StopTransaction(CardSession session)
{
    Library().startTransaction(session);
    const CardStatus status = Library().stopTransaction(session);
    Library().stopTransaction(session);
    return status;
}

CardStatus TellOfTheCard(CardSession session)
{
    CardTokenInfo info{};
    return Library().getTokenInfo(session, &info, nullptr, nullptr);
}

CardStatus TellTheFlags(CardSession session)
{
    uint32_t flags = 0;
    return Library().getSessionFlags(session, &flags);
}

Operation Certificates(decltype(&CardAPI_QES_GetCertificates) function)
{
    return [function](CardSession session) {
        const auto certificates = std::make_unique<std::array<CardCertificate, maxCertificates>>();
        const auto keys = std::make_unique<std::array<CardKeyInfo, maxCertificates>>();
        uint32_t count = 0;
        return function(session, certificates->data(), &count, keys->data());
    };
}

Operation KeyInfo(decltype(&CardAPI_QES_GetKeyInfo) function)
{
    return [function](CardSession session) {
        CardKeyInfo key{};
        return function(session, 0, &key, true);
    };
}

// A signature of a hash, or the decryption of what is no message.
Operation KeyUse(decltype(&CardAPI_QES_SignData) function, uint32_t length)
{
    return [function, length](CardSession session) {
        const std::vector<uint8_t> data(length, 7);
        std::vector<uint8_t> output(512);
        auto outputLength = static_cast<uint32_t>(output.size());
        return function(session, data.data(), length, output.data(), &outputLength, 0);
    };
}

std::map<std::string, Operation> MakeOperations()
{
    const CardLibrary& library = Library();
    return {
        {"GetReaderList", ListReaders},
        {"OpenSession", OpenAnother},
        {"CloseSession", CloseAnother},
        {"StartTransaction", StartTransaction},
        {"StopTransaction", StopTransaction},
        {"GetTokenInfo", TellOfTheCard},
        {"GetSessionFlags", TellTheFlags},
        {"QES_GetCertificates", Certificates(library.qesGetCertificates)},
        {"ES_GetCertificates", Certificates(library.esGetCertificates)},
        {"QES_GetKeyInfo", KeyInfo(library.qesGetKeyInfo)},
        {"ES_GetKeyInfo", KeyInfo(library.esGetKeyInfo)},
        {"QES_SignData", KeyUse(library.qesSignData, 32)},
        {"ES_SignData", KeyUse(library.esSignData, 32)},
        {"ES_DecryptData", KeyUse(library.esDecryptData, 256)},
        {"Passwords_VerifyBOK", [](CardSession session) { return VerifyBok(session, bok).returned; }},
        {"QES_VerifyPin", [](CardSession session) { return VerifyPin(session, pin).returned; }},
    };
}

} // namespace

const std::map<std::string, Operation>& Operations()
{
    static const std::map<std::string, Operation> operations = MakeOperations();
    return operations;
}

} // namespace softcard::test
