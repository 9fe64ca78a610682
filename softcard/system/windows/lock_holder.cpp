#include "softcard/system/lock_holder.h"

namespace softcard {

// The system tells nobody whose lock it is.
std::optional<std::string> LockHolder(const std::filesystem::path& /*lockFile*/)
{
    return std::nullopt;
}

} // namespace softcard
