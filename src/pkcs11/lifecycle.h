// The start and the end of the library, and what it learns when it is loaded.
#pragma once

#include "tavrik/cryptoki.h"

#include <cstdint>
#include <filesystem>

// Whether the library is between the end of its start and its end.
bool IsInitialised();

// Starts the library: card access, the store, the watch on the readers. Throws what these throw; the library
// is then not initialised.
CK_RV InitializePKCS11();

// Ends the library: stops the watch and, unless the library is being unloaded, ends card access. The store
// stays as it is until the next start. Throws std::system_error when the watch can't be joined.
void FinalizeLibrary(bool fromDetach);

// What was seen when the library was loaded into the process.
struct LoadFacts
{
    std::filesystem::path moduleDirectory; // the library's own folder
    int32_t javaLauncherHost = 0;          // 1 when the host is jp2launcher.exe; read by nothing
};
const LoadFacts& FactsOfLoad();

extern "C" {
// Kept for the export table only.
extern char* g_unitTestHlp;
}
