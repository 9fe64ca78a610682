// What a program's command line takes, as the completion of the shell asks for it.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace command_line {

// The separator stands between any two of the texts.
std::string Join(const std::vector<std::string>& texts, std::string_view separator);

// Notes at an option, with `->check(Offer(...))`, what completion offers for its value: words with a space between, or
// one of "<card>" and "<file>". Other values are accepted too, and the help does not show it.
CLI::Validator Offer(const std::string& values);

// One line for each positional argument and each long option of the program and its commands, with tabs between:
// the name of the program or the command, the argument or option, and what is offered for its value, which is "-" for
// an option without a value and "<text>" where nothing is offered.
std::string Describe(CLI::App& app);

// Prints that when the program's only argument is --describe, which the help does not show. False when it is not.
[[nodiscard]] bool DescribeOnRequest(CLI::App& app, const std::vector<std::string>& arguments);

} // namespace command_line
