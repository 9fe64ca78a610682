// Texts as the Assuan protocol writes them: on one line.
#pragma once

#include <string>
#include <string_view>

namespace softcard {

std::string EscapeForAssuan(std::string_view text);

// A percent sign that is followed by no two hexadecimal digits stands for itself.
std::string UnescapeFromAssuan(std::string_view text);

} // namespace softcard
