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

std::string Describe(const CodeRequest& request)
{
    const std::string code = request.kind == CodeKind::bok ? "login code (BOK)" : "signature PIN";
    const std::string tries =
        request.triesLeft == 1 ? "1 try is left." : std::to_string(request.triesLeft) + " tries are left.";
    return "Please enter the " + code + " of the card \"" + request.card + "\" in the reader \"" +
           request.reader + "\".\n" + tries;
}

} // namespace

std::optional<SecretText> AskForCode(const CodeRequest& request, const std::filesystem::path& configFolder)
{
    const Question question{Describe(request), request.kind == CodeKind::bok ? "BOK:" : "PIN:", ChosenWait()};
    const std::filesystem::path program = ChosenPinentry(configFolder);
    std::optional<SecretText> code =
        program.empty() ? AskWithoutChoice(question) : AskThroughProgram(program, question);
    return code && !code->empty() ? std::move(code) : std::nullopt;
}

} // namespace softcard
