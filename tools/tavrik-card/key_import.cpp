#include "tools/tavrik-card/key_import.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/card_certificate.h"
#include "softcard/card/file_trouble.h"
#include "softcard/system/files.h"
#include "tools/tavrik-card/system/key_parser.h"

#include <botan/exceptn.h>
#include <botan/pk_keys.h>
#include <botan/x509cert.h>

#include <string>
#include <system_error>

namespace softcard {
namespace {

constexpr size_t leastBits = 2048;
constexpr size_t mostBits = 4096;
constexpr size_t longestExponent = 8;
constexpr size_t longestCertificate = 4096;

[[noreturn]] void Refuse(const std::string& sentence)
{
    throw StoreError(StoreFailure::notImportable, sentence);
}

std::string ReadImport(const std::filesystem::path& path)
{
    try {
        return ReadFile(path, Links::followed);
    } catch (const std::system_error& error) {
        Refuse(DescribeSystemTrouble(path, error.code()));
    }
}

// What cannot be read later would keep the whole family from being told of.
void RequireReadable(const std::vector<uint8_t>& certificate)
{
    try {
        const Botan::X509_Certificate read(certificate.data(), certificate.size());
        const std::unique_ptr<Botan::Public_Key> publicKey(read.subject_public_key());
        if (IsOfRsa(read) && dynamic_cast<const Botan::RSA_PublicKey*>(publicKey.get()) != nullptr) {
            return;
        }
    } catch (const Botan::Exception&) {
        Refuse("The certificate cannot be read; one with other dates or names may be.");
    }
    Refuse("The certificate is not for an RSA key.");
}

void RequireFitting(const ImportedKey& imported)
{
    const size_t bits = imported.key->get_n().bits();
    if (bits < leastBits || bits > mostBits || bits % 8 != 0 ||
        imported.key->get_e().bytes() > longestExponent) {
        Refuse("A card takes RSA keys of 2048 to 4096 bits, a multiple of 8.");
    }
    RequireReadable(imported.certificate);
    if (imported.certificate.size() > longestCertificate) {
        Refuse("A card takes certificates of at most 4096 bytes.");
    }
}

std::string NamesOf(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile)
{
    const std::string names = "\"" + Utf8Of(certificateFile) + "\"";
    return certificateFile == keyFile ? names : names + " with \"" + Utf8Of(keyFile) + "\"";
}

} // namespace

ImportedKey ImportKey(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile,
                      const std::function<SecretText()>& askPassword)
{
    const SecretString certificates(ReadImport(certificateFile));
    const auto readKeyFile = [&keyFile] { return ReadImport(keyFile); };
    try {
        ImportedKey imported = ParseKey(certificates.text, readKeyFile, askPassword);
        RequireFitting(imported);
        return imported;
    } catch (const StoreError& error) {
        if (error.Failure() != StoreFailure::notImportable) {
            throw;
        }
        Refuse(NamesOf(certificateFile, keyFile) + ": " + error.what());
    }
}

} // namespace softcard
