#include "src/crypto/certificate_accessor.h"

#include "tests/support/host_locale.h"
#include "tests/unit/crypto/test_certificates.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/pkix_types.h>
#include <botan/rsa.h>
#include <botan/x509self.h>

#include <gtest/gtest.h>

namespace {

Bytes BytesOf(const HexBinary& value)
{
    return {value.data, value.data + value.length};
}

std::string DateOf(const std::string& text)
{
    char date[ckDateLength] = {};
    ToCkDate(text, date);
    return {date, ckDateLength};
}

CertificateAccessor AccessorOf(const Bytes& encoded)
{
    return CertificateAccessor(Botan::X509_Certificate(encoded));
}

CertificateAccessor AccessorOf(const CertificateContents& contents)
{
    return AccessorOf(EncodeCertificate(contents));
}

std::string NotBeforeDate(const EncodedTime& time)
{
    CertificateContents contents;
    contents.notBefore = time;
    return DateOf(AccessorOf(contents).GetNotBeforeText());
}

std::string NotAfterDate(const EncodedTime& time)
{
    CertificateContents contents;
    contents.notAfter = time;
    return DateOf(AccessorOf(contents).GetNotAfterText());
}

} // namespace

TEST(ToCkDate, TakesMonthAndDayOfTwoDigits)
{
    EXPECT_EQ(DateOf("2024/11/25 08:15:00 UTC"), "20241125");
}

TEST(ToCkDate, FillsUpAMonthOfOneDigit)
{
    EXPECT_EQ(DateOf("2024/3/25 08:15:00 UTC"), "20240325");
}

TEST(ToCkDate, FillsUpADayOfOneDigit)
{
    EXPECT_EQ(DateOf("2024/11/5 08:15:00 UTC"), "20241105");
}

TEST(ToCkDate, FillsUpMonthAndDayOfOneDigit)
{
    EXPECT_EQ(DateOf("2024/3/5 08:15:00 UTC"), "20240305");
}

TEST(ToCkDate, TakesFilledUpDigitsAsTheyStand)
{
    EXPECT_EQ(DateOf("2024/03/05 08:15:00 UTC"), "20240305");
}

TEST(ToCkDate, LooksAtNothingBehindTheFirstBlank)
{
    EXPECT_EQ(DateOf("2051/1/2 "), "20510102");
    EXPECT_EQ(DateOf("2051/1/2 anything / at 7/8 all"), "20510102");
}

TEST(ToCkDate, WritesEightCharactersAndNoTerminator)
{
    struct
    {
        char date[ckDateLength];
        char behind;
    } field{{}, '#'};
    ToCkDate("2024/11/25 08:15:00 UTC", field.date);
    EXPECT_EQ(std::string(field.date, ckDateLength), "20241125");
    EXPECT_EQ(field.behind, '#');
}

TEST(CertificateAccessor, GivesTheNamesAsTheCertificateHasThem)
{
    CertificateContents contents;
    const auto accessor = AccessorOf(contents);
    EXPECT_EQ(BytesOf(*accessor.GetSubject()), contents.subject);
    EXPECT_EQ(BytesOf(*accessor.GetIssuer()), contents.issuer);
}

// Several values in one SET, not in the order that DER asks for, in string types that are seldom used.
TEST(CertificateAccessor, DoesNotReorderOrReencodeANameThatIsNotCanonical)
{
    CertificateContents contents;
    contents.subject =
        FromHex("3023 3121 3012 0603550403 140B 54617672696B2054657374 300B 060355040A 1404 5A5A5A5A");
    contents.issuer = FromHex("300F 310D 300B 0603550403 1404 526F6F74");
    const auto accessor = AccessorOf(contents);
    EXPECT_EQ(BytesOf(*accessor.GetSubject()), contents.subject);
    EXPECT_EQ(BytesOf(*accessor.GetIssuer()), contents.issuer);
}

TEST(CertificateAccessor, GivesTheWholeCertificate)
{
    const auto encoded = EncodeCertificate({});
    EXPECT_EQ(BytesOf(*AccessorOf(encoded).GetEncoded()), encoded);
}

TEST(CertificateAccessor, GivesTheSerialNumberWithoutTagAndLength)
{
    CertificateContents contents;
    contents.serial = {0x01, 0x02, 0x03, 0x04, 0x05};
    EXPECT_EQ(BytesOf(*AccessorOf(contents).GetSerialNumber()), contents.serial);
}

TEST(CertificateAccessor, GivesTheSerialNumberAsTheParserDoesWhenItHasALeadingZero)
{
    CertificateContents contents;
    contents.serial = {0x00, 0xFF, 0x10};
    const Botan::X509_Certificate certificate(EncodeCertificate(contents));
    const auto serial = BytesOf(*CertificateAccessor(certificate).GetSerialNumber());
    EXPECT_EQ(serial, certificate.serial_number());
    EXPECT_EQ(Bytes(serial.end() - 2, serial.end()), (Bytes{0xFF, 0x10}));
}

TEST(CertificateAccessor, GivesAnEmptySubjectAsAValueWithoutBytes)
{
    CertificateContents contents;
    contents.subject = FromHex("3000");
    const auto subject = AccessorOf(contents).GetSubject();
    EXPECT_EQ(subject->length, 0);
}

