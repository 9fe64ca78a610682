// A member of an object in a JSON text, put in and taken out while the rest of the text stays as it was written.
#pragma once

#include "tools/tavrik-setup/files/piece.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace setup {

// The keys that lead from the root to a member.
using KeyPath = std::vector<std::string>;

// Throws Refusal for what is no JSON, has no object as its root, or has a key of the path twice.
nlohmann::json ParseObject(const std::string& text, const KeyPath& path);

// The member at the path; null when there is none.
nlohmann::json MemberAt(const nlohmann::json& root, const KeyPath& path);

// The line, from 1 on, on which the member begins. The text was parsed, and has it.
size_t LineOfMember(const std::string& text, const KeyPath& path);

// What puts the member in, with the objects around it that are missing. The text was parsed, and has no such member. Throws
// Refusal where something other than an object stands in the way.
Piece PieceForMember(const std::string& text, const KeyPath& path, const nlohmann::json& value);

// The text without the member, and without the objects around it that are empty then and are not among the first `kept` of
// the path. The text was parsed, and has the member.
std::string WithoutMember(std::string text, KeyPath path, size_t kept);

} // namespace setup
