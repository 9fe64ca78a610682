#include "src/platform/linux/os_listing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr std::size_t longestListing = 1023; // what its reader takes, in bytes
constexpr std::size_t longestFile = 4096;    // as much of a file as is looked at
constexpr std::string_view blanks = " \t";

// Text in a place of its own, which drops what has no room.
class Text
{
public:
    explicit Text(std::span<char> itsRoom) : room(itsRoom) {}

    void Clear() { size = 0; }
    void Add(std::string_view text)
    {
        const std::size_t length = std::min(text.size(), room.size() - size);
        std::copy_n(text.data(), length, room.data() + size);
        size += length;
    }
    [[nodiscard]] std::string_view View() const { return {room.data(), size}; }

private:
    std::span<char> room;
    std::size_t size = 0;
};

// As a shell reads it: up to a blank, a semicolon or the line's end that stand in no quotes.
void AddWord(Text& value, std::string_view word)
{
    constexpr std::string_view escapedInQuotes = "$`\"\\";
    char quote = '\0';
    for (std::size_t i = 0; i < word.size(); ++i) {
        const char character = word[i];
        const bool escapes = character == '\\' && i + 1 < word.size() && quote != '\'' &&
                             (quote == '\0' || escapedInQuotes.find(word[i + 1]) != std::string_view::npos);
        if (escapes) {
            value.Add(word.substr(++i, 1));
        } else if (character == quote) {
            quote = '\0';
        } else if (quote == '\0' && (character == '"' || character == '\'')) {
            quote = character;
        } else if (quote == '\0' && (blanks.find(character) != std::string_view::npos || character == ';')) {
            return;
        } else {
            value.Add(word.substr(i, 1));
        }
    }
}

std::string_view ReadUpTo(const char* path, std::span<char> room)
{
    const auto file = syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0);
    struct stat facts
    {
    };
    std::size_t size = 0;
    if (file >= 0 && fstat(static_cast<int>(file), &facts) == 0 && S_ISREG(facts.st_mode)) {
        long length = 0;
        while (size < room.size() &&
               (length = syscall(SYS_read, file, room.data() + size, room.size() - size)) > 0) {
            size += static_cast<std::size_t>(length);
        }
    }
    syscall(SYS_close, file);
    return {room.data(), size};
}

void AddSystemName(Text& listing)
{
    std::array<char, longestFile> content; // NOLINT(cppcoreguidelines-pro-type-member-init): it is read into
    std::array<char, longestListing> name{};
    for (const char* file : {"/etc/os-release", "/usr/lib/os-release"}) {
        const std::string_view text = ReadUpTo(file, content);
        if (!text.empty()) {
            listing.Add(PrettyName(text, name));
            return;
        }
    }
}

} // namespace

std::string_view PrettyName(std::string_view osRelease, std::span<char> room)
{
    constexpr std::string_view assignment = "PRETTY_NAME=";
    Text value(room);
    while (!osRelease.empty()) {
        std::string_view line = osRelease.substr(0, osRelease.find('\n'));
        osRelease.remove_prefix(std::min(osRelease.size(), line.size() + 1));
        line.remove_prefix(std::min(line.size(), line.find_first_not_of(blanks)));
        if (line.starts_with(assignment)) {
            value.Clear();
            AddWord(value, line.substr(assignment.size()));
        }
    }
    return value.View();
}

void WriteOsListing(int descriptor, std::string_view language)
{
    utsname system{};
    syscall(SYS_uname, &system);
    std::array<char, longestListing> room{};
    Text listing(room);
    listing.Add("Caption=");
    AddSystemName(listing);
    listing.Add("\nOSArchitecture=");
    listing.Add(system.machine);
    listing.Add("\nCSDVersion=");
    listing.Add(system.version);
    listing.Add("\nMUILanguages=");
    listing.Add(language);
    listing.Add("\nVersion=");
    listing.Add(system.release);
    listing.Add("\n");
    syscall(SYS_write, descriptor, listing.View().data(), listing.View().size());
}
