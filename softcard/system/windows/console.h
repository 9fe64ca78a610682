#pragma once

#include "softcard/base/secret.h"

#include <optional>

#include <windows.h>

namespace softcard {

bool IsConsole(HANDLE handle);

// The next line that is typed, in UTF-8 and without its end; it is not shown. Nothing when the user breaks
// off, or the console cannot be read.
std::optional<SecretText> ReadSilently(HANDLE console);

} // namespace softcard
