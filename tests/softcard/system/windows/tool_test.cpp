// The tool among the streams and arguments of Windows.
#include "tests/softcard/card_home.h"

#include <string>

using namespace softcard::test;

namespace {

class WindowsTool : public CardTest
{
};

TEST_F(WindowsTool, ReadsCodesWithEitherEndOfALine)
{
    WriteText(Scratch("codes"), std::string(bok) + "\r\nsecond\n");
    const Finished set = RunProgramOn(Scratch("codes"), {CARD_TOOL, "set-code", "ref2", "bok"});
    EXPECT_EQ(set.exitCode, 0) << set.errors;
    EXPECT_EQ(VerifyBok(InsertAndOpen("ref2"), "second").returned, 0);
    const Finished without = StartTool({"set-code", "ref2", "bok"});
    EXPECT_EQ(without.exitCode, 2);
    EXPECT_NE(without.errors.find("Old code is missing"), std::string::npos) << without.errors;
}

TEST_F(WindowsTool, WritesBytesAsTheyAre)
{
    const auto der = ReadBytes(State() / "cards/ref2/es-1.der");
    const Finished written = StartTool({"export-certificate", "ref2", "es", "--der"});
    EXPECT_EQ(std::vector<uint8_t>(written.output.begin(), written.output.end()), der);
    EXPECT_EQ(StartTool({"list"}).output.find('\r'), std::string::npos);
}

TEST_F(WindowsTool, TakesAndWritesPathsOfAnyName)
{
    const std::filesystem::path odd = Scratch("") / L"\u017D \u65E5.pem";
    const std::u8string name = odd.u8string();
    const Finished written =
        StartTool({"export-certificate", "ref2", "es", "--out", std::string(name.begin(), name.end())});
    EXPECT_EQ(written.exitCode, 0) << written.errors;
    EXPECT_TRUE(std::filesystem::exists(odd));
}

} // namespace
