#include "tools/tavrik-setup/files/json_member.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/programs/file_kind.h"

#include <algorithm>

namespace setup {
namespace {

using nlohmann::json;

constexpr int policyIndentation = 2;
constexpr const char* policies = "policies";
constexpr const char* devices = "SecurityDevices";
constexpr const char* added = "Add";
constexpr const char* deleted = "Delete";
constexpr const char* deviceName = "Tavrik";

KeyPath UsualPath()
{
    return {policies, devices, added, deviceName};
}

// Names of devices stood directly in "SecurityDevices" in earlier versions. Where they do, they go on doing so: the
// programs look at "Add" alone when there is one.
KeyPath PathIn(const json& root)
{
    const json present = MemberAt(root, {policies, devices});
    const bool isOldForm =
        present.is_object() && !present.empty() && !present.contains(added) && !present.contains(deleted);
    return isOldForm ? KeyPath{policies, devices, deviceName} : UsualPath();
}

// How many of the keys were there before the piece.
size_t KeysBefore(const KeyPath& path, const Piece& piece)
{
    const auto isInPiece = [&piece](const std::string& key) {
        return piece.text.find("\"" + key + "\":") != std::string::npos;
    };
    return static_cast<size_t>(std::find_if(path.begin(), path.end(), isInPiece) - path.begin());
}

// Its members, once all the keys that can be asked for are known to stand there once at most.
json Parse(const std::string& content)
{
    json root = ParseObject(content, UsualPath());
    static_cast<void>(ParseObject(content, {policies, devices, deviceName}));
    return root;
}

} // namespace

bool PolicyDevice::IsIn(const std::string& content) const
{
    try {
        const json root = Parse(content);
        return MemberAt(root, PathIn(root)) == module;
    } catch (const Refusal&) {
        return false;
    }
}

Piece PolicyDevice::PieceFor(const std::optional<std::string>& content) const
{
    if (!content) {
        return {0, ByHand()};
    }
    const json root = Parse(*content);
    const KeyPath path = PathIn(root);
    const json present = MemberAt(root, path);
    if (!present.is_null()) {
        throw Refusal(std::string("It has a security device \"") + deviceName + "\" already, which is " +
                      present.dump() + ".");
    }
    Piece piece = PieceForMember(*content, path, module);
    if (!IsIn(WithPiece(*content, piece))) {
        throw Refusal("It is written in a way that is not understood.");
    }
    return piece;
}

std::string PolicyDevice::Without(const std::string& content, const Piece& piece) const
{
    const json root = Parse(content);
    const KeyPath path = PathIn(root);
    const json present = MemberAt(root, path);
    if (present.is_null()) {
        return content;
    }
    if (piece.text.find(present.dump()) == std::string::npos) {
        throw Refusal(std::string("Its security device \"") + deviceName + "\" was changed since.");
    }
    return WithoutMember(content, path, KeysBefore(path, piece));
}

std::string PolicyDevice::ByHand() const
{
    const json text{{policies, {{devices, {{added, {{deviceName, module}}}}}}}};
    return text.dump(policyIndentation) + "\n";
}

} // namespace setup
