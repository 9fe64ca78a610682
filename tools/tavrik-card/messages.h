// What is wrong with a command line, in words.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace softcard {

// Throws StoreError when the first argument is neither an option nor a command.
void RequireKnownCommand(const CLI::App& app, const std::vector<std::string>& arguments);

// Why the arguments could not be taken apart: a sentence of our own in place of the parser's.
std::string DescribeParseError(const CLI::App& app, const CLI::ParseError& error);

struct NumberRange
{
    int64_t least;
    int64_t most;
};

// The number that is the value of an option. Throws StoreError for a value that is none, or not in the range.
int64_t ParseNumber(const std::string& option, const std::string& text, NumberRange range);

// The candidate that differs least from the word; empty when none is near.
std::string NearestOf(const std::string& word, const std::vector<std::string>& candidates);

} // namespace softcard
