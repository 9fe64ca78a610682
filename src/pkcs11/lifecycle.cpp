#include "pkcs11/lifecycle.h"

#include "cache/internal_cache.h"
#include "cache/monitoring_thread.h"
#include "card/card_api.h"
#include "log/logger.h"
#include "platform/platform.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <string_view>

namespace {

constexpr uint32_t directoryCapacity = 1023;
constexpr std::string_view javaLauncher = "jp2launcher.exe";

std::atomic<bool> initialised{false};

// In a function, because the load notification can come before the initialisation of this file's objects.
LoadFacts& MutableFacts()
{
    static LoadFacts facts;
    return facts;
}

bool EqualIgnoringCase(std::string_view first, std::string_view second)
{
    const auto sameLetter = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::equal(first.begin(), first.end(), second.begin(), second.end(), sameLetter);
}

// Asks for the folders of the configuration and of the logs. The card side expects both questions before its
// start.
void AskForDirectories()
{
    std::array<char16_t, directoryCapacity + 1> directory{};
    CardAPI_GetAppDataDir(directory.data(), directoryCapacity);
    CardAPI_GetUserDataDir(directory.data(), directoryCapacity);
}

} // namespace

char* g_unitTestHlp = nullptr;

bool IsInitialised()
{
    return initialised;
}

CK_RV InitializePKCS11()
{
    constexpr char logFunction[] = "InitializePKCS11";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to initialize logs");
    AskForDirectories();

    LOG_LINE(LogLevel_Debug, logFunction, "Going to initialize CardAPI");
    CardAPI_Initialize(&Logger::Instance());
    LOG_LINE(LogLevel_Debug, logFunction, "CardAPI initialized");

    LOG_LINE(LogLevel_Debug, logFunction, "Going to initialize Internal cache");
    InternalCache::GetInstance().Clear();
    LOG_LINE(LogLevel_Debug, logFunction, "Internal cache initialized");

    LOG_LINE(LogLevel_Debug, logFunction, "Going to start MonitoringThread");
    MonitoringThread::GetInstance().Start();
    LOG_LINE(LogLevel_Debug, logFunction, "MonitoringThread started");

    Platform::ArmUnloadNotification();
    initialised = true;
    return CKR_OK;
}

void FinalizeLibrary(bool fromDetach)
{
    auto& monitoring = MonitoringThread::GetInstance();
    monitoring.Stop();
    monitoring.Join();
    if (!fromDetach) {
        CardAPI_Finalize();
    }
    initialised = false;
}

const LoadFacts& FactsOfLoad()
{
    return MutableFacts();
}

void OnLibraryLoad()
{
    LoadFacts& facts = MutableFacts();
    facts.moduleDirectory = Platform::ModuleDirectory();
    if (EqualIgnoringCase(Platform::ExecutableName(), javaLauncher)) {
        facts.javaLauncherHost = 1;
    }
    Platform::SearchLibrariesIn(facts.moduleDirectory);
}

void OnLibraryUnload()
{
    if (!initialised) {
        return;
    }
    try {
        FinalizeLibrary(true);
    } catch (...) {
        initialised = false; // nobody is left to be told
    }
}
