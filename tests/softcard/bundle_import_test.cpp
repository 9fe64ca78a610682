// Keys brought to a card out of PKCS#12 files that others made.
#include "tests/softcard/bundle_import.h"
#include "tests/softcard/key_use.h"

#include <botan/auto_rng.h>
#include <botan/pubkey.h>
#include <botan/x509cert.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

// That the second key of the ordinary family decrypts for the certificate of the bundles.
void ExpectDecryption(CardSession session)
{
    const auto der = ReadBytes(std::filesystem::path(BUNDLES) / "certificate.der");
    const std::unique_ptr<Botan::Public_Key> publicKey(
        Botan::X509_Certificate(der.data(), der.size()).subject_public_key());
    Botan::AutoSeeded_RNG random;
    const std::vector<uint8_t> text = {'s', 'e', 'c', 'r', 'e', 't'};
    const auto encrypted =
        Botan::PK_Encryptor_EME(*publicKey, random, "PKCS1v15").encrypt(text.data(), text.size(), random);
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    const Output plain = Decrypt(session, encrypted, 1);
    ASSERT_EQ(plain.status, 0);
    EXPECT_EQ(plain.bytes, text);
}

TEST_F(BundleImport, TakesTheEncryptionsThatProgramsUse)
{
    for (const char* name : {"aes", "triple-des", "rc2", "chain", "nss"}) {
        const Finished imported = Import(name);
        EXPECT_EQ(imported.exitCode, 0) << name << ": " << imported.errors;
    }
    ExpectDecryption(InsertAndOpen("ref2"));
}

TEST_F(BundleImport, TakesTheCertificateOfTheKey)
{
    ASSERT_EQ(Import("chain").exitCode, 0);
    const Finished written = RunTool({"export-certificate", "ref2", "es", "--index", "2", "--der"});
    EXPECT_EQ(std::vector<uint8_t>(written.output.begin(), written.output.end()),
              ReadBytes(std::filesystem::path(BUNDLES) / "certificate.der"));
}

TEST_F(BundleImport, AsksForNoPasswordWhereThereIsNone)
{
    WriteText(Scratch("nothing"), "");
    const Finished imported = RunProgramOn(
        Scratch("nothing"), {CARD_TOOL, "import", "ref2", "es", Bundle("no-password"), "--code", bok});
    EXPECT_EQ(imported.exitCode, 0) << imported.errors;
}

TEST_F(BundleImport, TakesThePasswordFromTheStandardInput)
{
    WriteText(Scratch("password"), "geheim\n");
    const Finished imported =
        RunProgramOn(Scratch("password"), {CARD_TOOL, "import", "ref2", "es", Bundle("aes"), "--code", bok});
    EXPECT_EQ(imported.exitCode, 0) << imported.errors;
}

TEST_F(BundleImport, RefusesAnotherPassword)
{
    for (const char* name : {"aes", "triple-des", "rc2", "nss"}) {
        ExpectRefusal(Import(name, "falsch"),
                      AsSystemTells("The PKCS#12 file cannot be opened with this password."));
    }
}

TEST_F(BundleImport, RefusesWhatHasNoKeyForACard)
{
    ExpectRefusal(Import("no-key"), AsSystemTells("There is no private key in the file."));
    ExpectRefusal(Import("other"), AsSystemTells("The private key is not an RSA key."));
    ExpectRefusal(Import("damaged"), "There is no private key that can be read, or the password is wrong.");
    const Finished large = Import("too-large");
    EXPECT_EQ(large.exitCode, exitNotImportable);
    EXPECT_NE(large.errors.find("It is too large."), std::string::npos) << large.errors;
}

} // namespace
