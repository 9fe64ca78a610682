// Paths, and folders with their entries.
#include "src/platform/platform.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>

namespace {

constexpr char continuationMask = static_cast<char>(0xC0);
constexpr char continuationBits = static_cast<char>(0x80);

bool ContinuesCharacter(char byte)
{
    return (byte & continuationMask) == continuationBits;
}

bool IsControl(char byte)
{
    constexpr char deleteCharacter = 0x7F;
    return (byte >= 0 && byte < ' ') || byte == deleteCharacter;
}

// U+0080 to U+009F in UTF-8.
bool IsTwoByteControl(std::string_view bytes)
{
    constexpr std::string_view first("\xC2\x80");
    constexpr std::string_view last("\xC2\x9F");
    return bytes.size() == first.size() && bytes >= first && bytes <= last;
}

} // namespace

std::filesystem::path Platform::PathOf(std::u16string_view path)
{
    try {
        return {path};
    } catch (const std::exception&) {
        return {}; // half a surrogate pair
    }
}

std::u16string Platform::WideText(const std::string& text)
{
    try {
        std::u16string wide = std::filesystem::path(text).u16string();
        return PathOf(wide).native() == text ? wide
                                             : std::u16string(); // half a surrogate pair does not come back
    } catch (const std::exception&) {
        return {}; // not UTF-8
    }
}

std::string Platform::NarrowPath(const std::filesystem::path& path, std::size_t limit)
{
    std::string text = path.native();
    if (text.size() > limit) {
        while (limit > 0 && ContinuesCharacter(text[limit])) {
            --limit;
        }
        text.resize(limit);
    }
    return text;
}

std::string Platform::PrintablePath(const std::filesystem::path& path, std::size_t limit)
{
    const std::string text = NarrowPath(path, limit);
    std::string printable;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const bool two = IsTwoByteControl(std::string_view(text).substr(place, 2));
        printable += two || IsControl(text[place]) ? '?' : text[place];
        place += two ? 1 : 0;
    }
    return printable;
}

std::vector<std::u16string> Platform::ListEntries(std::u16string_view mask)
{
    const bool open = mask.ends_with(u'*');
    const auto start = PathOf(open ? mask.substr(0, mask.size() - 1) : mask);
    const std::string begin = start.filename().string();
    const auto folder = start.has_parent_path() ? start.parent_path() : std::filesystem::path(".");

    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (open ? name.starts_with(begin) : name == begin) {
            names.push_back(std::move(name));
        }
    }
    std::sort(names.begin(), names.end());

    std::vector<std::u16string> listed;
    for (const auto& name : names) {
        if (auto wide = WideText(name); !wide.empty()) {
            listed.push_back(std::move(wide));
        }
    }
    return listed;
}

void Platform::MoveEntry(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 || errno != EINVAL) {
        return;
    }
    // A file system that doesn't know the flag. Between the look and the move another process can come;
    // nothing is locked between processes here.
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(to, error))) {
        std::filesystem::rename(from, to, error);
    }
}

void Platform::RemoveFile(const std::filesystem::path& file)
{
    std::error_code error;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(file, error))) {
        std::filesystem::remove(file, error);
    }
}
