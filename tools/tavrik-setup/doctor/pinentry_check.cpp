#include "tools/tavrik-setup/doctor/pinentry_check.h"

#include "softcard/base/text.h"
#include "softcard/cardapi/pinentry_choice.h"
#include "softcard/cardapi/system/program_path.h"
#include "tools/tavrik-setup/doctor/system/pinentry_place.h"
#include "tools/tavrik-setup/files/program_run.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <chrono>
#include <string>

namespace setup {
namespace {

constexpr std::chrono::seconds longestGreeting{10};
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

} // namespace

Findings CheckPinentry(const std::filesystem::path& configFolder)
{
    const std::filesystem::path chosen = softcard::ChosenPinentry(configFolder);
    const std::filesystem::path name = chosen.empty() ? softcard::UsualPinentry() : chosen;
    if (name.empty()) {
        return {WithoutPinentry()};
    }
    const std::filesystem::path file = softcard::FindProgram(name);
    if (file.empty()) {
        return {{Severity::fault, pinentryArea,
                 "The program that asks for codes, " + softcard::Utf8Of(name) + ", is not there.",
                 AdviceForMissingPinentry()}};
    }
    try {
        const std::string program = softcard::Utf8Of(file);
        const ProgramResult result = RunProgram(file, {}, longestGreeting, "GETINFO flavor\nBYE\n");
        if (!result.output.starts_with("OK")) {
            return {{Severity::fault, pinentryArea, program + " does not speak as a pinentry does.",
                     "Name another program with TAVRIK_PINENTRY."}};
        }
        return {CheckPlaceOf(program, FlavorIn(result.output))};
    } catch (const Refusal& refusal) {
        return {
            {Severity::fault, pinentryArea, refusal.what(), "Name another program with TAVRIK_PINENTRY."}};
    }
}

} // namespace setup
