// softcard_account_host HOME: a host of the library whose account has the given home in the user database. It
// tells on its standard output where the library looks, and what comes of asking the user for the login code
// of the card in "Reader 0"; the library's own log goes where the library says.
#include "softcard/system/user_directories.h"
#include "tests/softcard/card_library.h"

#include "src/log/log_settings.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include <pwd.h>
#include <sys/auxv.h>
#include <unistd.h>

namespace {

std::string homeOfAccount; // NOLINT(cert-err58-cpp)

std::u16string Ask(void (*function)(char16_t*, uint32_t))
{
    std::array<char16_t, 1024> folder{};
    function(folder.data(), 1023);
    return folder.data();
}

void Tell(const char* what, const std::filesystem::path& path)
{
    std::cout << what << ' ' << path.string() << '\n';
}

} // namespace

// Asked by AddressSanitizer at the end: its look for leaks may not look into a program with borrowed rights.
extern "C" int TellLeaksAreNotLookedFor() __asm__("__lsan_is_turned_off");

int TellLeaksAreNotLookedFor()
{
    return getauxval(AT_SECURE) != 0 ? 1 : 0;
}

// In the place of the system's getpwuid_r, for the library too.
extern "C" int TellAccount(uid_t user, passwd* account, char* buffer, size_t size,
                           passwd** found) __asm__("getpwuid_r");

int TellAccount(uid_t user, passwd* account, char* buffer, size_t size, passwd** found)
{
    *found = nullptr;
    if (user != geteuid() || size <= homeOfAccount.size()) {
        return 0;
    }
    *account = {};
    std::memcpy(buffer, homeOfAccount.c_str(), homeOfAccount.size() + 1);
    account->pw_uid = user;
    account->pw_dir = buffer;
    *found = account;
    return 0;
}

int main(int count, char** values)
{
    using softcard::test::Library;
    homeOfAccount = count == 2 ? values[1] : "";
    std::cout << "secure " << getauxval(AT_SECURE) << '\n';
    try {
        Tell("state", softcard::LocateDirectories().state);
    } catch (const std::runtime_error& error) {
        std::cout << "refused " << error.what() << '\n';
    }
    LogSettings settings;
    Tell("config", Ask(Library().getAppDataDir));
    settings.logDirectory = Ask(Library().getUserDataDir);
    settings.logFileName = u"Pkcs11";
    Tell("log", settings.logDirectory);
    Library().initialize(&settings);
    CardSession session = 0;
    std::cout << "opened " << Library().openSession(u"Reader 0", &session) << '\n';
    if (session != 0) {
        std::cout << "verified " << softcard::test::VerifyBok(session, nullptr).returned << '\n';
    }
    Library().finalize();
}
