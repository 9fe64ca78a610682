#include "tests/faults/surroundings.h"

#include "tests/faults/allocations.h"
#include "tests/faults/scenarios.h"
#include "tests/support/linux/private_mounts.h"
#include "tests/support/log_host.h"
#include "tests/support/script.h"
#include "tests/support/system.h"
#include "tests/support/temporary_folder.h"

#include "src/card/card_hash.h"
#include "tavrik/cryptoki.h"

#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace faults {
namespace {

namespace fs = std::filesystem;

void Tell(const std::string& what)
{
    Progress::Shared().Tell(what);
}

std::unique_ptr<Module> LoadModule(const std::string& name, const fs::path& folder)
{
    return name == "front" ? LoadFront(folder) : LoadLibrary(folder);
}

// A folder with copies of the modules, and with no card-access library.
class FolderOfModules
{
public:
    FolderOfModules()
    {
        for (const std::string& file :
             {blackbox::LibraryFileName("pkcs11_x64"), std::string("tavrik-pkcs11.so")}) {
            fs::copy_file(fs::canonical(blackbox::ScriptedFolder() / file), Path() / file);
        }
    }

    [[nodiscard]] const fs::path& Path() const { return folder.Path(); }
    [[nodiscard]] fs::path CardLibrary() const { return Path() / blackbox::LibraryFileName("CardAPI"); }

    // Puts the scripted card-access library there, without a symbol unless that is empty, and a card in its reader.
    ScriptedCard& AddCardLibrary(const std::string& without) const
    {
        std::string content =
            blackbox::ReadFile(blackbox::ScriptedFolder() / blackbox::LibraryFileName("CardAPI"));
        if (!without.empty()) {
            Rename(content, without);
        }
        blackbox::WriteFile(CardLibrary(), content);
        using Accessor = ScriptedCard*();
        auto& script = *reinterpret_cast<Accessor*>(
            blackbox::SymbolOf(blackbox::Load(CardLibrary()), "ScriptedCard_Instance"))();
        script.SetLongestWait(std::chrono::milliseconds(1));
        script.OnPassage(LeaveModule);
        PutCardIn(script);
        return script;
    }

private:
    // Gives the symbol another name wherever the file has it as a whole.
    static void Rename(std::string& content, const std::string& symbol)
    {
        const std::string whole = '\0' + symbol + '\0';
        bool found = false;
        for (auto at = content.find(whole); at != std::string::npos; at = content.find(whole, at + 1)) {
            content[at + symbol.size()] = '?';
            found = true;
        }
        if (!found) {
            throw std::logic_error("the scripted card has no symbol " + symbol);
        }
    }

    TemporaryFolder folder{"tavrik_faults_"};
};

std::vector<std::string> CardSymbols()
{
    return {
#define CARD_FUNCTION(type, name, parameters, arguments, fault) "CardAPI_" #name,
#include "src/card/functions.inc"
        Zelmo::Crypto::sha1ConstructorSymbol,   Zelmo::Crypto::sha224ConstructorSymbol,
        Zelmo::Crypto::sha256ConstructorSymbol, Zelmo::Crypto::sha384ConstructorSymbol,
        Zelmo::Crypto::sha512ConstructorSymbol, Zelmo::Crypto::hashMethodSymbol};
}

void ExpectThatItSigns(Module& module, ScriptedCard& script, const std::string& when)
{
    Run run(module, script);
    const Number started = module.Initialize();
    SignWithBothKeys(run);
    const Number ended = module.Finalize();
    for (const auto& wrong : run.wrong) {
        Tell(std::string(when).append(": ").append(wrong));
    }
    if (started != CKR_OK || ended != CKR_OK) {
        Tell(when + ": start " + AnswerName(started) + ", end " + AnswerName(ended));
    }
}

PointResult TryWithoutCardLibrary(const std::string& name)
{
    FolderOfModules folder;
    const auto module = LoadModule(name, folder.Path());
    for (int time = 0; time < 2; ++time) {
        if (const Number started = module->Initialize(); started != CKR_FUNCTION_FAILED) {
            Tell("it starts: " + AnswerName(started));
        }
        Numbers slots;
        if (const Number listed = module->SlotList(slots); listed != CKR_CRYPTOKI_NOT_INITIALIZED) {
            Tell("it lists slots: " + AnswerName(listed));
        }
    }
    ScriptedCard& script = folder.AddCardLibrary("");
    ExpectThatItSigns(*module, script, "once the card-access library is there");
    return PointResult::tried;
}

// Without the symbol, a call that needs it fails, and no other does more than follow.
PointResult TryWithoutSymbol(const std::string& name, const std::string& symbol)
{
    FolderOfModules folder;
    ScriptedCard& script = folder.AddCardLibrary(symbol);
    const auto module = LoadModule(name, folder.Path());
    Run run(*module, script);
    UseEverything(run);
    for (const auto& wrong : run.wrong) {
        Tell(wrong);
    }
    const auto failed = std::find_if(run.steps.begin(), run.steps.end(), [](const Step& step) {
        return step.answer != CKR_OK && step.answer != CKR_USER_ALREADY_LOGGED_IN &&
               step.answer != CKR_OPERATION_ACTIVE; // also with all symbols
    });
    const bool needed =
        module->LetsExceptionsOut() || symbol.starts_with("CardAPI_"); // the front hashes by itself
    if ((failed == run.steps.end()) == needed) {
        Tell(needed ? "nothing fails" : "something fails");
    } else if (!needed) {
        return PointResult::tried;
    } else if (failed->answer != CKR_FUNCTION_FAILED &&
               (!module->LetsExceptionsOut() || failed->answer != threwStandard)) {
        Tell(failed->name + " answers " + AnswerName(failed->answer));
    }
    for (const Step& step : run.steps) {
        if (step.answer == threwForeign || step.answer == threwNoMemory ||
            (step.answer == threwStandard && !module->LetsExceptionsOut())) {
            Tell(step.name + " throws " + AnswerName(step.answer));
        }
    }
    // The front unloads a library that does not end, and what that never destroys is then lost to a search for leaks.
    return symbol == "CardAPI_Finalize" ? PointResult::last : PointResult::tried;
}

// The folders of a host whose log lies in one that something is wrong with.
class Folders
{
public:
    Folders()
    {
        fs::create_directory(folder.Path() / "config");
        blackbox::ConfigureSinks(folder.Path() / "config", R"("logToFile": true, "extensive": true)");
    }

