// Copies the card's certificate, as the front shows it, into SoftHSM's token "Sig_EP", so that the same object is found
// and read in both.
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/token.h"

namespace bench {
namespace {

constexpr std::array<Natural::Ulong, 10> copied{
    CKA_CLASS, CKA_TOKEN,   CKA_PRIVATE, CKA_LABEL,         CKA_CERTIFICATE_TYPE,
    CKA_ID,    CKA_SUBJECT, CKA_ISSUER,  CKA_SERIAL_NUMBER, CKA_VALUE};

void Copy()
{
    UseHome("front");
    const Token<Natural> card(FrontFile());
    std::array<Bytes, copied.size()> values;
    std::array<Natural::Attribute, copied.size()> records;
    for (std::size_t i = 0; i < copied.size(); ++i) {
        constexpr std::size_t room = 4096;
        values[i].resize(room);
        records[i] = {copied[i], values[i].data(), room};
    }
    Require(card.f->C_GetAttributeValue(card.session, card.certificate, records.data(), records.size()),
            "C_GetAttributeValue");

    auto* const softHsm = LoadModule<Natural>(SoftHsmFile());
    Require(Start<Natural>(softHsm), "C_Initialize");
    const Natural::Ulong slot = SlotOf<Natural>(softHsm, "Sig_EP");
    Natural::Ulong session = 0;
    Require(softHsm->C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session),
            "C_OpenSession");
    Login<Natural>(softHsm, session);
    Natural::Ulong created = 0;
    Require(softHsm->C_CreateObject(session, records.data(), records.size(), &created), "C_CreateObject");
    Require(softHsm->C_Finalize(nullptr), "C_Finalize");
}

} // namespace
} // namespace bench

int main()
{
    return bench::Guarded(bench::Copy);
}
