#include "tests/support/script.h"

#include "tests/support/eventually.h"
#include "tests/support/system.h"

#include <algorithm>
#include <cstdint>

namespace blackbox {
namespace {

constexpr uint32_t waitOfTheThread = 500; // milliseconds

} // namespace

std::filesystem::path ScriptedFolder()
{
    static const auto folder = std::filesystem::canonical(RunningProgram().parent_path() / "../lib/scripted");
    return folder;
}

ScriptedCard* Script()
{
    static ScriptedCard* const script = [] {
        void* cardLibrary = Load(ScriptedFolder() / LibraryFileName("CardAPI"));
        using Accessor = ScriptedCard*();
        return reinterpret_cast<Accessor*>(SymbolOf(cardLibrary, "ScriptedCard_Instance"))();
    }();
    return script;
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
