// The subcommands of tavrik-card. What they do throws StoreError for a request that cannot be met, and
// std::exception.
#pragma once

#include "tools/tavrik-card/secret_arguments.h"

#include <CLI/CLI.hpp>

namespace softcard {

void AddCardCommands(CLI::App& app,
                     const SecretArguments& secrets); // new, delete, insert, remove, plug, unplug
void AddListCommands(CLI::App& app);                  // list, show
void AddCodeCommands(CLI::App& app, const SecretArguments& secrets); // set-code, unblock, lock, break-channel
void AddKeyCommands(CLI::App& app, const SecretArguments& secrets);  // import, export-certificate
void AddFaultCommand(CLI::App& app);                                 // fault

} // namespace softcard
