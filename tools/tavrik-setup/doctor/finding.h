// What the doctor finds.
#pragma once

#include <string>
#include <vector>

namespace setup {

enum class Severity
{
    fine,
    warning, // it works, and something should be done
    fault
};

struct Finding
{
    Severity severity;
    std::string
        area; // "front", "library", "card layer", "configuration", "log", "reader", "card", "certificate", "code", "pinentry"
    std::string text;   // one sentence
    std::string advice; // what to do; empty where nothing is to be done
};

using Findings = std::vector<Finding>;

} // namespace setup
