// The store as Linux has it, and its certificates as OpenSSL sees them.
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/folders.h"
#include "tests/softcard/operations.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include <sys/stat.h>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

mode_t ModeOf(const fs::path& path)
{
    struct stat status
    {
    };
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

void ExpectPrivate(const fs::path& folder)
{
    EXPECT_EQ(ModeOf(folder), 0700U) << folder;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_symlink()) {
            continue; // a link has no mode of its own
        }
        EXPECT_EQ(ModeOf(entry.path()), entry.is_directory() ? 0700U : 0600U) << entry.path();
    }
}

TEST(LinuxFolders, LieInTheHomeOfTheirOwn)
{
    const TemporaryHome home;
    const Folders folders = AskForFolders();
    EXPECT_EQ(folders.appData.native(), home.Folder().string() + "/config/");
    EXPECT_EQ(folders.userData.native(), home.Folder().string() + "/state/");
    EXPECT_EQ(ModeOf(home.Folder() / "config"), 0700U);
    EXPECT_EQ(ModeOf(home.Folder() / "state"), 0700U);
}

TEST(LinuxFolders, LieWhereTheUserKeepsSuchThings)
{
    const TemporaryHome home;
    unsetenv("TAVRIK_HOME");
    const std::string base = home.Folder().string();
    setenv("XDG_CONFIG_HOME", (base + "/a/b").c_str(), 1);
    setenv("XDG_STATE_HOME", (base + "/c").c_str(), 1);
    const Folders given = AskForFolders();
    EXPECT_EQ(given.appData, base + "/a/b/tavrik/");
    EXPECT_EQ(given.userData, base + "/c/tavrik/");
    EXPECT_EQ(ModeOf(base + "/a/b/tavrik"), 0700U);

    const std::string userHome = FromEnvironment("HOME");
    setenv("HOME", base.c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    setenv("XDG_STATE_HOME", "relative/does/not/count", 1);
    const Folders byDefault = AskForFolders();
    unsetenv("XDG_STATE_HOME");
    setenv("HOME", userHome.c_str(), 1);
    EXPECT_EQ(byDefault.appData, base + "/.config/tavrik/");
    EXPECT_EQ(byDefault.userData, base + "/.local/state/tavrik/");
}

// What lies where the new content goes may be of whoever was killed there, or a trap in a folder that others
// write to.
TEST(LinuxFiles, AreWrittenAnew)
{
    const TemporaryHome home;
    const fs::path victim = home.Folder() / "victim";
    const fs::path temporary = home.Folder() / ".file.new";
    WriteText(victim, "precious");
    fs::create_symlink(victim, temporary);
    softcard::WriteFileAtomically(home.Folder() / "file", "content");
    EXPECT_EQ(softcard::ReadFile(victim), "precious");
    EXPECT_FALSE(fs::is_symlink(home.Folder() / "file"));

    WriteText(temporary, "of somebody else");
    fs::permissions(temporary, fs::perms(0666));
    softcard::WriteFileAtomically(home.Folder() / "file", "content");
    EXPECT_EQ(softcard::ReadFile(home.Folder() / "file"), "content");
    EXPECT_EQ(ModeOf(home.Folder() / "file"), 0600U);
}

class OwnedStore : public CardTest
{
};

TEST_F(OwnedStore, IsOpenToItsOwnerOnly)
{
    const CardSession session = InsertAndOpen("ref2");
    VerifyBok(session, wrongCode);
    Library().startTransaction(session);
    ExpectPrivate(State());
    ExpectPrivate(Home() / "config");
}

TEST_F(OwnedStore, KeepsNoKeyThatACodeOpens)
{
    for (const char* key : {"qes-1.key", "es-1.key"}) {
        const fs::path path = State() / "cards/ref2" / key;
        EXPECT_NE(RunProgram({"openssl", "pkey", "-in", path.string(), "-passin", "pass:123456", "-noout"})
                      .exitCode,
                  0);
    }
}

// In processor time, which does not depend on what else the machine does, and which only Linux tells in
// clock().
TEST_F(OwnedStore, VerifiesACodeQuickly)
{
    const CardSession session = InsertAndOpen("ref2");
    VerifyBok(session, bok);
    const std::clock_t start = std::clock();
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC * 3 / 10 * INSTRUMENTED_SLOWDOWN);
}

// As large as a file may be, with as many keys as go into it.
TEST_F(OwnedStore, ReadsAFileOfManyKeysInATimeThatGrowsWithItsLength)
{
    std::string state = softcard::ReadFile(State() / "cards/ref2/state.json");
    state.erase(state.rfind('}'));
    for (int number = 100000; state.size() < softcard::longestFile - 20; ++number) {
        state += ",\"" + std::to_string(number) + "\":0";
    }
    WriteText(State() / "cards/ref2/state.json", state + "}");
    const CardSession session = InsertAndOpen("ref2");
    const std::clock_t start = std::clock();
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC * 2 * INSTRUMENTED_SLOWDOWN);
}

