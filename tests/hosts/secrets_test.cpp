// What the library and the front leave of codes and keys in the memory of their host, and in the log.
// softcard.LeftInMemory has the same for the card-access library and the tool, which changes and unblocks codes.
#include "tests/hosts/card_for_hosts.h"
#include "tests/softcard/system/linux/card_secrets.h"

#include "softcard/card/directories.h"

#include <botan/hex.h>

#include <fstream>

namespace hosts {
namespace {

using softcard::test::Secrets;

struct Scenario
{
    std::string name;
    std::string end;   // "started" or "finalized"
    std::string given; // to the host, in lines
    std::string typed; // at the keyboard, in lines
};

class LeftInHosts : public HostTest
{
protected:
    LeftInHosts()
    {
        Tool({"set-code", "anna", "bok", "--old", bok, "--new", codes.bok});
        Tool({"set-code", "anna", "pin", "--old", pin, "--new", codes.pin});
        Tool({"set-code", "anna", "puk", "--old", puk, "--new", codes.puk});
        ofCodes = softcard::test::SecretsOfCodes(Folder(), codes);
        ofCodes["the wrong code"] = wrong;
        all = ofCodes;
        softcard::test::AddKeys(all, softcard::CardStore(softcard::FindDirectories()).Load("anna"), Folder(),
                                codes);
    }

    [[nodiscard]] std::filesystem::path Folder() const { return Home() / "state/cards/anna"; }

    void ExpectNothingLeft(const Scenario& scenario)
    {
        SCOPED_TRACE(scenario.name + ", " + scenario.end);
        std::ofstream(Home() / "given") << scenario.given;
        Answer(scenario.typed);
        const auto ended =
            softcard::test::RunTraced(Home() / "given", HostCommand({"secrets", scenario.name, scenario.end}),
                                      scenario.end == "started" ? ofCodes : all);
        EXPECT_EQ(ended.exitCode, 0) << ended.output;
        EXPECT_EQ(ended.found, std::vector<std::string>());
        EXPECT_GT(ended.bytesSearched, std::size_t{1000000});
    }

    // The log as it is, and with its hexadecimal digits read.
    void ExpectNothingLogged()
    {
        const std::string log = Log();
        EXPECT_NE(log.find("C_Sign"), std::string::npos);
        EXPECT_NE(log.find("VERB:"), std::string::npos);
        for (const auto& [name, secret] : all) {
            const std::vector<uint8_t> bytes(secret.begin(), secret.end());
            EXPECT_EQ(log.find(secret), std::string::npos) << name;
            EXPECT_EQ(log.find(Botan::hex_encode(bytes)), std::string::npos) << name;
            EXPECT_EQ(log.find(Botan::hex_encode(bytes, false)), std::string::npos) << name;
        }
    }

    const softcard::test::CardCodes codes{softcard::test::RandomCode(), softcard::test::RandomCode(),
                                          softcard::test::RandomCode()};
    const std::string wrong = softcard::test::RandomCode();
    Secrets ofCodes;
    Secrets all; // with the keys, which the software card has in memory from the login to C_Finalize
};

INSTANTIATE_TEST_SUITE_P(Each, LeftInHosts, testing::Values("library", "front"),
                         [](const auto& instance) { return instance.param; });

TEST_P(LeftInHosts, IsNothingBehindAnyScenario)
{
    const std::string theBok = codes.bok + "\n";
    const std::string thePin = codes.pin + "\n";
    const std::vector<Scenario> scenarios = {
        {"logged-in", "started", theBok, ""},
        {"signed", "started", theBok, ""},
        {"decrypted", "finalized", theBok, ""},
        {"qualified", "finalized", theBok, thePin},
        {"authorised", "finalized", theBok + thePin, ""},
        {"asked", "finalized", "", theBok},
        {"wrong", "started", wrong + "\n", ""},
        {"cancelled", "started", "", "CANCEL\n"},
        {"wrong-pin", "finalized", theBok, wrong + "\nCANCEL\n"},
    };
    for (const Scenario& scenario : scenarios) {
        ExpectNothingLeft(scenario);
    }
    ExpectNothingLogged();
}

} // namespace
} // namespace hosts
