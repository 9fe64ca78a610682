#include "tests/support/program.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using softcard::test::Finished;
using softcard::test::RunProgram;

// A store of its own, with the card "anna" in it and in no reader. The keyboard types the lines that a test
// gives it.
class SignDocument : public testing::Test
{
protected:
    SignDocument()
    {
        setenv("TAVRIK_HOME", folder.Path().c_str(), 1);
        setenv("TAVRIK_PINENTRY", SCRIPTED_PINENTRY, 1);
        setenv("TAVRIK_PINENTRY_ANSWERS", Answers().c_str(), 1);
        std::ofstream(Document()) << "one hundred and twelve euros";
    }

    std::filesystem::path Answers() const { return folder.Path() / "answers"; }
    std::filesystem::path Document() const { return folder.Path() / "document.txt"; }
    std::filesystem::path Output() const { return folder.Path() / "signed"; }

    void MakeCard(const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> command = {CARD_TOOL, "new", "anna", "--bok", "123456", "--pin", "654321"};
        command.insert(command.end(), options.begin(), options.end());
        ASSERT_EQ(RunProgram(command).exitCode, 0);
        ASSERT_EQ(RunProgram({CARD_TOOL, "insert", "anna"}).exitCode, 0);
    }

    Finished Sign(const std::string& typed, std::vector<std::string> options = {}) const
    {
        std::ofstream(Answers()) << typed << std::flush;
        options.insert(options.begin(), SIGN_DOCUMENT);
        options.insert(options.end(), {Document().string(), Output().string()});
        return RunProgram(options);
    }

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

    TemporaryFolder folder{"tavrik-"};
};

// One line, which ends like a sentence.
void ExpectOneSentence(const Finished& finished, const std::string& sentence)
{
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.errors, "sign_document: " + sentence + "\n");
}

TEST_F(SignDocument, SignsWithBothKeysAndOpenSslVerifies)
{
    MakeCard({"--subject", "Anna Horvátová"});
    const Finished signedWell = Sign("123456\n654321\n");
    EXPECT_EQ(signedWell.exitCode, 0) << signedWell.errors;
    EXPECT_TRUE(Verifies("Sig_ZEP", "sha256"));
    EXPECT_TRUE(Verifies("Sig_EP", "sha256"));
}

TEST_F(SignDocument, FindsTheLibraryWhenFoundByItsName)
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

TEST_F(SignDocument, TellsWhatItFinds)
{
    MakeCard({"--subject", "Anna Horvátová"});
    const std::string told = Sign("123456\n654321\n").output;
    for (const char* part : {"Reader 0; Sig_ZEP", "Reader 0; Sig_EP", "Anna Horvátová", "valid from 20",
                             "key handle 0x3000000", "signature of 256 bytes", "Sig_ZEP.sig", "Sig_EP.pem"}) {
        EXPECT_NE(told.find(part), std::string::npos) << part << " is not in\n" << told;
    }
}

TEST_F(SignDocument, ChangedDocumentDoesNotVerify)
{
    MakeCard();
    ASSERT_EQ(Sign("123456\n654321\n").exitCode, 0);
    std::ofstream(Document()) << "nine hundred and twelve euros";
    EXPECT_FALSE(Verifies("Sig_ZEP", "sha256"));
    EXPECT_FALSE(Verifies("Sig_EP", "sha256"));
}

TEST_F(SignDocument, TakesTheHashThatTheKeysWant)
{
    MakeCard({"--qes-reference", "4", "--es-reference", "4", "--bits", "3072"});
    EXPECT_EQ(Sign("123456\n654321\n", {"--hash", "SHA-512"}).exitCode, 0);
    EXPECT_TRUE(Verifies("Sig_ZEP", "sha512"));
    EXPECT_TRUE(Verifies("Sig_EP", "sha512"));
}

TEST_F(SignDocument, CodeOnTheCommandLineIsNotAskedFor)
{
    MakeCard();
    EXPECT_EQ(Sign("654321\n", {"--code", "123456"}).exitCode, 0);
}

TEST_F(SignDocument, AsksAgainForAWrongSignaturePin)
{
    MakeCard();
    EXPECT_EQ(Sign("123456\n111111\n654321\n").exitCode, 0);
    EXPECT_TRUE(Verifies("Sig_ZEP", "sha256"));
}

TEST_F(SignDocument, NoCard)
{
    ExpectOneSentence(Sign(""), "There is no card in any reader.");
}

TEST_F(SignDocument, WrongLoginCode)
{
    MakeCard();
    ExpectOneSentence(Sign("000000\n"), "Logging in: The code is wrong.");
    EXPECT_FALSE(std::filesystem::exists(Output() / "Sig_ZEP.sig"));
}

TEST_F(SignDocument, LockedLoginCode)
{
    MakeCard();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Sign("000000\n").exitCode, 1);
    }
    ExpectOneSentence(Sign("123456\n"), "Logging in: The code is locked after too many wrong tries.");
}

TEST_F(SignDocument, LockedSignaturePin)
{
    MakeCard();
    ExpectOneSentence(Sign("123456\n1\n2\n3\n"), "Signing: The code is locked after too many wrong tries.");
}

TEST_F(SignDocument, CancelledEntry)
{
    MakeCard();
    ExpectOneSentence(Sign("CANCEL\n"), "Logging in: The entry of the code was cancelled.");
    ExpectOneSentence(Sign("123456\nCANCEL\n"), "Signing: The entry of the code was cancelled.");
}

TEST_F(SignDocument, UnreadableDocument)
{
    MakeCard();
    std::filesystem::remove(Document());
    ExpectOneSentence(Sign("123456\n654321\n"), "The document " + Document().string() + " cannot be read.");
}

TEST_F(SignDocument, MissingLibrary)
{
    const Finished finished = Sign("", {"--module", "/nowhere/libpkcs11_x64.so"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_TRUE(finished.errors.starts_with("sign_document: The library cannot be loaded: "))
        << finished.errors;
}

TEST_F(SignDocument, SenselessCommandLineShowsTheUsage)
{
    const Finished finished = RunProgram({SIGN_DOCUMENT});
    EXPECT_EQ(finished.exitCode, 2);
    EXPECT_TRUE(finished.errors.starts_with("Usage: sign_document ")) << finished.errors;
}

} // namespace
