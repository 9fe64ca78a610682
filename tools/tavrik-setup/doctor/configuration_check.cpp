#include "tools/tavrik-setup/doctor/configuration_check.h"

#include "softcard/base/text.h"
#include "softcard/system/files.h"
#include "src/log/configuration.h"
#include "tools/tavrik-setup/doctor/system/advice.h"
#include "tools/tavrik-setup/doctor/system/write_check.h"
#include "tools/tavrik-setup/files/json_member.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <string>
#include <system_error>

namespace setup {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr const char* configurationArea = "configuration";
constexpr const char* fileName = "config.json";
constexpr const char* logFile = "Pkcs11.log";
constexpr size_t largestConfiguration = 8191; // bytes, as docs/configuration.md says

// What the library says of a file with that member alone.
std::string ReportOf(const json& document)
{
    LogSettings settings;
    bool pinPadEnabled = false;
    std::string report;
    ApplyConfiguration(document.dump().c_str(), fileName, &settings, &pinPadEnabled, report);
    return report;
}

json WithMember(const KeyPath& path, const json& value)
{
    json document{{"log", json::object()}};
    (path.size() == 1 ? document : document["log"])[path.back()] = value;
    return document;
}

// A known key takes no object as its value.
bool IsKnown(const KeyPath& path)
{
    return !ReportOf(WithMember(path, json::object())).empty();
}

void CheckMember(const std::string& text, const KeyPath& path, const json& value, const std::string& file,
                 Findings& findings)
{
    if (path == KeyPath{"log"}) {
        return;
    }
    const std::string place =
        file + ", line " + std::to_string(LineOfMember(text, path)) + ": \"" + path.back() + "\" ";
    if (!IsKnown(path)) {
        findings.push_back({Severity::warning, configurationArea, place + "is no key that the library knows.",
                            "Correct it or take it out; docs/configuration.md lists the keys."});
    } else if (!ReportOf(WithMember(path, value)).empty()) {
        findings.push_back({Severity::fault, configurationArea, place + "cannot be " + value.dump() + ".",
                            "Give it one of the values that docs/configuration.md lists."});
    }
}

void CheckMembers(const std::string& text, const json& root, const std::string& file, Findings& findings)
{
    for (const auto& [key, value] : root.items()) {
        CheckMember(text, {key}, value, file, findings);
    }
    const json log = MemberAt(root, {"log"});
    if (!log.is_object()) {
        findings.push_back({Severity::fault, configurationArea, file + " has no object \"log\".",
                            "Put the keys of the log into an object \"log\"."});
        return;
    }
    for (const auto& [key, value] : log.items()) {
        CheckMember(text, {"log", key}, value, file, findings);
    }
}

Findings CheckText(const std::string& text, const std::string& file)
{
    Findings findings;
    if (text.size() > largestConfiguration) {
        findings.push_back({Severity::warning, configurationArea,
                            file + " is larger than a configuration can be.", "Shorten it."});
    }
    try {
        CheckMembers(text, ParseObject(text, {}), file, findings);
    } catch (const Refusal& refusal) {
        findings.push_back(
            {Severity::fault, configurationArea, file + ": " + refusal.what(), "Correct it there."});
    }
    if (findings.empty()) {
        findings.push_back({Severity::fine, configurationArea, file + " is valid.", ""});
    }
    return findings;
}

} // namespace

Findings CheckConfiguration(const fs::path& folder)
{
    const fs::path file = folder / fileName;
    std::error_code missing;
    if (!fs::exists(fs::symlink_status(file, missing))) {
        return {{Severity::fine, configurationArea,
                 "There is no " + softcard::Utf8Of(file) + ", so the library's defaults are in force.", ""}};
    }
    try {
        return CheckText(softcard::ReadFile(file, softcard::Links::followed), softcard::Utf8Of(file));
    } catch (const std::system_error& error) {
        return {{Severity::fault, configurationArea,
                 softcard::Utf8Of(file) + " cannot be read: " + error.code().message() + ".",
                 "The library reads a regular file that you may read."}};
    }
}

Findings CheckLogFolder(const fs::path& folder)
{
    std::error_code missing;
    if (!fs::is_directory(folder, missing)) {
        return {{Severity::warning, "log", "There is no folder " + softcard::Utf8Of(folder) + " for the log.",
                 "It is made when a card is used; if not, make it."}};
    }
    if (const std::string trouble = TroubleWithWritingIn(folder); !trouble.empty()) {
        return {{Severity::fault, "log",
                 "The library cannot write its log in " + softcard::Utf8Of(folder) + ": " + trouble + ".",
                 SystemAdvice().logFolder}};
    }
    const fs::path log = folder / logFile;
    if (fs::exists(fs::symlink_status(log, missing)) && !IsWritable(log)) {
        return {{Severity::fault, "log", softcard::Utf8Of(log) + " is no regular file that you may write to.",
                 "Take it away; the library makes a new one."}};
    }
    return {
        {Severity::fine, "log", "The library can write its log in " + softcard::Utf8Of(folder) + ".", ""}};
}

} // namespace setup
