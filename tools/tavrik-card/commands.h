// The subcommands of tavrik-card, by their subjects. What they do throws StoreError for a request that cannot be met,
// and std::exception.
#pragma once

#include "tools/tavrik-card/secret_arguments.h"

#include <CLI/CLI.hpp>

namespace softcard {

void AddCardCommands(CLI::App& app, const SecretArguments& secrets);
void AddListCommands(CLI::App& app);
void AddCodeCommands(CLI::App& app, const SecretArguments& secrets);
void AddKeyCommands(CLI::App& app, const SecretArguments& secrets);
void AddFaultCommand(CLI::App& app);

} // namespace softcard
