#include "src/crypto/certificate_accessor.h"

#include <botan/data_src.h>
#include <botan/pkix_types.h>

#include <algorithm>

namespace {

template <typename ByteVector>
std::unique_ptr<HexBinary> CopyOf(const ByteVector& bytes)
{
    return std::make_unique<HexBinary>(bytes.data(), static_cast<int32_t>(bytes.size()), true);
}

std::unique_ptr<Botan::X509_Certificate> ParseAgain(const Botan::X509_Certificate& source)
{
    Botan::DataSource_Memory encoded(source.BER_encode());
    return std::make_unique<Botan::X509_Certificate>(encoded);
}

// "2024/03/05 08:15:00 UTC" of the form in which the certificate has the time: "240305081500Z", or with four
// digits of year for a GeneralizedTime. The characters are taken as they stand, because Botan's readable form
// is made with the host's locale.
std::string ReadableTime(const Botan::X509_Time& time)
{
    constexpr std::size_t shortForm = sizeof("240305081500Z") - 1;
    constexpr char firstYearOf1900s[] = "50";
    std::string digits = time.to_string();
    if (digits.size() == shortForm) {
        digits.insert(0, digits.compare(0, 2, firstYearOf1900s) < 0 ? "20" : "19");
    }
    std::string text = digits.substr(0, 4);
    text.append("/").append(digits, 4, 2).append("/").append(digits, 6, 2);
    text.append(" ").append(digits, 8, 2).append(":").append(digits, 10, 2).append(":").append(digits, 12, 2);
    return text.append(" UTC");
}

} // namespace

CertificateAccessor::CertificateAccessor(const Botan::X509_Certificate& source)
    : certificate(ParseAgain(source))
{
}

std::unique_ptr<HexBinary> CertificateAccessor::GetSubject() const
{
    if (certificate->subject_dn().empty()) {
        return std::make_unique<HexBinary>(nullptr, 0, false); // Botan gives a SEQUENCE of nothing here
    }
    return CopyOf(certificate->raw_subject_dn());
}

std::unique_ptr<HexBinary> CertificateAccessor::GetIssuer() const
{
    return CopyOf(certificate->raw_issuer_dn());
}

std::unique_ptr<HexBinary> CertificateAccessor::GetEncoded() const
{
    return CopyOf(certificate->BER_encode());
}

std::unique_ptr<HexBinary> CertificateAccessor::GetSerialNumber() const
{
    return CopyOf(certificate->serial_number());
}

std::string CertificateAccessor::GetNotBeforeText() const
{
    return ReadableTime(certificate->not_before());
}

std::string CertificateAccessor::GetNotAfterText() const
{
    return ReadableTime(certificate->not_after());
}

void ToCkDate(const std::string& text, char (&destination)[ckDateLength])
{
    const auto blank = text.find(' ');
    std::copy_n(text.begin(), 4, destination);

    const bool oneDigitMonth = text[6] == '/';
    destination[4] = oneDigitMonth ? '0' : text[5];
    destination[5] = oneDigitMonth ? text[5] : text[6];

    const bool oneDigitDay = text[blank - 2] == '/';
    destination[6] = oneDigitDay ? '0' : text[blank - 2];
    destination[7] = text[blank - 1];
}
