#include "tools/tavrik-setup/doctor/system/pinentry_place.h"

#include "softcard/system/environment.h"

#include <array>

#include <unistd.h>

namespace setup {
namespace {

std::string Terminal()
{
    std::string named = softcard::PathFromEnvironment("GPG_TTY").string();
    std::array<char, 256> own{};
    if (named.empty() && ttyname_r(STDIN_FILENO, own.data(), own.size()) == 0) {
        named = own.data();
    }
    return named;
}

bool HasScreen()
{
    return !softcard::PathFromEnvironment("DISPLAY").empty() ||
           !softcard::PathFromEnvironment("WAYLAND_DISPLAY").empty();
}

} // namespace

Finding WithoutPinentry()
{
    return {Severity::fault, pinentryArea, "No program is chosen that asks for codes.",
            AdviceForMissingPinentry()};
}

const char* AdviceForMissingPinentry()
{
    return "Install pinentry-gnome3 or pinentry-curses, or name another with TAVRIK_PINENTRY.";
}

Finding CheckPlaceOf(const std::string& program, const std::string& flavor)
{
    const bool wantsTerminal =
        flavor.find("curses") != std::string::npos || flavor.find("tty") != std::string::npos;
    const bool wantsScreen = !flavor.empty() && flavor != "curses" && flavor != "tty";
    if (!wantsTerminal && !wantsScreen) {
        return {Severity::fine, pinentryArea, program + " answers.", ""};
    }
    if (wantsScreen && HasScreen()) {
        return {Severity::fine, pinentryArea, program + " answers, and there is a screen for it.", ""};
    }
    const std::string terminal = Terminal();
    if (wantsTerminal && terminal.empty()) {
        return {Severity::fault, pinentryArea, program + " has no terminal and no screen to ask at.",
                "Say \"export GPG_TTY=$(tty)\" in a terminal, or install a pinentry for your screen, such as "
                "pinentry-gnome3."};
    }
    if (wantsTerminal && access(terminal.c_str(), R_OK | W_OK) == 0) {
        return {Severity::fine, pinentryArea, program + " answers, and asks at " + terminal + ".", ""};
    }
    if (wantsTerminal) {
        return {Severity::fault, pinentryArea, program + " may not use the terminal " + terminal + ".",
                "Use a terminal of your own: log in anew in the place of \"su\", or set GPG_TTY."};
    }
    return {Severity::fault, pinentryArea, program + " wants a screen, and there is none.",
            "Set DISPLAY or WAYLAND_DISPLAY, or install pinentry-curses."};
}

} // namespace setup
