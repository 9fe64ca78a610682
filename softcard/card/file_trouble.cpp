#include "softcard/card/file_trouble.h"

#include "softcard/base/text.h"

#include <array>
#include <string_view>

namespace softcard {
namespace {

struct Trouble
{
    std::errc condition;
    const char* wrong;
    const char* whatToDo;
};

constexpr std::array<Trouble, 19> troubles = {{
    {std::errc::no_such_file_or_directory, "is not there", "Look whether the path is right."},
    {std::errc::permission_denied, "may not be used by you",
     "Change the rights of it and of the folders it is in."},
    {std::errc::operation_not_permitted, "may not be used by you",
     "Change the rights of it and of the folders it is in."},
    {std::errc::not_a_directory, "is not in a folder",
     "Take away the file that is in the place of a folder."},
    {std::errc::is_a_directory, "is a folder", "Take it away, or name a file."},
    {std::errc::file_exists, "is there already", "Take it away, or name another one."},
    {std::errc::directory_not_empty, "is a folder that is not empty", "Take away what is in it."},
    {std::errc::no_space_on_device, "cannot be written, because the disk is full", "Make room on it."},
    {std::errc::file_too_large, "cannot be written, because it gets too large",
     "Ask for larger files to be allowed."},
    {std::errc::read_only_file_system, "is on a disk that is only read", "Use another folder."},
    {std::errc::filename_too_long, "has too long a path", "Use a shorter one."},
    {std::errc::too_many_symbolic_link_levels, "is a link that leads to no end", "Take the link away."},
    {std::errc::too_many_files_open, "cannot be opened, because too many files are open",
     "Ask for more open files to be allowed."},
    {std::errc::too_many_files_open_in_system, "cannot be opened, because too many files are open",
     "End some programs."},
    {std::errc::device_or_resource_busy, "is in use by another program", "Try again later."},
    {std::errc::text_file_busy, "is in use by another program", "Try again later."},
    {std::errc::no_lock_available, "cannot be locked", "Use a folder on a disk that knows locks."},
    {std::errc::cross_device_link, "is on another disk", "Use a folder on one disk."},
    {std::errc::io_error, "cannot be read or written, because its disk has an error", "See to the disk."},
}};

bool IsOfTheSystem(const std::error_code& code)
{
    return code.category() == std::generic_category() || code.category() == std::system_category();
}

std::string TellOf(const std::filesystem::path& path)
{
    return "\"" + Utf8Of(path) + "\" ";
}

// An error carries the path as the beginning of its text, and behind a colon what the system says.
std::filesystem::path PathIn(const std::system_error& error)
{
    if (const auto* ofFile = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
        return ofFile->path1();
    }
    const std::string_view text = error.what();
    const std::string ending = ": " + error.code().message();
    return text.ends_with(ending) ? PathOf(text.substr(0, text.size() - ending.size()))
                                  : std::filesystem::path();
}

} // namespace

FileTrouble::FileTrouble(const std::filesystem::path& path, const std::string& wrong,
                         const std::string& whatToDo)
    : StoreTrouble("The file " + TellOf(path) + wrong + ". " + whatToDo)
{
}

std::string DescribeSystemTrouble(const std::system_error& error)
{
    return DescribeSystemTrouble(PathIn(error), error.code());
}

std::string DescribeSystemTrouble(const std::filesystem::path& path, const std::error_code& code)
{
    for (const Trouble& trouble : troubles) {
        if (code == trouble.condition) {
            return TellOf(path) + trouble.wrong + ". " + trouble.whatToDo;
        }
    }
    if (!IsOfTheSystem(code)) { // one of our own, which has words for it
        return TellOf(path) + "cannot be used. " + code.message() + ".";
    }
    return TellOf(path) + "cannot be used; the system's number for the reason is " +
           std::to_string(code.value()) + ". See to the disk, and to the rights of the file.";
}

} // namespace softcard
