#include "softcard/card/directories.h"

#include "softcard/system/files.h"
#include "softcard/system/user_directories.h"

namespace softcard {

Directories FindDirectories()
{
    Directories directories = LocateDirectories();
    EnsurePrivateFolder(directories.config);
    EnsurePrivateFolder(directories.state);
    return directories;
}

} // namespace softcard
