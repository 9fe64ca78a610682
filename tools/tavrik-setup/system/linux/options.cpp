#include "tools/tavrik-setup/system/options.h"

#include "tools/command_line/description.h"

namespace setup {

void AddSystemOptions(CLI::App& app, SystemArguments& arguments)
{
    app.add_option("--host", arguments.hosts, "The hosts, as in ssh's Host, for which ssh uses the card");
    app.add_option("--root", arguments.root,
                   "The folder of the system that is set up, such as an image of one")
        ->check(command_line::Offer("<file>"));
}

} // namespace setup
