// The card-access library called directly, with the card that lies in the home that is used.
#pragma once

#include "bench/folder.h"
#include "bench/module.h"
#include "bench/signed_data.h"
#include "bench/token.h"
#include "src/card/card_api.h"

#include <array>

namespace bench {

class CardLayer
{
public:
    CardLayer()
    {
        Function<decltype(CardAPI_Initialize)>("CardAPI_Initialize")(nullptr);
        Demand(Function<decltype(CardAPI_OpenSession)>("CardAPI_OpenSession")(u"Reader 0", &session),
               "CardAPI_OpenSession");
    }
    ~CardLayer() { Function<decltype(CardAPI_Finalize)>("CardAPI_Finalize")(); }
    CardLayer(const CardLayer&) = delete;
    CardLayer& operator=(const CardLayer&) = delete;

    // As far as signing with the ordinary key needs it.
    void Login() const
    {
        VerifyResult result{};
        Demand(Function<decltype(CardAPI_StartTransaction)>("CardAPI_StartTransaction")(session),
               "CardAPI_StartTransaction");
        Demand(Function<decltype(CardAPI_Passwords_VerifyBOK)>("CardAPI_Passwords_VerifyBOK")(
                   session, code, &result, nullptr, 0, 0, 0),
               "CardAPI_Passwords_VerifyBOK");
    }
    void Sign(const Bytes& data) const
    {
        std::array<uint8_t, 512> signature;
        auto length = static_cast<uint32_t>(signature.size());
        Demand(sign(session, data.data(), static_cast<uint32_t>(data.size()), signature.data(), &length, 0),
               "CardAPI_ES_SignData");
    }
    void ReadCertificates() const
    {
        auto certificates = std::make_unique<std::array<CardCertificate, maxCertificates>>();
        auto keys = std::make_unique<std::array<CardKeyInfo, maxCertificates>>();
        for (const char* name : {"CardAPI_QES_GetCertificates", "CardAPI_ES_GetCertificates"}) {
            uint32_t count = 0;
            Demand(Function<decltype(CardAPI_ES_GetCertificates)>(name)(session, certificates->data(), &count,
                                                                        keys->data()),
                   name);
        }
    }

private:
    template <typename Type>
    static Type* Function(const char* name)
    {
        return reinterpret_cast<Type*>(SymbolOf(CardFile(), name));
    }
    static void Demand(CardStatus status, const char* call)
    {
        if (status != 0) {
            throw std::runtime_error(std::string(call) + " answered " + std::to_string(status));
        }
    }

    CardSession session = 0;
    decltype(CardAPI_ES_SignData)* sign = Function<decltype(CardAPI_ES_SignData)>("CardAPI_ES_SignData");
};

} // namespace bench
