#include "tests/support/script.h"

#include "tests/support/eventually.h"
#include "tests/support/system.h"

#include <algorithm>
#include <cstdint>

namespace blackbox {
namespace {

constexpr uint32_t waitOfTheThread = 500; // milliseconds
constexpr int mostTimesLoaded = 1000;

// Null until it is loaded.
ScriptedCard*& LoadedScript()
{
    static ScriptedCard* script = nullptr;
    return script;
}

std::filesystem::path ScriptFile()
{
    return ScriptedFolder() / LibraryFileName("CardAPI");
}

} // namespace

std::filesystem::path ScriptedFolder()
{
    static const auto folder = std::filesystem::canonical(RunningProgram().parent_path() / "../lib/scripted");
    return folder;
}

ScriptedCard* Script()
{
    ScriptedCard*& script = LoadedScript();
    if (script == nullptr) {
        using Accessor = ScriptedCard*();
        script = reinterpret_cast<Accessor*>(SymbolOf(Load(ScriptFile()), "ScriptedCard_Instance"))();
    }
    return script;
}

bool UnloadScript()
{
    LoadedScript() = nullptr;
    // The library under test has loaded it too, and leaves it loaded.
    void* loaded = LoadedFrom(ScriptFile());
    for (int times = 0; loaded != nullptr && times < mostTimesLoaded; ++times) {
        Unload(loaded);
        loaded = LoadedFrom(ScriptFile());
    }
    return loaded == nullptr;
}

bool HasBegunWaits(size_t count)
{
    return Eventually([count] {
        const auto waits = Script()->CallsOf("WaitForReaderEvent");
        return static_cast<size_t>(std::count_if(waits.begin(), waits.end(), [](const auto& wait) {
                   return wait.constants.front() == waitOfTheThread;
               })) >= count;
    });
}

} // namespace blackbox
