#include "softcard/system/card_link.h"

#include "softcard/system/files.h"
#include "softcard/system/linux/link_file.h"

#include <system_error>

#include <sys/stat.h>

namespace softcard {
namespace {

namespace fs = std::filesystem;

std::string Describe(const struct stat& file)
{
    return std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
}

std::string Describe(const timespec& time)
{
    return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

bool AreTheSame(const fs::path& one, const fs::path& other)
{
    struct stat first
    {
    };
    struct stat second
    {
    };
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// The folder that the link leads to, when the link says it itself: the usual link, whose last part is the name of a
// folder and no link again. The parts in front of it need not be followed one by one to know that.
std::optional<fs::path> FolderNamedBy(const fs::path& link)
{
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    const fs::path name = target.filename();
    fs::path folder = link.parent_path() / target;
    if (error || name.empty() || name == "." || name == ".." || !IsFolder(folder)) {
        return std::nullopt;
    }
    return folder;
}

} // namespace

bool IsCardLink(const fs::path& path)
{
    std::error_code ignored;
    return fs::is_symlink(fs::symlink_status(path, ignored));
}

std::string CardBehind(const fs::path& link, const fs::path& cards)
{
    if (const auto folder = FolderNamedBy(link)) {
        return AreTheSame(folder->parent_path(), cards) ? folder->filename().string() : std::string();
    }
    std::error_code linkError;
    std::error_code cardsError;
    const fs::path target = fs::canonical(link, linkError);
    const fs::path store = fs::canonical(cards, cardsError);
    return linkError || cardsError || target.parent_path() != store ? std::string()
                                                                    : target.filename().string();
}

std::optional<Insertion> DescribeInsertion(const fs::path& link)
{
    struct stat reader
    {
    };
    struct stat file
    {
    };
    struct stat card
    {
    };
    if (lstat(link.parent_path().c_str(), &reader) != 0 || lstat(link.c_str(), &file) != 0 ||
        !S_ISLNK(file.st_mode) || stat(link.c_str(), &card) != 0) {
        return std::nullopt;
    }
    return Insertion{
        Describe(reader) + " " + Describe(file) + " " + Describe(file.st_ctim) + " " + Describe(card),
        Describe(card),
        std::chrono::seconds(file.st_ctim.tv_sec) + std::chrono::nanoseconds(file.st_ctim.tv_nsec)};
}

void MakeCardLink(const fs::path& cardFolder, const fs::path& link)
{
    LinkAtomically(cardFolder.lexically_relative(link.parent_path()), link);
}

} // namespace softcard
