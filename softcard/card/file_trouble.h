// What is wrong with a file, in one or two sentences for the user that name the file and say what to do.
#pragma once

#include "softcard/base/store_error.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace softcard {

// A file that is there and holds something else than it should.
class FileTrouble : public StoreTrouble
{
public:
    // The sentence is `The file "PATH" WRONG.`; what to do is a sentence of its own.
    FileTrouble(const std::filesystem::path& path, const std::string& wrong, const std::string& whatToDo);
};

// What to do about a file of a card. Also about one that is missing.
inline constexpr const char* mendCard = "Put a copy of it back, or delete the card and make it anew.";

// What to do about a file of the authority. The cards that are there need it no more.
inline constexpr const char* mendAuthority = "Put a copy of it back, or take the folder that it is in away: "
                                             "the next new card makes another authority.";

// What the system has against using a file. The path is taken out of the error.
std::string DescribeSystemTrouble(const std::system_error& error);

// The same for a file that the user knows by another path than the one in the error.
std::string DescribeSystemTrouble(const std::filesystem::path& path, const std::error_code& code);

} // namespace softcard
