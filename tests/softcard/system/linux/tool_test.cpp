// What takes programs of Linux to be seen.
#include "card_home.h"

#include <string>
#include <vector>

using namespace softcard::test;

namespace {

class ToolWithOthers : public CardTest
{
};

TEST_F(ToolWithOthers, MakesSeveralCertificatesOfAFamily)
{
    ASSERT_EQ(RunTool({"new", "many", "--qes-certificates", "2", "--es-certificates", "3", "--es-bits",
                       "2304", "--qes-reference", "4", "--puk", "1"})
                  .exitCode,
              0);
    const CardSession session = InsertAndOpen("many");
    std::vector<CardCertificate> certificates(maxCertificates);
    std::vector<CardKeyInfo> keys(maxCertificates);
    uint32_t count = 0;
    ASSERT_EQ(Library().qesGetCertificates(session, certificates.data(), &count, keys.data()), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(keys[1].keyReference, 4U);
    EXPECT_EQ(keys[1].modulusBits, 2048U);
    ASSERT_EQ(Library().esGetCertificates(session, certificates.data(), &count, keys.data()), 0);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(keys[2].modulusBits, 2304U);

    // The certificate's index selects the key that decrypts.
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    WriteText(Scratch("plain"), "for the third");
    const Finished encrypted = RunProgram({"openssl", "pkeyutl", "-encrypt", "-certin", "-keyform", "DER",
                                           "-inkey", (State() / "cards/many/es-3.der").string(), "-in",
                                           Scratch("plain").string(), "-out", Scratch("encrypted").string()});
    ASSERT_EQ(encrypted.exitCode, 0) << encrypted.errors;
    const auto data = ReadBytes(Scratch("encrypted"));
    for (uint32_t index = 0; index < 4; ++index) {
        std::vector<uint8_t> output(512);
        auto length = static_cast<uint32_t>(output.size());
        const CardStatus status = Library().esDecryptData(
            session, data.data(), static_cast<uint32_t>(data.size()), output.data(), &length, index);
        const bool isPlain =
            status == 0 && std::string(output.begin(), output.begin() + length) == "for the third";
        EXPECT_EQ(isPlain, index == 2) << index;
    }
}

// As `script` records it, which gives the program a terminal.
TEST_F(ToolWithOthers, ShowsProgressOnATerminalOnly)
{
    const std::string command = std::string(CARD_TOOL) + " new NAME --bits 4096 --puk 1";
    const auto make = [&](const std::string& name) {
        std::string words = command;
        words.replace(words.find("NAME"), 4, name);
        return words;
    };
    const Finished atTerminal = RunProgram({"script", "-qec", make("terminal"), "/dev/null"});
    EXPECT_EQ(atTerminal.exitCode, 0);
    EXPECT_NE(atTerminal.output.find("Generating qualified key 1 of 1 (4096 bits)"), std::string::npos);
    const Finished inPipe = RunProgram({"sh", "-c", make("pipe")});
    EXPECT_EQ(inPipe.exitCode, 0);
    EXPECT_EQ(inPipe.output + inPipe.errors, "");
}

} // namespace
