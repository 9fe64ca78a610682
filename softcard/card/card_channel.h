// The secure channel to a card, as far as the card can break it: a mark that is new with every break.
#pragma once

#include <filesystem>
#include <string>

namespace softcard {

// Empty as long as the channel has never been broken. What was authorised under another mark is over. Throws
// std::system_error for a mark that cannot be read: it is then unknown whether the channel is open.
std::string ReadChannelMark(const std::filesystem::path& cardFolder);

// Ends every authorisation on the card, in all processes. Throws std::system_error.
void BreakChannel(const std::filesystem::path& cardFolder);

} // namespace softcard
