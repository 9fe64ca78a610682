// The table of the programs on Linux.
#include "tools/tavrik-setup/programs/nss_profiles.h"
#include "tools/tavrik-setup/programs/nss_setting.h"
#include "tools/tavrik-setup/programs/shared_programs.h"

#include <setup_templates.h>

#include <algorithm>
#include <initializer_list>
#include <system_error>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr const char* everyHost = "*";

// Below the home, if there is one.
fs::path AtHome(const Place& place, const char* path)
{
    return place.home.empty() ? fs::path() : place.home / path;
}

FileSetting OfSystem(const Place& place, const char* path, std::shared_ptr<const FileKind> kind)
{
    return {Level::system, place.System(path), std::move(kind), {}};
}

// The policies of a program, which reads the first of these files that there is: a new one must not hide another.
FileSetting Policies(const Place& place, std::initializer_list<const char*> files, const std::string& module)
{
    const auto isThere = [&place](const char* file) {
        std::error_code missing;
        return fs::exists(fs::symlink_status(place.System(file), missing));
    };
    const auto* const found = std::find_if(files.begin(), files.end(), isThere);
    return OfSystem(place, found == files.end() ? *files.begin() : *found, Make<PolicyDevice>(module));
}

FileSetting OfUser(fs::path file, std::shared_ptr<const FileKind> kind)
{
    return {Level::user, std::move(file), std::move(kind), {}};
}

Program P11Kit(const Place& place, const std::string& module)
{
    FileSetting file = OfSystem(place, "/etc/pkcs11/modules/tavrik.module",
                                Make<OwnFile>("# The electronic-identity card.\nmodule: " + module + "\n"));
    file.instead = {place.System("/usr/share/p11-kit/modules/tavrik.module")};
    return {"p11-kit", "p11-kit (GnuTLS, GNOME and others)", {"p11-kit"}, {"/etc/pkcs11/pkcs11.conf.example"},
            {file},    "\"p11-kit list-modules\" shows it."};
}

Program Chromium(const Place& place)
{
    return {"chromium",
            "Chromium, Chrome",
            {"chromium", "google-chrome", "google-chrome-stable"},
            {},
            {std::make_shared<NssSetting>(AtHome(place, ".pki/nssdb"), place)},
            "Start Chromium anew, with --ssl-version-max=tls1.2 for servers that speak TLS 1.3."};
}

// It uses the databases of the profiles that Firefox and Thunderbird have.
Program LibreOffice(const Place& place)
{
    std::vector<Setting> databases;
    for (const fs::path& folder : DefaultProfiles(place.home)) {
        databases.emplace_back(std::make_shared<NssSetting>(folder, place));
    }
    if (databases.empty()) {
        databases.emplace_back(
            ManualSetting{"LibreOffice uses the profile of Firefox or Thunderbird, and there is none. "
                          "Start one of them once, and then this again.",
                          ""});
    }
    return {
        "libreoffice", "LibreOffice", {"libreoffice", "soffice"}, {}, databases, "Start LibreOffice anew."};
}

Program OpenSsl(const Place& place, const std::string& module)
{
    return {"openssl",
            "OpenSSL (and curl, wget and others, by its configuration)",
            {"openssl"},
            {},
            {OwnConfiguration(place, "openssl-card.cnf", OpenSslConfiguration(module))},
            "Set OPENSSL_CONF=" + (place.config / "openssl-card.cnf").string() +
                " for the programs that are to use the card. The provider comes with pkcs11-provider, which "
                "Debian has "
                "from its version 13 on, and the engine with libengine-pkcs11-openssl."};
}

Program Ssh(const Place& place, const std::string& module)
{
    const std::string line = "    PKCS11Provider " + module;
    const std::string hosts = "Host " + (place.sshHosts.empty() ? everyHost : place.sshHosts);
    std::vector<std::string> telling{line};
    if (!place.sshHosts.empty()) {
        telling.push_back(hosts);
    }
    return {"ssh",
            "ssh",
            {"ssh"},
            {},
            {OfUser(AtHome(place, ".ssh/config"),
                    Make<TextBlock>("ssh", std::vector{hosts, line}, telling, std::vector<std::string>{}))},
            "\"ssh-keygen -D " + module + "\" shows the key for authorized_keys."};
}

Program GnuPg(const Place& place, const std::string& module)
{
    const std::string daemon = "scdaemon-program /usr/bin/gnupg-pkcs11-scd";
    const std::vector<std::string> provider{"providers tavrik", "provider-tavrik-library " + module,
                                            "provider-tavrik-allow-protected-auth",
                                            "provider-tavrik-cert-private"};
    return {"gnupg",
            "GnuPG (gpgsm, by gnupg-pkcs11-scd)",
            {"gnupg-pkcs11-scd"},
            {},
            {OfUser(AtHome(place, ".gnupg/gnupg-pkcs11-scd.conf"),
                    Make<TextBlock>("gnupg", provider, provider, std::vector<std::string>{"providers"})),
             OfUser(AtHome(place, ".gnupg/gpg-agent.conf"),
                    Make<TextBlock>("gnupg", std::vector{daemon}, std::vector{daemon},
                                    std::vector<std::string>{"scdaemon-program"}))},
            "End the agent with \"gpgconf --kill gpg-agent\"; \"gpgsm --learn-card\" then shows the card's "
            "certificates."};
}

// What makes it ask for the card stands in /etc/pam.d, which is never changed: a mistake there locks everybody out.
Program PamPkcs11(const Place& place, const std::string& module)
{
    return {
        "pam_pkcs11",
        "pam_pkcs11",
        {"pkcs11_inspect"},
        {"/etc/pam_pkcs11"},
        {OfSystem(place, "/etc/pam_pkcs11/pam_pkcs11.conf",
                  Make<OwnFile>(PamConfiguration(module), "module = " + module + ";", PamModule(module)))},
        "What is left to you: the card's authorities in /etc/pam_pkcs11/cacerts, who may log in with which "
        "certificate in /etc/pam_pkcs11/subject_mapping, and pam_pkcs11.so in a file of /etc/pam.d."};
}

} // namespace

std::vector<Program> ListPrograms(const Place& place)
{
    const std::string module = place.module.string();
    return {P11Kit(place, module),
            Firefox(Policies(place,
                             {"/etc/firefox/policies/policies.json",
                              "/usr/lib/firefox-esr/distribution/policies.json",
                              "/usr/lib/firefox/distribution/policies.json"},
                             module)),
            Thunderbird(Policies(place,
                                 {"/etc/thunderbird/policies/policies.json",
                                  "/usr/lib/thunderbird/distribution/policies.json"},
                                 module)),
            Chromium(place),
            LibreOffice(place),
            Java(place),
            OpenSsl(place, module),
            Ssh(place, module),
            GnuPg(place, module),
            OpenVpn(place, "the file of openssl"),
            PamPkcs11(place, module)};
}

} // namespace setup
