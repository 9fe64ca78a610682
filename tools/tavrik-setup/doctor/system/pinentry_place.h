#pragma once

#include "tools/tavrik-setup/doctor/finding.h"

#include <string>

namespace setup {

inline constexpr const char* pinentryArea = "pinentry";

// What is told where no program is chosen and none is usual.
Finding WithoutPinentry();

// What to do when the program that asks for codes is not there.
const char* AdviceForMissingPinentry();

// Whether a program that answers has a place to ask at. The flavor says what kind it is, such as "gtk2:curses"; empty for one
// that does not say.
Finding CheckPlaceOf(const std::string& program, const std::string& flavor);

} // namespace setup
