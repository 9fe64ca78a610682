#include "tools/tavrik-setup/doctor/pinentry_check.h"

#include "softcard/cardapi/pinentry_choice.h"
#include "softcard/cardapi/system/linux/program_path.h"
#include "softcard/system/environment.h"
#include "tools/tavrik-setup/files/program_run.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <array>
#include <string>

#include <unistd.h>

namespace setup {
namespace {

constexpr std::chrono::seconds longestGreeting{10};
constexpr const char* pinentryArea = "pinentry";
constexpr const char* flavorMark = "D ";

// What kind of program it is, such as "gtk2:curses"; empty for one that does not say.
std::string FlavorIn(const std::string& answers)
{
    const size_t begin = answers.find(std::string("\n") + flavorMark);
    if (begin == std::string::npos) {
        return {};
    }
    const size_t word = begin + 1 + std::char_traits<char>::length(flavorMark);
    return answers.substr(word, answers.find('\n', word) - word);
}

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

Finding CheckPlace(const std::string& program, const std::string& flavor)
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

} // namespace

Findings CheckPinentry(const std::filesystem::path& configFolder)
{
    const std::filesystem::path chosen = softcard::ChosenPinentry(configFolder);
    const std::string name = chosen.empty() ? softcard::usualPinentry : chosen.string();
    const std::string program = softcard::FindProgram(name);
    if (program.empty()) {
        return {{Severity::fault, pinentryArea,
                 "The program that asks for codes, " + name + ", is not there.",
                 "Install pinentry-gnome3 or pinentry-curses, or name another with TAVRIK_PINENTRY."}};
    }
    try {
        const ProgramResult result = RunProgram(program, {}, longestGreeting, "GETINFO flavor\nBYE\n");
        if (!result.output.starts_with("OK")) {
            return {{Severity::fault, pinentryArea, program + " does not speak as a pinentry does.",
                     "Name another program with TAVRIK_PINENTRY."}};
        }
        return {CheckPlace(program, FlavorIn(result.output))};
    } catch (const Refusal& refusal) {
        return {
            {Severity::fault, pinentryArea, refusal.what(), "Name another program with TAVRIK_PINENTRY."}};
    }
}

} // namespace setup
