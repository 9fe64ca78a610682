// The virtual keyboard: any pinentry program, or what the system has in its place.
#pragma once

#include "softcard/base/secret.h"
#include "softcard/card/code_record.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace softcard {

struct CardPlace
{
    std::string card;
    std::string reader;
};

struct CodeRequest
{
    CodeKind kind = CodeKind::bok;
    CardPlace place;
    uint32_t triesLeft = 0;
};

// Asks the user for a code, and waits for the answer, five minutes or as long as TAVRIK_PINENTRY_TIMEOUT
// says. Nothing when the user cancelled, gave an empty code or none in time, or could not be asked. The
// program is the one that TAVRIK_PINENTRY names, else the one named in the file `pinentry` of the
// configuration folder, else what AskWithoutChoice takes; for a program with borrowed rights, what
// AskWithoutChoice takes in the folders of the system.
std::optional<SecretText> AskForCode(const CodeRequest& request, const std::filesystem::path& configFolder);

// Tells the user in the same way that another program uses the card, and waits as long until the user has taken note. Does
// nothing when the user can't be told. The program is named when it is known.
void TellOfOtherProgram(const CardPlace& place, const std::optional<std::string>& program,
                        const std::filesystem::path& configFolder);

} // namespace softcard
