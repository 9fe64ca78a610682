#include "src/pkcs11/lifecycle.h"

#include "src/card/card_api.h"
#include "src/crypto/shared_objects.h"
#include "src/log/configuration.h"
#include "src/log/logger.h"
#include "src/log/process_name.h"
#include "src/platform/platform.h"
#include "src/readers/monitoring_thread.h"
#include "src/readers/slot_loading.h"
#include "src/store/internal_cache.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <new>
#include <string>
#include <string_view>

namespace {

constexpr uint32_t directoryCapacity = 1023;
constexpr std::string_view javaLauncher = "jp2launcher.exe";
constexpr std::string_view quietHost = "Quillsign"; // gets no console log
constexpr std::size_t longestHostName = 62;         // bytes
constexpr std::size_t extensionLength = 4;

std::atomic<bool> initialised{false};

// In a function, because the load notification can come before the initialisation of this file's objects.
LoadFacts& MutableFacts()
{
    static LoadFacts facts;
    return facts;
}

// Of ASCII letters alone: what the letters are in the host's language makes no difference.
char LowerCase(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool EqualIgnoringCase(std::string_view first, std::string_view second)
{
    const auto sameLetter = [](char a, char b) { return LowerCase(a) == LowerCase(b); };
    return std::equal(first.begin(), first.end(), second.begin(), second.end(), sameLetter);
}

LogSettings StartSettings()
{
    LogSettings settings;
    settings.timeFormat = LogTimeFormat_DateTimeMillisec;
    settings.fileCount = 5;
    settings.logDirectory.clear();
    settings.logFileName.clear();
    return settings;
}

bool HostIsQuiet()
{
    std::string name = Platform::NarrowPath(Platform::PathOf(GetProcessName()), longestHostName);
    if (name.size() > extensionLength) {
        name.resize(name.size() - extensionLength);
    }
    return EqualIgnoringCase(name, quietHost);
}

// The settings of this run. What went wrong in reading them is put into `report`.
LogSettings ReadSettings(std::string& report)
{
    std::array<char16_t, directoryCapacity + 1> directory{};
    LogSettings settings = StartSettings();
    CardAPI_GetAppDataDir(directory.data(), directoryCapacity);
    bool pinPadEnabled = false; // a key that must be well-formed and means nothing
    LoadConfiguration(&settings, &pinPadEnabled, directory.data(), report);
    if (HostIsQuiet()) {
        settings.logToConsole = false;
    }
    CardAPI_GetUserDataDir(directory.data(), directoryCapacity);
    settings.logDirectory = directory.data();
    settings.logFileName = u"Pkcs11";
    return settings;
}

// Starts the watch on the readers. When a later step fails, the watch is stopped, unless the library was initialised
// before and has a watch of its own.
void StartMonitoring(const char* logFunction)
{
    auto& monitoring = MonitoringThread::GetInstance();
    monitoring.Start();
    try {
        LOG_LINE(LogLevel_Debug, logFunction, "MonitoringThread started");
        PrepareSharedCryptoObjects();
        Platform::ArmUnloadNotification();
    } catch (...) {
        if (!initialised) {
            monitoring.Stop();
            monitoring.Join();
        }
        throw;
    }
}

// Gives back the memory of the store, as far as that takes no more. An unload makes no call to the card.
void AbandonRecords()
{
    try {
        for (const auto& token : InternalCache::GetInstance().Clear()) {
            token->card.Abandon();
        }
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): the host goes on without that memory
    }
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
    std::string report;
    const LogSettings settings = ReadSettings(report);

    LOG_LINE(LogLevel_Debug, logFunction, "Going to initialize CardAPI");
    Logger::Instance().Initialize(&settings);
    CardAPI_Initialize(&Logger::Instance());
    LOG_LINE(LogLevel_Debug, logFunction, "CardAPI initialized");
    if (!report.empty()) {
        LOG_LINE(LogLevel_Debug, logFunction, "Log parse info VERB: %s", report.c_str());
    }

    LOG_LINE(LogLevel_Debug, logFunction, "Going to initialize Internal cache");
    EndCardSessions(InternalCache::GetInstance().Clear());
    LOG_LINE(LogLevel_Debug, logFunction, "Internal cache initialized");

    LOG_LINE(LogLevel_Debug, logFunction, "Going to start MonitoringThread");
    StartMonitoring(logFunction);
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

void OnLibraryUnload(OtherThreads otherThreads)
{
    if (initialised) {
        try {
            FinalizeLibrary(true);
        } catch (...) {
            initialised = false; // there is no caller that could get an error
        }
    }
    // A thread that was killed may have held the store's lock.
    if (otherThreads == OtherThreads::goOn) {
        AbandonRecords();
        Logger::Instance().ReleaseMemory();
    }
}
