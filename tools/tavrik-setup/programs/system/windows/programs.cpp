// The table of the programs on Windows.
#include "softcard/base/text.h"
#include "tools/tavrik-setup/programs/shared_programs.h"
#include "tools/tavrik-setup/programs/system/quoting.h"
#include "tools/tavrik-setup/programs/system/windows/device_policy.h"

#include <setup_templates.h>

namespace setup {
namespace {

namespace fs = std::filesystem;

// In which folder a program lies, by its command or by the place that its installer proposes. Empty for a place that is not
// known.
fs::path FolderOf(const Place& place, const char* command, const std::string& usual)
{
    if (place.root.empty()) {
        return {};
    }
    const fs::path file = place.Command(command);
    return (file.empty() ? place.System(usual) : file).parent_path();
}

Program InstalledAt(Program program, std::vector<std::string> files)
{
    program.files = std::move(files);
    return program;
}

Program FirefoxByPolicy(const Place& place)
{
    const std::string usual = "Mozilla Firefox/firefox.exe";
    return InstalledAt(Firefox(DevicePolicy(place, "Firefox", FolderOf(place, "firefox", usual))), {usual});
}

Program ThunderbirdByPolicy(const Place& place)
{
    const std::string usual = "Mozilla Thunderbird/thunderbird.exe";
    return InstalledAt(Thunderbird(DevicePolicy(place, "Thunderbird", FolderOf(place, "thunderbird", usual))),
                       {usual});
}

// No other program of Windows has a file that keeps its OpenSSL to what the card can do.
Program OpenVpnWithTls(const Place& place)
{
    constexpr const char* tlsFile = "openssl-card.cnf";
    Program program = OpenVpn(place, InCommandLine(place.config / tlsFile));
    program.settings.emplace_back(
        OwnConfiguration(place, tlsFile, OpenSslConfiguration(InOpenSsl(place.module))));
    return InstalledAt(std::move(program), {"OpenVPN/bin/openvpn.exe"});
}

} // namespace

std::vector<Program> ListPrograms(const Place& place)
{
    return {FirefoxByPolicy(place), ThunderbirdByPolicy(place),
            InstalledAt(Java(place), {"HKEY_LOCAL_MACHINE\\Software\\JavaSoft"}), OpenVpnWithTls(place)};
}

} // namespace setup
