#include "softcard/system/card_link.h"

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

} // namespace

bool IsCardLink(const fs::path& path)
{
    std::error_code ignored;
    return fs::is_symlink(fs::symlink_status(path, ignored));
}

std::string CardBehind(const fs::path& link, const fs::path& cards)
{
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
        std::chrono::seconds(file.st_ctim.tv_sec) + std::chrono::nanoseconds(file.st_ctim.tv_nsec)};
}

void MakeCardLink(const fs::path& cardFolder, const fs::path& link)
{
    LinkAtomically(cardFolder.lexically_relative(link.parent_path()), link);
}

} // namespace softcard
