#include "crypto/test_certificates.h"

#include <botan/alg_id.h>
#include <botan/der_enc.h>
#include <botan/hex.h>
#include <botan/rsa.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
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
    encoder.add_object(static_cast<Botan::ASN1_Tag>(time.tag), Botan::UNIVERSAL, text);
}

// A folder of its own, removed with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "tavrik-tests-XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string File(const std::string& name) const { return (folder / name).string(); }

private:
    std::filesystem::path folder;
};

// Runs the command without output of its own; whether it succeeded.
bool Openssl(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "openssl");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (auto& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = 0;
    const int spawned = posix_spawnp(&child, "openssl", &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    return spawned == 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
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
    const Botan::AlgorithmIdentifier algorithm("RSA/EMSA3(SHA-256)",
                                               Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    Bytes body;
    Botan::DER_Encoder encoder(body);
    encoder.start_cons(Botan::SEQUENCE)
        .start_explicit(0)
        .encode(std::size_t{2})
        .end_explicit()
        .add_object(Botan::INTEGER, Botan::UNIVERSAL, contents.serial)
        .encode(algorithm)
        .raw_bytes(contents.issuer)
        .start_cons(Botan::SEQUENCE);
    AddTime(encoder, contents.notBefore);
    AddTime(encoder, contents.notAfter);
    encoder.end_cons().raw_bytes(contents.subject).raw_bytes(EncodedPublicKey()).end_cons();

    Bytes certificate;
    Botan::DER_Encoder(certificate)
        .start_cons(Botan::SEQUENCE)
        .raw_bytes(body)
        .encode(algorithm)
        .encode(Bytes(128, 0x5A), Botan::BIT_STRING)
        .end_cons();
    return certificate;
}

Bytes MakeCertificateWithOpenssl(const std::string& serialHex, const std::string& notBefore,
                                 const std::string& notAfter)
{
    const TemporaryFolder folder;
    std::ofstream(folder.File("index.txt")).flush(); // must be there, with nothing in it
    std::ofstream(folder.File("serial")) << serialHex << "\n";
    std::ofstream(folder.File("ca.cnf"))
        << "[req]\ndistinguished_name=names\n[names]\n"
        << "[ca]\ndefault_ca=authority\n[authority]\ndatabase=" << folder.File("index.txt")
        << "\nserial=" << folder.File("serial") << "\nnew_certs_dir=" << folder.File("")
        << "\ndefault_md=sha256\npolicy=names_policy\n[names_policy]\ncountryName=optional\ncommonName="
           "supplied\n";

    const bool made =
        Openssl({"req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", folder.File("key.pem"), "-out",
                 folder.File("request.pem"), "-subj", "/C=XX/CN=Tavrik Test", "-config",
                 folder.File("ca.cnf")}) &&
        Openssl({"ca", "-batch", "-selfsign", "-notext", "-keyfile", folder.File("key.pem"), "-in",
                 folder.File("request.pem"), "-out", folder.File("certificate.pem"), "-startdate", notBefore,
                 "-enddate", notAfter, "-config", folder.File("ca.cnf")}) &&
        Openssl({"x509", "-in", folder.File("certificate.pem"), "-outform", "DER", "-out",
                 folder.File("certificate.der")});
    if (!made) {
        return {};
    }
    std::ifstream file(folder.File("certificate.der"), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
