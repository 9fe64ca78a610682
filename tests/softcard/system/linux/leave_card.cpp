// softcard_leave_card HOW: uses both families' keys of the card in "Reader 0", closes the session, finalises
// the library and ends at once, so that a test can look at what is left in memory. HOW is "given" when the
// login code and the PIN are two lines of the standard input, or "asked" when the keyboard asks for them.
#include "softcard/base/secret.h"
#include "tests/softcard/card_library.h"

#include <array>
#include <cstdint>
#include <iostream>
#include <string_view>

#include <unistd.h>

using namespace softcard::test;

namespace {

// Byte by byte: a buffer would keep the code.
softcard::SecretText ReadCode()
{
    softcard::SecretText code;
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) == 1 && byte != '\n') {
        code.push_back(byte);
    }
    code.push_back('\0');
    return code;
}

bool UseCard(bool isGiven)
{
    CardSession session = 0;
    Library().initialize(nullptr);
    bool done = Library().openSession(u"Reader 0", &session) == 0;
    {
        const softcard::SecretText bok = isGiven ? ReadCode() : softcard::SecretText();
        done = done && VerifyBok(session, isGiven ? bok.data() : nullptr).returned == 0;
        const softcard::SecretText pin = isGiven ? ReadCode() : softcard::SecretText();
        done = done && VerifyPin(session, isGiven ? pin.data() : nullptr).returned == 0;
    }
    const std::array<uint8_t, 32> hash{};
    std::array<uint8_t, 512> signature{};
    for (const auto sign : {Library().qesSignData, Library().esSignData}) {
        uint32_t length = signature.size();
        done = done && sign(session, hash.data(), hash.size(), signature.data(), &length, 0) == 0;
    }
    uint32_t length = signature.size();
    std::array<uint8_t, 512> plain{};
    // The signature is no encryption: what matters is that the key was used for it.
    (void)Library().esDecryptData(session, signature.data(), 256, plain.data(), &length, 0);
    Library().closeSession(session);
    Library().finalize();
    return done;
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    const bool isGiven = argumentCount == 2 && std::string_view(argumentValues[1]) == "given";
    _exit(UseCard(isGiven) ? 0 : 1);
}
