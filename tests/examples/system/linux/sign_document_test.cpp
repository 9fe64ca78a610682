// What the example signs, judged by the openssl command, and the example found on the PATH.
#include "tests/examples/sign_document_sample.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using softcard::test::Finished;
using softcard::test::RunProgram;

class JudgedSignDocument : public SignDocument
{
protected:
    // Whether the openssl command finds the signature to be the document's, by the certificate beside it.
    bool Verifies(const std::string& label, const std::string& hash) const
    {
        const auto key = (folder.Path() / "key.pub").string();
        const auto certificate = (Output() / (label + ".pem")).string();
        const auto signature = (Output() / (label + ".sig")).string();
        EXPECT_EQ(
            RunProgram({"openssl", "x509", "-in", certificate, "-noout", "-pubkey", "-out", key}).exitCode,
            0);
        const Finished verified = RunProgram(
            {"openssl", "dgst", "-" + hash, "-verify", key, "-signature", signature, Document().string()});
        return verified.exitCode == 0 && verified.output == "Verified OK\n";
    }
};

TEST_F(JudgedSignDocument, SignsWithBothKeysAndOpenSslVerifies)
{
    MakeCard({"--subject", "Anna Horvátová"});
    const Finished signedWell = Sign("123456\n654321\n");
    EXPECT_EQ(signedWell.exitCode, 0) << signedWell.errors;
    EXPECT_TRUE(Verifies("Sig_ZEP", "sha256"));
    EXPECT_TRUE(Verifies("Sig_EP", "sha256"));
}

TEST_F(JudgedSignDocument, FindsTheLibraryWhenFoundByItsName)
{
    MakeCard();
    std::ofstream(Answers()) << "123456\n654321\n" << std::flush;
    const char* before = getenv("PATH");
    const std::filesystem::path program(SIGN_DOCUMENT);
    setenv("PATH", (program.parent_path().string() + ":" + before).c_str(), 1);
    const Finished signedWell =
        RunProgram({program.filename().string(), Document().string(), Output().string()});
    EXPECT_EQ(signedWell.exitCode, 0) << signedWell.errors;
}

TEST_F(JudgedSignDocument, ChangedDocumentDoesNotVerify)
{
    MakeCard();
    ASSERT_EQ(Sign("123456\n654321\n").exitCode, 0);
    std::ofstream(Document()) << "nine hundred and twelve euros";
    EXPECT_FALSE(Verifies("Sig_ZEP", "sha256"));
    EXPECT_FALSE(Verifies("Sig_EP", "sha256"));
}

TEST_F(JudgedSignDocument, TakesTheHashThatTheKeysWant)
{
    MakeCard({"--qes-reference", "4", "--es-reference", "4", "--bits", "3072"});
    EXPECT_EQ(Sign("123456\n654321\n", {"--hash", "SHA-512"}).exitCode, 0);
    EXPECT_TRUE(Verifies("Sig_ZEP", "sha512"));
    EXPECT_TRUE(Verifies("Sig_EP", "sha512"));
}

TEST_F(JudgedSignDocument, AsksAgainForAWrongSignaturePin)
{
    MakeCard();
    EXPECT_EQ(Sign("123456\n111111\n654321\n").exitCode, 0);
    EXPECT_TRUE(Verifies("Sig_ZEP", "sha256"));
}

} // namespace
