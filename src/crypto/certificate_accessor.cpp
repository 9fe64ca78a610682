#include "crypto/certificate_accessor.h"

#include <botan/data_src.h>
#include <botan/x509_dn.h>

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
    return certificate->not_before().readable_string();
}

std::string CertificateAccessor::GetNotAfterText() const
{
    return certificate->not_after().readable_string();
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
