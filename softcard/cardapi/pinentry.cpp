#include "softcard/cardapi/pinentry.h"

#include "softcard/base/text.h"
#include "softcard/cardapi/pinentry_choice.h"
#include "softcard/cardapi/system/pinentry_program.h"
#include "softcard/system/environment.h"

#include <charconv>
#include <chrono>

namespace softcard {
namespace {

constexpr int usualAnswerTime = 300; // seconds
constexpr int longestAnswerTime = 3600;

// How long the user may take.
std::chrono::seconds ChosenWait()
{
    const std::string text = Utf8Of(PathFromEnvironment("TAVRIK_PINENTRY_TIMEOUT"));
    int seconds = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isGiven = !text.empty() && parsed.ec == std::errc() &&
                         parsed.ptr == text.data() + text.size() && seconds >= 1 &&
                         seconds <= longestAnswerTime;
    return std::chrono::seconds(isGiven ? seconds : usualAnswerTime);
}

std::string Describe(const CardPlace& place)
{
    return "the card \"" + place.card + "\" in the reader \"" + place.reader + "\"";
}

std::string Describe(const CodeRequest& request)
{
    const std::string code = request.kind == CodeKind::bok ? "login code (BOK)" : "signature PIN";
    const std::string tries =
        request.triesLeft == 1 ? "1 try is left." : std::to_string(request.triesLeft) + " tries are left.";
    return "Please enter the " + code + " of " + Describe(request.place) + ".\n" + tries;
}

std::optional<SecretText> Ask(const Question& question, const std::filesystem::path& configFolder)
{
    const std::filesystem::path program = ChosenPinentry(configFolder);
    return program.empty() ? AskWithoutChoice(question) : AskThroughProgram(program, question);
}

} // namespace

std::optional<SecretText> AskForCode(const CodeRequest& request, const std::filesystem::path& configFolder)
{
    const Question question{Describe(request), request.kind == CodeKind::bok ? "BOK:" : "PIN:", ChosenWait()};
    std::optional<SecretText> code = Ask(question, configFolder);
    return code && !code->empty() ? std::move(code) : std::nullopt;
}

void TellOfOtherProgram(const CardPlace& place, const std::optional<std::string>& program,
                        const std::filesystem::path& configFolder)
{
    std::string holder = "Another program";
    if (program) {
        holder.append(", ").append(*program).append(",");
    }
    (void)Ask({holder + " is using " + Describe(place) + ".\nEnd its use of the card, and try again.", "",
               ChosenWait()},
              configFolder);
}

} // namespace softcard
