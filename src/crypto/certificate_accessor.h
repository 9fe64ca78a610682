// The values of a certificate that become attributes of its Cryptoki object.
#pragma once

#include "tavrik/hex_binary.h"

#include <botan/x509cert.h>

#include <memory>
#include <string>

// Holds its own copy of one certificate. Every operation can throw what Botan throws.
class CertificateAccessor
{
public:
    explicit CertificateAccessor(const Botan::X509_Certificate& source);

    // Raw DER of the names, as the certificate has them. A subject without any part gives a value without
    // bytes.
    [[nodiscard]] std::unique_ptr<HexBinary> GetSubject() const;
    [[nodiscard]] std::unique_ptr<HexBinary> GetIssuer() const;

    // The whole certificate in DER.
    [[nodiscard]] std::unique_ptr<HexBinary> GetEncoded() const;

    // The bytes of the serial number, without tag and length.
    [[nodiscard]] std::unique_ptr<HexBinary> GetSerialNumber() const;

    // The ends of the validity as ToCkDate reads them: "2024/3/5 08:15:00 UTC".
    [[nodiscard]] std::string GetNotBeforeText() const;
    [[nodiscard]] std::string GetNotAfterText() const;

private:
    std::unique_ptr<Botan::X509_Certificate> certificate;
};

inline constexpr int32_t ckDateLength = 8;

// Turns "2024/3/5 08:15:00 UTC" into the eight characters "20240305" of a Cryptoki date, without a
// terminator. The text must have that form: four digits of year, one or two of month and of day, a blank, and
// anything behind it.
void ToCkDate(const std::string& text, char (&destination)[ckDateLength]);
