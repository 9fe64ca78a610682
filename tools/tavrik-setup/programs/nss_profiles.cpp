#include "tools/tavrik-setup/programs/nss_profiles.h"

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <array>
#include <map>
#include <sstream>
#include <string>
#include <system_error>

namespace setup {
namespace {

namespace fs = std::filesystem;

using Section = std::map<std::string, std::string>;

constexpr std::array productFolders{".thunderbird", ".mozilla/firefox"};

std::string ValueIn(const Section& section, const std::string& key)
{
    const auto found = section.find(key);
    return found == section.end() ? std::string() : found->second;
}

std::map<std::string, Section> ReadSections(const fs::path& file)
{
    std::map<std::string, Section> sections;
    std::istringstream stream(ReadIfThere(file).value_or(""));
    std::string name;
    for (std::string line; std::getline(stream, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        const size_t equals = line.find('=');
        if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
            name = line.substr(1, line.size() - 2);
        } else if (equals != std::string::npos) {
            sections[name][line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    return sections;
}

// A section for an installation says which profile it starts with. Without one, a profile says so of itself.
std::string DefaultIn(const std::map<std::string, Section>& sections)
{
    std::string chosen;
    for (const auto& [name, section] : sections) {
        if (name.starts_with("Install") && !ValueIn(section, "Default").empty()) {
            return ValueIn(section, "Default");
        }
        if (name.starts_with("Profile") && (chosen.empty() || ValueIn(section, "Default") == "1")) {
            chosen = ValueIn(section, "Path");
        }
    }
    return chosen;
}

} // namespace

std::vector<fs::path> DefaultProfiles(const fs::path& home)
{
    std::vector<fs::path> profiles;
    for (const char* product : productFolders) {
        if (home.empty()) {
            break;
        }
        try {
            const std::string path = DefaultIn(ReadSections(home / product / "profiles.ini"));
            const fs::path folder = home / product / path; // an absolute path takes the place of all of it
            std::error_code missing;
            if (!path.empty() && fs::exists(folder / "cert9.db", missing)) {
                profiles.push_back(folder);
            }
        } catch (const Refusal&) {
            continue; // what cannot be read has no profiles for us
        }
    }
    return profiles;
}

} // namespace setup
