#include "tools/tavrik-setup/programs/system/windows/device_policy.h"

#include "softcard/base/text.h"
#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/json_member.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/registry.h"

#include <algorithm>
#include <utility>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr const char* allUsers = "HKEY_LOCAL_MACHINE";
constexpr const char* oneUser = "HKEY_CURRENT_USER";
constexpr const char* deviceName = "Tavrik";
constexpr const char* added = "Add";
constexpr const char* deleted = "Delete";

fs::path DevicesKey(const char* root, const std::string& product)
{
    return fs::path(root) / "Software" / "Policies" / "Mozilla" / product / "SecurityDevices";
}

// Names of devices stood directly in "SecurityDevices" in earlier versions. Where they do, they go on doing so: the programs
// look at "Add" alone when there is one.
fs::path ValueIn(const fs::path& devices)
{
    const bool isOldForm =
        !ValuesOf(devices).empty() && !IsThere(devices / added) && !IsThere(devices / deleted);
    return (isOldForm ? devices : devices / added) / deviceName;
}

bool HasOtherDevices(const fs::path& devices)
{
    for (const fs::path& key : {devices, devices / added, devices / deleted}) {
        const std::vector<std::string> names = ValuesOf(key);
        if (std::any_of(names.begin(), names.end(),
                        [](const std::string& name) { return name != deviceName; })) {
            return true;
        }
    }
    return false;
}

// Whether a file of policies names security devices. One that cannot be read or understood is none that the program
// takes.
bool NamesDevices(const fs::path& file)
{
    try {
        const auto content = ReadIfThere(file);
        const KeyPath devices{"policies", "SecurityDevices"};
        return content && !MemberAt(ParseObject(*content, devices), devices).is_null();
    } catch (const Refusal&) {
        return false;
    }
}

// Policies of the registry hide those of a file, and those of all users hide those of one user, for each kind of policy as a
// whole. Returns why the policy would have no effect, or would take one away; empty when neither is so.
std::string ObstacleFor(Level level, const std::string& product, const fs::path& file)
{
    if (!file.empty() && NamesDevices(file)) {
        return softcard::Utf8Of(file) + " names security devices, which this would hide.";
    }
    if (level == Level::user && IsThere(DevicesKey(allUsers, product))) {
        return "The policies for all users name security devices, and hide those of one user. "
               "Call tavrik-setup with --all-users.";
    }
    if (level == Level::system && HasOtherDevices(DevicesKey(oneUser, product))) {
        return "The policies of this user name security devices, which those for all users would hide.";
    }
    return {};
}

// The path of the module, as the value of its name.
class DeviceValue : public FileKind
{
public:
    DeviceValue(std::string itsModule, fs::path itsValue, std::string itsObstacle)
        : module(std::move(itsModule)), value(std::move(itsValue)), obstacle(std::move(itsObstacle))
    {
    }

    [[nodiscard]] bool IsIn(const std::string& content) const override
    {
        return content == Text() && obstacle.empty();
    }

    [[nodiscard]] Piece PieceFor(const std::optional<std::string>& content) const override
    {
        if (!obstacle.empty()) {
            throw Refusal(obstacle);
        }
        if (content) {
            throw Refusal("It is there already, and names " + content->substr(0, content->find('\n')) + ".");
        }
        return {0, Text()};
    }

    [[nodiscard]] std::string Without(const std::string& content, const Piece& piece) const override
    {
        if (content != piece.text) {
            throw Refusal("It was changed since.");
        }
        return {};
    }

    [[nodiscard]] std::string ByHand() const override { return softcard::Utf8Of(value) + " = " + Text(); }

private:
    [[nodiscard]] std::string Text() const { return module + "\n"; }

    std::string module;
    fs::path value;
    std::string obstacle;
};

} // namespace

FileSetting DevicePolicy(const Place& place, const std::string& product, const fs::path& folder)
{
    const fs::path devices = DevicesKey(place.level == Level::user ? oneUser : allUsers, product);
    const fs::path file = folder.empty() ? fs::path() : folder / "distribution" / "policies.json";
    FileSetting setting{place.level, ValueIn(devices), nullptr, {}};
    setting.kind = std::make_shared<DeviceValue>(softcard::Utf8Of(place.module), setting.file,
                                                 ObstacleFor(place.level, product, file));
    if (!file.empty()) {
        setting.instead.push_back(file);
    }
    if (place.level == Level::user) {
        setting.instead.push_back(ValueIn(DevicesKey(allUsers, product)));
    }
    return setting;
}

} // namespace setup
