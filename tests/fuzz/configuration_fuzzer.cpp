// config.json of any content: nothing is thrown, what is set stays within its range and says what the file says, and what
// is reported is one line of text.
#include "src/log/configuration.h"
#include "tests/fuzz/rules.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using fuzz::Require;
using nlohmann::json;

struct Outcome
{
    LogSettings settings;
    bool pinPadEnabled = false;
    std::string report;
};

Outcome Load(const std::filesystem::path& folder)
{
    Outcome outcome;
    LoadConfiguration(&outcome.settings, &outcome.pinPadEnabled, (folder.u16string() + u"/").c_str(),
                      outcome.report);
    return outcome;
}

// As the card-access library reads it, which sees the byte.
bool IsFlag(const SharedByte<bool>& flag)
{
    const auto byte = *reinterpret_cast<const uint8_t*>(&flag);
    return byte == 0 || byte == 1;
}

void RequireRanges(const Outcome& outcome)
{
    const LogSettings& settings = outcome.settings;
    Require(IsFlag(settings.logToConsole) && IsFlag(settings.logToDebugger) && IsFlag(settings.logToFile) &&
                IsFlag(settings.extensive),
            "A flag is 0 or 1.");
    Require(settings.logFromLevel <= LogLevel_Debug, "The level is one of the four.");
    Require(settings.timeFormat <= LogTimeFormat_Millisec, "The time format is one of the three.");
    const LogSettings before;
    Require(settings.logDirectory == before.logDirectory && settings.logFileName == before.logFileName &&
                settings.rotationMode == before.rotationMode && settings.maxFileSize == before.maxFileSize &&
                settings.maxFileAgeDays == before.maxFileAgeDays,
            "What has no key in the file stays as it was.");
}

void RequireReport(const std::string& report)
{
    Require(std::none_of(report.begin(), report.end(), [](char c) { return c >= 0 && c < ' '; }),
            "A report is one line of text.");
    Require(report.empty() || report == "File is too large" ||
                report.starts_with("Missing section \"log\" in ") ||
                report.starts_with("Invalid enum values in ") || report.starts_with("Exception in parsing "),
            "A report is one of the known ones.");
}

// Where the file has a value of the right type, and all before it are of the right types, it is in force.
void RequireWhatTheFileSays(const json& root, const Outcome& outcome)
{
    if (root.contains("pinPadEnabled")) {
        Require(root["pinPadEnabled"] == outcome.pinPadEnabled,
                "The flag outside of the section is in force.");
    }
    if (!root.contains("log")) {
        return;
    }
    const json& section = root["log"];
    const LogSettings& settings = outcome.settings;
    Require(section.value("logToConsole", bool{LogSettings().logToConsole}) == settings.logToConsole &&
                section.value("logToDebugger", bool{LogSettings().logToDebugger}) == settings.logToDebugger &&
                section.value("logToFile", bool{LogSettings().logToFile}) == settings.logToFile &&
                section.value("extensive", bool{LogSettings().extensive}) == settings.extensive,
            "The flags are in force.");
    if (section.contains("fileCount") && section["fileCount"].is_number_unsigned()) {
        Require(settings.fileCount == static_cast<uint8_t>(section["fileCount"].get<uint64_t>()),
                "The number of files is in force.");
    }
    if (section.contains("logFromLevel") && section["logFromLevel"] == "LogLevel_Error") {
        Require(settings.logFromLevel == LogLevel_Error, "The level is in force.");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const fuzz::Folder folder;
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::ofstream(folder.Path() / "config.json", std::ios::binary) << text;
    const Outcome outcome = Load(folder.Path());
    RequireRanges(outcome);
    RequireReport(outcome.report);
    const json root = json::parse(text.c_str(), nullptr, false);
    const bool threw = outcome.report.starts_with("Exception in parsing ");
    Require(!root.is_discarded() || threw || text.empty(), "What is no JSON is reported.");
    if (!threw && root.is_object() && (!root.contains("log") || root["log"].is_object())) {
        RequireWhatTheFileSays(root, outcome);
    }
    return 0;
}
