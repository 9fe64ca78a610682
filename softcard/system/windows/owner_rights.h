#pragma once

#include <filesystem>

#include <windows.h>

namespace softcard {

// For what is made at the path: it is the user's alone from its making on, and inherits nothing from the folder that
// it is made in. The user is the one that the process runs as, whose files an elevated program makes too. What lies in
// such a folder inherits this when it is made without rights of its own. Throw std::system_error.
SECURITY_ATTRIBUTES OwnFileRights(const std::filesystem::path& path);
SECURITY_ATTRIBUTES OwnFolderRights(const std::filesystem::path& path);

} // namespace softcard
