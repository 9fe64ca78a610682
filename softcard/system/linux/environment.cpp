#include "system/environment.h"

#include <cstdlib>

namespace softcard {

std::filesystem::path PathFromEnvironment(const char* variable)
{
    const char* value = std::getenv(variable);
    return value == nullptr ? std::filesystem::path() : std::filesystem::path(value);
}

} // namespace softcard
