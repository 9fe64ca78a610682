#include "tools/tavrik-setup/system/options.h"

namespace setup {

void AddSystemOptions(CLI::App& app, SystemArguments& arguments)
{
    app.add_flag("--all-users", arguments.forAllUsers,
                 "For all users of this computer, which takes the rights of an administrator");
}

} // namespace setup
