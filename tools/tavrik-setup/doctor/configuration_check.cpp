#include "tools/tavrik-setup/doctor/configuration_check.h"

#include "softcard/system/files.h"
#include "src/log/configuration.h"
#include "tools/tavrik-setup/files/json_member.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

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

// Whether a file can be made in the folder.
int TryToWrite(const fs::path& folder)
{
    std::string name = (folder / ".tavrik-setup-XXXXXX").string();
    const int file = mkstemp(name.data());
    if (file < 0) {
        return errno;
    }
    const bool isWritten = write(file, "x", 1) == 1;
    const int error = isWritten ? 0 : errno;
    close(file);
    unlink(name.c_str());
    return error;
}

} // namespace

Findings CheckConfiguration(const fs::path& folder)
{
    const fs::path file = folder / fileName;
    std::error_code missing;
    if (!fs::exists(fs::symlink_status(file, missing))) {
        return {{Severity::fine, configurationArea,
                 "There is no " + file.string() + ", so the library's defaults are in force.", ""}};
    }
    try {
        return CheckText(softcard::ReadFile(file, softcard::Links::followed), file.string());
    } catch (const std::system_error& error) {
        return {{Severity::fault, configurationArea,
                 file.string() + " cannot be read: " + error.code().message() + ".",
                 "The library reads a regular file that you may read."}};
    }
}

Findings CheckLogFolder(const fs::path& folder)
{
    std::error_code missing;
    if (!fs::is_directory(folder, missing)) {
        return {{Severity::warning, "log", "There is no folder " + folder.string() + " for the log.",
                 "It is made when a card is used; if not, make it."}};
    }
    if (const int error = TryToWrite(folder); error != 0) {
        return {{Severity::fault, "log",
                 "The library cannot write its log in " + folder.string() + ": " +
                     std::generic_category().message(error) + ".",
                 "Give the folder back to yourself with chown and chmod, or make room on the disk."}};
    }
    const fs::path log = folder / logFile;
    const auto status = fs::symlink_status(log, missing);
    if (fs::exists(status) && (!fs::is_regular_file(status) || access(log.c_str(), W_OK) != 0)) {
        return {{Severity::fault, "log", log.string() + " is no regular file that you may write to.",
                 "Take it away; the library makes a new one."}};
    }
    return {{Severity::fine, "log", "The library can write its log in " + folder.string() + ".", ""}};
}

} // namespace setup
