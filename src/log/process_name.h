// The name of the host.
#pragma once

#include <string>

// The file name of the program that the library runs in, "unknown" when the system doesn't tell. Read at the
// first call, and again as long as it is empty.
const std::u16string& GetProcessName();