class Certificates : public CardTest
{
protected:
    [[nodiscard]] std::string Show(const std::string& file, const std::vector<std::string>& what) const
    {
        std::vector<std::string> arguments = {"openssl", "x509", "-in", (State() / file).string(), "-noout"};
        arguments.insert(arguments.end(), what.begin(), what.end());
        const Finished shown = RunProgram(arguments);
        EXPECT_EQ(shown.exitCode, 0) << shown.errors;
        return shown.output;
    }

    [[nodiscard]] std::string Extension(const std::string& file, const std::string& name) const
    {
        return Show(file, {"-ext", name});
    }
};

TEST_F(Certificates, ChainUpToTheRoot)
{
    const std::string root = (State() / "authority/root.pem").string();
    const std::string issuing = (State() / "authority/issuing.pem").string();
    for (const char* file : {"cards/ref2/qes-1.der", "cards/ref2/es-1.der", "cards/ref4/es-1.der"}) {
        const Finished judged = RunProgram({"openssl", "verify", "-x509_strict", "-CAfile", root,
                                            "-untrusted", issuing, (State() / file).string()});
        EXPECT_EQ(judged.exitCode, 0) << judged.output << judged.errors;
    }
    EXPECT_NE(RunProgram({"openssl", "verify", "-CAfile", root, (State() / "cards/ref2/es-1.der").string()})
                  .exitCode,
              0);
    for (const char* purpose : {"sslclient", "smimesign", "smimeencrypt"}) {
        EXPECT_EQ(RunProgram({"openssl", "verify", "-purpose", purpose, "-CAfile", root, "-untrusted",
                              issuing, (State() / "cards/ref2/es-1.der").string()})
                      .exitCode,
                  0)
            << purpose;
    }
}

TEST_F(Certificates, SayWhatTheKeyIsFor)
{
    EXPECT_NE(Extension("cards/ref2/qes-1.der", "keyUsage").find("critical\n    Non Repudiation\n"),
              std::string::npos);
    EXPECT_EQ(Extension("cards/ref2/qes-1.der", "extendedKeyUsage"), "");
    EXPECT_NE(Extension("cards/ref2/qes-1.der", "qcStatements"), "");
    EXPECT_NE(Extension("cards/ref2/es-1.der", "keyUsage")
                  .find("critical\n    Digital Signature, Key Encipherment\n"),
              std::string::npos);
    EXPECT_NE(Extension("cards/ref2/es-1.der", "extendedKeyUsage")
                  .find("TLS Web Client Authentication, E-mail Protection"),
              std::string::npos);
    for (const char* file : {"cards/ref2/qes-1.der", "cards/ref2/es-1.der"}) {
        EXPECT_NE(Extension(file, "basicConstraints").find("CA:FALSE"), std::string::npos);
    }
    EXPECT_NE(Extension("authority/issuing.pem", "basicConstraints").find("CA:TRUE, pathlen:0"),
              std::string::npos);
}

TEST_F(Certificates, NameTheHolderInUtf8)
{
    const std::string subject = Show("cards/ref2/es-1.der", {"-subject", "-nameopt", "utf8,sep_comma_plus"});
    EXPECT_NE(subject.find("CN=Žofia Kľačanská"), std::string::npos) << subject;
    EXPECT_NE(Show("cards/ref1/es-1.der", {"-subject", "-nameopt", "utf8,sep_comma_plus"}).find("CN=ref1"),
              std::string::npos);
}

TEST_F(Certificates, HaveSerialNumbersOfTheirOwn)
{
    EXPECT_NE(Show("cards/ref2/es-1.der", {"-serial"}), Show("cards/ref2/qes-1.der", {"-serial"}));
    EXPECT_GE(Show("cards/ref2/es-1.der", {"-serial"}).size(), std::string("serial=\n").size() + 28);
}

TEST_F(Certificates, AreValidForFiveYears)
{
    constexpr int day = 86400;
    const auto validAt = [&](long secondsFromNow) {
        const auto at =
            std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) + secondsFromNow;
        return RunProgram({"openssl", "verify", "-attime", std::to_string(at), "-CAfile",
                           (State() / "authority/root.pem").string(), "-untrusted",
                           (State() / "authority/issuing.pem").string(),
                           (State() / "cards/ref2/es-1.der").string()})
                   .exitCode == 0;
    };
    EXPECT_TRUE(validAt(0));
    EXPECT_TRUE(validAt(5L * 365 * day - 2L * day));
    EXPECT_FALSE(validAt(5L * 365 * day + 2L * day));
}

// The boundary has room for RSA keys only.
TEST_F(Certificates, OfOtherKeysAreInvalid)
{
    const std::string made = (State() / "cards/ref2/qes-1.der").string();
    ASSERT_EQ(RunProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                          "-nodes", "-keyout", Scratch("ec.key").string(), "-outform", "DER", "-out", made,
                          "-subj", "/CN=EC"})
                  .exitCode,
              0);
    EXPECT_EQ(Operations().at("QES_GetCertificates")(InsertAndOpen("ref2")), eInvalidDataDecoded);
}

} // namespace
