#include "tests/examples/sign_document_sample.h"

#include <filesystem>
#include <string>

namespace {

using softcard::test::Finished;
using softcard::test::RunProgram;

// One line, which ends like a sentence, and as lines do on the system.
void ExpectOneSentence(Finished finished, const std::string& sentence)
{
    EXPECT_EQ(finished.exitCode, 1);
    std::erase(finished.errors, '\r');
    EXPECT_EQ(finished.errors, "sign_document: " + sentence + "\n");
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

TEST_F(SignDocument, CodeOnTheCommandLineIsNotAskedFor)
{
    MakeCard();
    EXPECT_EQ(Sign("654321\n", {"--code", "123456"}).exitCode, 0);
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
