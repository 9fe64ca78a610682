#pragma once

#include <string>

namespace setup {

// What Windows says of one of its error numbers, in UTF-8 and without the end of its sentence.
std::string ErrorText(unsigned long error);

// Whether it says that rights are missing.
bool IsLackOfRights(unsigned long error);

// What to do then, as a sentence with a space in front.
const char* AdviceForRights();

} // namespace setup
