// In a second process of this program, whose arguments say what it is to look at.
#include "tools/tavrik-setup/doctor/look.h"

#include "softcard/base/text.h"
#include "src/platform/platform.h"
#include "tools/tavrik-setup/doctor/card_look.h"
#include "tools/tavrik-setup/doctor/front_look.h"
#include "tools/tavrik-setup/doctor/system/windows/asked_program.h"

namespace setup {
namespace {

constexpr const char* frontMark = "--look-at-front";
constexpr const char* cardsMark = "--look-at-cards";
constexpr size_t markAndPath = 2;

} // namespace

LookAnswer TakeLook(Look look, const std::filesystem::path& path, std::chrono::seconds longest)
{
    return AskProgram(longest, Platform::ExecutablePath(),
                      {look == Look::front ? frontMark : cardsMark, softcard::Utf8Of(path)});
}

void TakeLookOnRequest(const std::vector<std::string>& arguments)
{
    if (arguments.size() != markAndPath || (arguments[0] != frontMark && arguments[0] != cardsMark)) {
        return;
    }
    const std::filesystem::path path = softcard::PathOf(arguments[1]);
    AnswerAndEnd([&] { return arguments[0] == frontMark ? LookAtFront(path) : LookAtCards(path); });
}

} // namespace setup
