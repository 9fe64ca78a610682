// The options that are there on one system alone.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace setup {

struct SystemArguments
{
    std::string hosts;
    std::string root;
    bool forAllUsers = false;
};

void AddSystemOptions(CLI::App& app, SystemArguments& arguments);

} // namespace setup
