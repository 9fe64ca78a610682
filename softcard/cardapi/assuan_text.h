// Texts as the Assuan protocol writes them: on one line.
#pragma once

#include <string>
#include <string_view>

namespace softcard {

std::string EscapeForAssuan(std::string_view text);

// A percent sign that is followed by no two hexadecimal digits stands for itself.
std::string UnescapeFromAssuan(std::string_view text);

// Whether the line begins with this word.
bool BeginsWith(std::string_view line, std::string_view word);

// What stands behind the first word of the line and the space after it.
std::string_view TextBehindWord(std::string_view line);

} // namespace softcard
