#include "log_folder.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <pwd.h>
#include <unistd.h>

namespace logtool {
namespace {

constexpr std::string_view extension = ".log";
constexpr size_t accountRecordSize = 16384;

std::filesystem::path FromEnvironment(const char* variable)
{
    const char* value = std::getenv(variable);
    return value == nullptr ? std::filesystem::path() : std::filesystem::path(value);
}

std::filesystem::path FindHome()
{
    std::filesystem::path home = FromEnvironment("HOME");
    if (home.is_absolute()) {
        return home;
    }
    passwd account{};
    passwd* found = nullptr;
    std::vector<char> buffer(accountRecordSize);
    if (getpwuid_r(getuid(), &account, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        throw std::runtime_error("The user has no home folder.");
    }
    return found->pw_dir;
}

// The number in a log file's name, 0 for the current file; nothing for names of other files.
std::optional<uint64_t> FileNumber(std::string_view name, std::string_view stem)
{
    if (!name.starts_with(stem) || !name.ends_with(extension) ||
        name.size() < stem.size() + extension.size()) {
        return std::nullopt;
    }
    std::string_view middle = name.substr(stem.size(), name.size() - stem.size() - extension.size());
    if (middle.empty()) {
        return 0;
    }
    if (middle.front() != '_') {
        return std::nullopt;
    }
    middle.remove_prefix(1);
    uint64_t number = 0;
    const auto result = std::from_chars(middle.data(), middle.data() + middle.size(), number);
    const bool whole = result.ec == std::errc() && result.ptr == middle.data() + middle.size();
    return whole && number > 0 ? std::optional(number) : std::nullopt;
}

} // namespace

std::filesystem::path DefaultFolder()
{
    const std::filesystem::path home = FromEnvironment("TAVRIK_HOME");
    if (!home.empty()) {
        return std::filesystem::absolute(home) / "state";
    }
    const std::filesystem::path base = FromEnvironment("XDG_STATE_HOME");
    return (base.is_absolute() ? base : FindHome() / ".local/state") / "tavrik";
}

std::vector<std::filesystem::path> ListLogFiles(const std::filesystem::path& path, const std::string& stem)
{
    std::error_code missing;
    if (!std::filesystem::exists(path, missing)) {
        return {};
    }
    if (!std::filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<std::pair<uint64_t, std::filesystem::path>> numbered;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (const auto number = FileNumber(entry.path().filename().string(), stem)) {
            numbered.emplace_back(*number, entry.path());
        }
    }
    std::sort(numbered.begin(), numbered.end(), std::greater<>());
    std::vector<std::filesystem::path> files;
    for (const auto& file : numbered) {
        files.push_back(file.second);
    }
    return files;
}

} // namespace logtool
