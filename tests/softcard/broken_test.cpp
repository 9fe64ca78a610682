// Cards whose files are not what they should be.
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/curve_certificate.h"
#include "tests/softcard/key_use.h"
#include "tests/softcard/wrong_things.h"

#include <botan/auto_rng.h>
#include <botan/rsa.h>
#include <botan/x509self.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// ref2 is the card that gets broken, ref3 one in good health; both are in readers.
class BrokenCards : public CardTest
{
protected:
    BrokenCards()
    {
        Insert("ref2");
        Insert("ref3", "Reader 1");
    }

    [[nodiscard]] fs::path Card() const { return State() / "cards/ref2"; }

    static void ExpectTheOtherCardWorks()
    {
        EXPECT_EQ(Library().closeSession(Open(u"Reader 1")), 0);
        std::u16string buffer(1024, u'\0');
        EXPECT_GT(Library().getReaderList(buffer.data(), 1023), 10) << "both readers are listed";
    }

    static void ExpectItIsShownAsBroken()
    {
        const Finished listed = RunTool({"list"});
        EXPECT_EQ(listed.exitCode, 1);
        EXPECT_NE(listed.output.find("ref2\tReader 0\tbroken\tbroken\t-\n"), std::string::npos)
            << listed.output;
        EXPECT_NE(listed.output.find("ref3\tReader 1\t3\t3\tref3\n"), std::string::npos) << listed.output;
        EXPECT_TRUE(listed.errors.starts_with("tavrik-card: The card \"ref2\" is broken: ")) << listed.errors;

        const Finished asJson = RunTool({"list", "--json"});
        EXPECT_EQ(asJson.exitCode, 1);
        const Json cards = Json::parse(asJson.output);
        ASSERT_EQ(cards.size(), 5U);
        EXPECT_EQ(cards[2]["name"], "ref2");
        EXPECT_NE(cards[2]["broken"], "");
        EXPECT_FALSE(cards[3].contains("broken"));

        const Finished shown = RunTool({"show", "ref2"});
        EXPECT_EQ(shown.exitCode, 1);
        EXPECT_NE(shown.output.find("Broken       "), std::string::npos) << shown.output;
        EXPECT_EQ(Json::parse(RunTool({"show", "ref2", "--json"}).output)["name"], "ref2");
    }

    static void ExpectItCanBeMadeAnew()
    {
        EXPECT_EQ(RunTool({"delete", "ref2", "--force"}).exitCode, 0);
        ASSERT_EQ(RunTool({"new", "ref2", "--puk", "1"}).exitCode, 0);
        EXPECT_EQ(RunTool({"list"}).exitCode, 0);
        const Finished inserted = RunTool({"insert", "ref2"});
        EXPECT_EQ(inserted.exitCode, 0) << inserted.errors;
        EXPECT_EQ(VerifyBok(Open(), bok).returned, 0);
    }

    // A change of card.json, state.json or faults.json that a person made.
    void Edit(const std::string& file, const std::function<void(Json&)>& change) const
    {
        Json json = Json::parse(softcard::ReadFile(Card() / file));
        change(json);
        WriteText(Card() / file, json.dump());
    }
};

// Of all systems, and what only this one has.
std::vector<WrongThing> WrongThings()
{
    std::vector<WrongThing> things = WrongThingsOfTheSystem();
    things.push_back({"a folder", [](const fs::path& path) { fs::create_directory(path); }});
    things.push_back({"nonsense", [](const fs::path& path) { WriteText(path, "[[["); }});
    return things;
}

class BrokenFiles : public BrokenCards, public testing::WithParamInterface<const char*>
{
};

TEST_P(BrokenFiles, StopNoOtherCardAndAreToldOf)
{
    for (const auto& [what, make] : WrongThings()) {
        if (what == "nonsense" && std::string(GetParam()).ends_with(".key")) {
            continue; // an encrypted key looks like that without its secret
        }
        SCOPED_TRACE(what);
        fs::remove_all(Card() / GetParam());
        make(Card() / GetParam());
        if (what == "nonsense" && std::string(GetParam()) == "channel") {
            EXPECT_EQ(RunTool({"list"}).exitCode, 0) << "any text is a mark";
        } else {
            ExpectItIsShownAsBroken();
        }
        ExpectTheOtherCardWorks();
        CardSession session = 0;
        Library().openSession(u"Reader 0", &session);
        if (session != 0) {
            VerifyBok(session, bok);
            VerifyPin(session, pin);
            EXPECT_EQ(Library().closeSession(session), 0);
        }
        ExpectItCanBeMadeAnew();
    }
}

INSTANTIATE_TEST_SUITE_P(All, BrokenFiles,
                         testing::Values("card.json", "state.json", "faults.json", "channel", "es-1.der",
                                         "qes-1.key"));

TEST_F(BrokenCards, AreDeletedAlsoWithoutUsableLockFiles)
{
    for (const char* file : {"lock", "transaction"}) {
        for (const auto& [what, make] : WrongThings()) {
            SCOPED_TRACE(std::string(file) + ": " + what);
            const fs::path lock = softcard::LockFileOf(Card(), file);
            if (what == "a folder" && lock.parent_path() != Card()) {
                continue; // beside the card it would stay, and keep a new card of the name from being used
            }
            fs::remove_all(lock);
            make(lock);
            ExpectTheOtherCardWorks();
            ExpectItCanBeMadeAnew();
        }
    }
}

