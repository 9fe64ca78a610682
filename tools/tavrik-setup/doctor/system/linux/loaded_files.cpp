#include "tools/tavrik-setup/doctor/loaded_files.h"

#include <algorithm>
#include <fstream>
#include <system_error>

#include <unistd.h>

namespace setup {
namespace {

namespace fs = std::filesystem;

// The last column of a line of "maps"; empty for memory without a file.
fs::path FileOfLine(const std::string& line)
{
    const size_t slash = line.find('/');
    return slash == std::string::npos ? fs::path() : fs::path(line.substr(slash));
}

bool HasLoaded(const fs::path& process, const fs::path& file)
{
    std::ifstream maps(process / "maps");
    for (std::string line; std::getline(maps, line);) {
        if (FileOfLine(line) == file) {
            return true;
        }
    }
    return false;
}

} // namespace

nlohmann::json LoadedFiles()
{
    nlohmann::json files = nlohmann::json::object();
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        const fs::path file = FileOfLine(line);
        if (!file.empty()) {
            files[file.filename().string()] = file.string();
        }
    }
    return files;
}

std::vector<std::string> ProgramsWith(const fs::path& file)
{
    std::vector<std::string> programs;
    std::error_code ignored;
    for (const auto& process : fs::directory_iterator("/proc", ignored)) {
        const std::string id = process.path().filename().string();
        const bool isProcess =
            std::all_of(id.begin(), id.end(), [](char byte) { return byte >= '0' && byte <= '9'; });
        if (isProcess && id != std::to_string(getpid()) && HasLoaded(process.path(), file)) {
            std::ifstream stream(process.path() / "comm");
            std::string name;
            std::getline(stream, name);
            programs.push_back(name.append(" (").append(id).append(")"));
        }
    }
    return programs;
}

} // namespace setup
