#include "softcard/cardapi/pinentry_choice.h"

#include "softcard/base/text.h"
#include "softcard/system/environment.h"
#include "softcard/system/files.h"

#include <string>
#include <system_error>

namespace softcard {

std::filesystem::path ChosenPinentry(const std::filesystem::path& configFolder)
{
    if (HasBorrowedRights()) {
        return {};
    }
    std::filesystem::path fromEnvironment = PathFromEnvironment("TAVRIK_PINENTRY");
    if (!fromEnvironment.empty()) {
        return fromEnvironment;
    }
    try {
        const std::string content = ReadFile(configFolder / "pinentry", Links::followed);
        return PathOf(content.substr(0, content.find_first_of("\r\n")));
    } catch (const std::system_error&) {
        return {};
    }
}

} // namespace softcard
