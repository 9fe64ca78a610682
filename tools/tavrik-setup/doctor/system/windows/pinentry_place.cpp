#include "tools/tavrik-setup/doctor/system/pinentry_place.h"

namespace setup {

// The console is that of the program that uses the card.
Finding WithoutPinentry()
{
    return {Severity::warning, pinentryArea,
            "No program is chosen that asks for codes, so the card asks in the console of the program that "
            "uses it, and "
            "programs without a console get no code.",
            AdviceForMissingPinentry()};
}

const char* AdviceForMissingPinentry()
{
    return "Name a pinentry program with TAVRIK_PINENTRY.";
}

Finding CheckPlaceOf(const std::string& program, const std::string& /*flavor*/)
{
    return {Severity::fine, pinentryArea, program + " answers.", ""};
}

} // namespace setup
