// The log of the library that uses this one.
#pragma once

#include <string>

namespace softcard {

// Adds a line to the current file of the log, whose settings CardAPI_Initialize was given the address of;
// does nothing for a null address, where the file is switched off, and where it cannot be written.
void LogError(const void* logger, const std::string& sentence);

} // namespace softcard
