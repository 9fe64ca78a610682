// Looks that call code of others, taken where it can neither end this program nor hold it up.
#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace setup {

enum class Look
{
    front, // LookAtFront
    cards  // LookAtCards
};

struct LookAnswer
{
    nlohmann::json value; // null when there is none
    std::string trouble;  // why there is none, as the end of a sentence
};

// Takes the look at that path in a process of its own, and ends it when that takes longer.
LookAnswer TakeLook(Look look, const std::filesystem::path& path, std::chrono::seconds longest);

// For main, before anything else: does the work of such a process where this program was started as one, and does not
// return then.
void TakeLookOnRequest(const std::vector<std::string>& arguments);

} // namespace setup
