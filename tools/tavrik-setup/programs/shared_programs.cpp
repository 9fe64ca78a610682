#include "tools/tavrik-setup/programs/shared_programs.h"

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/programs/system/quoting.h"

#include <setup_templates.h>

#include <algorithm>

namespace setup {

namespace fs = std::filesystem;

FileSetting OwnConfiguration(const Place& place, const char* name, const std::string& text)
{
    return {place.level, place.config.empty() ? fs::path() : place.config / name, Make<OwnFile>(text), {}};
}

Program Firefox(FileSetting policies)
{
    return {
        "firefox", "Firefox", {"firefox-esr", "firefox"}, {}, {std::move(policies)}, "Start Firefox anew."};
}

Program Thunderbird(FileSetting policies)
{
    return {
        "thunderbird",
        "Thunderbird",
        {"thunderbird"},
        {},
        {std::move(policies)},
        "Start Thunderbird anew. Version 140 knows no policy for security devices: there, load the module in "
        "its settings (\"Security Devices\", \"Load\")."};
}

Program Java(const Place& place)
{
    const std::string library = InProviderFile(place.module);
    return {"java",
            "Java",
            {"java", "keytool", "jarsigner"},
            {},
            {OwnConfiguration(place, "java-sig-zep.cfg", JavaConfiguration(library, "Sig_ZEP", "0")),
             OwnConfiguration(place, "java-sig-ep.cfg", JavaConfiguration(library, "Sig_EP", "1"))},
            "Give keytool or jarsigner \"-providerClass sun.security.pkcs11.SunPKCS11 -providerArg " +
                InCommandLine(place.config / "java-sig-ep.cfg") + " -keystore NONE -storetype PKCS11\"."};
}

Program OpenVpn(const Place& place, const std::string& tls)
{
    return {"openvpn",
            "OpenVPN",
            {"openvpn"},
            {},
            {OwnConfiguration(place, "openvpn-card.conf", OpenVpnConfiguration(InOpenVpn(place.module)))},
            "Add \"config " + InOpenVpn(place.config / "openvpn-card.conf") +
                "\" to the configuration of a connection, and pkcs11-id with one of those that \"openvpn "
                "--show-pkcs11-ids " +
                InCommandLine(place.module) + " 1\" shows. OPENSSL_CONF is to name " + tls +
                " for OpenVPN too."};
}

bool IsInstalled(const Program& program, const Place& place)
{
    return std::any_of(program.commands.begin(), program.commands.end(),
                       [&](const std::string& command) { return !place.Command(command).empty(); }) ||
           std::any_of(program.files.begin(), program.files.end(),
                       [&](const std::string& file) { return IsThere(place.System(file)); });
}

} // namespace setup
