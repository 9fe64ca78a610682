// The scripted card-access library of the build.
#pragma once

#include "tests/support/scripted_card/scripted_card.h"

#include <cstddef>
#include <filesystem>

namespace blackbox {

// The folder of the scripted card-access library and of the links to the libraries under test.
std::filesystem::path ScriptedFolder();

// The script, loaded by the first call. Throws when it is missing.
ScriptedCard* Script();
// Unloads the script, which the library under test must not use any more. False when it stays in memory.
[[nodiscard]] bool UnloadScript();

// Waits until the library's own thread has begun so many waits for events of the readers since the calls were forgotten;
// the last of them may still run. False when that takes very long.
bool HasBegunWaits(size_t count);

} // namespace blackbox
