// What stands in the configuration file.
#pragma once

#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <string>

// Values by their keys. An object or array among them is empty here: one with content takes memory as it ends, and ends
// the process when there is none.
using ConfigurationValues = std::map<std::string, nlohmann::json, std::less<>>;

// The values of the two levels that have keys of ours; none for what is not an object.
struct ConfigurationText
{
    ConfigurationValues root;
    ConfigurationValues log; // of the root's "log"
};

// Throws std::exception with the JSON library's own text for what is no JSON.
ConfigurationText ParseConfiguration(const char* text);