TEST(CertificateAccessor, KeepsACopyOfItsOwn)
{
    auto certificate = std::make_unique<Botan::X509_Certificate>(EncodeCertificate({}));
    const CertificateAccessor accessor(*certificate);
    certificate = nullptr;
    EXPECT_EQ(BytesOf(*accessor.GetSubject()), CertificateContents().subject);
}

TEST(CertificateAccessor, GivesValuesThatBelongToTheCaller)
{
    std::unique_ptr<HexBinary> first;
    {
        const auto accessor = AccessorOf(CertificateContents());
        first = accessor.GetSubject();
        const auto second = accessor.GetSubject();
        EXPECT_NE(first->data, second->data);
    }
    EXPECT_EQ(BytesOf(*first), CertificateContents().subject);
}

TEST(CertificateAccessor, GivesTheTextThatToCkDateReads)
{
    const auto accessor = AccessorOf(CertificateContents());
    EXPECT_EQ(accessor.GetNotBeforeText().find(' '), accessor.GetNotBeforeText().rfind("08:15:00") - 1);
    EXPECT_EQ(accessor.GetNotBeforeText().substr(0, 5), "2024/");
    EXPECT_EQ(accessor.GetNotAfterText().substr(0, 5), "2034/");
}

TEST(CertificateAccessor, DatesHaveLeadingZeros)
{
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "240305081500Z"}), "20240305");
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "241105081500Z"}), "20241105");
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "240325081500Z"}), "20240325");
    EXPECT_EQ(NotAfterDate({utcTimeTag, "330101000000Z"}), "20330101");
    EXPECT_EQ(NotAfterDate({utcTimeTag, "331231235959Z"}), "20331231");
}

TEST(CertificateAccessor, DatesInThePastAreGivenToo)
{
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "700102000000Z"}), "19700102");
    EXPECT_EQ(NotAfterDate({utcTimeTag, "990911101112Z"}), "19990911");
}

TEST(CertificateAccessor, DatesFrom2050AreGiven)
{
    EXPECT_EQ(NotAfterDate({generalizedTimeTag, "20500101000000Z"}), "20500101");
    EXPECT_EQ(NotAfterDate({generalizedTimeTag, "20991231235959Z"}), "20991231");
}

TEST(CertificateAccessor, DatesAreNotShiftedToLocalTime)
{
    setenv("TZ", "EST+11", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "240301003000Z"}), "20240301");
    EXPECT_EQ(NotAfterDate({utcTimeTag, "331231233000Z"}), "20331231");
    unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
}

TEST(CertificateAccessor, DatesAreTheSameInAHostThatGroupsDigits)
{
    const HostLocale locale;
    const auto accessor = AccessorOf(CertificateContents());
    EXPECT_EQ(accessor.GetNotBeforeText(), "2024/03/05 08:15:00 UTC");
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "991105081500Z"}), "19991105");
    EXPECT_EQ(NotAfterDate({generalizedTimeTag, "20991231235959Z"}), "20991231");
}

TEST(CertificateAccessor, DatesAtTheEndsOfTheTwoFormsAreGiven)
{
    EXPECT_EQ(NotBeforeDate({utcTimeTag, "500101000000Z"}), "19500101");
    EXPECT_EQ(NotAfterDate({utcTimeTag, "491231235959Z"}), "20491231");
    EXPECT_EQ(NotAfterDate({generalizedTimeTag, "21991231235959Z"}), "21991231");
}

TEST(CertificateAccessor, ReadsACertificateMadeByBotan)
{
    Botan::AutoSeeded_RNG random;
    const Botan::RSA_PrivateKey key(random, 1024);
    Botan::X509_Cert_Options options("Botan Test/XX/Tavrik");
    options.not_before("20190407010203Z");
    options.not_after("20520506070809Z");
    const auto certificate = Botan::X509::create_self_signed_cert(options, key, "SHA-256", random);

    const CertificateAccessor accessor(certificate);
    EXPECT_EQ(BytesOf(*accessor.GetSubject()), certificate.subject_dn().BER_encode());
    EXPECT_EQ(BytesOf(*accessor.GetIssuer()), certificate.issuer_dn().BER_encode());
    EXPECT_EQ(BytesOf(*accessor.GetEncoded()), certificate.BER_encode());
    EXPECT_EQ(BytesOf(*accessor.GetSerialNumber()), certificate.serial_number());
    EXPECT_EQ(DateOf(accessor.GetNotBeforeText()), "20190407");
    EXPECT_EQ(DateOf(accessor.GetNotAfterText()), "20520506");
}

TEST(CertificateAccessor, ReadsACertificateMadeByOpenssl)
{
    const auto encoded = MakeCertificateWithOpenssl("0123456789ABCDEF", "20240305081500Z", "20510102030405Z");
    ASSERT_FALSE(encoded.empty()) << "the openssl command did not make a certificate";
    const auto accessor = AccessorOf(encoded);
    const auto name =
        FromHex("3023 310B 3009 0603550406 1302 5858 3114 3012 0603550403 0C0B 54617672696B2054657374");
    EXPECT_EQ(BytesOf(*accessor.GetSubject()), name);
    EXPECT_EQ(BytesOf(*accessor.GetIssuer()), name);
    EXPECT_EQ(BytesOf(*accessor.GetEncoded()), encoded);
    EXPECT_EQ(BytesOf(*accessor.GetSerialNumber()), FromHex("0123456789ABCDEF"));
    EXPECT_EQ(DateOf(accessor.GetNotBeforeText()), "20240305");
    EXPECT_EQ(DateOf(accessor.GetNotAfterText()), "20510102");
}
