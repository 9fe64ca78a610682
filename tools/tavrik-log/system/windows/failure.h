#pragma once

#include <stdexcept>
#include <string>

namespace logtool {

// What the system says went wrong last with something, in the language of the user and in UTF-8.
std::runtime_error LastFailure(const std::string& what);

} // namespace logtool
