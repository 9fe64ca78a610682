// Codes, and what they lead to, leave nothing behind in the memory of a program.
#include "tests/softcard/system/linux/memory.h"

#include "softcard/card/card_store.h"
#include "softcard/card/code_change.h"
#include "softcard/card/directories.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/old_key_files.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>
#include <botan/pwdhash.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

using namespace softcard::test;
using softcard::CodeKind;
using softcard::KeyFamily;
using softcard::MakeSecretText;

namespace {

// Codes that no other memory holds by chance.
std::string RandomCode()
{
    Botan::AutoSeeded_RNG random;
    return Botan::hex_encode(random.random_vec(12));
}

template <typename Bytes>
std::string TextOf(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

// As a file has a number, and as a computation has it.
void AddNumber(Secrets& secrets, const std::string& name, const Botan::BigInt& number)
{
    std::vector<uint8_t> bytes = Botan::BigInt::encode(number);
    secrets[name + ", most significant byte first"] = TextOf(bytes);
    std::reverse(bytes.begin(), bytes.end());
    secrets[name + ", least significant byte first"] = TextOf(bytes);
}

void AddKey(Secrets& secrets, const std::string& name, const Botan::RSA_PrivateKey& key)
{
    AddNumber(secrets, name + ": the first prime", key.get_p());
    AddNumber(secrets, name + ": the second prime", key.get_q());
    AddNumber(secrets, name + ": the exponent", key.get_d());
    AddNumber(secrets, name + ": the first reduced exponent", key.get_d1());
    AddNumber(secrets, name + ": the second reduced exponent", key.get_d2());
    AddNumber(secrets, name + ": the coefficient", key.get_c());
}

void AddSecret(Secrets& secrets, const std::string& name, const softcard::SecretBytes& secret)
{
    secrets[name] = TextOf(secret);
    secrets[name + " in digits"] = Botan::hex_encode(secret);
    secrets[name + " in small digits"] = Botan::hex_encode(secret, false);
}

// What a code becomes: the first half verifies it, the second one unwraps.
std::string Derive(const std::string& code, const softcard::CodeRecord& record)
{
    std::string derived(64, '\0');
    Botan::PasswordHashFamily::create_or_throw("Scrypt")
        ->from_params(record.cost, 8, 1)
        ->derive_key(reinterpret_cast<uint8_t*>(derived.data()), derived.size(), code.data(), code.size(),
                     record.salt.data(), record.salt.size());
    EXPECT_EQ(derived.substr(0, 32), TextOf(record.verifier));
    return derived.substr(32);
}

class LeftInMemory : public CardTest
{
protected:
    LeftInMemory()
    {
        for (const auto& [word, old, code] : {std::tuple("bok", bok, newBok), std::tuple("pin", pin, newPin),
                                              std::tuple("puk", templatePuk, newPuk)}) {
            EXPECT_EQ(RunTool({"set-code", "ref2", word, "--old", old, "--new", code}).exitCode, 0);
        }
        const softcard::CodeRecords records = softcard::ReadCodeRecords(Folder());
        secrets = {{"the BOK", newBok},
                   {"the PIN", newPin},
                   {"the PUK", newPuk},
                   {"what the BOK unwraps with", Derive(newBok, records.bok)},
                   {"what the PIN unwraps with", Derive(newPin, records.pin)},
                   {"what the PUK unwraps with", Derive(newPuk, records.puk)}};
    }

    [[nodiscard]] std::filesystem::path Folder() const { return State() / "cards/ref2"; }

    [[nodiscard]] softcard::SecretBytes SecretOf(KeyFamily family) const
    {
        const bool isQualified = family == KeyFamily::qualified;
        return softcard::OpenWithCode(Folder(), isQualified ? CodeKind::pin : CodeKind::bok,
                                      MakeSecretText(isQualified ? newPin : newBok));
    }

    // The secrets of both families and their keys'; with the key files in the form that they had before when
    // wanted.
    void AddWhatTheCodesLeadTo(bool inOldForm)
    {
        const softcard::Card card = softcard::CardStore(softcard::FindDirectories()).Load("ref2");
        for (const KeyFamily family : {KeyFamily::qualified, KeyFamily::ordinary}) {
            const std::string name = family == KeyFamily::qualified ? "qualified" : "ordinary";
            const softcard::SecretBytes secret = SecretOf(family);
            const auto keys = softcard::LoadPrivateKeys(card, family, secret);
            AddSecret(secrets, "the " + name + " secret", secret);
            AddKey(secrets, "the " + name + " key", *keys.front());
            if (inOldForm) {
                WriteOldKeyFile(Folder() / card.Keys(family).front().keyFile, *keys.front(), secret);
            }
        }
    }

    void ExpectNothingLeft(const std::string& input, const std::vector<std::string>& arguments) const
    {
        WriteText(Scratch("input"), input);
        const TracedEnd end = RunTraced(Scratch("input"), arguments, secrets);
        EXPECT_EQ(end.exitCode, 0) << end.output;
        EXPECT_EQ(end.found, std::vector<std::string>());
        EXPECT_GT(end.bytesSearched, size_t{100000});
    }

    void ExpectToolLeavesNothing(const std::string& input, std::vector<std::string> arguments) const
    {
        SCOPED_TRACE(arguments.front());
        arguments.insert(arguments.begin(), CARD_TOOL);
        ExpectNothingLeft(input, arguments);
    }

    const std::string newBok = RandomCode();
    const std::string newPin = RandomCode();
    const std::string newPuk = RandomCode();
    Secrets secrets;
};

// Whoever looks for nothing, or in the wrong place, finds nothing either.
TEST_F(LeftInMemory, IsFoundWhereAProgramKeepsIt)
{
    secrets = {{"known", "a text that a program keeps"}, {"unknown", "a text that no program has"}};
    const TracedEnd end = RunTraced("/dev/null", {"/bin/echo", "no text, a text that a program k"}, secrets);
    EXPECT_EQ(end.exitCode, 0);
    EXPECT_EQ(end.found, std::vector<std::string>{"known"});
}

TEST_F(LeftInMemory, IsNothingOnceTheLibraryIsFinalised)
{
    AddWhatTheCodesLeadTo(false);
    Insert("ref2");
    ExpectNothingLeft(newBok + "\n" + newPin + "\n", {LEAVE_CARD, "given"});
}

TEST_F(LeftInMemory, IsNothingOfACardWhoseKeyFilesAreOfTheOldForm)
{
    AddWhatTheCodesLeadTo(true);
    Insert("ref2");
    ExpectNothingLeft(newBok + "\n" + newPin + "\n", {LEAVE_CARD, "given"});
}

TEST_F(LeftInMemory, IsNothingOfCodesThatTheKeyboardAskedFor)
{
    SetVariable("TAVRIK_PINENTRY", SCRIPTED_PINENTRY);
    SetVariable("TAVRIK_PINENTRY_ANSWERS", Scratch("answers"));
    WriteText(Scratch("answers"), newBok + "\n" + newPin + "\n");
    AddWhatTheCodesLeadTo(false);
    Insert("ref2");
    ExpectNothingLeft("", {LEAVE_CARD, "asked"});
    UnsetVariable("TAVRIK_PINENTRY_ANSWERS");
}

TEST_F(LeftInMemory, IsNothingOfTheCodesThatANewCardIsGiven)
{
    ExpectToolLeavesNothing("", {"new", "another", "--bok", newBok, "--pin=" + newPin, "--puk", newPuk});
}

TEST_F(LeftInMemory, IsNothingOfThePukThatANewCardGetsByItself)
{
    const std::string beginning = "PUK: ";
    const TracedEnd end =
        RunTraced("/dev/null", {CARD_TOOL, "new", "another"}, [&](const std::string& output) {
            return Secrets{{"the PUK", output.substr(beginning.size(), 8)}};
        });
    EXPECT_EQ(end.exitCode, 0) << end.output;
    EXPECT_TRUE(end.output.starts_with(beginning));
    EXPECT_EQ(end.found, std::vector<std::string>());
}

TEST_F(LeftInMemory, IsNothingOfTheCodesThatAreChanged)
{
    const std::string another = RandomCode();
    secrets["the new code"] = another;
    AddWhatTheCodesLeadTo(false);
    ExpectToolLeavesNothing("", {"set-code", "ref2", "bok", "--puk", newPuk, "--new", another});
    ExpectToolLeavesNothing("", {"set-code", "ref2", "puk", "--old=" + newPuk, "--new=" + another});
    ExpectToolLeavesNothing(newPin + "\n" + newPuk + "\n", {"set-code", "ref2", "pin"});
    ExpectToolLeavesNothing(another + "\n", {"unblock", "ref2", "pin"});
    ExpectToolLeavesNothing("", {"unblock", "ref2", "bok", "--puk", another, "--new", newBok});
}

} // namespace
