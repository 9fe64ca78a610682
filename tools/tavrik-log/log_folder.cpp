#include "tools/tavrik-log/log_folder.h"

#include "softcard/base/text.h"
#include "softcard/system/user_directories.h"
#include "tools/tavrik-log/system/log_file.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace logtool {
namespace {

constexpr std::string_view extension = ".log";

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
    return softcard::LocateDirectories().state;
}

std::vector<std::filesystem::path> ListLogFiles(const std::filesystem::path& path, const std::string& stem)
{
    if (NamesStream(path)) {
        return {path};
    }
    std::error_code missing;
    if (!std::filesystem::exists(path, missing)) {
        return {};
    }
    if (!std::filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<std::pair<uint64_t, std::filesystem::path>> numbered;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (const auto number = FileNumber(softcard::Utf8Of(entry.path().filename()), stem)) {
            numbered.emplace_back(*number, entry.path());
        }
    }
    std::sort(numbered.begin(), numbered.end(), std::greater<>());
    std::vector<std::filesystem::path> files;
    files.reserve(numbered.size());
    for (const auto& file : numbered) {
        files.push_back(file.second);
    }
    return files;
}

} // namespace logtool
