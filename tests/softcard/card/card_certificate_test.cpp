#include "softcard/card/card_certificate.h"

#include "softcard/card/card_error.h"
#include "src/botan/big_int_bytes.h"
#include "tests/softcard/curve_certificate.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/rsa.h>
#include <botan/x509self.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace softcard;

namespace {

using Bytes = std::vector<uint8_t>;

const Bytes usualExponent{0x01, 0x00, 0x01};

class CertificateTest : public testing::Test
{
protected:
    [[nodiscard]] CardKey CertifiedKey(const Botan::Private_Key& certified)
    {
        Botan::X509_Cert_Options options("Anna");
        CardKey cardKey;
        cardKey.certificate =
            Botan::X509::create_self_signed_cert(options, certified, "SHA-256", generator).BER_encode();
        return cardKey;
    }

    // A number of the certificate's key, as DER has it, becomes another of the same length.
    [[nodiscard]] CardKey WithOther(const Bytes& number, const Bytes& other)
    {
        CardKey cardKey = CertifiedKey(key);
        Bytes& der = cardKey.certificate;
        const auto place = std::search(der.begin(), der.end(), number.begin(), number.end());
        EXPECT_NE(place, der.end());
        std::copy(other.begin(), other.end(), place);
        return cardKey;
    }

    // With the zero in front that makes it positive.
    [[nodiscard]] Bytes Modulus() const
    {
        Bytes modulus = BigIntBytes(key.get_n());
        modulus.insert(modulus.begin(), 0);
        return modulus;
    }

    Botan::AutoSeeded_RNG generator;
    const Botan::RSA_PrivateKey key{generator, 1024};
};

} // namespace

TEST_F(CertificateTest, TellsTheNumbersOfItsKey)
{
    const PublicNumbers numbers = PublicNumbersOf(CertifiedKey(key));
    EXPECT_EQ(numbers.modulus, key.get_n());
    EXPECT_EQ(numbers.exponent, key.get_e());
}

TEST_F(CertificateTest, IsRefusedWithNumbersThatMakeNoKey)
{
    Bytes even = Modulus();
    even.back() &= 0xFEU;
    Bytes negative = Modulus();
    negative.front() = 0xFF;
    const Bytes small(Modulus().size(), 0);
    for (const Bytes& modulus : {even, negative, small}) {
        EXPECT_THROW(PublicNumbersOf(WithOther(Modulus(), modulus)), Botan::Decoding_Error);
    }
    for (const Bytes& exponent :
         {Bytes{0x01, 0x00, 0x00}, Bytes{0x00, 0x00, 0x01}, Bytes{0xFF, 0x00, 0x01}}) {
        EXPECT_THROW(PublicNumbersOf(WithOther(usualExponent, exponent)), Botan::Decoding_Error);
    }
}

TEST_F(CertificateTest, IsRefusedWithAKeyOfAnotherKind)
{
    CardKey cardKey;
    cardKey.certificate = softcard::test::CurveCertificate();
    EXPECT_THROW(PublicNumbersOf(cardKey), CardError);
}

TEST_F(CertificateTest, MustNotBeLongerThanWhatCanBeToldOf)
{
    CardKey cardKey = CertifiedKey(key);
    RequireRoomFor(cardKey);
    cardKey.certificate.resize(sizeof CardCertificate::data + 1);
    EXPECT_THROW(RequireRoomFor(cardKey), CardError);
}
