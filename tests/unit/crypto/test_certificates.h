// Certificates that the tests make as they need them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<uint8_t>;

// The bytes that hexadecimal digits stand for; blanks between them are passed over.
Bytes FromHex(std::string_view text);

inline constexpr uint8_t utcTimeTag = 0x17;
inline constexpr uint8_t generalizedTimeTag = 0x18;

struct EncodedTime
{
    uint8_t tag;
    std::string text; // "240305081500Z" or "20240305081500Z"
};

// What goes into a certificate, to the byte. Its signature is not good.
struct CertificateContents
{
    Bytes serial = {0x2A};                                              // content octets of the INTEGER
    Bytes issuer = FromHex("300F 310D 300B 0603550403 0C04 526F6F74");  // CN=Root
    Bytes subject = FromHex("300F 310D 300B 0603550403 0C04 54657374"); // CN=Test
    EncodedTime notBefore = {utcTimeTag, "240305081500Z"};
    EncodedTime notAfter = {utcTimeTag, "341125235959Z"};
};

// The certificate in DER.
Bytes EncodeCertificate(const CertificateContents& contents);

// A certificate that the `openssl` command makes and signs, in DER: subject and issuer C=XX, CN=Tavrik Test,
// the serial number and the ends of the validity ("20240305081500Z") as given. Empty when the command fails.
Bytes MakeCertificateWithOpenssl(const std::string& serialHex, const std::string& notBefore,
                                 const std::string& notAfter);
