#include "softcard/system/environment.h"

#include <cstdlib>

#include <sys/auxv.h>

namespace softcard {

// Set-user-id, set-group-id, and file capabilities.
bool HasBorrowedRights()
{
    return getauxval(AT_SECURE) != 0;
}

std::filesystem::path PathFromEnvironment(const char* variable)
{
    const char* value = secure_getenv(variable);
    return value == nullptr ? std::filesystem::path() : std::filesystem::path(value);
}

} // namespace softcard
