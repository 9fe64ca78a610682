// softcard_account_host HOME [UNWRITABLE]: a host of the library whose account has the given home in the user database,
// and for which the folder UNWRITABLE may not be written into, also by root. It tells on its standard output where the
// library looks, and what comes of asking the user for the login code of the card in "Reader 0"; the library's own log
// goes where the library says.
#include "softcard/system/user_directories.h"
#include "tests/softcard/card_library.h"

#include "src/log/log_settings.h"

#include <array>
#include <cerrno>
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

constexpr size_t largeRecord = 100'000; // bytes; that of an account with a long comment

std::string homeOfAccount;    // NOLINT(cert-err58-cpp)
std::string unwritableFolder; // NOLINT(cert-err58-cpp)

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
    if (user != geteuid()) {
        return 0;
    }
    if (size < largeRecord) {
        return ERANGE;
    }
    *account = {};
    std::memcpy(buffer, homeOfAccount.c_str(), homeOfAccount.size() + 1);
    account->pw_uid = user;
    account->pw_dir = buffer;
    *found = account;
    return 0;
}

// In the place of the system's faccessat, which allows everything to root.
extern "C" int TellAccess(int folder, const char* path, int wanted, int flags) __asm__("faccessat");

int TellAccess(int /*folder*/, const char* path, int wanted, int /*flags*/)
{
    if (path == unwritableFolder && (wanted & W_OK) != 0) {
        errno = EACCES;
        return -1;
    }
    return euidaccess(path, wanted);
}

int main(int count, char** values)
{
    using softcard::test::Library;
    homeOfAccount = count >= 2 ? values[1] : "";
    unwritableFolder = count >= 3 ? values[2] : "";
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