TEST_F(BrokenCards, WithoutADescriptionAreListedToo)
{
    Remove("ref2");
    fs::remove(Card() / "card.json");
    const Finished listed = RunTool({"list"});
    EXPECT_EQ(listed.exitCode, 1);
    EXPECT_NE(listed.output.find("ref2\t-\tbroken\tbroken\t-\n"), std::string::npos) << listed.output;
    const Finished inserted = RunTool({"insert", "ref2"});
    EXPECT_EQ(inserted.exitCode, 1);
    EXPECT_NE(inserted.errors.find("The card \"ref2\" is broken"), std::string::npos) << inserted.errors;
    ExpectItCanBeMadeAnew();
}

TEST_F(BrokenCards, IncludeThoseWithCountersOutOfRange)
{
    const std::string good = softcard::ReadFile(Card() / "state.json");
    const std::vector<std::function<void(Json&)>> changes = {
        [](Json& json) { json["pin"]["triesLeft"] = 4; },
        [](Json& json) { json["pin"]["triesLeft"] = -1; },
        [](Json& json) { json["pin"]["triesLeft"] = 4294967298; },
        [](Json& json) { json["pin"]["triesLeft"] = 2.5; },
        [](Json& json) { json["bok"]["maximumTries"] = 0; },
        [](Json& json) { json["bok"]["maximumTries"] = 4000000000; },
        [](Json& json) { json["puk"]["maximumTries"] = "ten"; },
        [](Json& json) { json["bok"]["cost"] = 1073741824; }, // a terabyte of memory
        [](Json& json) { json["bok"]["cost"] = 12345; },
        [](Json& json) { json["bok"]["cost"] = 0; }};
    for (size_t i = 0; i < changes.size(); ++i) {
        SCOPED_TRACE(i);
        Edit("state.json", changes[i]);
        ExpectItIsShownAsBroken();
        const CardSession session = Open();
        EXPECT_EQ(VerifyBok(session, bok).returned, eInternalError);
        EXPECT_EQ(VerifyPin(session, pin).returned, eInternalError);
        WriteText(Card() / "state.json", good);
        EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    }
}

TEST_F(BrokenCards, IncludeThoseWithFilesOutsideTheirFolder)
{
    fs::copy_file(Card() / "es-1.der", Home() / "outside");
    fs::copy_file(Card() / "es-1.der", State() / "cards/ref3/inside-another");
    fs::create_directory(Card() / "below");
    fs::copy_file(Card() / "es-1.der", Card() / "below/file");
    const std::string good = softcard::ReadFile(Card() / "card.json");
    std::vector<std::string> paths = WaysOut(Card(), Home() / "outside");
    paths.insert(paths.end(), {(Home() / "outside").string(), "../ref3/inside-another",
                               "below/../../ref3/inside-another", "", "..", "below"});
    for (const std::string& path : paths) {
        for (const char* field : {"certificate", "key"}) {
            SCOPED_TRACE(path + " as " + field);
            Edit("card.json", [&](Json& json) { json["es"][0][field] = path; });
            ExpectItIsShownAsBroken();
            CardSession session = 0;
            const CardStatus opened = Library().openSession(u"Reader 0", &session);
            EXPECT_TRUE(opened == eUnknownCardType || VerifyBok(session, bok).returned == eInternalError);
            WriteText(Card() / "card.json", good);
        }
    }
    EXPECT_EQ(RunTool({"list"}).exitCode, 0);
}

// What is no certificate for an RSA key, or longer than the room for one, programs are not told of.
TEST_F(BrokenCards, IncludeThoseWithCertificatesThatProgramsCannotGet)
{
    Botan::AutoSeeded_RNG random;
    Botan::X509_Cert_Options options("Other");
    while (options.more_dns.size() < sizeof CardCertificate::data / 16) {
        options.more_dns.push_back("name-" + std::to_string(options.more_dns.size()) + ".of.many");
    }
    const auto longOne =
        Botan::X509::create_self_signed_cert(options, Botan::RSA_PrivateKey(random, 2048), "SHA-256", random);
    for (const std::vector<uint8_t>& certificate : {CurveCertificate(), longOne.BER_encode()}) {
        SCOPED_TRACE(certificate.size());
        WriteBytes(Card() / "es-1.der", certificate);
        ExpectItIsShownAsBroken();
        ExpectTheOtherCardWorks();
    }
}

TEST_F(BrokenCards, IncludeThoseWithNumbersOutOfRange)
{
    const std::string good = softcard::ReadFile(Card() / "card.json");
    const std::vector<std::function<void(Json&)>> changes = {
        [](Json& json) { json["es"][0]["reference"] = 5; },
        [](Json& json) { json["es"][0]["reference"] = 4294967297; },
        [](Json& json) { json["versions"][0] = 256; }, [](Json& json) { json["versions"].push_back(1); },
        [](Json& json) {
            while (json["es"].size() < 9) {
                json["es"].push_back(json["es"][0]);
            }
        }};
    for (size_t i = 0; i < changes.size(); ++i) {
        SCOPED_TRACE(i);
        Edit("card.json", changes[i]);
        ExpectItIsShownAsBroken();
        WriteText(Card() / "card.json", good);
    }
    Order("ref2", {"any", "--delay", "1"});
    for (const auto& change : std::vector<std::function<void(Json&)>>{
             [](Json& json) { json[0]["count"] = 0; },
             [](Json& json) { json[0]["delay"] = 9000000000000000000; }}) {
        Edit("faults.json", change);
        ExpectItIsShownAsBroken();
        ExpectTheOtherCardWorks();
    }
}

} // namespace
