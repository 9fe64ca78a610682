#include "tools/tavrik-setup/files/json_member.h"

#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <optional>

namespace setup {
namespace {

using nlohmann::json;

constexpr std::string_view jsonBlanks = " \t\r\n";

// The functions below are for texts that have been parsed. Positions are those of the first character, and `end` is one
// behind the last.

size_t SkipBlanks(const std::string& text, size_t at)
{
    return text.find_first_not_of(jsonBlanks, at);
}

size_t EndOfString(const std::string& text, size_t at)
{
    for (++at; text[at] != '"'; ++at) {
        at += text[at] == '\\' ? 1 : 0;
    }
    return at + 1;
}

size_t EndOfValue(const std::string& text, size_t at)
{
    if (text[at] == '"') {
        return EndOfString(text, at);
    }
    if (text[at] != '{' && text[at] != '[') {
        return std::min(text.find_first_of(" \t\r\n,]}", at), text.size());
    }
    size_t depth = 0;
    do {
        if (text[at] == '"') {
            at = EndOfString(text, at);
            continue;
        }
        depth += text[at] == '{' || text[at] == '[' ? 1U : 0U;
        depth -= text[at] == '}' || text[at] == ']' ? 1U : 0U;
        ++at;
    } while (depth > 0);
    return at;
}

struct Member
{
    std::string key;
    size_t begin; // of the key
    size_t value;
    size_t end;
};

std::vector<Member> MembersOf(const std::string& text, size_t object)
{
    std::vector<Member> members;
    size_t at = SkipBlanks(text, object + 1);
    while (text[at] != '}') {
        Member member{};
        member.begin = at;
        at = EndOfString(text, at);
        member.key = json::parse(text.substr(member.begin, at - member.begin)).get<std::string>();
        member.value = SkipBlanks(text, SkipBlanks(text, at) + 1);
        member.end = EndOfValue(text, member.value);
        members.push_back(member);
        at = SkipBlanks(text, member.end);
        at = text[at] == ',' ? SkipBlanks(text, at + 1) : at;
    }
    return members;
}

// Where the members of a path stand, as far as there are any.
struct Way
{
    size_t object; // the innermost that is there
    std::vector<Member> members;
};

Way WayTo(const std::string& text, const KeyPath& path)
{
    Way way{text.find('{'), {}};
    for (const std::string& key : path) {
        if (text[way.object] != '{') {
            break;
        }
        std::optional<Member> found;
        for (const Member& member : MembersOf(text, way.object)) {
            if (member.key == key) {
                if (found) {
                    throw Refusal("The key \"" + key + "\" stands twice.");
                }
                found = member;
            }
        }
        if (!found) {
            break;
        }
        way.members.push_back(*found);
        if (way.members.size() < path.size()) {
            way.object = found->value;
        }
    }
    return way;
}

void EraseMember(std::string& text, size_t object, const KeyPath& path)
{
    const Member last = WayTo(text, path).members.back();
    const size_t behind = SkipBlanks(text, last.end);
    if (text[behind] == ',') { // up to the next one, whose indentation takes the place of this one's
        text.erase(last.begin, SkipBlanks(text, behind + 1) - last.begin);
        return;
    }
    const size_t before = text.find_last_not_of(jsonBlanks, last.begin - 1);
    if (text[before] == ',') {
        text.erase(before, last.end - before);
    } else if (last.begin ==
               object + 1) { // as PieceForMember has put it in front of the blanks of an empty object
        text.erase(last.begin, last.end - last.begin);
    } else {
        text.erase(object + 1, behind - object - 1);
    }
}

} // namespace

json ParseObject(const std::string& text, const KeyPath& path)
{
    json root;
    try {
        root = json::parse(text);
    } catch (const json::exception& error) {
        throw Refusal(std::string("It is no valid JSON: ") + error.what());
    }
    if (!root.is_object()) {
        throw Refusal("It holds no JSON object.");
    }
    static_cast<void>(WayTo(text, path)); // throws for a key that stands twice
    return root;
}

json MemberAt(const json& root, const KeyPath& path)
{
    json member = root;
    for (const std::string& key : path) {
        const auto found = member.is_object() ? member.find(key) : member.end();
        if (found == member.end()) {
            return nullptr;
        }
        member = json(*found);
    }
    return member;
}

size_t LineOfMember(const std::string& text, const KeyPath& path)
{
    const auto begin = text.begin() + static_cast<std::ptrdiff_t>(WayTo(text, path).members.back().begin);
    return static_cast<size_t>(std::count(text.begin(), begin, '\n')) + 1;
}

Piece PieceForMember(const std::string& text, const KeyPath& path, const json& value)
{
    const Way way = WayTo(text, path);
    if (text[way.object] != '{') {
        throw Refusal("\"" + path[way.members.size() - 1] + "\" is no object there.");
    }
    json member = value;
    for (size_t i = path.size() - 1; i > way.members.size(); --i) {
        member = json{{path[i], member}};
    }
    std::string written = json(path[way.members.size()]).dump() + ": " + member.dump();
    const size_t begin = way.object + 1;
    const size_t next = SkipBlanks(text, begin);
    if (text[next] == '}') {
        return {begin, written};
    }
    // Before the first of those that are there, indented as it is.
    return {begin, text.substr(begin, next - begin) + written + ","};
}

std::string WithoutMember(std::string text, KeyPath path, size_t kept)
{
    while (!path.empty()) {
        EraseMember(text, WayTo(text, path).object, path);
        path.pop_back();
        if (path.size() <= kept || !MemberAt(json::parse(text), path).empty()) {
            break;
        }
    }
    return text;
}

} // namespace setup
