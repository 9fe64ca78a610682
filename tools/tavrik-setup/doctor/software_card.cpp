#include "tools/tavrik-setup/doctor/software_card.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/system/user_directories.h"
#include "src/platform/platform.h"
#include "tools/tavrik-setup/files/program_run.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds longestListing{30};
constexpr size_t columns = 4; // name, reader, tries of the BOK, tries of the PIN
constexpr const char* none = "-";

// Beside this program, or in the folder that the software card has there on Windows. With the ending that this program has.
fs::path FindTool()
{
    const fs::path own = Platform::ExecutablePath();
    for (const char* folder : {".", "softcard"}) {
        fs::path tool = (own.parent_path() / folder / "tavrik-card").lexically_normal();
        tool += own.extension();
        std::error_code missing;
        if (!own.empty() && fs::exists(tool, missing)) {
            return tool;
        }
    }
    return {};
}

Finding JudgeTries(const std::string& card, const std::string& code, const std::string& left)
{
    const std::string which = "The " + code + " of the card \"" + card + "\" ";
    if (left == none) {
        return {Severity::warning, "code", which + "has not been set.", "Set it with tavrik-card set-code."};
    }
    if (left == "0") {
        return {Severity::fault, "code", which + "is locked.",
                "Unblock it with the PUK: tavrik-card unblock."};
    }
    if (left == "1") {
        return {Severity::warning, "code", which + "has one try left.",
                "Be sure of the code before you type it."};
    }
    return {Severity::fine, "code", which + "has " + left + " tries left.", ""};
}

} // namespace

bool IsSoftwareCard(const nlohmann::json& seen)
{
    try {
        return seen.contains("configFolder") && softcard::PathOf(seen["configFolder"].get<std::string>()) ==
                                                    softcard::LocateDirectories().config / "";
    } catch (const softcard::StoreTrouble&) {
        return false;
    }
}

Findings CheckSoftwareCard(const nlohmann::json& seen, const fs::path& libraryFolder)
{
    const std::string file = seen.value("file", "");
    std::error_code error;
    if (libraryFolder.empty() || fs::equivalent(softcard::PathOf(file).parent_path(), libraryFolder, error)) {
        return {};
    }
    return {{Severity::warning, "card layer",
             "This is the software card, which does not lie beside the library.",
             "For a real card, take its folder out of where libraries are looked for, or put the card's own "
             "library "
             "beside the other."}};
}

Findings CheckCodes()
{
    const fs::path tool = FindTool();
    if (tool.empty()) {
        return {};
    }
    Findings findings;
    std::istringstream lines(RunProgram(tool, {"list"}, longestListing).output);
    for (std::string line; std::getline(lines, line);) {
        std::array<std::string, columns> fields;
        std::istringstream stream(line);
        for (std::string& field : fields) {
            std::getline(stream, field, '\t');
        }
        if (fields[1].empty() || fields[1] == none || fields[3].empty()) {
            continue; // in no reader, or broken
        }
        findings.push_back(JudgeTries(fields[0], "login code", fields[2]));
        findings.push_back(JudgeTries(fields[0], "signature PIN", fields[3]));
    }
    return findings;
}

} // namespace setup
