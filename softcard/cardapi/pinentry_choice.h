#pragma once

#include <filesystem>

namespace softcard {

// The pinentry program that the user has chosen, as it was written: the one that TAVRIK_PINENTRY names, else the one
// named in the file `pinentry` of the configuration folder. Empty when none is, and for a program with borrowed rights.
std::filesystem::path ChosenPinentry(const std::filesystem::path& configFolder);

} // namespace softcard