    [[nodiscard]] fs::path Log() const { return folder.Path() / "log"; }
    void Tell(ScriptedCard& script) const
    {
        script.SetDirectories((folder.Path() / "config").u16string() + u"/", Log().u16string() + u"/");
    }

private:
    TemporaryFolder folder{"tavrik_faults_"};
};

struct LogFault
{
    const char* name;
    void (*make)(const fs::path& log);
    void (*mend)(const fs::path& log);
    bool inPrivateMounts = false;
    // By the first start. A file is opened once in a process, so the second start writes nothing.
    bool opened = false;
};

void Remount(const fs::path& folder, unsigned long flags)
{
    if (mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | flags, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "remount");
    }
}

void MountLog(const fs::path& log)
{
    constexpr std::size_t room = 4UL << 20U;
    fs::create_directory(log);
    blackbox::EnterPrivateMounts();
    blackbox::MountMemory(log, room);
}

std::vector<LogFault> AllLogFaults()
{
    return {
        {"missing", [](const fs::path& /*log*/) {}, [](const fs::path& log) { fs::create_directory(log); }},
        {"a file", [](const fs::path& log) { blackbox::WriteFile(log, "text"); },
         [](const fs::path& log) {
             fs::remove(log);
             fs::create_directory(log);
         }},
        {"read-only",
         [](const fs::path& log) {
             MountLog(log);
             Remount(log, MS_RDONLY);
         },
         [](const fs::path& log) { Remount(log, 0); }, true},
        {"full",
         [](const fs::path& log) {
             MountLog(log);
             blackbox::WriteFile(log / "other", std::string(8UL << 20U, 'x')); // as much as there is room
         },
         [](const fs::path& log) { fs::remove(log / "other"); }, true, true},
    };
}

// Those that this system lets be made.
const std::vector<LogFault>& LogFaults()
{
    static const std::vector<LogFault> logFaults = [] {
        auto faults = AllLogFaults();
        if (const auto reason = blackbox::WhyNoPrivateMounts(); !reason.empty()) {
            std::cout << reason << '\n';
            std::erase_if(faults, [](const LogFault& fault) { return fault.inPrivateMounts; });
        }
        return faults;
    }();
    return logFaults;
}

PointResult TryLogFault(const std::string& name, const LogFault& fault)
{
    const Folders folders;
    fault.make(folders.Log());
    FolderOfModules modules;
    ScriptedCard& script = modules.AddCardLibrary("");
    folders.Tell(script);
    const auto module = LoadModule(name, modules.Path());
    ExpectThatItSigns(*module, script, "with the fault");
    fault.mend(folders.Log());
    ExpectThatItSigns(*module, script, "once the fault is gone");
    if (!fault.opened &&
        blackbox::ReadFile(folders.Log() / "Pkcs11.log").find("C_Sign") == std::string::npos) {
        Tell("once the fault is gone, there is no log");
    }
    return PointResult::last; // a file system that is the process's own goes with it
}

} // namespace

Points CardLibraryPoints(const std::string& module)
{
    Points points;
    points.name = module + ", card-access library";
    points.begin = [] { return CardSymbols().size() + 1; };
    points.text = [](std::size_t index) {
        return index == 0 ? "missing" : "without " + CardSymbols().at(index - 1);
    };
    points.attempt = [module](std::size_t index) {
        return index == 0 ? TryWithoutCardLibrary(module)
                          : TryWithoutSymbol(module, CardSymbols().at(index - 1));
    };
    points.inOneProcess = 1;
    return points;
}

Points LogFolderPoints(const std::string& module)
{
    Points points;
    points.name = module + ", log folder";
    points.begin = [] { return LogFaults().size(); };
    points.text = [](std::size_t index) { return std::string(LogFaults().at(index).name); };
    points.attempt = [module](std::size_t index) { return TryLogFault(module, LogFaults().at(index)); };
    points.inOneProcess = 1;
    return points;
}

} // namespace faults
