#include "pinentry.h"

#include "system/environment.h"
#include "system/files.h"
#include "system/pinentry_program.h"
#include "text.h"

#include <algorithm>
#include <system_error>

namespace softcard {
namespace {

// Empty when none is chosen.
std::filesystem::path ChosenProgram(const std::filesystem::path& configFolder)
{
    std::filesystem::path fromEnvironment = PathFromEnvironment("TAVRIK_PINENTRY");
    if (!fromEnvironment.empty()) {
        return fromEnvironment;
    }
    try {
        const std::string content = ReadFile(configFolder / "pinentry");
        return PathOf(content.substr(0, content.find_first_of("\r\n")));
    } catch (const std::system_error&) {
        return {};
    }
}

std::string Describe(const CodeRequest& request)
{
    const std::string code = request.kind == CodeKind::bok ? "login code (BOK)" : "signature PIN";
    const std::string tries =
        request.triesLeft == 1 ? "1 try is left." : std::to_string(request.triesLeft) + " tries are left.";
    return "Please enter the " + code + " of the card \"" + request.card + "\" in the reader \"" +
           request.reader + "\".\n" + tries;
}

// Codes cross the boundary ended by a zero, so none has one inside.
bool CanBeTyped(const SecretText& code)
{
    return !code.empty() && std::find(code.begin(), code.end(), '\0') == code.end();
}

} // namespace

std::optional<SecretText> AskForCode(const CodeRequest& request, const std::filesystem::path& configFolder)
{
    const Question question{Describe(request), request.kind == CodeKind::bok ? "BOK:" : "PIN:"};
    const std::filesystem::path program = ChosenProgram(configFolder);
    std::optional<SecretText> code =
        program.empty() ? AskWithoutChoice(question) : AskThroughProgram(program, question);
    return code && CanBeTyped(*code) ? std::move(code) : std::nullopt;
}

} // namespace softcard
