#pragma once

#include <filesystem>

namespace softcard {

// HOME where it is absolute, there, writable and the user's own, and else the home of the user's account: of the user whose
// rights the program has. Throws StoreTrouble, with a sentence for the user, when neither can be used.
std::filesystem::path UserHome();

} // namespace softcard
