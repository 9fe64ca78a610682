// Keys that OpenSSL made, brought to a card; and certificates brought out.
#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/key_use.h"

#include <botan/version.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace softcard::test;

namespace {

class Import : public CardTest
{
protected:
    [[nodiscard]] std::string File(const std::string& name) const { return Scratch(name).string(); }

    void RunOpenssl(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), "openssl");
        const Finished finished = RunProgram(arguments);
        ASSERT_EQ(finished.exitCode, 0) << finished.errors;
    }

    // key.pem, certificate.pem, and both in both.p12 with the password "geheim".
    void MakeFiles(const std::string& algorithm = "rsa:2048") const
    {
        RunOpenssl({"req", "-x509", "-newkey", algorithm, "-nodes", "-keyout", File("key.pem"), "-out",
                    File("certificate.pem"), "-subj", "/CN=Imported", "-days", "30"});
        RunOpenssl({"pkcs12", "-export", "-in", File("certificate.pem"), "-inkey", File("key.pem"), "-out",
                    File("both.p12"), "-passout", "pass:geheim"});
    }

    // That the family's key in the given place signs or decrypts for the imported certificate.
    void ExpectDecryption(CardSession session, uint32_t index) const
    {
        WriteText(Scratch("plain"), "a secret text");
        RunOpenssl({"pkeyutl", "-encrypt", "-certin", "-inkey", File("certificate.pem"), "-in", File("plain"),
                    "-out", File("encrypted")});
        const Output plain = Decrypt(session, ReadBytes(Scratch("encrypted")), index);
        ASSERT_EQ(plain.status, 0);
        EXPECT_EQ(std::string(plain.bytes.begin(), plain.bytes.end()), "a secret text");
    }

    static void ExpectRefusal(const std::vector<std::string>& arguments, int exitCode)
    {
        const Finished refused = RunTool(arguments);
        EXPECT_EQ(refused.exitCode, exitCode) << refused.errors;
        EXPECT_TRUE(refused.errors.starts_with("tavrik-card: ")) << refused.errors;
    }
};

TEST_F(Import, TakesPkcs12)
{
    MakeFiles();
    const Finished imported = RunTool({"import", "ref2", "es", File("both.p12"), "--password", "geheim",
                                       "--code", bok, "--reference", "3"});
    ASSERT_EQ(imported.exitCode, 0) << imported.errors;
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    ExpectDecryption(session, 1);
    const auto records = GetRecords(Library().esGetCertificates, session);
    EXPECT_EQ(records->count, 2U);
    EXPECT_EQ(records->keys[0].keyReference, 2U);
    EXPECT_EQ(records->keys[1].keyReference, 3U);
}

TEST_F(Import, TakesPem)
{
    MakeFiles();
    RunOpenssl({"rsa", "-aes256", "-passout", "pass:schloss", "-in", File("key.pem"), "-out",
                File("locked.pem"), "-traditional"});
    ASSERT_EQ(RunTool({"import", "ref2", "es", File("certificate.pem"), "--key", File("locked.pem"),
                       "--password", "schloss", "--puk", templatePuk})
                  .exitCode,
              0);
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    ExpectDecryption(session, 1);
    EXPECT_EQ(GetRecords(Library().esGetCertificates, session)->keys[1].keyReference, 1U);
}

TEST_F(Import, TakesOneFileWithKeyAndChain)
{
    MakeFiles();
    const std::string command = "cat '" + (State() / "authority/issuing.pem").string() + "' '" +
                                File("certificate.pem") + "' '" + File("key.pem") + "' >'" + File("all.pem") +
                                "'";
    ASSERT_EQ(RunProgram({"sh", "-c", command}).exitCode, 0);
    ASSERT_EQ(RunTool({"import", "blank", "es", File("all.pem"), "--puk", templatePuk}).exitCode, 0);
    EXPECT_EQ(RunTool({"export-certificate", "blank", "es", "--index", "2"}).output,
              RunProgram({"cat", File("certificate.pem")}).output);
}

