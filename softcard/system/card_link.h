// What lies in a reader in the place of the card, and leads to the card's own folder: a symbolic link, or
// where links take a privilege, a file with the path.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace softcard {

// Whether what lies there is one, wherever it leads.
bool IsCardLink(const std::filesystem::path& path);

// The name of the folder in `cards` that the link leads to; empty when it leads elsewhere or nowhere.
std::string CardBehind(const std::filesystem::path& link, const std::filesystem::path& cards);

struct Insertion
{
    std::string mark; // another one after each insertion
    std::string card; // what no other folder has as long as the one that the link leads to lives
    std::chrono::nanoseconds since{}; // when the link was made or moved here
};

// Nothing when it is no link, or leads nowhere. A link that is made has a number of its own, and one that is
// moved or made in the place of another has a new time of change. The folders at both its ends tell a reader
// and a card from others that took their names.
std::optional<Insertion> DescribeInsertion(const std::filesystem::path& link);

// Makes a link to the card's folder, in the place of a link that is there: a program that reads it meanwhile sees the
// old one or the new one, as with WriteFileAtomically. Throws std::system_error.
void MakeCardLink(const std::filesystem::path& cardFolder, const std::filesystem::path& link);

} // namespace softcard
