// A host that has rights which whoever starts it has not.
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/system/linux/account_host.h"

#include <algorithm>
#include <string>
#include <vector>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

constexpr gid_t nobodysGroup = 65534;

// A group that a program can be given, other than the one that it would have anyway.
gid_t AnotherGroup()
{
    std::vector<gid_t> groups(static_cast<size_t>(std::max(getgroups(0, nullptr), 0)));
    groups.resize(
        static_cast<size_t>(std::max(getgroups(static_cast<int>(groups.size()), groups.data()), 0)));
    const auto other =
        std::find_if(groups.begin(), groups.end(), [](gid_t group) { return group != getegid(); });
    return other == groups.end() ? nobodysGroup : *other;
}

// The environment is that of an attacker, the account's home has a store with a card in a reader.
class SetId : public CardTest
{
protected:
    SetId() : userHome(FromEnvironment("HOME")), path(FromEnvironment("PATH"))
    {
        // Not with the temporary files, where the system may let nobody have more rights.
        folder = softcard::MakeUniqueFolder(fs::path(TEMPLATE_STORE) / "set-id-");
        fs::permissions(folder, fs::perms(0755));
        fs::copy_file(ACCOUNT_HOST, folder / "host");
        Insert("ref2");
        fs::create_directories(Account() / ".local/state");
        fs::copy(State(), Account() / ".local/state/tavrik",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        fs::create_directory(Scratch("bin"));
        WriteText(Scratch("bin/pinentry"), "#!/bin/sh\n: >'" + Scratch("ran").string() + "'\n");
        fs::permissions(Scratch("bin/pinentry"), fs::perms(0755));
        fs::create_directories(Account() / ".config/tavrik");
        WriteText(Account() / ".config/tavrik/pinentry", Scratch("bin/pinentry").string() + "\n");
        SetVariable("TAVRIK_PINENTRY", Scratch("bin/pinentry"));
        SetVariable("PATH", Scratch("bin").string() + ":" + path);
        for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"}) {
            SetVariable(variable, Scratch("evil"));
        }
    }

    ~SetId() override
    {
        UnsetVariable("XDG_CONFIG_HOME");
        UnsetVariable("XDG_STATE_HOME");
        SetVariable("HOME", userHome);
        SetVariable("PATH", path);
        fs::remove_all(folder);
    }

    [[nodiscard]] fs::path Account() const { return Scratch("account"); }
    [[nodiscard]] fs::path Host() const { return folder / "host"; }
    [[nodiscard]] bool PinentryRan() const { return fs::exists(Scratch("ran")); }

    // Who is in no other group needs root's help.
    void BorrowRights() const
    {
        if (chown(Host().c_str(), static_cast<uid_t>(-1), AnotherGroup()) == 0) {
            ASSERT_EQ(chmod(Host().c_str(), 02755), 0);
            return;
        }
        const std::string group = std::to_string(AnotherGroup());
        ASSERT_EQ(RunProgram({"sudo", "-n", "chgrp", group, Host().string()}).exitCode, 0);
        ASSERT_EQ(RunProgram({"sudo", "-n", "chmod", "2755", Host().string()}).exitCode, 0);
    }

private:
    std::string userHome;
    std::string path;
    fs::path folder;
};

TEST_F(SetId, HostsIgnoreTheEnvironment)
{
    BorrowRights();
    auto told = RunAccountHost(Host(), Account());
    ASSERT_EQ(told["secure"], "1") << "the system gives no rights here";
    EXPECT_EQ(told["config"], (Account() / ".config/tavrik/").string());
    EXPECT_EQ(told["log"], (Account() / ".local/state/tavrik/").string());
    EXPECT_EQ(told["opened"], "0");
    EXPECT_EQ(told["verified"], std::to_string(eUserInputError));
    EXPECT_FALSE(PinentryRan());
    EXPECT_FALSE(fs::exists(Scratch("evil")));

    UnsetVariable("TAVRIK_HOME"); // which hides the others
    told = RunAccountHost(Host(), Account());
    EXPECT_EQ(told["log"], (Account() / ".local/state/tavrik/").string());
    EXPECT_FALSE(fs::exists(Scratch("evil")));
}

// Or the test above would show nothing.
TEST_F(SetId, IsWhyTheEnvironmentIsIgnored)
{
    auto told = RunAccountHost(Host(), Account());
    ASSERT_EQ(told["secure"], "0");
    EXPECT_EQ(told["log"], (State() / "").string());
    EXPECT_TRUE(PinentryRan());
    UnsetVariable("TAVRIK_HOME");
    told = RunAccountHost(Host(), Account());
    EXPECT_EQ(told["log"], (Scratch("evil") / "tavrik/").string());
}

} // namespace