TEST_F(Import, RefusesKeysAndCertificatesOfTheWrongSize)
{
    MakeFiles();
    ExpectRefusal({"import", "ref2", "es", File("both.p12"), "--password", "falsch", "--code", bok},
                  exitNotImportable);
    ExpectRefusal({"import", "ref2", "es", File("nothing"), "--code", bok}, exitNotImportable);
    ExpectRefusal({"import", "ref2", "es", File("certificate.pem"), "--code", bok}, exitNotImportable);
    ExpectRefusal({"import", "ref2", "es", (State() / "authority/root.pem").string(), "--key",
                   File("key.pem"), "--code", bok},
                  exitNotImportable);
    ExpectRefusal(
        {"import", "ref2", "es", File("certificate.pem"), "--key", File("key.pem"), "--code", wrongCode}, 8);
    ExpectRefusal({"import", "ref2", "es", File("certificate.pem"), "--key", File("key.pem"), "--reference",
                   "5", "--code", bok},
                  2);
    ExpectRefusal({"import", "nobody", "es", File("certificate.pem")}, 3);
    MakeFiles("rsa:1024");
    ExpectRefusal({"import", "ref2", "es", File("both.p12"), "--password", "geheim", "--code", bok},
                  exitNotImportable);
    ExpectRefusal({"export-certificate", "ref2", "es", "--index", "2"}, 2);
}

TEST_F(Import, FillsAFamilyUpToEight)
{
    MakeFiles();
    const std::vector<std::string> import = {"import", "ref2",          "qes",    File("certificate.pem"),
                                             "--key",  File("key.pem"), "--code", pin};
    for (int i = 1; i < 8; ++i) {
        ASSERT_EQ(RunTool(import).exitCode, 0);
    }
    ExpectRefusal(import, exitNotImportable);
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(GetRecords(Library().qesGetCertificates, session)->count, 8U);
    EXPECT_EQ(VerifyPin(session, pin).returned, 0);
}

TEST_F(Import, BringsCertificatesOut)
{
    const auto der = ReadBytes(State() / "cards/ref2/es-1.der");
    ASSERT_EQ(RunTool({"export-certificate", "ref2", "es", "--der", "--out", File("out.der")}).exitCode, 0);
    EXPECT_EQ(ReadBytes(Scratch("out.der")), der);
    WriteText(Scratch("out.pem"), RunTool({"export-certificate", "ref2", "es"}).output);
    RunOpenssl({"x509", "-in", File("out.pem"), "-outform", "DER", "-out", File("again.der")});
    EXPECT_EQ(ReadBytes(Scratch("again.der")), der);
}

TEST_F(Import, RefusesKeysOfOtherKinds)
{
    for (const char* algorithm : {"ED25519", "ED448", "RSA-PSS"}) {
        RunOpenssl({"genpkey", "-algorithm", algorithm, "-out", File("key.pem")});
        RunOpenssl({"req", "-x509", "-key", File("key.pem"), "-out", File("certificate.pem"), "-subj",
                    "/CN=Other", "-days", "30"});
        ExpectRefusal(
            {"import", "ref2", "es", File("certificate.pem"), "--key", File("key.pem"), "--code", bok},
            exitNotImportable);
    }
}

// Some certificates have no end, which they say with one thousands of years away.
TEST_F(Import, RefusesAnUnreadableCertificate)
{
    RunOpenssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", File("key.pem"), "-out",
                File("certificate.pem"), "-subj", "/CN=Forever", "-days", "2910000"});
    ExpectRefusal({"import", "ref2", "es", File("certificate.pem"), "--key", File("key.pem"), "--code", bok},
                  exitNotImportable);
    EXPECT_EQ(RunTool({"show", "ref2"}).exitCode, 0);
    EXPECT_EQ(GetRecords(Library().esGetCertificates, InsertAndOpen("ref2"))->count, 1U);
}

