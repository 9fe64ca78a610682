#pragma once

#include <botan/x509cert.h>

#include <cstdint>
#include <string>
#include <vector>

namespace softcard::test {

// A certificate, as DER, for a key that is none of RSA but of the curve P-256. It is written down because Botan for
// Windows has no curves to make one with.
inline std::vector<uint8_t> CurveCertificate()
{
    const std::string pem = "-----BEGIN CERTIFICATE-----\n"
                            "MIIBdTCCARugAwIBAgIUKhsIf0S1sjM75YZ7bzhRmxOG8RYwCgYIKoZIzj0EAwIw\n"
                            "DzENMAsGA1UEAwwEQW5uYTAgFw0yNjExMjMwODEyMjhaGA8yMTI2MTAzMDA4MTIy\n"
                            "OFowDzENMAsGA1UEAwwEQW5uYTBZMBMGByqGSM49AgEGCCqGSM49AwEHA0IABEnv\n"
                            "emP/G1FCgqv70ItyG4N5pYdq1ZwI9pLUjaEBfCzqxx/a4QibJuLzC6PsOvKWUdGO\n"
                            "mRMYMijoYtkHHOzK14CjUzBRMB0GA1UdDgQWBBSbz+C9Cc3Huu4lzBUpzQ33w5+A\n"
                            "ujAfBgNVHSMEGDAWgBSbz+C9Cc3Huu4lzBUpzQ33w5+AujAPBgNVHRMBAf8EBTAD\n"
                            "AQH/MAoGCCqGSM49BAMCA0gAMEUCIQDywh9z3LHCIT5mvzwF8oqm54nCfIIr0WK/\n"
                            "eZmYRgOkBAIgIxisgl3tc46T7ATf+mJaqR/1JWO+jxD6ypGadloDRHY=\n"
                            "-----END CERTIFICATE-----\n";
    return Botan::X509_Certificate(std::vector<uint8_t>(pem.begin(), pem.end())).BER_encode();
}

} // namespace softcard::test
