#include "src/log/configuration.h"

#include "src/log/configuration_text.h"
#include "src/platform/platform.h"
#include "src/platform/regular_file.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <limits>
#include <new>
#include <utility>

namespace {

using nlohmann::json;

constexpr std::size_t longestPath = 1022; // bytes, in reports
constexpr uint64_t largestFile = 8191;    // bytes, without a remark
constexpr uint8_t invalidName = 255;

std::filesystem::path ConfigurationFile(const char16_t* directory)
{
    return Platform::PathOf(std::u16string(directory) + u"config.json");
}

void ReadBoolean(const ConfigurationValues& section, const char* key, bool& value)
{
    if (section.contains(key)) {
        value = section.find(key)->second.get<bool>();
    }
}

void ReadBoolean(const ConfigurationValues& section, const char* key, SharedByte<bool>& value)
{
    bool read = value;
    ReadBoolean(section, key, read);
    value = read;
}

// The low eight bits of the number, cut to a whole one; 0 when it is beyond 32 bits. Throws json's type error
// for what is neither a number nor a boolean.
uint8_t CountOf(const json& value)
{
    if (!value.is_number_float()) {
        return value.get<uint8_t>();
    }
    const auto number = value.get<double>();
    using Limits = std::numeric_limits<int32_t>;
    const bool fits = number > Limits::min() - 1.0 && number < Limits::max() + 1.0;
    return fits ? static_cast<uint8_t>(static_cast<int32_t>(number)) : uint8_t{0};
}

// The names and what they stand for. Without a destructor: the process can end while a thread starts the library.
template <typename Value, std::size_t count>
using NameTable = std::array<std::pair<const char*, Value>, count>;

constexpr NameTable<LogLevel, 4> levels{{{"LogLevel_Error", LogLevel_Error},
                                         {"LogLevel_Warning", LogLevel_Warning},
                                         {"LogLevel_Info", LogLevel_Info},
                                         {"LogLevel_Debug", LogLevel_Debug}}};
constexpr NameTable<LogTimeFormat, 3> timeFormats{
    {{"LogTimeFormat_DateTime", LogTimeFormat_DateTime},
     {"LogTimeFormat_DateTimeMillisec", LogTimeFormat_DateTimeMillisec},
     {"LogTimeFormat_Millisec", LogTimeFormat_Millisec}}};

// What the name stands for; `invalidName` when it is none of the table, or no text.
template <typename Value, std::size_t count>
Value Lookup(const NameTable<Value, count>& table, const json& name)
{
    for (const auto& [text, value] : table) {
        if (name == text) {
            return value;
        }
    }
    return static_cast<Value>(invalidName);
}

// Adds the key, with a blank before it, to `invalid` when its value is no name of the table.
template <typename Value, std::size_t count>
void ReadName(const ConfigurationValues& section, const char* key, const NameTable<Value, count>& table,
              SharedByte<Value>& value, std::string& invalid)
{
    if (!section.contains(key)) {
        return;
    }
    const Value read = Lookup(table, section.find(key)->second);
    if (read == static_cast<Value>(invalidName)) {
        invalid.append(" ").append(key);
    } else {
        value = read;
    }
}

// The keys are applied one at a time, so those before one that throws stay applied. Returns the list of keys
// with invalid names.
std::string ApplyLogSection(const ConfigurationValues& section, LogSettings& settings)
{
    ReadBoolean(section, "logToConsole", settings.logToConsole);
    ReadBoolean(section, "logToDebugger", settings.logToDebugger);
    ReadBoolean(section, "logToFile", settings.logToFile);
    ReadBoolean(section, "extensive", settings.extensive);
    if (section.contains("fileCount")) {
        settings.fileCount = CountOf(section.find("fileCount")->second);
    }
    std::string invalid;
    ReadName(section, "logFromLevel", levels, settings.logFromLevel, invalid);
    ReadName(section, "timeFormat", timeFormats, settings.timeFormat, invalid);
    return invalid;
}

void Apply(const char* text, const std::string& path, LogSettings* settings, bool* pinPadEnabled,
           std::string& report)
{
    const ConfigurationText values = ParseConfiguration(text);
    if (pinPadEnabled != nullptr) {
        ReadBoolean(values.root, "pinPadEnabled", *pinPadEnabled);
    }
    if (settings == nullptr) {
        return;
    }
    if (!values.root.contains("log")) {
        report = "Missing section \"log\" in " + path + " . Applying default values";
        return;
    }
    const std::string invalid = ApplyLogSection(values.log, *settings);
    if (!invalid.empty()) {
        report = "Invalid enum values in " + path + ": " + invalid;
    }
}

void Load(LogSettings* settings, bool* pinPadEnabled, const char16_t* directory, std::string& report)
{
    const std::string path = Platform::NarrowPath(ConfigurationFile(directory), longestPath);
    const std::vector<char> text = ReadConfigurationFile(directory, report);
    if (!text.empty()) {
        ApplyConfiguration(text.data(), path, settings, pinPadEnabled, report);
    }
}

} // namespace

void ApplyConfiguration(const char* text, const std::string& path, LogSettings* settings, bool* pinPadEnabled,
                        std::string& report)
{
    try {
        Apply(text, path, settings, pinPadEnabled, report);
    } catch (const std::exception& exception) {
        report = "Exception in parsing " + path + ": " + exception.what();
    } catch (...) {
        report = "Unknown exception in parsing " + path;
    }
}

void LoadConfiguration(LogSettings* settings, bool* pinPadEnabled, const char16_t* directory,
                       std::string& report)
{
    try {
        Load(settings, pinPadEnabled, directory, report);
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): there is no memory to tell of it
    }
}

std::vector<char> ReadConfigurationFile(const char16_t* directory, std::string& report)
{
    const auto path = ConfigurationFile(directory);
    InputFile file(path, Links::followed, Content::text);
    const uint64_t size = file.Size();
    if (!file.IsOpen() || size > std::numeric_limits<int32_t>::max()) {
        report = "Configuration file not found ";
        return {};
    }
    if (size > largestFile) {
        report = "File is too large";
    }
    std::vector<char> text(static_cast<std::size_t>(size) + 1);
    file.Read(text.data(), static_cast<std::size_t>(size));
    return text;
}
