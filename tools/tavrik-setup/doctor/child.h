// Code of others, called where it can neither end this program nor hold it up.
#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <functional>
#include <string>

namespace setup {

struct ChildAnswer
{
    nlohmann::json value; // null when there is none
    std::string trouble;  // why there is none, as the end of a sentence
};

// Has a forked child make the value, and ends it when that takes longer. The child's standard output goes nowhere.
ChildAnswer AskChild(std::chrono::seconds longest, const std::function<nlohmann::json()>& make);

} // namespace setup
