#include "tests/support/host_locale.h"
#include "tests/support/system.h"

#include <cstdlib>

namespace blackbox {

void SetLocaleOfTheHost()
{
    if (std::getenv(hostLocaleVariable) != nullptr) {     // NOLINT(concurrency-mt-unsafe): nobody changes it
        static const auto* const locale = new HostLocale; // for good
        static_cast<void>(locale);
    }
}

} // namespace blackbox
