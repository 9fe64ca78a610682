#include "tools/tavrik-setup/programs/place.h"

#include "softcard/base/store_error.h"
#include "softcard/system/linux/user_home.h"
#include "softcard/system/user_directories.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <array>
#include <string_view>
#include <system_error>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr std::array commandFolders{"/usr/local/bin", "/usr/bin", "/bin",     "/usr/local/sbin",
                                    "/usr/sbin",      "/sbin",    "/snap/bin"};
constexpr const char* frontFile = "tavrik-pkcs11.so";
constexpr const char* systemRecord = "/var/lib/tavrik/setup.json";
constexpr const char* recordFile = "setup.json";

// From the folder of this program: as installed, and as built.
constexpr std::array frontFolders{TAVRIK_MODULE_FOLDER, "../lib"};

fs::path FindModule()
{
    const fs::path own = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char* folder : frontFolders) {
        fs::path candidate = (own / folder / frontFile).lexically_normal();
        std::error_code missing;
        if (fs::exists(candidate, missing)) {
            return candidate;
        }
    }
    throw Refusal(std::string(frontFile) + " is not installed beside " + own.string() +
                  ". Install tavrik-pkcs11 again, or say with --module where it is.");
}

// Each kind of file quotes in its own way, and some in none.
void RequirePlainPath(const fs::path& module)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._+-";
    if (module.string().find_first_not_of(plain) != std::string::npos) {
        throw Refusal(module.string() +
                      " has characters that not every program reads. Put the front elsewhere.");
    }
}

void FindUserFolders(Place& place)
{
    try {
        place.home = softcard::UserHome();
        const softcard::Directories own = softcard::UserDirectories();
        place.config = own.config;
        place.userRecord = own.state / recordFile;
    } catch (const softcard::StoreTrouble&) {
        place.home.clear(); // what concerns the system can be set up all the same
    }
}

} // namespace

fs::path Place::System(std::string_view path) const
{
    return root / fs::path(path).relative_path();
}

fs::path Place::Command(std::string_view name) const
{
    if (root.empty()) {
        return {};
    }
    for (const char* folder : commandFolders) {
        fs::path candidate = System(folder) / name;
        std::error_code missing;
        if (fs::exists(candidate, missing)) {
            return candidate;
        }
    }
    return {};
}

Place FindPlace(const PlaceWishes& wishes)
{
    Place place;
    place.root = fs::absolute(wishes.root.empty() ? fs::path("/") : wishes.root);
    place.module = wishes.module.empty() ? FindModule() : fs::absolute(wishes.module).lexically_normal();
    place.systemRecord = place.System(systemRecord);
    place.sshHosts = wishes.sshHosts;
    RequirePlainPath(place.module);
    FindUserFolders(place);
    return place;
}

} // namespace setup
