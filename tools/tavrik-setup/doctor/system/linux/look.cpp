// In a forked child.
#include "tools/tavrik-setup/doctor/look.h"

#include "tools/tavrik-setup/doctor/card_look.h"
#include "tools/tavrik-setup/doctor/front_look.h"
#include "tools/tavrik-setup/doctor/system/linux/child.h"

namespace setup {

LookAnswer TakeLook(Look look, const std::filesystem::path& path, std::chrono::seconds longest)
{
    return AskChild(longest,
                    [look, &path] { return look == Look::front ? LookAtFront(path) : LookAtCards(path); });
}

void TakeLookOnRequest(const std::vector<std::string>& /*arguments*/) {}

} // namespace setup
