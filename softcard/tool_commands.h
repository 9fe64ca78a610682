// The subcommands of tavrik-card. What they do throws StoreError for a request that cannot be met, and
// std::exception.
#pragma once

#include <CLI/CLI.hpp>

namespace softcard {

void AddCardCommands(CLI::App& app); // new, delete, insert, remove, plug, unplug
void AddListCommands(CLI::App& app); // list, show
void AddCodeCommands(CLI::App& app); // set-code, unblock, lock, break-channel
void AddKeyCommands(CLI::App& app);  // import, export-certificate
void AddFaultCommand(CLI::App& app); // fault

} // namespace softcard
