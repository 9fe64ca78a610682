#include "tests/support/script.h"

#include "tests/support/system.h"

namespace blackbox {

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

} // namespace blackbox
