#include "tests/unit/crypto/test_certificates.h"

#include "tests/support/program.h"
#include "tests/support/temporary_folder.h"

#include <botan/asn1_obj.h>
#include <botan/der_enc.h>
#include <botan/hex.h>
#include <botan/rsa.h>
#include <botan_version/asn1.h>

#include <fstream>
#include <iterator>

namespace {

Bytes EncodedPublicKey()
{
    const Botan::BigInt modulus = Botan::BigInt::power_of_2(1024) - 105;
    return Botan::RSA_PublicKey(modulus, 65537).subject_public_key();
}

void AddTime(Botan::DER_Encoder& encoder, const EncodedTime& time)
{
    const Bytes text(time.text.begin(), time.text.end());
    encoder.add_object(static_cast<Asn1Tag>(time.tag), universalClass, text);
}

// Whether the command succeeded.
bool Openssl(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "openssl");
    return softcard::test::RunProgram(arguments).exitCode == 0;
}

} // namespace

Bytes FromHex(std::string_view text)
{
    std::string digits;
    for (const char character : text) {
        if (character != ' ') {
            digits += character;
        }
    }
    return Botan::hex_decode(digits);
}

Bytes EncodeCertificate(const CertificateContents& contents)
{
    const Botan::AlgorithmIdentifier algorithm(Botan::OID("1.2.840.113549.1.1.11"),
                                               Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    Bytes body;
    Botan::DER_Encoder encoder(body);
    encoder.start_cons(sequenceAsn1, universalClass)
        .start_explicit(0)
        .encode(std::size_t{2})
        .end_explicit()
        .add_object(integerAsn1, universalClass, contents.serial)
        .encode(algorithm)
        .raw_bytes(contents.issuer)
        .start_cons(sequenceAsn1, universalClass);
    AddTime(encoder, contents.notBefore);
    AddTime(encoder, contents.notAfter);
    encoder.end_cons().raw_bytes(contents.subject).raw_bytes(EncodedPublicKey()).end_cons();

    Bytes certificate;
    Botan::DER_Encoder(certificate)
        .start_cons(sequenceAsn1, universalClass)
        .raw_bytes(body)
        .encode(algorithm)
        .encode(Bytes(128, 0x5A), bitStringAsn1)
        .end_cons();
    return certificate;
}

Bytes MakeCertificateWithOpenssl(const std::string& serialHex, const std::string& notBefore,
                                 const std::string& notAfter)
{
    const TemporaryFolder folder("tavrik-tests-");
    const auto fileNamed = [&folder](const char* name) { return (folder.Path() / name).string(); };
    std::ofstream(fileNamed("index.txt")).flush(); // must be there, with nothing in it
    std::ofstream(fileNamed("serial")) << serialHex << "\n";
    std::ofstream(fileNamed("ca.cnf"))
        << "[req]\ndistinguished_name=names\n[names]\n"
        << "[ca]\ndefault_ca=authority\n[authority]\ndatabase=" << fileNamed("index.txt")
        << "\nserial=" << fileNamed("serial") << "\nnew_certs_dir=" << fileNamed("")
        << "\ndefault_md=sha256\npolicy=names_policy\n[names_policy]\ncountryName=optional\ncommonName="
           "supplied\n";

    const bool made =
        Openssl({"req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", fileNamed("key.pem"), "-out",
                 fileNamed("request.pem"), "-subj", "/C=XX/CN=Tavrik Test", "-config",
                 fileNamed("ca.cnf")}) &&
        Openssl({"ca", "-batch", "-selfsign", "-notext", "-keyfile", fileNamed("key.pem"), "-in",
                 fileNamed("request.pem"), "-out", fileNamed("certificate.pem"), "-startdate", notBefore,
                 "-enddate", notAfter, "-config", fileNamed("ca.cnf")}) &&
        Openssl({"x509", "-in", fileNamed("certificate.pem"), "-outform", "DER", "-out",
                 fileNamed("certificate.der")});
    if (!made) {
        return {};
    }
    std::ifstream file(fileNamed("certificate.der"), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
