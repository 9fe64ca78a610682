#pragma once

#include <map>
#include <string>

namespace setup {

// The text with the values in the places of their names, which stand between two "@".
std::string Filled(std::string text, const std::map<std::string, std::string>& values);

} // namespace setup