TEST_F(Import, BringsCertificatesIntoAPipe)
{
    ASSERT_EQ(RunProgram({"mkfifo", File("pipe")}).exitCode, 0);
    const softcard::FileDescriptor pipe(open(File("pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ASSERT_EQ(RunTool({"export-certificate", "ref2", "es", "--der", "--out", File("pipe")}).exitCode, 0);
    ASSERT_TRUE(std::filesystem::is_fifo(Scratch("pipe"))) << "no file takes the place of a pipe or a device";
    std::vector<uint8_t> written(4096);
    const ssize_t length = read(pipe.Get(), written.data(), written.size());
    written.resize(static_cast<size_t>(std::max<ssize_t>(length, 0)));
    EXPECT_EQ(written, ReadBytes(State() / "cards/ref2/es-1.der"));
}

TEST_F(Import, SaysWhenACertificateCannotBeWritten)
{
    // By way of a link, so that the device is safe from a tool that replaces what it should write to.
    std::filesystem::create_symlink("/dev/full", Scratch("full"));
    ExpectRefusal({"export-certificate", "ref2", "es", "--out", File("full")}, 1);
    EXPECT_TRUE(std::filesystem::is_symlink(Scratch("full")));
    ExpectRefusal({"export-certificate", "ref2", "es", "--out", Home().string()}, 1);
}

// Old programs put Latin-1 where other letters are not provided for. Newer versions of Botan read no such certificate.
bool BotanReadsNamesInOtherCharacterSets()
{
    return Botan::version_major() < 3 || (Botan::version_major() == 3 && Botan::version_minor() < 8);
}

TEST_F(Import, ShowsAHolderWhoseNameIsNotUtf8)
{
    WriteText(Scratch("old.cnf"), "[req]\ndistinguished_name=dn\nstring_mask=default\n[dn]\n");
    RunOpenssl({"req", "-config", File("old.cnf"), "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                File("key.pem"), "-out", File("certificate.der"), "-outform", "DER", "-subj", "/CN=Kovac",
                "-days", "30"});
    std::string der = softcard::ReadFile(Scratch("certificate.der"));
    for (size_t name = der.find("Kovac"); name != std::string::npos; name = der.find("Kovac", name)) {
        der[name + 3] = '\xE1';
    }
    WriteText(Scratch("certificate.der"), der);
    RunOpenssl({"x509", "-inform", "DER", "-in", File("certificate.der"), "-out", File("certificate.pem")});
    const std::vector<std::string> import{"import", "ref2",          "es",     File("certificate.pem"),
                                          "--key",  File("key.pem"), "--code", bok};
    if (!BotanReadsNamesInOtherCharacterSets()) {
        ExpectRefusal(import, exitNotImportable);
        return;
    }
    ASSERT_EQ(RunTool(import).exitCode, 0);
    const Finished shown = RunTool({"show", "ref2", "--json"});
    ASSERT_EQ(shown.exitCode, 0) << shown.errors;
    EXPECT_EQ(nlohmann::json::parse(shown.output)["es"][1]["subject"], "Kov\uFFFDc");
}

// Nothing is left behind of what was read by then, which the sanitizer's build sees.
TEST_F(Import, RefusesAnEncryptedKeyWithoutItsPassword)
{
    MakeFiles();
    RunOpenssl(
        {"pkcs8", "-topk8", "-in", File("key.pem"), "-out", File("locked.pem"), "-passout", "pass:schloss"});
    const Finished refused =
        RunProgramOn("/dev/null", {CARD_TOOL, "import", "ref2", "es", File("certificate.pem"), "--key",
                                   File("locked.pem"), "--code", bok});
    EXPECT_EQ(refused.exitCode, exitBadArguments);
    EXPECT_EQ(refused.errors, "tavrik-card: Password of the file is missing: neither an option nor a line of "
                              "the standard input gives it.\n");
}

} // namespace
